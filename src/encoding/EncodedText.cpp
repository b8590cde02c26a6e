// The encoding of a file is guessed once, when it is read, and kept for writing it back.
//
// A byte order mark decides. Without one the bytes are read as UTF-8: text of another encoding is hardly ever
// well-formed UTF-8 by chance, because every byte above 7F would have to belong to a sequence. What is no UTF-8 is in the
// ANSI code page of the system. UTF-16 without a mark is not guessed: short ASCII files would be mistaken for it.
//
// Files are decoded into a buffer of units of their own (UnitBuffer) and parts of files into a caller's string: a file
// is read once and cut into views, while a stream brings one line after the other into the same string, whose memory is
// used again. In both the target stays as it was when the bytes are no text.
#include "encoding/EncodedText.h"

#include "encoding/TextErrors.h"
#include "text/StringAccess.h"
#include "text/Units.h"
#include "text/Utf8.h"

#include <XelbrinCore/XCError.h>

#include <bit>
#include <cstring>

namespace xc::encoding {

namespace {

using Encoding = XCTextEncoding;

static_assert(std::endian::native == std::endian::little);

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LEMark = "\xFF\xFE";
constexpr std::string_view kUtf16BEMark = "\xFE\xFF";

void SwapBytes(wchar_t* units, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t const unit = text::ToUint(units[i]);
        // Plain arithmetic on whole units: the compiler makes vectors of it, and UTF-16 of the other order is rare.
        units[i] = static_cast<wchar_t>((unit >> 8 | unit << 8) & 0xFFFF);
    }
}

std::optional<UnitBuffer> DecodeUtf16(std::string_view bytes, Encoding encoding)
{
    // Half a unit at the end means that the file was cut or is no UTF-16.
    if (bytes.size() % sizeof(wchar_t) != 0) return std::nullopt;
    std::size_t const count = bytes.size() / sizeof(wchar_t);
    UnitBuffer text(count);
    if (count != 0) std::memcpy(text.Units(), bytes.data(), bytes.size());
    if (encoding == Encoding::Utf16BE) SwapBytes(text.Units(), count);
    text.SetLength(count);
    return text;
}

/// @param used receives how many bytes were text.
UnitBuffer DecodeUtf8Start(std::string_view bytes, std::size_t& used)
{
    // No character has more units than bytes: one allocation without a count before.
    // A page of two bytes needs no more units than bytes either.
    UnitBuffer text(bytes.size());
    used = 0;
    if (!bytes.empty()) text.SetLength(xc::text::DecodeUtf8(text.Units(), bytes, used));
    return text;
}

std::optional<UnitBuffer> DecodeUtf8(std::string_view bytes)
{
    std::size_t used = 0;
    std::optional<UnitBuffer> text = DecodeUtf8Start(bytes, used);
    // One bad byte decides against UTF-8 for the whole: half of a text in each of two encodings would be worse than a
    // guess.
    if (used != bytes.size()) text.reset();
    return text;
}

/// Goes by a string, since the strict converter asks the system twice; the copy costs little in comparison.
/// @param malformedAt receives the place of the first byte that is no text.
std::optional<UnitBuffer> DecodeAnsi(std::string_view bytes, std::size_t* malformedAt = nullptr)
{
    XCString units;
    XCErrorID const result = XCCodePageConverter().ToUnicode(units, bytes);
    if (result.Bad()) {
        if (malformedAt &&
            result->GetParameterType(0) == XCErrorI::ParamLong) // the position; none if the page is unknown
            *malformedAt = static_cast<std::size_t>(*static_cast<long const*>(result->GetParameterValue(0)));
        return std::nullopt;
    }
    UnitBuffer text(units.Length());
    std::memcpy(text.Units(), units.AsWChar(), units.Length() * sizeof(wchar_t));
    text.SetLength(units.Length());
    return text;
}

/// The text itself where its storage can take n units, else `fresh`.
/// UTF-16 cannot fail half-way, so that the caller's own memory may be written at once.
XCString& Writable(XCString& text, XCString& fresh, std::size_t n)
{
    if (xc::text::StringAccess::CanWrite(text, n)) return text;
    fresh.Reserve(n + 1);
    return fresh;
}

/// Short ones by the stack: a text that cannot be read leaves the target as it was.
XCErrorID DecodeUtf8Part(XCString& text, std::string_view bytes)
{
    constexpr std::size_t kOnStack = 512;
    std::size_t used = 0;
    if (bytes.size() <= kOnStack) {
        wchar_t units[kOnStack];
        std::size_t const count = xc::text::DecodeUtf8(units, bytes, used);
        // Lines are mostly shorter than this: one that is no text has cost no memory.
        if (used == bytes.size()) text.Assign(units, count);
    } else if (xc::text::DecodeUtf8(text, bytes, &used)) {
        return XCErrorID::Success;
    }
    return used == bytes.size() ? XCErrorID() : MalformedText(used);
}

XCErrorID DecodeUtf16Part(XCString& text, std::string_view bytes, Encoding encoding)
{
    std::size_t const count = bytes.size() / sizeof(wchar_t);
    if (bytes.size() % sizeof(wchar_t) != 0) return MalformedText(bytes.size() - 1);
    XCString fresh;
    XCString& target = Writable(text, fresh, count);
    if (count != 0) std::memcpy(xc::text::StringAccess::Units(target), bytes.data(), bytes.size());
    if (encoding == Encoding::Utf16BE) SwapBytes(xc::text::StringAccess::Units(target), count);
    xc::text::StringAccess::SetLength(target, count);
    if (&target == &fresh) text.Swap(fresh);
    return XCErrorID::Success;
}

void AppendUtf16(std::string& bytes, std::wstring_view text, Encoding encoding)
{
    std::wstring units(text);
    if (encoding == Encoding::Utf16BE) SwapBytes(units.data(), units.size());
    bytes.append(reinterpret_cast<char const*>(units.data()), units.size() * sizeof(wchar_t));
}

/// On failure the converter leaves its result empty, so that nothing is appended.
XCErrorID AppendAnsi(std::string& bytes, std::wstring_view text)
{
    std::string encoded;
    XCErrorID const result = XCCodePageConverter().FromUnicode(encoded, text);
    bytes += encoded;
    return result;
}

XCErrorID AppendUtf8(std::string& bytes, std::wstring_view text)
{
    // Written leniently half a pair would read back as another character; who saves must know.
    std::size_t const old = bytes.size();
    std::size_t const whole = xc::text::AppendUtf8Strictly(bytes, text);
    if (whole == text.size()) return XCErrorID::Success;
    bytes.resize(old);
    return UnmappableUnit(text[whole], whole);
}

} // namespace

std::optional<UnitBuffer> DecodeText(std::string_view bytes, Encoding& encoding)
{
    // A mark is believed even where the text then proves wrong: whoever wrote it meant that encoding.
    if (std::optional<Encoding> const marked = MarkedEncoding(bytes)) {
        encoding = *marked;
        bytes.remove_prefix(ByteOrderMark(encoding).size());
        return encoding == Encoding::Utf8WithMark ? DecodeUtf8(bytes) : DecodeUtf16(bytes, encoding);
    }
    encoding = Encoding::Utf8;
    if (std::optional<UnitBuffer> text = DecodeUtf8(bytes)) return text;
    encoding = Encoding::Ansi;
    return DecodeAnsi(bytes);
}

UnitBuffer DecodeStart(std::string_view bytes, Encoding encoding)
{
    bytes.remove_prefix(ByteOrderMark(encoding).size());
    std::size_t at = 0;
    switch (encoding) {
    case Encoding::Utf16LE:
    case Encoding::Utf16BE: return *DecodeUtf16(bytes.substr(0, bytes.size() / 2 * 2), encoding);
    // The first call tells where it fails, the second decodes up to there: only for messages about malformed files.
    case Encoding::Ansi: (void)DecodeAnsi(bytes, &at); return DecodeAnsi(bytes.substr(0, at)).value_or(UnitBuffer(0));
    default: return DecodeUtf8Start(bytes, at);
    }
}

XCErrorID DecodePart(XCString& text, std::string_view bytes, Encoding encoding)
{
    switch (encoding) {
    case Encoding::Utf16LE:
    case Encoding::Utf16BE: return DecodeUtf16Part(text, bytes, encoding);
    case Encoding::Ansi: return XCCodePageConverter().ToUnicode(text, bytes);
    default: return DecodeUtf8Part(text, bytes);
    }
}

std::optional<Encoding> MarkedEncoding(std::string_view bytes) noexcept
{
    // No mark begins with another one, so that the order does not matter.
    for (Encoding const marked : {Encoding::Utf8WithMark, Encoding::Utf16LE, Encoding::Utf16BE})
        if (bytes.starts_with(ByteOrderMark(marked))) return marked;
    return std::nullopt;
}

std::string_view ByteOrderMark(Encoding encoding) noexcept
{
    switch (encoding) {
    case Encoding::Utf8WithMark: return kUtf8Mark;
    case Encoding::Utf16LE: return kUtf16LEMark;
    case Encoding::Utf16BE: return kUtf16BEMark;
    default: return {};
    }
}

XCErrorID AppendEncoded(std::string& bytes, std::wstring_view text, Encoding encoding)
{
    switch (encoding) {
    case Encoding::Utf16LE:
    case Encoding::Utf16BE: AppendUtf16(bytes, text, encoding); return XCErrorID::Success;
    case Encoding::Ansi: return AppendAnsi(bytes, text);
    default: return AppendUtf8(bytes, text);
    }
}

} // namespace xc::encoding
