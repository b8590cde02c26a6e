// The bytes of a record in each layout: as it stands, on one line, or as a JSON object.
//
// All layouts work in runs: the text is searched for the next unit that needs care, the run before it is encoded in one
// call, and the unit gets its own form. Most records hold no such unit and are encoded at once. Cost: O(units), no
// allocation beyond the growth of the target. What a record holds may come from outside the program (a name, a line of
// another system), so the one-line and JSON layouts must keep it from shaping lines: no byte of a message can begin a
// record of its own, or move the cursor of the console that shows it. JSON is that of RFC 8259; an unpaired surrogate,
// which UTF-8 cannot hold, is written as its escape.
#include "log/RecordText.h"

#include "log/Digits.h"
#include "text/HexText.h"
#include "text/Kernels.h"
#include "text/LineText.h"
#include "text/Units.h"
#include "text/Utf8.h"
#include "text/Utf8Kernels.h"

#include <algorithm>
#include <emmintrin.h>

namespace xc::log {

namespace {

bool IsWrittenOut(wchar_t unit) noexcept
{
    // Nearly all units of a log are told by the first question.
    if (text::ToUint(unit) - 0x20u < 0x7Fu - 0x20u) return unit == L'\\';
    return text::ShapesLines(unit);
}

/// Whether any unit of the text is to be written out. Eight at a time while they are plain ASCII, which nearly all are.
bool HasWrittenOut(std::wstring_view text) noexcept
{
    constexpr std::size_t kStep = 8;
    auto const splat = [](int unit) { return _mm_set1_epi16(static_cast<short>(unit)); };
    while (text.size() >= kStep) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text.data()));
        // As unsigned numbers: what is below the blank becomes large.
        __m128i const beyond = _mm_subs_epu16(_mm_sub_epi16(units, splat(0x20)), splat(0x7E - 0x20));
        __m128i const plain =
            _mm_andnot_si128(_mm_cmpeq_epi16(units, splat(L'\\')), _mm_cmpeq_epi16(beyond, _mm_setzero_si128()));
        if (_mm_movemask_epi8(plain) != 0xFFFF && std::ranges::any_of(text.substr(0, kStep), IsWrittenOut)) return true;
        text.remove_prefix(kStep);
    }
    return std::ranges::any_of(text, IsWrittenOut);
}

/// What a JSON record does not hold as it stands: what could shape the line that shows it, quote, backslash, and halves of
/// surrogate pairs, which the caller has found to be unpaired.
bool JsonEscapes(wchar_t unit) noexcept
{
    if (text::ToUint(unit) < 0x7F) return text::ToUint(unit) < 0x20 || unit == L'"' || unit == L'\\';
    return text::IsHighSurrogate(unit) || text::IsLowSurrogate(unit) || text::ShapesLines(unit);
}

void AppendJsonEscape(std::string& to, wchar_t unit)
{
    to.push_back('\\');
    switch (unit) {
    case L'"': return to.push_back('"');
    case L'\\': return to.push_back('\\');
    case L'\n': return to.push_back('n');
    case L'\r': return to.push_back('r');
    case L'\t': return to.push_back('t');
    default: break;
    }
    to.push_back('u');
    text::AppendHex(to, text::ToUint(unit), 4);
}

/// How many units from `at` on JSON takes as they stand.
std::size_t PlainRun(std::wstring_view text, std::size_t at) noexcept
{
    std::size_t end = at;
    while (end < text.size()) {
        // A pair is taken whole: each of its halves alone would look unpaired.
        bool const pair =
            text::IsHighSurrogate(text[end]) && end + 1 < text.size() && text::IsLowSurrogate(text[end + 1]);
        if (!pair && JsonEscapes(text[end])) break;
        end += pair ? 2 : 1;
    }
    return end - at;
}

/// Digits and truth values stand as the field has them: they are JSON.
void AppendJsonFields(std::string& to, std::span<XCLogField const> fields)
{
    char separator = '{';
    for (XCLogField const& field : fields) {
        to.push_back(std::exchange(separator, ','));
        AppendJsonString(to, field.GetName().View());
        to.push_back(':');
        if (field.GetKind() == XCLogField::Kind::Text)
            AppendJsonString(to, field.GetValue().View());
        else
            AppendText(to, field.GetValue().View());
    }
    to.push_back('}');
}

} // namespace

XCString FromBytes(std::string_view bytes)
{
    std::wstring units(bytes.size(), L'\0');
    // No text has more units than its bytes, so the space is enough and is only ever cut.
    units.resize(text::DecodeUtf8Leniently(units.data(), bytes));
    return XCString(std::wstring_view(units));
}

void AppendJsonTime(std::string& to, win32::WallTime const& t)
{
    char stamp[] = "0000-00-00T00:00:00.000Z";
    PutStampDigits(stamp, t);
    to += stamp;
}

void AppendLevel(std::string& to, int level)
{
    if (level < 0) to.push_back('-');
    // Negated as unsigned: the lowest level has no positive counterpart.
    AppendNumber(to, level < 0 ? 0 - static_cast<std::uint64_t>(level) : static_cast<std::uint64_t>(level));
}

void AppendText(std::string& to, std::wstring_view text)
{
    constexpr std::size_t kShort = 256;
    if (text.size() > kShort) return text::AppendUtf8(to, text); // counts first, reserves no more than needed
    // Encoded on the stack and appended once: most records are short, and counting them first would read them twice.
    char bytes[text::MaxUtf8Bytes(kShort)];
    std::size_t const run = text::NarrowAsciiRun(bytes, text.data(), text.size()); // nearly always all of it
    to.append(bytes, run == text.size() ? run : run + text::EncodeUtf8(bytes + run, text.substr(run)));
}

void AppendOnOneLine(std::string& to, std::wstring_view text)
{
    while (!text.empty()) {
        std::size_t const feed = text::FindUnit(text.data(), text.size(), L'\n');
        AppendText(to, text.substr(0, feed));
        if (feed == text.size()) return;
        text.remove_prefix(feed + 1);
        // The last feed ends the record; every other one only looked as if it did.
        to += text.empty() ? "\r\n" : "~";
    }
}

std::wstring_view WithoutLineEnd(std::wstring_view block) noexcept
{
    if (block.empty() || block.back() != L'\n') return block;
    block.remove_suffix(1);
    if (!block.empty() && block.back() == L'\r') block.remove_suffix(1);
    return block;
}

XCString EscapeControls(std::wstring_view message)
{
    // The usual message has nothing to escape, and shares its block.
    if (!HasWrittenOut(message)) return XCString(message);
    std::wstring escaped;
    escaped.reserve(message.size() + 16);
    for (wchar_t const unit : message) {
        if (IsWrittenOut(unit))
            text::AppendEscape(escaped, unit);
        else
            escaped.push_back(unit);
    }
    return XCString(std::wstring_view(escaped));
}

void AppendEscaped(std::string& to, std::wstring_view text)
{
    if (!HasWrittenOut(text)) return AppendText(to, text);
    AppendText(to, EscapeControls(text).View());
}

void AppendJsonString(std::string& to, std::wstring_view text)
{
    to.push_back('"');
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const plain = PlainRun(text, at);
        AppendText(to, text.substr(at, plain));
        at += plain;
        if (at < text.size()) AppendJsonEscape(to, text[at++]);
    }
    to.push_back('"');
}

void AppendJsonRecord(std::string& to, JsonRecord const& record)
{
    to += "{\"time\":\"";
    AppendJsonTime(to, record.utc);
    to += "\",\"level\":";
    AppendLevel(to, record.level);
    if (!record.channel.empty()) {
        to += ",\"channel\":";
        AppendJsonString(to, record.channel);
    }
    to += ",\"process\":";
    AppendNumber(to, record.process);
    to += ",\"thread\":";
    AppendNumber(to, record.thread);
    to += ",\"text\":";
    AppendJsonString(to, record.text);
    if (!record.fields.empty()) {
        to += ",\"fields\":";
        AppendJsonFields(to, record.fields);
    }
    to += "}\n";
}

} // namespace xc::log
