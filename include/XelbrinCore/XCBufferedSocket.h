// XCBufferedSocket.h - a connection through buffers: messages of typed values, lines, bytes up to a mark.
//
// WHAT     A source and sink of bytes (XCByteStream.h) over an XCStreamSocket. Put writes the values of a message and
//          sends them at once, Get reads them: numbers, texts, dates, everything that XCBinaryWriter and XCBinaryReader
//          know. ReadLine and ReadUntil serve protocols of text.
//
//              XCBufferedSocket peer(socket);
//              peer.SetDeadline(2000); // for this message
//              XCErrorID fault = peer.Put(std::uint16_t{1}, XCString(L"EUR"), XCDateEx::Today());
//              double rate = 0;
//              if (fault.Good()) fault = peer.Get(rate);
//
// DEADLINE SetDeadline starts a span that all calls use up together until it is set anew. When it is over they fail with
//          XCErrTimedOut, so a peer that sends a byte now and then holds nobody longer than that.
// LIMITS   Lines and runs have a limit (XCErrSocketLine), texts and lists those of XCReadLimits. Memory never exceeds the
//          two buffers plus the limit.
// ERRORS   Returned; those of XCSocket.h. A stream that ends inside a value: XCErrDataPastEnd; inside a line:
//          XCErrSocketEnded. After a failed Get the stream stands inside a message: give the connection up.
// LIFETIME Holds the socket. Written bytes that were not flushed are lost at the end: call Flush, or use Put.
// THREADS  One thread at a time; Cancel of the socket ends its waits from any other.
#pragma once

#include <XelbrinCore/XCBinaryReader.h>
#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCByteStream.h>
#include <XelbrinCore/XCSocket.h>

#include <cstddef>
#include <cstdint>

/// How a buffered socket reads and writes.
struct XCBufferedSocketOptions {
    std::size_t bufferBytes = 16 * 1024;             ///< of each direction
    XCByteOrder order = XCByteOrder::Big;            ///< of the numbers of messages
    std::size_t maxText = std::size_t{1} << 20;      ///< bytes of one text or list inside a message
    std::size_t maxLineBytes = std::size_t{1} << 16; ///< of ReadLine
};

/// A connection through buffers.
class XC_API XCBufferedSocket : public XCByteSourceI, public XCByteSinkI {
public:
    /// @param socket connected.
    explicit XCBufferedSocket(XCSmartPtr<XCStreamSocket> socket, XCBufferedSocketOptions const& options = {});
    ~XCBufferedSocket() override;
    XCBufferedSocket(XCBufferedSocket const&) = delete;
    XCBufferedSocket& operator=(XCBufferedSocket const&) = delete;

    /// The connection.
    [[nodiscard]] XCSmartPtr<XCStreamSocket> const& GetSocket() const noexcept { return m_socket; }
    /// The time that all calls from now on have together; XCInfinite, as at first: no limit.
    void SetDeadline(unsigned int timeoutMs) noexcept;

    /// Hands out buffered bytes, else reads. 0 and Good: the peer's end.
    XCErrorID Read(void* to, std::size_t size, std::size_t& got) override;
    /// Collects bytes; sends when the buffer is full.
    XCErrorID Write(void const* from, std::size_t size) override;
    /// Sends what is collected. After a failure a part may have been sent: nothing is kept.
    XCErrorID Flush() override;

    /// Writes the values of one message and sends it.
    template <class... Values>
    XCErrorID Put(Values const&... values)
    {
        XCBinaryWriter writer(*this, m_options.order);
        (writer.Write(values), ...);
        return writer.Flush();
    }
    /// Reads the values of one message, and nothing past them.
    template <class... Values>
    XCErrorID Get(Values&... values)
    {
        XCReadLimits limits;
        limits.maxLength = m_options.maxText;
        limits.readAhead = 0;
        XCBinaryReader reader(*this, m_options.order, limits);
        (void)(reader.Read(values) && ...);
        return reader.GetError();
    }

    /// Reads a line in UTF-8 without its end, LF or CR LF.
    /// @param got false, and an empty line, at the peer's end. A last line without its end is XCErrSocketEnded.
    /// @return XCErrSocketLine above the limit of the options; XCErrMalformedText, and the stream is past the line.
    XCErrorID ReadLine(XCString& line, bool& got);
    /// Reads up to a mark, which is not empty. @param bytes receives what stands before the mark; the mark is taken, too.
    /// @param got false at the peer's end.  @return XCErrSocketLine when no mark comes within `limit` bytes.
    XCErrorID ReadUntil(XCBytes mark, XCBuffer& bytes, std::size_t limit, bool& got);
    /// Collects a line in UTF-8 and CR LF. @return XCErrUnmappableUnit for half a surrogate pair; nothing is written.
    XCErrorID WriteLine(XCString const& line);
    /// What was read ahead and not handed out; until the next call.
    [[nodiscard]] XCBytes GetUnread() const noexcept { return m_in.View().Slice(m_start); }

private:
    [[nodiscard]] unsigned int Left() const noexcept;
    XCErrorID Fill(std::size_t& got);
    void Drop(std::size_t size) noexcept;

    XCSmartPtr<XCStreamSocket> m_socket;
    XCBufferedSocketOptions m_options;
    XCBuffer m_in; // the bytes from m_start on are unread
    std::size_t m_start = 0;
    XCBuffer m_out;
    std::uint64_t m_end = UINT64_MAX; // of the deadline, in the system's milliseconds
};
