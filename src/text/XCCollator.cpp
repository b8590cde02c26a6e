#include <XelbrinCore/XCCollator.h>

#include "text/CaseTables.h"
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

int XCTableCollator::Compare(wchar_t const* a, wchar_t const* b) const
{
    XCCollatingTable<wchar_t> const& table = *m_table;
    for (;; ++a, ++b) {
        wchar_t const left = table.Map(*a);
        wchar_t const right = table.Map(*b);
        if (left != right) return ToUint(left) < ToUint(right) ? -1 : 1;
        if (*a == L'\0') return 0;
    }
}

namespace {

using Units = wchar_t const*;

XCSmartPtrToConst<XCCollatingTable<wchar_t>> FoldingTable(Units first, Units second)
{
    XCSmartPtr<XCCollatingTable<wchar_t>> table(new XCCollatingTable<wchar_t>);
    for (unsigned int unit = 0; unit < 0x10000; ++unit) {
        wchar_t const folded = first[unit];
        table->Set(static_cast<wchar_t>(unit), second ? second[ToUint(folded)] : folded);
    }
    return table;
}

} // namespace

XCTableIgnoreCaseCollator::XCTableIgnoreCaseCollator()
    : XCTableCollator(FoldingTable(xc::text::UpperCaseTable(), nullptr))
{
}
XCTableIgnoreCaseCollator::~XCTableIgnoreCaseCollator() = default;

XCTableIgnoreAccentCollator::XCTableIgnoreAccentCollator()
    : XCTableCollator(FoldingTable(xc::text::BaseLetterTable(), nullptr))
{
}
XCTableIgnoreAccentCollator::~XCTableIgnoreAccentCollator() = default;

XCTableIgnoreCaseAndAccentCollator::XCTableIgnoreCaseAndAccentCollator()
    : XCTableCollator(FoldingTable(xc::text::BaseLetterTable(), xc::text::UpperCaseTable()))
{
}
XCTableIgnoreCaseAndAccentCollator::~XCTableIgnoreCaseAndAccentCollator() = default;
