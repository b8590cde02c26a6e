// PlugInOrder.h - plug-ins after those they depend on.
#pragma once

#include <cstddef>
#include <vector>

namespace xc::host {

/// A stable topological order. @param dependsOn for each item the items that must stand before it.
/// Items of a cycle, and those that depend on one, stand at the end in their own order.
std::vector<std::size_t> OrderByDependency(std::vector<std::vector<std::size_t>> const& dependsOn);

} // namespace xc::host
