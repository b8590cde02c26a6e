// Lines of a file stream: bytes up to a line end, then decoded in one piece.
//
// The end of a line is searched in the bytes, not in decoded text, so that a damaged line costs itself alone and the
// bytes of a line are decoded at once. That is right in every encoding here: a byte of value 10 stands for LF in all
// but UTF-16, also in code pages of two bytes, whose second bytes are higher; in UTF-16 the unit of two bytes is
// looked for, from the beginning of the line on. A line that lies in the buffer is decoded where it lies; only the
// front of one that the buffer cuts is copied, and of one above the limit nothing more is kept.
//
// A growing file may end inside a line, or inside a character. Where only whole lines are wanted the place goes back to
// the beginning of such a line, and the next call reads it again: its cost is bounded by the limit of a line.
#include "files/StreamData.h"

#include "data/DataErrors.h"
#include "encoding/EncodedText.h"
#include "errors/CoreError.h"
#include "text/Utf8.h"

#include <algorithm>
#include <cstring>

namespace xc::files {

namespace {

constexpr std::size_t kMostBytesOfUnit = 4; // in the code pages that have the most

bool IsWide(XCTextEncoding encoding) noexcept
{
    return encoding == XCTextEncoding::Utf16LE || encoding == XCTextEncoding::Utf16BE;
}

/// Where the bytes of a line end begin; npos when there is none.
std::size_t FindLineEnd(std::string_view bytes, XCTextEncoding encoding) noexcept
{
    if (!IsWide(encoding)) return bytes.find('\n');
    std::string_view const lineEnd = encoding == XCTextEncoding::Utf16LE ? std::string_view("\n\0", 2) //
                                                                         : std::string_view("\0\n", 2);
    std::size_t at = bytes.find(lineEnd);
    // Found at an odd place, the two bytes belong to two units.
    while (at != std::string_view::npos && at % 2 != 0) at = bytes.find(lineEnd, at + 1);
    return at;
}

std::string_view WithoutReturn(std::string_view bytes, XCTextEncoding encoding) noexcept
{
    std::string_view const mark = !IsWide(encoding)                     ? std::string_view("\r")
                                  : encoding == XCTextEncoding::Utf16LE ? std::string_view("\r\0", 2)
                                                                        : std::string_view("\0\r", 2);
    bool const wholeUnits = bytes.size() % mark.size() == 0;
    return wholeUnits && bytes.ends_with(mark) ? bytes.substr(0, bytes.size() - mark.size()) : bytes;
}

} // namespace

} // namespace xc::files

using namespace xc::files;
using xc::data::NumberParameter;

XCErrorID XCFileStream::Data::FindMark()
{
    constexpr std::size_t kLongestMark = 3;
    char front[kLongestMark];
    std::size_t got = 0;
    // A converter of the caller knows the bytes; and what was sought once need not be read again, unless the place is
    // at the front, where a mark must be passed over.
    if (options.converter || (markSought && position != 0)) return XCErrorID::Success;
    if (XCErrorID const fault = file->ReadAt(0, front, kLongestMark, got); fault.Bad()) return fault;
    markSought = got == kLongestMark; // a file that grows may have the front of one
    std::optional<XCTextEncoding> const marked = xc::encoding::MarkedEncoding({front, got});
    if (marked) encoding = *marked;
    if (marked && position == 0) {
        start = end = 0;
        position = xc::encoding::ByteOrderMark(encoding).size();
    }
    return XCErrorID::Success;
}

XCErrorID XCFileStream::Data::TooLong() const
{
    return xc::errors::MakeCoreError(XCErrFileLine, file->GetPath().AsString(), NumberParameter(line),
                                     NumberParameter(options.maxLineUnits));
}

/// @param from the place of the bytes in the file.
XCErrorID XCFileStream::Data::Decode(XCString& text, std::string_view bytes, std::uint64_t from) const
{
    bytes = WithoutReturn(bytes, encoding);
    XCErrorID const result =
        options.converter ? options.converter->ToUnicode(text, bytes) : xc::encoding::DecodePart(text, bytes, encoding);
    if (result.Good() && text.Length() > options.maxLineUnits) {
        text.Clear();
        return TooLong();
    }
    if (result.Good() || result != XCErrMalformedText || result->GetParameterType(0) != XCErrorI::ParamLong)
        return result;
    auto const at = static_cast<std::uint64_t>(*static_cast<long const*>(result->GetParameterValue(0)));
    return xc::errors::MakeCoreError(XCErrFileText, file->GetPath().AsString(), NumberParameter(line),
                                     NumberParameter(from + at));
}

XCErrorID XCFileStream::Data::ReadLine(XCString& text, bool& got)
{
    // The limit is one of units, known only after decoding: before, the bytes are bounded by the most that so many
    // units have.
    std::size_t const mostBytes = std::min(options.maxLineUnits, SIZE_MAX / kMostBytesOfUnit) * kMostBytesOfUnit;
    part.clear();
    if (XCErrorID const fault = FindMark(); fault.Bad()) return fault;
    std::uint64_t const from = position;
    std::size_t const width = IsWide(encoding) ? 2 : 1;
    for (bool tooLong = false;;) {
        if (XCErrorID const fault = Fill(); fault.Bad()) return fault;
        std::string_view const bytes = Ahead();
        if (bytes.size() < width) return ReadLast(text, from, tooLong, got);
        std::size_t const lineEnd = FindLineEnd(bytes, encoding);
        // Whole units are taken; the byte of one that the buffer cuts is read again with its other half.
        std::size_t const count = std::min(lineEnd, bytes.size() - bytes.size() % width);
        tooLong = tooLong || part.size() + count > mostBytes;
        Consume(count + (lineEnd == std::string_view::npos ? 0 : width));
        // The usual line lies whole in the buffer: it is decoded where it lies.
        if (lineEnd != std::string_view::npos && part.empty())
            return Finish(text, bytes.substr(0, count), from, tooLong, got);
        if (!tooLong) part.append(bytes, 0, count);
        if (lineEnd != std::string_view::npos) return Finish(text, part, from, tooLong, got);
        // Everything of the buffer has been taken; a byte left over is read again, as the place stands before it.
        start = end = 0;
    }
}

XCErrorID XCFileStream::Data::ReadLast(XCString& text, std::uint64_t from, bool tooLong, bool& got)
{
    // A line above the limit is told at once, for its end may never come.
    if (options.wholeLinesOnly && !tooLong) {
        position = from;
        start = end = 0;
        return XCErrorID::Success;
    }
    part.append(Ahead());
    Consume(Ahead().size());
    return part.empty() && !tooLong ? XCErrorID::Success : Finish(text, part, from, tooLong, got);
}

XCErrorID XCFileStream::Data::Finish(XCString& text, std::string_view bytes, std::uint64_t from, bool tooLong,
                                     bool& got)
{
    ++line;
    XCErrorID const result = tooLong ? TooLong() : Decode(text, bytes, from);
    got = result.Good();
    return result;
}

XCErrorID XCFileStream::Data::Encode(std::wstring_view text)
{
    if (!options.converter) return xc::encoding::AppendEncoded(held, text, encoding);
    std::string bytes;
    XCErrorID const result = options.converter->FromUnicode(bytes, text);
    held += bytes;
    return result;
}

XCErrorID XCFileStream::Data::PutText(std::wstring_view text, bool lineEnd)
{
    constexpr std::size_t kExtra = 8; // bytes of a mark and a line end
    if (XCErrorID const fault = MakeRoom(xc::text::MaxUtf8Bytes(text.size()) + kExtra); fault.Bad()) return fault;
    std::size_t const before = held.size();
    std::uint64_t size = 0;
    if (!markWritten && !options.converter) {
        if (XCErrorID const fault = file->GetSize(size); fault.Bad()) return fault;
        // Only a file that is empty, with nothing on its way, gets a mark: elsewhere it would be a character in the
        // text.
        if (size == 0 && before == 0) held = xc::encoding::ByteOrderMark(encoding);
    }
    XCErrorID result = Encode(text);
    if (result.Good() && lineEnd) result = Encode(options.crlf ? L"\r\n" : L"\n");
    // All of a text or nothing, its mark and line end included: half a line would be read as a line.
    if (result.Bad()) held.resize(before);
    markWritten = markWritten || result.Good();
    Added(held.size() - before);
    return result;
}
