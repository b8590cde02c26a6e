#include "app/host/PlugInOrder.h"

#include <functional>
#include <queue>

namespace xc::host {

std::vector<std::size_t> OrderByDependency(std::vector<std::vector<std::size_t>> const& dependsOn)
{
    std::size_t const count = dependsOn.size();
    std::vector<std::size_t> missing(count);
    std::vector<std::vector<std::size_t>> dependents(count);
    for (std::size_t item = 0; item < count; ++item) {
        missing[item] = dependsOn[item].size();
        for (std::size_t const before : dependsOn[item]) dependents[before].push_back(item);
    }
    // Of all that are ready the one that came first goes next: the order of loading stays where nothing speaks against.
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
        if (missing[item] != 0) order.push_back(item);
    return order;
}

} // namespace xc::host
