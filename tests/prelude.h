// prelude.h - the test runner, and those parts of the standard library that most tests use.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// A row of a table: the fault that it would catch, what is given, and what must come of it.
template <class Given, class Expected>
struct Case {
    char const* fault;
    Given given;
    Expected expected;
};
