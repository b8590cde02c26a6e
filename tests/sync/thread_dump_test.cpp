// Dumps of all threads: named, complete, and never hung by what the threads hold.
#include "scratch_files.h"
#include "sync/sync_test_tools.h"

#include <XelbrinCore/XCStopWatch.h>
#include <XelbrinCore/XCStringParts.h>
#include <XelbrinCore/XCThread.h>
#include <XelbrinCore/XCThreadDump.h>

#include "win32/ThreadStacks.h"

namespace {

using namespace sync_test;

__attribute__((noinline)) void AllocatesInALoop(std::atomic<bool> const& stop)
{
    while (!stop) {
        std::vector<std::string> texts(20, std::string(100, 'x'));
        XCThread::yield();
    }
}

__attribute__((noinline)) void WaitsAtTheGate(XCEventSemaphore& gate)
{
    gate.wait();
}

/// Threads that wait at a gate, and as many that allocate, until the end of the object.
struct Crowd {
    explicit Crowd(int pairs)
    {
        for (int i = 0; i < 2 * pairs; ++i) {
            auto const body = [this, i] { i % 2 == 0 ? WaitsAtTheGate(gate) : AllocatesInALoop(stop); };
            XCSmartPtr<XCThread> const thread = new XCThread(XCMakeCallback(body));
            thread->SetName(i % 2 == 0 ? L"waits" : L"allocates");
            EXPECT_TRUE(thread->Start(i % 2 == 0 ? 0 : THREAD_PRIORITY_LOWEST).Good());
            threads.push_back(thread);
        }
    }
    ~Crowd()
    {
        stop = true;
        gate.post();
        for (auto const& thread : threads) thread->Join();
    }
    XCEventSemaphore gate;
    std::atomic<bool> stop{false};
    std::vector<XCSmartPtr<XCThread>> threads;
};

int Count(std::string const& text, std::string const& part)
{
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(ThreadDump, TellsWhoTheThreadsAreAndWhereTheyStand)
{
    Crowd const crowd(1);
    XCString dump;
    std::string text;
    for (int i = 0; i < 1000 && text.find("WaitsAtTheGate") == std::string::npos; ++i) { // until it has come there
        ASSERT_TRUE(XCDumpAllStacks(dump).Good());
        text = std::string(dump.AsUTF8());
    }
    std::size_t const waits = text.find(" \"waits\"\n");
    EXPECT_LT(waits, text.find("(which asks)")) << "registered ones come first\n" << text;
    EXPECT_LT(text.find("WaitsAtTheGate", waits), text.find("\nthread ", waits)) << "not in its own thread\n" << text;
    // Whichever function of the library waits in the end: a build may turn the call of the last one into a jump.
    EXPECT_LT(text.find("XelbrinCore-x64.dll!", waits), text.find("WaitsAtTheGate", waits))
        << "not the innermost first";
    EXPECT_EQ(Count(text, " \"allocates\"\n"), 1);
    XCDumpOptions few;
    few.onlyRegistered = true;
    few.maxFrames = 1;
    ASSERT_TRUE(XCDumpAllStacks(dump, few).Good());
    EXPECT_EQ(XCSplit(dump.View(), L"\n").size(), 5u) << dump.AsUTF8();
}

// XC_DUMP_ROUNDS: how many dumps; 3 without it.
TEST(ThreadDump, EndsWhileHundredsAllocate)
{
    Crowd const crowd(100);
    XCString dump;
    XCDumpOptions ours; // the calling thread stands in the test runner, which has no symbols
    ours.onlyRegistered = true;
    ASSERT_TRUE(XCDumpAllStacks(dump).Good()); // reads the symbols
    int frames = 0, unnamed = 0;
    double slowest = 0, sum = 0;
    int const rounds = std::getenv("XC_DUMP_ROUNDS") ? std::atoi(std::getenv("XC_DUMP_ROUNDS")) : 3;
    for (int round = 0; round < rounds; ++round) {
        auto const start = std::chrono::steady_clock::now();
        ASSERT_TRUE(XCDumpAllStacks(dump, ours).Good());
        std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
        slowest = std::max(slowest, took.count());
        sum += took.count();
        std::string const text(dump.AsUTF8());
        EXPECT_EQ(Count(text, " \"waits\"\n") + Count(text, " \"allocates\"\n"), 200);
        EXPECT_EQ(Count(text, "not reachable"), 0);
        for (char const* const module : {"    test_thread_dump.exe", "    XelbrinCore-x64.dll"}) {
            frames += Count(text, module);
            unnamed += Count(text, module + std::string("+0x"));
        }
    }
    std::printf("%d dumps, mean %.0f ms, slowest %.0f ms, %d frames of ours, %d unnamed\n", rounds, sum / rounds,
                slowest, frames, unnamed);
    EXPECT_GT(frames, rounds * 400);
    EXPECT_LT(unnamed * 100, frames);
}

TEST(ThreadDump, AThreadThatCannotBeCopiedIsResumed)
{
    using State = xc::win32::ThreadStack::State;
    /// For one thread the system's answer does not come until somebody resumes it.
    struct HangingSteps final : xc::win32::SuspendSteps {
        bool Copy(void* thread, xc::win32::StackPicture& picture) noexcept override
        {
            if (::GetThreadId(thread) != hangs) return SuspendSteps::Copy(thread, picture);
            resumed.reset();
            return resumed.wait(20000) == 0;
        }
        void Resume(void* thread) noexcept override
        {
            SuspendSteps::Resume(thread);
            if (::GetThreadId(thread) == hangs) resumed.post();
        }
        unsigned long hangs = 0;
        XCEventSemaphore resumed;
    } steps;
    Crowd const crowd(2);
    steps.hangs = crowd.threads[1]->GetThreadId();
    for (bool const alone : {true, false}) {
        auto const ids = alone ? std::vector{steps.hangs} : std::vector<unsigned long>{};
        int unreachable = 0, walked = 0;
        for (auto const& stack : xc::win32::CaptureThreads(ids, 50, steps)) {
            EXPECT_EQ(stack.state == State::Unreachable, stack.id == steps.hangs);
            unreachable += stack.state == State::Unreachable ? 1 : 0;
            walked += stack.state == State::Walked ? 1 : 0;
        }
        EXPECT_EQ(unreachable, 1);
        EXPECT_GE(walked, alone ? 0 : 4) << "the others of its batch";
    }
    EXPECT_TRUE(xc::win32::CaptureThreads({steps.hangs}, 50)[0].state == State::Walked);
}

TEST(ThreadDump, AFileGetsTimesPriorityAndFlags)
{
    Crowd const crowd(1);
    crowd.threads[0]->SetFlag(0x24);
    xc_test::ScratchFolder const folder;
    EXPECT_TRUE(XCWriteThreadInfo(folder.Path("threads.txt")).Good());
    EXPECT_TRUE(XCWriteThreadInfo(folder.Path("threads.txt")).Good());
    std::string const text = folder.Bytes("threads.txt");
    EXPECT_EQ(Count(text, "\r\n        flags 0x24\r\n"), 2) << text;
    EXPECT_EQ(Count(text, "\r\n    thread "), Count(text, ", elapsed ")) << text;
    EXPECT_EQ(static_cast<long>(XCWriteThreadInfo(folder.Path())), XCErrFileCannotWrite);
}

} // namespace
