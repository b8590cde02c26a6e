// prelude.h - the test runner, the library, and the tables of tests.
#pragma once

#include "library.h"

#include <gtest/gtest.h>

namespace xc_test {
}
using namespace xc_test; // the helpers of the tests

/// A row of a table: the fault that it would catch, what is given, and what must come of it.
template <class Given, class Expected>
struct Case {
    char const* fault;
    Given given;
    Expected expected;
};

/// A table of rows; where a comment names the columns, the loop over it gives them these names.
template <class... Columns>
using Table = std::vector<std::tuple<Columns...>>;
/// A table whose first column is the fault that the row would catch.
template <class... Columns>
using Rows = Table<char const*, Columns...>;

/// Several values that are compared as one. The order in which they are asked for is not defined: no call among them may
/// change what another one reads.
template <class... Values>
std::tuple<Values const&...> All(Values const&... values)
{
    return {values...};
}
