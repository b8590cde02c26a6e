// Buffers around a connection.
//
// Unread bytes stand in one block from m_start on. Reading more appends to the block; the read part is cut off when
// everything has been handed out, or before the block would grow past the buffer's size, so that each byte moves once at
// most for each time the buffer fills. A search for a mark remembers how far it has looked: a line that trickles in byte
// by byte costs linear time, and a line without an end no more memory than its limit and one buffer.
//
// Pieces as large as the buffer go past it.
#include <XelbrinCore/XCBufferedSocket.h>

#include "data/DataErrors.h"
#include "net/NetErrors.h"
#include "win32/Clock.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

XCErrorID PeerError(XCCoreError code, XCStreamSocket const& socket, std::size_t bytes)
{
    return xc::errors::MakeCoreError(code, socket.GetPeer().AsString(), xc::data::NumberParameter(bytes));
}

} // namespace

XCBufferedSocket::XCBufferedSocket(XCSmartPtr<XCStreamSocket> socket, XCBufferedSocketOptions const& options)
    : m_socket(std::move(socket)), m_options(options)
{
    m_options.bufferBytes = std::max<std::size_t>(m_options.bufferBytes, 256);
}

XCBufferedSocket::~XCBufferedSocket() = default;

void XCBufferedSocket::SetDeadline(unsigned int timeoutMs) noexcept
{
    m_end = timeoutMs == XCInfinite ? UINT64_MAX : xc::win32::TickMs() + timeoutMs;
}

unsigned int XCBufferedSocket::Left() const noexcept
{
    if (m_end == UINT64_MAX) return XCInfinite;
    std::uint64_t const now = xc::win32::TickMs();
    return now >= m_end ? 0 : static_cast<unsigned int>(m_end - now);
}

void XCBufferedSocket::Drop(std::size_t size) noexcept
{
    m_start += size;
    if (m_start < m_in.Size()) return;
    m_in.Resize(0);
    m_start = 0;
}

/// Reads once, behind what is unread.
XCErrorID XCBufferedSocket::Fill(std::size_t& got)
{
    if (m_start > 0) m_in.Erase(0, std::exchange(m_start, 0));
    std::size_t const before = m_in.Size();
    std::uint8_t* const room = m_in.Extend(m_options.bufferBytes);
    XCErrorID const result = m_socket->Read(room, m_options.bufferBytes, got, Left());
    m_in.Resize(before + got);
    return result;
}

XCErrorID XCBufferedSocket::Read(void* to, std::size_t size, std::size_t& got)
{
    got = 0;
    if (size == 0) return XCErrorID::Success;
    if (GetUnread().IsEmpty()) {
        if (size >= m_options.bufferBytes) return m_socket->Read(to, size, got, Left());
        std::size_t filled = 0;
        if (XCErrorID const result = Fill(filled); result.Bad() || filled == 0) return result;
    }
    got = std::min(size, GetUnread().Size());
    std::memcpy(to, GetUnread().Data(), got);
    Drop(got);
    return XCErrorID::Success;
}

XCErrorID XCBufferedSocket::Write(void const* from, std::size_t size)
{
    // The order of the bytes must stay: what is collected goes first, also before a piece that goes past the buffer.
    if (m_out.Size() + size > m_options.bufferBytes)
        if (XCErrorID const result = Flush(); result.Bad()) return result;
    if (size >= m_options.bufferBytes) return m_socket->Write(from, size, Left());
    m_out.Append({from, size});
    return XCErrorID::Success;
}

XCErrorID XCBufferedSocket::Flush()
{
    if (m_out.IsEmpty()) return XCErrorID::Success;
    XCErrorID const result = m_socket->Write(m_out.Data(), m_out.Size(), Left());
    m_out.Resize(0);
    return result;
}

XCErrorID XCBufferedSocket::ReadUntil(XCBytes mark, XCBuffer& bytes, std::size_t limit, bool& got)
{
    got = false;
    bytes.Clear();
    for (std::size_t looked = 0;;) {
        XCBytes const unread = GetUnread();
        std::size_t const found = unread.Find(mark, looked);
        if (found != XCBytes::npos && found <= limit) {
            bytes.Append(unread.Slice(0, found));
            Drop(found + mark.Size());
            got = true;
            return XCErrorID::Success;
        }
        // A mark that begins within the limit may still be on its way.
        if (found != XCBytes::npos || unread.Size() >= limit + mark.Size())
            return PeerError(XCErrSocketLine, *m_socket, limit);
        looked = unread.Size() >= mark.Size() ? unread.Size() - mark.Size() + 1 : 0;
        std::size_t filled = 0;
        if (XCErrorID const result = Fill(filled); result.Bad()) return result;
        if (filled == 0)
            return GetUnread().IsEmpty() ? XCErrorID() : PeerError(XCErrSocketEnded, *m_socket, GetUnread().Size());
    }
}

XCErrorID XCBufferedSocket::ReadLine(XCString& line, bool& got)
{
    static constexpr char kEnd = '\n';
    XCBuffer bytes;
    line = XCString();
    if (XCErrorID const result = ReadUntil({&kEnd, 1}, bytes, m_options.maxLineBytes, got); result.Bad() || !got)
        return result;
    // One CR belongs to the end of the line; one inside of it, or a second one, is text.
    if (bytes.View().EndsWith({"\r", 1})) bytes.Resize(bytes.Size() - 1);
    return line.SetFromUTF8(std::string(reinterpret_cast<char const*>(bytes.Data()), bytes.Size()));
}

XCErrorID XCBufferedSocket::WriteLine(XCString const& line)
{
    XCErrorID fault;
    std::string const bytes = line.AsUTF8(&fault) + "\r\n";
    return fault.Bad() ? fault : Write(bytes.data(), bytes.size());
}
