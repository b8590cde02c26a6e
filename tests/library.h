// library.h - the library, and those parts of the standard library that most tests and fuzz targets use.
#pragma once

#include <XelbrinCore/XelbrinCore.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace xc_test {

/// Runs work(0) to work(count - 1), each on a thread of its own, and waits for them.
template <class Work>
void OnThreads(int count, Work const& work)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back([&work, i] { work(i); });
    for (std::thread& thread : threads) thread.join();
}

} // namespace xc_test
