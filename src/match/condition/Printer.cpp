// A condition as text, without recursion.
//
// Print takes tasks from a stack: pieces of text are appended, a condition is planned as a comparison followed by the
// tasks of its list. Parentheses are the one thing that must be known ahead: where a list changes between AND and OR,
// everything before the change is one group, so as many "(" as changes stand in front. Invariant: the text means what
// the list means when it is read with the rule that the rest after a link is one condition. Cost: linear in the text.
#include "match/condition/Printer.h"

#include <algorithm>

namespace xc::condition {

namespace {

bool HasComparison(XCCondition const& condition) noexcept
{
    return condition.GetOperator() != ConditionOperator::None;
}

bool HasSubs(XCCondition const& condition) noexcept
{
    auto const& subs = condition.GetSubConditionV();
    return std::any_of(subs.begin(), subs.end(), [](auto const& sub) { return !sub.condition.IsNull(); });
}

wchar_t const* LinkText(XCCondition::Link link) noexcept
{
    return link == XCCondition::Link::And ? L" AND" : L" OR";
}

/// The sub-conditions that can matter (see Printer.h).
std::vector<XCCondition::LinkedCond const*> LiveSubs(XCCondition const& condition)
{
    // An AND before the first OR of a list without a comparison changes nothing: what it is joined to is false
    // already.
    bool live = HasComparison(condition) || !condition.HasOr();
    std::vector<XCCondition::LinkedCond const*> list;
    for (XCCondition::LinkedCond const& sub : condition.GetSubConditionV()) {
        live = live || sub.link == XCCondition::Link::Or;
        if (live && !sub.condition.IsNull()) list.push_back(&sub);
    }
    return list;
}

} // namespace

XCString Printer::Print(XCCondition const& condition)
{
    m_tasks.push_back({&condition, nullptr});
    while (!m_tasks.empty()) {
        Task const task = m_tasks.back();
        m_tasks.pop_back();
        if (task.text)
            m_text += task.text;
        else
            Plan(*task.condition);
    }
    return m_text;
}

void Printer::Plan(XCCondition const& condition)
{
    LinkedConds list = LiveSubs(condition);
    auto const changes = [&](std::size_t i) { return list[i]->link != list[i - 1]->link; };
    // Every change between AND and OR puts what stands before it into parentheses.
    std::size_t const first = HasComparison(condition) ? 1 : 2;
    for (std::size_t i = first; i < list.size(); ++i)
        if (changes(i)) m_text += L'(';
    if (HasComparison(condition)) PrintComparison(condition);
    PlanHead(condition, list);
    PlanList(list);
    // Planned in reading order, pushed in reverse: the stack then hands them out as they are to be read.
    m_tasks.insert(m_tasks.end(), m_planned.rbegin(), m_planned.rend());
    m_planned.clear();
}

/// A list without a comparison starts with its first condition in parentheses; one condition alone may keep its AND.
void Printer::PlanHead(XCCondition const& condition, LinkedConds& list)
{
    if (HasComparison(condition) || list.empty()) return;
    XCCondition::LinkedCond const& head = *list.front();
    if (list.size() == 1 && head.link == XCCondition::Link::And) {
        Later(L"AND ");
        Later(*head.condition.GetPtr());
    } else {
        PlanGroup(*head.condition.GetPtr());
    }
    list.erase(list.begin());
}

void Printer::PlanList(LinkedConds const& list)
{
    for (std::size_t i = 0; i < list.size(); ++i) {
        XCCondition const& sub = *list[i]->condition.GetPtr();
        bool const last = i + 1 == list.size();
        if (i > 0 && list[i]->link != list[i - 1]->link) Later(L")");
        Later(LinkText(list[i]->link));
        // The last condition of a run needs no parentheses: the rest after its link is one condition anyway.
        bool const ends = last || list[i + 1]->link != list[i]->link;
        if (!ends && (HasSubs(sub) || !HasComparison(sub))) {
            Later(L" ");
            PlanGroup(sub);
        } else if (HasComparison(sub) || HasSubs(sub)) {
            Later(L" ");
            Later(sub);
        }
    }
}

void Printer::PlanGroup(XCCondition const& sub)
{
    Later(L"(");
    Later(sub);
    Later(L")");
}

void Printer::PrintComparison(XCCondition const& condition)
{
    XCString part;
    condition.GetFieldName(part);
    m_text += part;
    condition.GetOperator(part);
    m_text += part;
    condition.GetSuppliedValue(part);
    m_text += part;
}

} // namespace xc::condition
