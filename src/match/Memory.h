// Memory.h - where the lists of a construction stand.
//
// All that is needed only while an expression is built comes out of one arena, which starts on the stack: most patterns
// are built without a block of the heap but those of the program that matches.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <vector>

namespace xc::match {

using Memory = std::pmr::memory_resource*;
template <class T>
using List = std::pmr::vector<T>;

} // namespace xc::match
