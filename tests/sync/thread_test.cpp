
#include "heap_blocks.h"
#include "sync/sync_test_tools.h"

namespace {

using namespace sync_test;

constexpr wchar_t kInvalid[] = L"Invalid Thread ID";

template <class F>
XCSmartPtr<XCThread> NewThread(F function)
{
    return new XCThread(XCMakeCallback(std::move(function)));
}

/// A thread that runs until the gate opens.
struct Gated {
    XCEventSemaphore gate;
    XCEventSemaphore entered;
    XCSmartPtr<XCThread> thread = NewThread([this] {
        entered.post();
        gate.wait();
    });
};

TEST(XCThread, StatesAsDocumented)
{
    Gated g;
    auto const state = [&] {
        return std::string(g.thread->IsStarted() ? "S" : "-") + (g.thread->IsRunning() ? "R" : "-") +
               (g.thread->Exists() ? "E" : "-");
    };
    EXPECT_EQ(state(), "---");
    g.thread->Join(); // never started: at once
    EXPECT_EQ(g.thread->GetThreadId(), 0ul);
    EXPECT_TRUE(g.thread->Start().Good());
    XCThread_t const id = g.thread->GetThreadId();
    EXPECT_EQ(state(), "SRE");
    EXPECT_FALSE(XCThread::DeleteThread(id)) << "still at work";
    g.gate.post();
    ASSERT_EQ(::WaitForSingleObject(id.GetHandle(), INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(state(), "S-E");
    g.thread->Join();
    EXPECT_EQ(state(), "S--");
    g.thread->Join();
    EXPECT_EQ(MessageOf([&] { XCThread::WaitForThread(id, -1); }), kInvalid);
    EXPECT_EQ(MessageOf([&] { XCThread::WaitForThread(XCThread_t(1, nullptr), 0); }), kInvalid);
    EXPECT_FALSE(XCThread::DeleteThread(id));
}

TEST(XCThread, SecondStartGoesOn)
{
    Gated g;
    ASSERT_TRUE(g.thread->Start().Good());
    XCThread_t const first = g.thread->GetThreadId();
    ASSERT_TRUE(g.thread->Start().Good());
    XCThread_t const second = g.thread->GetThreadId();
    EXPECT_NE(first, second);
    g.gate.post();
    g.thread->Join();
    EXPECT_EQ(MessageOf([&] { XCThread::WaitForThread(second, -1); }), kInvalid);
    EXPECT_EQ(MessageOf([&] { XCThread::WaitForThread(first, -1); }), L"");
    g.gate.reset();
    ASSERT_TRUE(g.thread->Start().Good());
    g.entered.wait();
    g.gate.post();
    g.thread->Join();
    EXPECT_FALSE(g.thread->Exists()) << "Join after a new start must wait for the new thread";
}

TEST(XCThread, WaitingForItselfReturnsAndKeepsTheEntry)
{
    XCEventSemaphore joining;
    std::atomic<int> reached = 0;
    XCSmartPtr<XCThread> thread;
    thread = NewThread([&] {
        joining.wait();
        for (int const timeout : {-1, 0, 5}) XCThread::WaitForThread(XCThread::GetCurrentThreadID(), timeout);
        XCThread::GetCurrentThreadP()->Join();
        reached += thread->Exists() ? 1 : 0;
    });
    thread->AddExitFunction(XCMakeCallback([&] {
        XCThread::WaitForThread(XCThread::GetCurrentThreadID(), -1);
        reached += thread->IsRunning() ? 1 : 0;
    }));
    ASSERT_TRUE(thread->Start().Good());
    joining.post();
    thread->Join();
    EXPECT_EQ(reached, 2);
}

TEST(XCThread, RefusedPriorityStartsNothing)
{
    std::atomic<int> runs = 0;
    XCSmartPtr<XCThread> const thread = NewThread([&] { ++runs; });
    for (int const priority : {3, -99}) {
        SCOPED_TRACE(priority);
        std::size_t const next = NextHandle();
        XCErrorID error = thread->Start(priority);
        EXPECT_EQ(static_cast<int>(error), 87);
        EXPECT_TRUE(error->IsKindOf(XCWinLastError::kIUID));
        EXPECT_EQ(NextHandle(), next) << "the handle was left open";
        EXPECT_FALSE(thread->IsStarted());
        EXPECT_EQ(thread->NbRef(), 1u);
    }
    for (int const priority : {-15, 2}) {
        Gated g;
        EXPECT_TRUE(g.thread->Start(priority).Good()) << "hangs where the registry stayed locked";
        EXPECT_EQ(g.thread->GetThreadPriority(), priority);
        EXPECT_TRUE(XCThread::SetThreadPriority(g.thread->GetThreadId(), 0).Good());
        EXPECT_EQ(All(static_cast<int>(g.thread->SetThreadPriority(3)), g.thread->GetThreadPriority()), All(87, 0));
        g.gate.post();
        g.thread->Join();
        EXPECT_EQ(static_cast<int>(g.thread->SetThreadPriority(0)), 1444) << "no longer registered";
        EXPECT_EQ(g.thread->GetThreadPriority(), 0x7FFFFFFF);
    }
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(XCThread::GetThreadPriority(XCThread::GetCurrentThreadID()), 0) << "the calling thread needs no entry";
}

TEST(XCThread, ExceptionsEndAtTheThread)
{
    struct NullMessage : std::exception {
        [[nodiscard]] char const* what() const noexcept override { return nullptr; }
    };
    // callback, failure
    Table<void (*)(), wchar_t const*> const rows = {
        {[] { throw XCException(L"\u00E9t\u00E9"); }, L"\u00E9t\u00E9"},
        {[] { throw std::runtime_error("UTF-8 \xC3\xA9, not UTF-8 \xE9"); }, L"UTF-8 \u00E9, not UTF-8 \u00E9"},
        {[] { throw std::bad_alloc(); }, L"out of memory"},
        {[] { throw NullMessage(); }, L"an exception without a message"},
        {[] { throw 42; }, L"unknown exception"},
        {[] {}, L"exit two"},
    };
    for (auto const& [callback, failure] : rows) {
        std::string order;
        XCSmartPtr<XCThread> thread = NewThread(callback);
        thread->AddExitFunction(XCMakeCallback([&] {
            order += '1';
            thread->AddExitFunction(XCMakeCallback([&] { order += '4'; }));
        }));
        thread->AddExitFunction(XCMakeCallback([&] {
            order += '2';
            throw std::runtime_error("exit two");
        }));
        thread->AddExitFunction(XCMakeCallback([&] { order += '3'; }));
        ASSERT_TRUE(thread->Start().Good());
        thread->Join();
        EXPECT_EQ(All(order, thread->GetFailure()), All("1234", failure));
    }
}

/// Posts its event when it goes: shows when a thread object let go of its callback.
struct Witness {
    explicit Witness(XCEventSemaphore& gone) : m_gone(&gone, [](XCEventSemaphore* event) { event->post(); }) {}

private:
    std::shared_ptr<XCEventSemaphore> m_gone;
};

TEST(XCThread, DeleteOnEndGivesEverythingBack)
{
    XCEventSemaphore gone;
    XCEventSemaphore gate;
    XCThread* const bare = new XCThread(XCMakeCallback([w = Witness(gone), &gate] { gate.wait(); }));
    bare->SetDeleteOnEnd(true);
    ASSERT_TRUE(bare->Start().Good()); // nobody ever counts it but the registry
    EXPECT_TRUE(XCThread::SetFlag(bare->GetThreadId(), 1));
    gate.post();
    gone.wait();

    gone.reset();
    gate.reset();
    XCSmartPtr<XCThread> dropped = NewThread([w = Witness(gone), &gate] { gate.wait(); });
    ASSERT_TRUE(dropped->Start().Good());
    XCThread_t const id = dropped->GetThreadId();
    dropped.Clear();
    gate.post();
    XCThread::WaitForThread(id, 1);
    EXPECT_TRUE(gone.posted()) << "kept by the registry";

    gone.reset();
    XCSmartPtr<XCThread> held = NewThread([w = Witness(gone)] { XCThread::GetCurrentThreadP()->SetDeleteOnEnd(true); });
    ASSERT_TRUE(held->Start().Good());
    held->Join(); // collected or not, it comes home after the end
    EXPECT_FALSE(held->Exists());
    EXPECT_FALSE(gone.posted()) << "the owner still holds it";
    EXPECT_EQ(held->NbRef(), 1u);
    held.Clear();
    EXPECT_TRUE(gone.posted());
}

TEST(XCThread, DestructorOfALocalObjectWaits)
{
    std::atomic<int> ended = 0;
    for (int round = 0; round < 50; ++round) {
        XCEventSemaphore gate;
        XCThread local(XCMakeCallback([&] {
            gate.wait();
            XCThread::GetCurrentThreadP()->SetDeleteOnEnd(round % 3 == 0); // too late to delete a local object
            ++ended;
        }));
        ASSERT_TRUE(local.Start().Good());
        if (round % 2) {
            ASSERT_TRUE(local.Start().Good());
        }
        gate.post();
    }
    EXPECT_EQ(ended, 75);
    XCEventSemaphore destroyed;
    XCThread* self = nullptr;
    self = new XCThread(XCMakeCallback([&] {
        delete self; // uncounted: its entry goes, its exit functions with it
        EXPECT_EQ(XCThread::GetCurrentThreadP(), nullptr);
        destroyed.post();
    }));
    self->AddExitFunction(XCMakeCallback([&] { ++ended; }));
    ASSERT_TRUE(self->Start().Good());
    destroyed.wait();
    EXPECT_EQ(ended, 75);
}

TEST(XCThread, FlagsAreBitsThatAddUp)
{
    Gated g;
    EXPECT_FALSE(g.thread->SetFlag(1)) << "not started";
    ASSERT_TRUE(g.thread->Start().Good());
    EXPECT_TRUE(g.thread->SetFlag(1) && XCThread::SetFlag(g.thread->GetThreadId(), 4));
    EXPECT_TRUE(g.thread->IsFlagSet(5) && XCThread::IsFlagSet(g.thread->GetThreadId(), 4));
    EXPECT_FALSE(g.thread->IsFlagSet(2) || g.thread->IsFlagSet(3) || g.thread->IsFlagSet(0));
    g.gate.post();
    g.thread->Join();
    EXPECT_FALSE(g.thread->IsFlagSet(1));
}

TEST(XCThread, SlotsBelongToTheirThread)
{
    unsigned long key = XCThread::AllocateThreadKey();
    int here = 0;
    XCThread::Set(key, &here);
    XCThread* seen = nullptr;
    void* there = &here;
    XCSmartPtr<XCThread> const thread = NewThread([&] {
        there = XCThread::Get(key);
        seen = XCThread::GetCurrentThreadP();
        EXPECT_EQ(XCThread::Get(XCThread::tlsDataIndex), seen);
        EXPECT_EQ(XCThread::GetCurrentThreadID(), seen->GetThreadId());
    });
    ASSERT_TRUE(thread->Start().Good());
    thread->Join();
    EXPECT_EQ(All(seen, there), All(thread.GetPtr(), nullptr));
    EXPECT_EQ(XCThread::Get(key), &here);
    EXPECT_EQ(XCThread::GetCurrentThreadP(), nullptr);
    ::SetLastError(1234);
    std::ignore = XCThread::GetCurrentThreadID();
    EXPECT_EQ(::GetLastError(), 1234u) << "asking who runs must not hide an error";
    XCThread::ReleaseThreadKey(key);
    EXPECT_EQ(key, 0xFFFFFFFFul);
    EXPECT_EQ(SystemErrorOf([&] { XCThread::Set(key, nullptr); }), 87u);
}

TEST(XCThread, NamesReachTheSystem)
{
    using Read = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    auto const read = reinterpret_cast<Read>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetThreadDescription")));
    Gated g;
    g.thread->SetName(L"first");
    ASSERT_TRUE(g.thread->Start().Good());
    for (wchar_t const* const name : {L"first", L"second"}) {
        PWSTR text = nullptr;
        if (read && SUCCEEDED(read(g.thread->GetThreadId().GetHandle(), &text))) {
            EXPECT_EQ(std::wstring(text), name);
        }
        g.thread->SetName(L"second");
    }
    g.gate.post();
    g.thread->Join();
}

} // namespace
