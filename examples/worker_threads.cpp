// worker_threads: four threads share two units of a resource and report in the order of their turns.
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>

#include <cstdio>
#include <stdexcept>
#include <vector>

namespace {

constexpr unsigned int kWorkers = 4;

/// What all workers use.
struct Shared {
    XCCountingSemaphore units{2}; // at most two compute at the same time
    XCBaton baton;                // results come in the order of the workers
    XCCriticalSection section;    // guards the sum
    unsigned long sum = 0;
};

unsigned long Compute(unsigned int worker)
{
    unsigned long result = 0;
    for (unsigned long i = 1; i <= 1000; ++i) result += i * worker;
    return result;
}

void Work(Shared& shared, unsigned int worker)
{
    unsigned long result = 0;
    {
        XCLockGuard const unit(shared.units, 1u);
        result = Compute(worker);
    }
    {
        XCLockGuard const guard(shared.section);
        shared.sum += result;
    }
    XCLockGuard const turn(shared.baton, worker);
    std::printf("worker %u: %lu\n", worker, result);
    if (worker == kWorkers) throw std::runtime_error("the last worker gives up");
}

} // namespace

int wmain()
{
    Shared shared;
    std::vector<XCSmartPtr<XCThread>> threads;
    for (unsigned int worker = kWorkers; worker >= 1; --worker) {
        threads.push_back(new XCThread(XCMakeCallback([&shared, worker] { Work(shared, worker); })));
        threads.back()->SetName(L"worker");
        if (threads.back()->Start().Bad()) return 1;
    }
    unsigned int failures = 0;
    for (auto const& thread : threads) {
        thread->Join();
        if (!thread->GetFailure().IsNull()) ++failures;
    }
    std::printf("sum %lu, %u failed\n", shared.sum, failures);
    return shared.sum == 5005000 && failures == 1 ? 0 : 1;
}
