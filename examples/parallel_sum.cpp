// parallel_sum.cpp - a pool, a loop over its threads, tasks that wait for tasks, and an orderly end.
#include <XelbrinCore/XCThreadPool.h>

#include <iostream>
#include <numeric>
#include <vector>

namespace {

/// Splits the range until it is small; each half is a task, and waiting for it helps.
long long Sum(XCThreadPool& pool, int const* first, int const* last)
{
    if (last - first < 10000) return std::accumulate(first, last, 0LL);
    int const* const middle = first + (last - first) / 2;
    auto const left = pool.Submit([&pool, first, middle] { return Sum(pool, first, middle); });
    long long const right = Sum(pool, middle, last);
    if (XCErrorID const failed = left->Wait(); failed.Bad()) throw XCException(failed);
    return left->GetResult() + right;
}

} // namespace

int wmain()
{
    XCSmartPtr<XCThreadPool> const pool(new XCThreadPool(0, 0, L"sums"));
    std::vector<int> numbers(1000000);
    pool->ParallelFor(0, numbers.size(), [&](std::size_t i) { numbers[i] = static_cast<int>(i % 10); });
    auto const sum = pool->Submit([&] { return Sum(*pool, numbers.data(), numbers.data() + numbers.size()); });
    if (XCErrorID const failed = sum->Wait(); failed.Bad()) {
        std::wcerr << failed.AsString() << L'\n';
        return 1;
    }
    XCPoolStatistics const done = pool->GetStatistics();
    std::wcout << L"sum " << sum->GetResult() << L", " << done.done << L" tasks on " << done.threads << L" threads\n";
    return sum->GetResult() == 4500000 && pool->Stop(5000).Good() ? 0 : 1;
}
