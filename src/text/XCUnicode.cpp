// The facts of Unicode by table.
//
// All code points with the same category, case, digit row and white space share one of about 200 records. In the basic
// plane a unit finds its record in two stages: its upper ten bits choose a block of 64, equal blocks are stored once, and
// the block gives the number of the record. That is 14 KiB for what a direct table needs 64 for, and stays in the
// first cache for text of a few scripts. The category is what is asked most, for each unit of a text, so it has two
// stages of its own that programs read without a call: a call into the library costs more than the look-up. Above the
// basic plane long runs share a record, so their starts are searched. Case is kept as a difference, which whole
// alphabets have in common. Decompositions are stored whole, not step by step: one look-up gives the final text. The
// 11,172 syllables of Hangul are computed from their number, as the standard defines them. Canonical order is a stable
// sort within each run of marks.
//
// Invariant: the searches find the last run that starts at or before a code point; both lists of runs cover all that is
// looked up in them, the first from U+10000 on, the second from 0.
#include <XelbrinCore/XCUnicode.h>

#include "text/UnicodeTables.h"
#include "text/Units.h"

#include <algorithm>
#include <vector>

namespace xc::text {

namespace {

/// The low byte of the last run that starts at or before the code point.
unsigned int RunValue(std::uint32_t const* runs, std::size_t count, char32_t point) noexcept
{
    // A run is its first code point and, in the low byte, its value; with all low bits set the search passes every run
    // that begins at the point or before.
    std::uint32_t const* const after = std::upper_bound(runs, runs + count, point << 8 | 0xFF);
    return after[-1] & 0xFF;
}

UnicodeRecord const& RecordAbove(char32_t point) noexcept
{
    static constexpr UnicodeRecord kNone{static_cast<std::uint8_t>(XCUnicodeCategory::Unassigned), 0, 0, 0, 0};
    // Past the last code point nothing is known; callers may hand on whatever a file held.
    if (point > XCUnicode::kLast) return kNone;
    return kUnicodeRecords[RunValue(kUnicodeRuns, kUnicodeRunCount, point)];
}

UnicodeRecord const& RecordOf(char32_t point) noexcept
{
    if (point > 0xFFFF) return RecordAbove(point);
    return kUnicodeRecords[kUnicodeUnits[char32_t{kUnicodeBlocks[point >> 6]} << 6 | (point & 63)]];
}

constexpr char32_t kSyllables = 0xAC00;
constexpr char32_t kSyllableCount = 11172;
constexpr char32_t kFinals = 28; // none among them
constexpr char32_t kVowels = 21;

/// The two or three letters of a syllable of Hangul.
void AppendSyllable(XCString& text, char32_t number)
{
    // A syllable's number is (lead * 21 + vowel) * 28 + final, by the order in which the standard lists them.
    text += static_cast<wchar_t>(0x1100 + number / (kVowels * kFinals));
    text += static_cast<wchar_t>(0x1161 + number / kFinals % kVowels);
    if (number % kFinals != 0) text += static_cast<wchar_t>(0x11A7 + number % kFinals);
}

/// The stored decomposition; empty when there is none.
std::wstring_view StoredDecomposition(char32_t point) noexcept
{
    char32_t const plane = point >> 16;
    // No code point above plane 2 has a decomposition, as the script that writes the tables asserts.
    if (plane > 2) return {};
    std::uint16_t const* const end = kDecomposed + kDecomposedPlanes[plane + 1];
    std::uint16_t const low = static_cast<std::uint16_t>(point);
    std::uint16_t const* const found = std::lower_bound(kDecomposed + kDecomposedPlanes[plane], end, low);
    if (found == end || *found != low) return {};
    unsigned int const place = kDecompositionPlaces[found - kDecomposed];
    return {kDecompositionUnits + (place >> 4), place & 15};
}

void AppendDecomposed(XCString& text, char32_t point)
{
    std::wstring_view const stored = point < 0xC0 ? std::wstring_view() : StoredDecomposition(point);
    if (!stored.empty())
        text.Append(stored);
    else if (point - kSyllables < kSyllableCount)
        AppendSyllable(text, point - kSyllables);
    else
        XCUnicode::Append(text, point);
}

struct Mark {
    char32_t point;
    int combiningClass;
};

/// Appends a run of marks in canonical order and empties it.
void AppendInOrder(XCString& text, std::vector<Mark>& marks)
{
    std::stable_sort(marks.begin(), marks.end(),
                     [](Mark const& a, Mark const& b) { return a.combiningClass < b.combiningClass; });
    for (Mark const& mark : marks) XCUnicode::Append(text, mark.point);
    marks.clear();
}

/// The text with each run of marks sorted by class.
XCString InCanonicalOrder(XCString const& text)
{
    XCString ordered;
    ordered.Reserve(text.Length() + 1);
    std::vector<Mark> marks;
    for (std::size_t i = 0; i < text.Length();) {
        char32_t const point = XCUnicode::Next(text.View(), i);
        int const combiningClass = XCUnicode::GetCombiningClass(point);
        // Marks move among each other only: a code point of class 0 is a border that none of them crosses.
        if (combiningClass != 0) {
            marks.push_back({point, combiningClass});
            continue;
        }
        AppendInOrder(ordered, marks);
        XCUnicode::Append(ordered, point);
    }
    AppendInOrder(ordered, marks);
    return ordered;
}

} // namespace

} // namespace xc::text

using xc::text::RecordOf;
using xc::text::UnicodeRecord;

XCString XCUnicode::GetVersion()
{
    return xc::text::kUnicodeVersion;
}

XCUnicodeCategory XCUnicode::GetCategoryAbove(char32_t point) noexcept
{
    return static_cast<XCUnicodeCategory>(xc::text::RecordAbove(point).category);
}

bool XCUnicode::IsSpace(char32_t point) noexcept
{
    return RecordOf(point).isSpace != 0;
}

int XCUnicode::GetDigitValue(char32_t point) noexcept
{
    constexpr char32_t kMathDigits = 0x1D7CE; // five rows that follow each other without a gap
    UnicodeRecord const& record = RecordOf(point);
    if (record.category != static_cast<std::uint8_t>(XCUnicodeCategory::DecimalDigit)) return -1;
    // No row of theirs begins at a multiple of 16, which the usual rows do or end six before.
    if (point - kMathDigits < 50) return static_cast<int>((point - kMathDigits) % 10);
    return static_cast<int>((point - record.digitRow) & 15);
}

char32_t XCUnicode::ToUpper(char32_t point) noexcept
{
    return point + static_cast<char32_t>(RecordOf(point).toUpper);
}

char32_t XCUnicode::ToLower(char32_t point) noexcept
{
    return point + static_cast<char32_t>(RecordOf(point).toLower);
}

int XCUnicode::GetCombiningClass(char32_t point) noexcept
{
    // Most units of most texts leave here.
    if (point < 0x300 || !IsCombining(point)) return 0;
    return static_cast<int>(xc::text::RunValue(xc::text::kCombiningRuns, xc::text::kCombiningRunCount, point));
}

XCString XCUnicode::Decompose(char32_t point)
{
    XCString text;
    xc::text::AppendDecomposed(text, point);
    return text;
}

XCString XCUnicode::Decompose(std::wstring_view text)
{
    XCString decomposed;
    decomposed.Reserve(text.size() + 1);
    for (std::size_t i = 0; i < text.size();) xc::text::AppendDecomposed(decomposed, Next(text, i));
    return xc::text::InCanonicalOrder(decomposed);
}

void XCUnicode::Append(XCString& text, char32_t point)
{
    if (point > kLast) point = 0xFFFD;
    if (point <= 0xFFFF) {
        text += static_cast<wchar_t>(point);
        return;
    }
    wchar_t const pair[] = {static_cast<wchar_t>(0xD7C0 + (point >> 10)),
                            static_cast<wchar_t>(0xDC00 | (point & 0x3FF))};
    text.Append(std::wstring_view(pair, 2));
}
