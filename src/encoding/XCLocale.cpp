// A locale as a value, read from the system once.
//
// The runtime's locales cannot be used: this compiler's library has the classic one alone, and setlocale changes what
// every thread of the host reads and prints. The system answers each question for any name instead, and the answers are
// kept. Its grouping "3;2;0" means sizes from the decimal mark on, where a final 0 repeats the last size and a text
// without it leaves all further digits together; here the sizes stand in a list whose last element repeats, and a last
// element of 0 stands for "all that are left". The order of a date is taken from the picture of the short date, where the
// first d, M and y stand in their order; units in quotes are words.
#include <XelbrinCore/XCLocale.h>

#include "errors/CoreError.h"
#include "win32/LocaleFacts.h"

#include <algorithm>

namespace {

std::vector<std::size_t> GroupsOf(std::wstring_view grouping)
{
    std::vector<std::size_t> sizes;
    for (wchar_t const unit : grouping)
        if (unit >= L'0' && unit <= L'9') sizes.push_back(static_cast<std::size_t>(unit - L'0'));
    // "3;0": the 0 goes, and the last size repeats by itself. "3": a 0 comes, and nothing does.
    if (sizes.size() > 1 && sizes.back() == 0)
        sizes.pop_back();
    else if (!sizes.empty() && sizes.back() != 0)
        sizes.push_back(0);
    return sizes;
}

XCDateOrder OrderOf(std::wstring_view picture)
{
    wchar_t order[3] = {};
    std::size_t found = 0;
    bool quoted = false;
    for (wchar_t const unit : picture) {
        if (unit == L'\'') quoted = !quoted;
        bool const isPart = unit == L'd' || unit == L'M' || unit == L'y';
        // Each part once: "dddd, d. MMMM" names the day twice.
        if (quoted || !isPart || found == 3 || std::find(order, order + found, unit) != order + found) continue;
        order[found++] = unit;
    }
    if (order[0] == L'd') return XCDateOrder::DayMonthYear;
    return order[0] == L'M' ? XCDateOrder::MonthDayYear : XCDateOrder::YearMonthDay;
}

} // namespace

XCLocale::XCLocale() : m_decimal(L"."), m_list(L",") {}

XCLocale const& XCLocale::Invariant()
{
    static XCLocale const* const invariant = new XCLocale; // used until the last instruction of the process
    return *invariant;
}

XCLocale::XCLocale(xc::win32::LocaleFacts const& facts)
    : m_name(facts.name), m_decimal(facts.decimal), m_thousands(facts.thousands), m_list(facts.list),
      m_groups(GroupsOf(facts.grouping)), m_dateOrder(OrderOf(facts.shortDate))
{
}

XCErrorID XCLocale::Find(XCString const& name, XCLocale& locale)
{
    if (name.IsNull()) {
        locale = Invariant();
        return XCErrorID::Success;
    }
    std::optional<xc::win32::LocaleFacts> const facts = xc::win32::ReadLocale(name);
    if (!facts) return xc::errors::MakeCoreError(XCErrUnknownLocale, name);
    locale = XCLocale(*facts);
    return XCErrorID::Success;
}

XCErrorID XCLocale::FindOfUser(XCLocale& locale)
{
    std::optional<xc::win32::LocaleFacts> const facts = xc::win32::ReadUserLocale();
    if (!facts) return xc::errors::MakeCoreError(XCErrUnknownLocale, XCString(L"user"));
    locale = XCLocale(*facts);
    return XCErrorID::Success;
}

std::size_t XCLocale::GetGroupSize(std::size_t index) const noexcept
{
    if (m_groups.empty() || m_thousands.IsNull()) return 0;
    return m_groups[std::min(index, m_groups.size() - 1)];
}
