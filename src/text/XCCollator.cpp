// Comparison by tables: every unit has a code, units of code 0 are skipped, the first two codes that differ decide.
//
// A table of 65,536 units costs 128 KiB once and one look-up a unit; it needs no locale and gives the same order on every
// machine. Case folds by the system's invariant upper-case table, accents by the base letter of each composed letter;
// combining marks have code 0, so that a letter with a mark of its own equals the composed one. The result is an
// equivalence of words, not the alphabetical order of a language.
//
// Invariant: texts end at U+0000, whatever its code; a text whose rest is skipped equals one that has ended.
#include <XelbrinCore/XCCollator.h>

#include "text/CaseTables.h"
#include "text/Kernels.h"
#include "text/Units.h"

using xc::text::ToUint;

XCCollator::~XCCollator() = default;

XCCollatingTable<char>::XCCollatingTable() noexcept
{
    for (unsigned int i = 0; i < m_map.size(); ++i) m_map[i] = static_cast<char>(i);
}
XCCollatingTable<char>::~XCCollatingTable() = default;

XCCollatingTable<wchar_t>::XCCollatingTable() noexcept
{
    for (unsigned int i = 0; i < m_map.size(); ++i) m_map[i] = static_cast<wchar_t>(i);
}
XCCollatingTable<wchar_t>::~XCCollatingTable() = default;

XCTableCollator::XCTableCollator(XCSmartPtrToConst<XCCollatingTable<wchar_t>> table) noexcept
    : m_table(std::move(table))
{
}
XCTableCollator::~XCTableCollator() = default;

namespace {

/// The collating code of the unit at `text`, or of the first after it that is not ignored; 0 at the end.
wchar_t NextCode(XCCollatingTable<wchar_t> const& table, wchar_t const*& text) noexcept
{
    // The end is looked at first: it has code 0 like everything that is skipped.
    while (*text != L'\0' && table.Map(*text) == L'\0') ++text;
    return table.Map(*text);
}

} // namespace

int XCTableCollator::Compare(wchar_t const* a, wchar_t const* b) const
{
    XCCollatingTable<wchar_t> const& table = *m_table;
    std::size_t const same = xc::text::MismatchOrEnd(a, b); // each unit has its own code: equal beginnings are equal
    for (a += same, b += same;; ++a, ++b) {
        wchar_t left = table.Map(*a);
        wchar_t right = table.Map(*b);
        if (left == right && left != L'\0' && *a != L'\0' && *b != L'\0') continue; // nearly always
        left = NextCode(table, a);
        right = NextCode(table, b);
        if (*a == L'\0' || *b == L'\0') return *a == *b ? 0 : *a == L'\0' ? -1 : 1;
        if (left != right) return ToUint(left) < ToUint(right) ? -1 : 1;
    }
}

void XCTableCollator::AppendKey(std::string& key, wchar_t const* text) const
{
    for (; *text != L'\0'; ++text) {
        std::uint32_t const code = ToUint(m_table->Map(*text));
        if (code == 0) continue;
        // As UTF-8 writes numbers: short where codes are small, and in their order.
        char const bytes[] = {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                              static_cast<char>(0x80 | (code & 0x3F))};
        if (code < 0x80)
            key += static_cast<char>(code);
        else if (code < 0x800)
            (key += static_cast<char>(0xC0 | code >> 6)) += bytes[2];
        else
            key.append(bytes, sizeof bytes);
    }
}

namespace {

using Units = wchar_t const*;

XCSmartPtr<XCCollatingTable<wchar_t>> FoldingTable(Units first, Units second)
{
    XCSmartPtr<XCCollatingTable<wchar_t>> table(new XCCollatingTable<wchar_t>);
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
        wchar_t const folded = first[unit];
        // Both foldings become one look-up at comparison.
        table->Set(static_cast<wchar_t>(unit), second ? second[ToUint(folded)] : folded);
    }
    return table;
}

/// The same with the combining marks ignored: an accent after its letter counts as little as one within it.
XCSmartPtrToConst<XCCollatingTable<wchar_t>> AccentTable(Units upper)
{
    XCSmartPtr<XCCollatingTable<wchar_t>> table = FoldingTable(xc::text::BaseLetterTable(), upper);
    for (unsigned int mark = 0x0300; mark <= 0x036F; ++mark) table->Set(static_cast<wchar_t>(mark), L'\0');
    return table;
}

} // namespace

XCTableIgnoreCaseCollator::XCTableIgnoreCaseCollator()
    : XCTableCollator(FoldingTable(xc::text::UpperCaseTable(), nullptr))
{
}
XCTableIgnoreCaseCollator::~XCTableIgnoreCaseCollator() = default;

XCTableIgnoreAccentCollator::XCTableIgnoreAccentCollator() : XCTableCollator(AccentTable(nullptr)) {}
XCTableIgnoreAccentCollator::~XCTableIgnoreAccentCollator() = default;

XCTableIgnoreCaseAndAccentCollator::XCTableIgnoreCaseAndAccentCollator()
    : XCTableCollator(AccentTable(xc::text::UpperCaseTable()))
{
}
XCTableIgnoreCaseAndAccentCollator::~XCTableIgnoreCaseAndAccentCollator() = default;
