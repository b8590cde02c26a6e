// A set of conditions. Three things make it cheaper than its conditions one after the other:
//
// 1. A condition that demands one value of one field is found by that value (SetKeys.h); others are candidates always.
// 2. A comparison that several candidates share is made once, over a field that is asked for once (SetTests.h).
// 3. The trees lie flat in two arrays, in the order in which they are walked.
//
// Cost of an evaluation: a look-up for each field that has keys, sorting the candidates, and of each candidate what its
// own evaluation would cost, less what was known.
//
// Invariant: a number is a candidate of every record that meets its condition. An Add that runs out of memory may leave
// nodes, comparisons and a key: they cost memory, and at most a condition is evaluated that its key would have passed
// over. They refer to the copy, which therefore is kept before anything refers to it.
#include <XelbrinCore/XCConditionSet.h>

#include "errors/CoreError.h"
#include "match/condition/EvaluateTree.h"
#include "match/condition/SetTests.h"

#include <algorithm>

namespace xc::condition {

constexpr std::uint32_t kNoTest = 0xFFFFFFFF;

/// A condition of a tree that lies flat.
struct FlatNode {
    std::uint32_t test; ///< kNoTest: `starts` is the result before the list
    bool starts;
    std::uint32_t firstSub;
    std::uint32_t subCount;
};

struct FlatSub {
    XCCondition::Link link;
    std::uint32_t node;
};

struct FlatTree {
    using Node = FlatNode;
    [[nodiscard]] bool StartOf(Node const& node) const
    {
        return node.test == kNoTest ? node.starts : tests.Holds(node.test, record, memory);
    }
    [[nodiscard]] std::size_t CountOf(Node const& node) const noexcept { return node.subCount; }
    [[nodiscard]] XCCondition::Link LinkOf(Node const& node, std::size_t i) const noexcept
    {
        return subs[node.firstSub + i].link;
    }
    [[nodiscard]] Node const* SubOf(Node const& node, std::size_t i) const noexcept
    {
        return nodes + subs[node.firstSub + i].node;
    }

    SetTests const& tests;
    FlatNode const* nodes;
    FlatSub const* subs;
    XCConditionParams const& record;
    SetMemory& memory;
};

} // namespace xc::condition

using namespace xc::condition;

struct XCConditionMatches::Memory : SetMemory {};

XCConditionMatches::XCConditionMatches() : m_memory(std::make_unique<Memory>()) {}
XCConditionMatches::~XCConditionMatches() = default;

bool XCConditionMatches::Contains(std::size_t number) const noexcept
{
    return std::binary_search(m_numbers.begin(), m_numbers.end(), number);
}

struct XCConditionSet::Inside {
    struct Entry {
        XCCondition const* condition;
        std::uint32_t root;
    };

    explicit Inside(XCSmartPtr<XCConditionSchema> of) : schema(std::move(of)), tests(schema->GetSerial()) {}

    std::uint32_t Flatten(XCCondition const& root);
    void FlattenList(XCCondition const& condition, std::uint32_t node, std::vector<XCCondition const*>& open);
    void Run(XCConditionParams const& record, SetMemory& memory, Numbers& met, bool onlyFirst) const;

    XCSmartPtr<XCConditionSchema> schema;
    SetTests tests;
    std::vector<XCSmartPtr<XCCondition>> copies;
    std::vector<Entry> entries;
    std::vector<FlatNode> nodes;
    std::vector<FlatSub> subs;
    Numbers always; ///< conditions without a key
};

/// Level by level: the nodes of a list stand one after the other, and `open` runs along with them.
std::uint32_t XCConditionSet::Inside::Flatten(XCCondition const& root)
{
    auto const first = static_cast<std::uint32_t>(nodes.size());
    std::vector<XCCondition const*> open{&root};
    nodes.push_back({});
    for (std::size_t at = 0; at < open.size(); ++at)
        FlattenList(*open[at], first + static_cast<std::uint32_t>(at), open);
    return first;
}

void XCConditionSet::Inside::FlattenList(XCCondition const& condition, std::uint32_t node,
                                         std::vector<XCCondition const*>& open)
{
    auto const firstSub = static_cast<std::uint32_t>(subs.size());
    for (XCCondition::LinkedCond const& sub : condition.GetSubConditionV()) {
        if (sub.condition.IsNull()) continue;
        subs.push_back({sub.link, static_cast<std::uint32_t>(nodes.size())});
        nodes.push_back({});
        open.push_back(sub.condition.GetPtr());
    }
    bool const compares = condition.GetOperator() != ConditionOperator::None;
    nodes[node] = {compares ? tests.Add(condition) : kNoTest, !condition.HasOr(), firstSub,
                   static_cast<std::uint32_t>(subs.size()) - firstSub};
}

void XCConditionSet::Inside::Run(XCConditionParams const& record, SetMemory& memory, Numbers& met, bool onlyFirst) const
{
    met.clear();
    // From here on nothing of the record before counts, and nothing of another set that used this memory.
    tests.Begin(memory);
    Numbers& candidates = memory.candidates;
    tests.Candidates(record, memory);
    candidates.insert(candidates.end(), always.begin(), always.end());
    // In the order of adding: it is the order of the answer, and the priority where only the first one is wanted.
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    FlatTree const tree{tests, nodes.data(), subs.data(), record, memory};
    for (std::uint32_t const number : candidates) {
        // The key of an Add that failed may name a condition that never came.
        if (number >= entries.size() || !EvaluateTree(tree, nodes.data() + entries[number].root)) continue;
        met.push_back(number);
        if (onlyFirst) return;
    }
}

XCConditionSet::XCConditionSet(XCSmartPtr<XCConditionSchema> schema)
    : m_inside(std::make_unique<Inside>(schema.IsNull() ? XCSmartPtr<XCConditionSchema>(new XCConditionSchema)
                                                        : std::move(schema)))
{
}
XCConditionSet::~XCConditionSet() = default;

XCErrorID XCConditionSet::Add(XCCondition const& condition)
{
    if (condition.GetReadError().Bad()) return condition.GetReadError();
    XCSmartPtr<XCCondition> const copy = condition.NewChild();
    if (copy.IsNull()) return xc::errors::MakeCoreError(XCErrConditionRefused, 0, condition.GetFieldName());
    *copy.GetPtr() = condition;
    if (XCErrorID unknown = copy->Bind(*m_inside->schema.GetPtr()); unknown.Bad()) return unknown;
    m_inside->copies.push_back(copy);
    auto const number = static_cast<std::uint32_t>(m_inside->entries.size());
    std::uint32_t const root = m_inside->Flatten(*copy.GetPtr());
    if (XCCondition const* const demand = DemandOf(*copy.GetPtr()))
        m_inside->tests.AddKey(*demand, number);
    else
        m_inside->always.push_back(number);
    m_inside->entries.push_back({copy.GetPtr(), root});
    return XCErrorID::Success;
}

std::size_t XCConditionSet::GetCount() const noexcept
{
    return m_inside->entries.size();
}

XCCondition const& XCConditionSet::Get(std::size_t number) const
{
    return *m_inside->entries[number].condition;
}

void XCConditionSet::Clear() noexcept
{
    *m_inside = Inside(m_inside->schema);
}

void XCConditionSet::Evaluate(XCConditionParams const& record, XCConditionMatches& matches) const
{
    m_inside->Run(record, *matches.m_memory, matches.m_numbers, false);
}

std::size_t XCConditionSet::EvaluateFirst(XCConditionParams const& record, XCConditionMatches& matches) const
{
    m_inside->Run(record, *matches.m_memory, matches.m_numbers, true);
    return matches.empty() ? npos : *matches.begin();
}
