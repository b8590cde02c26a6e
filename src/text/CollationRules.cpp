// Reading the rules of an order.
//
// A line is read whole before anything of it is applied, so that a mistyped line changes nothing. Each item of a line is
// put after the one before it, which is what the order of the line means. An item that another line has placed already is
// a slip more often than a wish, so it is named; a line begins with one to go on from there.
//
// A fault is kept with line and column, and the reading goes on: a file of rules shows all of its faults at once, and
// the good lines count. When the rules as a whole cannot be built (more letters than two bytes number) the default
// order takes their place, so that a collator always has a table.
//
// Cost: the default rules are read with every table, some milliseconds in which building the order dominates.
#include <XelbrinCore/XCLevelCollator.h>

#include "text/CollationOrder.h"
#include "text/NumberText.h"

#include <optional>

namespace {

using xc::text::CollationData;
using xc::text::CollationOrder;
using xc::text::CollationStep;
using xc::text::IsBlank;

/// Letters of Latin without a decomposition stand with those that they come from.
/// As rules and not in the code of the order: what a dictionary says is data, and reads like the rules of a caller.
constexpr wchar_t kDefaultRules[] = L"ss << \u00DF <<< \u1E9E\n"
                                    L"ae << \u00E6 <<< \u00C6\n"
                                    L"oe << \u0153 <<< \u0152\n"
                                    L"o << \u00F8 <<< \u00D8\n"
                                    L"d << \u0111 <<< \u0110 << \u00F0 <<< \u00D0\n"
                                    L"h << \u0127 <<< \u0126\n"
                                    L"i << \u0131\n"
                                    L"l << \u0142 <<< \u0141\n"
                                    L"t << \u0167 <<< \u0166\n"
                                    L"th << \u00FE <<< \u00DE\n";

/// An item of a line and the step to it.
struct RuleItem {
    CollationStep step;
    std::wstring text;
    std::size_t at;
};

/// Reads one line.
class RuleLine {
public:
    explicit RuleLine(std::wstring_view line) noexcept : m_line(line) {}

    /// The items; none for a comment, an empty line and a line that is wrong.
    std::vector<RuleItem> Read()
    {
        std::vector<RuleItem> items;
        SkipBlanks();
        if (m_at == m_line.size() || m_line[m_at] == L';') return items;
        CollationStep step = CollationStep::Same;
        for (;;) {
            std::size_t const begin = m_at;
            std::wstring text = ReadItem();
            if (!m_reason && text.empty()) Fail(m_at, L"an item was expected");
            items.push_back({step, std::move(text), begin});
            SkipBlanks();
            if (m_reason || m_at == m_line.size()) break;
            step = ReadStep();
            SkipBlanks();
            if (m_reason) break;
        }
        if (!m_reason && items.size() < 2) Fail(m_at, L"<, <<, <<< or = was expected");
        if (m_reason) items.clear();
        return items;
    }
    [[nodiscard]] wchar_t const* Reason() const noexcept { return m_reason; }
    [[nodiscard]] std::size_t FaultAt() const noexcept { return m_faultAt; }

private:
    void Fail(std::size_t at, wchar_t const* reason) noexcept
    {
        m_faultAt = at;
        m_reason = reason;
    }

    void SkipBlanks() noexcept
    {
        while (m_at < m_line.size() && IsBlank(m_line[m_at])) ++m_at;
    }

    CollationStep ReadStep() noexcept
    {
        std::size_t const begin = m_at;
        wchar_t const sign = m_line[m_at];
        // Signs are taken as far as they go, so that "<<<<" is one wrong step and not a step and an item.
        while (m_at < m_line.size() && m_line[m_at] == sign && (sign == L'<' || sign == L'=')) ++m_at;
        std::size_t const count = m_at - begin;
        if (sign == L'=' && count == 1) return CollationStep::Same;
        if (sign != L'<' || count > 3) Fail(begin, L"<, <<, <<< or = was expected");
        return count == 1 ? CollationStep::Letter : count == 2 ? CollationStep::Accent : CollationStep::Case;
    }

    std::wstring ReadItem()
    {
        std::wstring item;
        for (; !m_reason && m_at < m_line.size(); ++m_at) {
            wchar_t const unit = m_line[m_at];
            // An item that holds one of these writes it with a backslash.
            if (IsBlank(unit) || unit == L'<' || unit == L'=') break;
            item += unit == L'\\' ? ReadEscape() : unit;
        }
        return item;
    }

    /// "\uXXXX", or any other character that stands for itself; m_at ends at its last unit.
    wchar_t ReadEscape() noexcept
    {
        std::size_t const begin = m_at;
        if (++m_at == m_line.size()) {
            Fail(begin, L"nothing follows the backslash");
            return 0;
        }
        if (m_line[m_at] != L'u') return m_line[m_at];
        std::uint32_t unit = 0;
        for (int i = 0; i < 4; ++i) {
            ++m_at;
            std::size_t const digit = m_at < m_line.size()
                                          ? std::wstring_view(L"0123456789ABCDEFabcdef").find(m_line[m_at])
                                          : std::wstring_view::npos;
            if (digit == std::wstring_view::npos) {
                Fail(begin, L"\\u needs four hexadecimal digits");
                return 0;
            }
            unit = unit * 16 + static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
        }
        return static_cast<wchar_t>(unit);
    }

    std::wstring_view m_line;
    std::size_t m_at = 0;
    std::size_t m_faultAt = 0;
    wchar_t const* m_reason = nullptr;
};

/// Applies lines to an order.
class RuleReader {
public:
    RuleReader(CollationOrder& order, XCString const& name, std::vector<XCLineFault>& faults) noexcept
        : m_order(order), m_name(name), m_faults(faults)
    {
    }

    void Read(std::wstring_view rules)
    {
        for (m_line = 1; !rules.empty(); ++m_line) {
            std::size_t const end = rules.find(L'\n');
            std::wstring_view line = rules.substr(0, end);
            rules.remove_prefix(end == std::wstring_view::npos ? rules.size() : end + 1);
            // Files from this system end their lines with two units, others with one.
            if (line.ends_with(L'\r')) line.remove_suffix(1);
            RuleLine reader(line);
            Apply(reader.Read());
            if (reader.Reason()) Fault(reader.FaultAt(), reader.Reason());
        }
    }

private:
    // Stops at the first item that cannot be placed: those before it stand, as if the line had ended there.
    void Apply(std::vector<RuleItem> const& items)
    {
        for (std::size_t i = 1; i < items.size(); ++i) {
            RuleItem const& item = items[i];
            // The first item of a line is an anchor and may have been placed before; only items that this line places
            // are entered.
            auto const [placed, isNew] = m_placed.emplace(item.text, m_line);
            if (!isNew)
                return Fault(item.at, L"line " + xc::text::NumberText(placed->second) + L" has placed this item");
            wchar_t const* const reason = m_order.Place(items[i - 1].text, item.step, item.text);
            if (reason) return Fault(items[i - 1].at, reason);
        }
    }

    void Fault(std::size_t at, XCString reason) { m_faults.push_back({m_name, m_line, at + 1, std::move(reason)}); }

    CollationOrder& m_order;
    XCString const& m_name;
    std::vector<XCLineFault>& m_faults;
    std::map<std::wstring, std::size_t> m_placed; ///< and the line that did
    std::size_t m_line = 0;
};

std::unique_ptr<CollationData const> MakeData(XCString const& rules, XCString const& name,
                                              std::vector<XCLineFault>& faults)
{
    CollationOrder order;
    // Faults of the default rules would not be the caller's.
    std::vector<XCLineFault> none;
    // A reader of its own for each set: rules of a caller may place anew what the defaults have placed.
    RuleReader(order, name, none).Read(kDefaultRules);
    RuleReader(order, name, faults).Read(rules.View());
    if (std::unique_ptr<CollationData const> data = order.Build()) return data;
    faults.push_back({name, 0, 0, L"there are too many letters; no rule counts"});
    return MakeData(XCString(), name, none);
}

} // namespace

XCCollationTable::XCCollationTable(std::unique_ptr<CollationData const> data) noexcept : m_data(std::move(data)) {}
XCCollationTable::~XCCollationTable() = default;

XCSmartPtrToConst<XCCollationTable> XCCollationTable::GetDefault()
{
    // Never destroyed: texts are compared until the last instruction of the process.
    static XCSmartPtrToConst<XCCollationTable> const* const table = [] {
        std::vector<XCLineFault> none;
        return new XCSmartPtrToConst<XCCollationTable>(new XCCollationTable(MakeData(XCString(), XCString(), none)));
    }();
    return *table;
}

XCSmartPtrToConst<XCCollationTable> XCCollationTable::Read(XCString const& rules, XCString const& name,
                                                           std::vector<XCLineFault>& faults)
{
    return new XCCollationTable(MakeData(rules, name, faults));
}
