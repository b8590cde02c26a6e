// Printer.h - conditions as text that the reader reads back.
//
// What the reader can build comes back exactly: a comparison or a group, with at most one linked condition after it.
// Longer lists exist only in code; they are written so that they mean the same and are evaluated in the same order:
// (a || b) & c is "(a = 1 OR b = 2) AND c = 3". In a list without a comparison of its own that holds an OR, conditions
// linked by AND before the first OR are never evaluated; they are left out.
#pragma once

#include <XelbrinCore/XCCondition.h>

#include <vector>

namespace xc::condition {

class Printer {
public:
    XCString Print(XCCondition const& condition);

private:
    /// Something still to be written: a condition, or a piece of text.
    struct Task {
        XCCondition const* condition;
        wchar_t const* text;
    };
    using LinkedConds = std::vector<XCCondition::LinkedCond const*>;

    void Plan(XCCondition const& condition);
    void PlanHead(XCCondition const& condition, LinkedConds& list);
    void PlanList(LinkedConds const& list);
    void PlanGroup(XCCondition const& sub);
    void PrintComparison(XCCondition const& condition);
    void Later(wchar_t const* text) { m_planned.push_back({nullptr, text}); }
    void Later(XCCondition const& condition) { m_planned.push_back({&condition, nullptr}); }

    XCString m_text;
    std::vector<Task> m_tasks;   ///< the next one last
    std::vector<Task> m_planned; ///< of one condition, in the order of the text
};

} // namespace xc::condition
