// The order is Kahn's: items that wait for nothing go first, and each that goes takes one from the count of those that
// wait for it. Of all that are ready the one that came first goes next, so that the order of loading stays where nothing
// speaks against it; a heap finds it. The cycles are the strong components of more than one item, or of one that depends
// on itself, by Tarjan's one walk: each item gets the number of its visit and the lowest number that it can reach among
// those not yet in a component; where both are equal a component is complete. The walk keeps its own stack, since chains
// may be as long as there are plug-ins. Cost: order (items + edges) * log(items), cycles items + edges.
#include "app/host/PlugInOrder.h"

#include <algorithm>
#include <functional>
#include <queue>

namespace xc::host {

namespace {

class CycleFinder {
public:
    explicit CycleFinder(Dependencies const& dependsOn) : m_dependsOn(dependsOn), m_items(dependsOn.size()) {}

    std::vector<std::vector<std::size_t>> Find()
    {
        for (std::size_t item = 0; item < m_items.size(); ++item)
            // Every item begins a walk unless another has reached it, so the whole costs one visit for each item and
            // edge.
            if (m_items[item].number == 0) Walk(item);
        std::ranges::sort(m_cycles);
        return std::move(m_cycles);
    }

private:
    struct Item {
        std::size_t number = 0; ///< of its visit, from 1; 0: not visited
        std::size_t lowest = 0;
        std::size_t nextEdge = 0;
        bool open = false; ///< visited, and in no component yet
    };

    void Enter(std::size_t item)
    {
        m_items[item].number = m_items[item].lowest = ++m_visits;
        m_items[item].open = true;
        m_open.push_back(item);
        m_path.push_back(item);
    }

    void Walk(std::size_t first)
    {
        for (Enter(first); !m_path.empty();) {
            std::size_t const item = m_path.back();
            Item& state = m_items[item];
            // The edge to go on with is kept in the item: this is what the call stack of a recursive walk would hold.
            if (state.nextEdge == m_dependsOn[item].size()) {
                Leave(item);
                continue;
            }
            std::size_t const target = m_dependsOn[item][state.nextEdge++];
            if (m_items[target].number == 0) Enter(target);
            // An item in a finished component cannot lead back here, or it would belong to the same one.
            else if (m_items[target].open)
                state.lowest = std::min(state.lowest, m_items[target].number);
        }
    }

    void Leave(std::size_t item)
    {
        m_path.pop_back();
        Item const& state = m_items[item];
        if (!m_path.empty()) {
            std::size_t& lowest = m_items[m_path.back()].lowest;
            // What a child can reach its parent can reach.
            lowest = std::min(lowest, state.lowest);
        }
        if (state.lowest == state.number) Close(item);
    }

    /// What lies above the item on the stack of open ones is its component.
    void Close(std::size_t item)
    {
        auto const begin = std::find(m_open.rbegin(), m_open.rend(), item).base() - 1;
        std::vector<std::size_t> component(begin, m_open.end());
        m_open.erase(begin, m_open.end());
        for (std::size_t const member : component) m_items[member].open = false;
        bool const onItself = std::ranges::find(m_dependsOn[item], item) != m_dependsOn[item].end();
        if (component.size() == 1 && !onItself) return;
        std::ranges::sort(component);
        m_cycles.push_back(std::move(component));
    }

    Dependencies const& m_dependsOn;
    std::vector<Item> m_items;
    std::vector<std::size_t> m_path;
    std::vector<std::size_t> m_open;
    std::vector<std::vector<std::size_t>> m_cycles;
    std::size_t m_visits = 0;
};

} // namespace

std::vector<std::size_t> OrderByDependency(Dependencies const& dependsOn)
{
    std::size_t const count = dependsOn.size();
    std::vector<std::size_t> missing(count);
    Dependencies dependents(count);
    for (std::size_t item = 0; item < count; ++item) {
        // An item named twice is counted twice and taken off twice, so lists need not be free of repetitions.
        missing[item] = dependsOn[item].size();
        for (std::size_t const before : dependsOn[item]) dependents[before].push_back(item);
    }
    std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> ready;
    for (std::size_t item = 0; item < count; ++item)
        if (missing[item] == 0) ready.push(item);
    std::vector<std::size_t> order;
    while (!ready.empty()) {
        std::size_t const item = ready.top();
        ready.pop();
        order.push_back(item);
        for (std::size_t const dependent : dependents[item])
            if (--missing[dependent] == 0) ready.push(dependent);
    }
    for (std::size_t item = 0; item < count; ++item)
        // What waits in a cycle comes last, in the order of loading: it is started all the same, and the cycle was
        // told before.
        if (missing[item] != 0) order.push_back(item);
    return order;
}

std::vector<std::vector<std::size_t>> FindCycles(Dependencies const& dependsOn)
{
    return CycleFinder(dependsOn).Find();
}

} // namespace xc::host
