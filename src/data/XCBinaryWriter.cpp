// The writer fills a buffer whose size is its room: m_at is the next byte, m_end the end of the room. A failure closes the
// room (m_end = m_at), so the fast path, one comparison and a store, needs no test of the status.
//
// Bytes leave for the sink in order, up to the first marked place; positions count from the first byte ever written, so
// a place keeps its number when the bytes before it leave. Without a sink nothing leaves and the buffer grows by half.
//
// A length that is known only after its content is a mark: a place that is written later. Bytes from the first open
// mark on are kept, so memory in use is bounded by the largest part that is still open, not by the stream.
#include <XelbrinCore/XCBinaryWriter.h>
#include <XelbrinCore/XCException.h>

#include "data/DataErrors.h"
#include "encoding/TextErrors.h"
#include "text/Utf8.h"

#include <algorithm>

using xc::data::DataError;

namespace {

constexpr std::size_t kPassOn = 4096;       // bytes that a sink is called for
constexpr std::size_t kShortText = 127 / 3; // units whose length in UTF-8 surely fits one byte of a varying length

} // namespace

XCBinaryWriter::XCBinaryWriter(XCByteOrder order) noexcept : m_order(order) {}

XCBinaryWriter::XCBinaryWriter(XCByteSinkI& sink, XCByteOrder order) noexcept : m_order(order), m_sink(&sink) {}

XCBinaryWriter::~XCBinaryWriter()
{
    if (!m_sink || m_error.Bad()) return;
    try {
        // A destructor cannot report a full disk; whoever must know calls Flush.
        (void)Flush();
    } catch (...) { // NOLINT(bugprone-empty-catch): nobody is left to be told
    }
}

void XCBinaryWriter::SetFailed(XCErrorID error) noexcept
{
    // The first failure is the one to report; those after it follow from it.
    if (m_error.Good()) m_error = std::move(error);
    m_end = m_at;
}

void XCBinaryWriter::Fail(XCErrorID const& error)
{
    if (error.Bad()) SetFailed(error);
}

// Room and the way to the sink ----------------------------------------------------------------------------------

std::uint64_t XCBinaryWriter::FirstMark() const noexcept
{
    // Marks close in any order, so the first open one need not be the oldest in the list. There are a few at a time.
    return m_marks.empty() ? GetPosition() : *std::min_element(m_marks.begin(), m_marks.end());
}

bool XCBinaryWriter::PassOn()
{
    auto const count = static_cast<std::size_t>(FirstMark() - m_flushed);
    if (!m_sink || count == 0) return Good();
    XCErrorID const written = m_sink->Write(m_buffer.Data(), count);
    if (written.Bad()) {
        SetFailed(written);
        return false;
    }
    std::size_t const rest = Pending() - count;
    // What is left is what open marks keep; without one there is none, and nothing moves.
    std::memmove(m_buffer.Data(), m_buffer.Data() + count, rest);
    m_at = m_buffer.Data() + rest;
    m_flushed += count;
    return true;
}

bool XCBinaryWriter::MakeRoom(std::size_t size)
{
    if (!Good() || !PassOn()) return false;
    std::size_t const used = Pending();
    if (size > m_buffer.Size() - used) {
        std::size_t const grown = std::max(m_buffer.Size() + m_buffer.Size() / 2, m_sink ? kPassOn : 0);
        // Growth by half bounds the copying at twice the bytes; a sink needs no growth past one piece.
        m_buffer.Reserve(std::max(grown, used + size));
        m_buffer.Resize(used); // what is not in use need not be copied
        m_buffer.Extend(m_buffer.Capacity() - used);
    }
    m_at = m_buffer.Data() + used;
    m_end = m_buffer.Data() + m_buffer.Size();
    return true;
}

XCErrorID XCBinaryWriter::Flush()
{
    if (!Good() || !PassOn()) return m_error;
    // A place that nobody will write now is a fault of the program, and a receiver would wait for it.
    if (!m_marks.empty()) return DataError(XCErrDataOpenMark, FirstMark());
    XCErrorID const flushed = m_sink ? m_sink->Flush() : XCErrorID();
    if (flushed.Bad()) SetFailed(flushed);
    return flushed;
}

XCBytes XCBinaryWriter::GetBytes(std::uint64_t from) const noexcept
{
    XCBytes const bytes(m_buffer.Data(), Pending());
    return from <= m_flushed ? bytes : bytes.Slice(static_cast<std::size_t>(from - m_flushed));
}

XCBuffer XCBinaryWriter::TakeBuffer()
{
    m_buffer.Resize(Pending());
    XCBuffer taken(std::move(m_buffer));
    m_at = nullptr;
    Clear();
    return taken;
}

void XCBinaryWriter::Clear() noexcept
{
    m_at = m_buffer.Data();
    m_end = m_at + m_buffer.Size();
    m_flushed = 0;
    m_marks.clear();
    m_error = {};
}

// Marked places -------------------------------------------------------------------------------------------------

std::uint64_t XCBinaryWriter::OpenMark()
{
    m_marks.push_back(GetPosition());
    return m_marks.back();
}

void XCBinaryWriter::Overwrite(std::uint64_t position, void const* bytes, std::size_t size)
{
    auto const mark = std::find(m_marks.begin(), m_marks.end(), position);
    if (mark == m_marks.end()) throw XCException(L"XCBinaryWriter: a place is patched that is not marked");
    auto const at = static_cast<std::size_t>(position - m_flushed);
    // After a failure nothing more is written, but a place stays one that may be patched.
    if (Good() && size <= Pending() - at) std::memcpy(m_buffer.Data() + at, bytes, size);
}

void XCBinaryWriter::CloseMark(std::uint64_t position)
{
    m_marks.erase(std::find(m_marks.begin(), m_marks.end(), position));
}

/// Removes what was written since a place was marked, and all marks since.
void XCBinaryWriter::TakeBack(std::uint64_t position) noexcept
{
    std::erase_if(m_marks, [position](std::uint64_t mark) { return mark >= position; });
    m_at = m_buffer.Data() + (position - m_flushed);
    if (!Good()) m_end = m_at;
}

// Numbers, texts, bytes -----------------------------------------------------------------------------------------

void XCBinaryWriter::WriteVarBits(std::uint64_t value)
{
    std::uint8_t bytes[10];
    std::size_t size = 0;
    for (; value >= 0x80; value >>= 7) bytes[size++] = static_cast<std::uint8_t>(value | 0x80);
    bytes[size++] = static_cast<std::uint8_t>(value);
    WriteRaw({bytes, size});
}

bool XCBinaryWriter::WriteLength(std::size_t size, XCLengthForm form)
{
    std::uint64_t const most = form == XCLengthForm::Bits8    ? 0xFFu
                               : form == XCLengthForm::Bits16 ? 0xFFFFu
                               : form == XCLengthForm::Bits32 ? 0xFFFFFFFFu
                                                              : UINT64_MAX;
    if (size > most) {
        Fail(DataError(XCErrDataTooLong, std::uint64_t{size}, most));
        return false;
    }
    switch (form) {
    case XCLengthForm::Bits8: Write(static_cast<std::uint8_t>(size)); break;
    case XCLengthForm::Bits16: Write(static_cast<std::uint16_t>(size)); break;
    case XCLengthForm::Bits32: Write(static_cast<std::uint32_t>(size)); break;
    default: WriteVarBits(size); break;
    }
    return Good();
}

void XCBinaryWriter::WriteRaw(XCBytes bytes)
{
    // After a failure the room is empty, and this is where the write ends.
    if (bytes.Size() > static_cast<std::size_t>(m_end - m_at)) {
        if (m_sink && m_marks.empty() && bytes.Size() >= kPassOn) { // past the buffer
            if (!Good() || !PassOn()) return;
            XCErrorID const written = m_sink->Write(bytes.Data(), bytes.Size());
            if (written.Bad()) return SetFailed(written);
            m_flushed += bytes.Size();
            return;
        }
        if (!MakeRoom(bytes.Size())) return;
    }
    if (!bytes.IsEmpty()) std::memcpy(m_at, bytes.Data(), bytes.Size());
    m_at += bytes.Size();
}

void XCBinaryWriter::WriteBytes(XCBytes bytes, XCLengthForm length)
{
    if (WriteLength(bytes.Size(), length)) WriteRaw(bytes);
}

void XCBinaryWriter::WriteText(XCString const& text, XCTextForm form, XCLengthForm length)
{
    if (form == XCTextForm::Utf8)
        WriteUtf8(text, length);
    else if (WriteLength(2 * text.Length(), length))
        WriteArray(text.AsWChar(), text.Length());
}

void XCBinaryWriter::WriteUtf8(XCString const& text, XCLengthForm length)
{
    using namespace xc::text;
    std::size_t const units = text.Length();
    std::size_t const most = 1 + MaxUtf8Bytes(units);
    // Short texts are encoded before their length is known: it surely takes one byte.
    if (units <= kShortText && length <= XCLengthForm::Bits8 &&
        (static_cast<std::size_t>(m_end - m_at) >= most || MakeRoom(most)))
    {
        std::size_t whole = 0;
        std::size_t const size = EncodeUtf8(reinterpret_cast<char*>(m_at) + 1, text, whole);
        if (whole == units) {
            *m_at = static_cast<std::uint8_t>(size);
            m_at += 1 + size;
            return;
        }
    }
    // UTF-8 cannot hold half a pair. Guessing a replacement would change a file name on its way.
    std::size_t const wrong = FindUnpairedSurrogate(text);
    if (wrong != units) return Fail(xc::encoding::UnmappableUnit(text[wrong], wrong));
    std::size_t const size = CountUtf8Bytes(text);
    if (!WriteLength(size, length) || !MakeRoom(size)) return;
    m_at += EncodeUtf8(reinterpret_cast<char*>(m_at), text);
}
