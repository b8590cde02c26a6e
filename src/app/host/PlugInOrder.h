// PlugInOrder.h - plug-ins after those they depend on.
#pragma once

#include <cstddef>
#include <vector>

namespace xc::host {

/// For each item the items that it depends on, by their places.
using Dependencies = std::vector<std::vector<std::size_t>>;

/// A stable topological order: each item after those it depends on, otherwise in the given order.
/// Items of a cycle, and those that depend on one, stand at the end in their own order.
std::vector<std::size_t> OrderByDependency(Dependencies const& dependsOn);

/// The cycles: for each the items that all depend on one another, in the given order; an item that depends on itself is
/// one. Items that only depend on a cycle belong to none.
std::vector<std::vector<std::size_t>> FindCycles(Dependencies const& dependsOn);

} // namespace xc::host
