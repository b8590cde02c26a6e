// XCLocale.h - how a country writes numbers, lists and dates, as a value.
//
// WHAT     Decimal mark, thousands separator, grouping, list separator and the order of dates of one locale. Whoever reads
//          or writes for people hands one to XCStringStream; everything else uses Invariant(), which groups nothing.
// TRAPS    Separators are texts, not ASCII characters: Switzerland writes U+2019, France U+202F or U+00A0, and some
//          locales group by three and then by two. None of them may be compared with a character constant.
// COST     Find asks the system six times, some microseconds; copying counts references.
// ERRORS   A name that the system does not know: XCErrUnknownLocale, and the object as it was.
// THREADS  A value: any threads may read one object. The locale of the process and of its threads is never read nor
//          changed, with one exception: FindOfUser reads the settings of the user.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <vector>

namespace xc::win32 {
struct LocaleFacts;
} // namespace xc::win32

/// The order of the parts of a date in figures.
enum class XCDateOrder { YearMonthDay, DayMonthYear, MonthDayYear };

/// The conventions of one locale. A value type; default-constructed it is the invariant one.
class XC_API XCLocale {
public:
    /// The invariant locale: see Invariant.
    XCLocale();
    /// The locale of programs: "1234.5", lists with a comma, year before month before day, the name empty.
    static XCLocale const& Invariant();
    /// The locale of a name such as "de-DE", as the system ships it. Bad (XCErrUnknownLocale), and `locale` as it was,
    /// when the system does not know it. The empty name is the invariant locale.
    static XCErrorID Find(XCString const& name, XCLocale& locale);
    /// The locale of the user, with what the user has changed.
    static XCErrorID FindOfUser(XCLocale& locale);

    /// As the system writes it; empty: the invariant one.
    [[nodiscard]] XCString const& GetName() const noexcept { return m_name; }
    /// What stands before the decimals; never empty.
    [[nodiscard]] XCString const& GetDecimal() const noexcept { return m_decimal; }
    /// What stands between groups of digits; empty: nothing does.
    [[nodiscard]] XCString const& GetThousands() const noexcept { return m_thousands; }
    /// What stands between the members of a list.
    [[nodiscard]] XCString const& GetList() const noexcept { return m_list; }
    /// The order of day, month and year in a short date.
    [[nodiscard]] XCDateOrder GetDateOrder() const noexcept { return m_dateOrder; }
    /// The digits in the group with this index, counted from the decimal mark; 0: all that are left.
    [[nodiscard]] std::size_t GetGroupSize(std::size_t index) const noexcept;
    /// Whether name and conventions are the same.
    friend bool operator==(XCLocale const& a, XCLocale const& b) = default;

private:
    explicit XCLocale(xc::win32::LocaleFacts const& facts);

    XCString m_name;
    XCString m_decimal;
    XCString m_thousands;
    XCString m_list;
    std::vector<std::size_t> m_groups; ///< the last one repeats, unless it is 0
    XCDateOrder m_dateOrder = XCDateOrder::YearMonthDay;
};
