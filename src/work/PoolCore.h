// PoolCore.h - the queue and the threads of a pool.
#pragma once

#include <XelbrinCore/XCThreadPool.h>

#include "win32/MessageEvent.h"
#include "work/Executor.h"
#include "work/TaskRing.h"

#include <memory>

namespace xc::work {

class PoolCore final : public ExecutorCore {
public:
    /// @param withMessages one thread, which serves the messages of its windows while it waits.
    PoolCore(unsigned int minimum, unsigned int maximum, XCString const& name, XCPoolOptions const& options,
             bool withMessages = false);
    ~PoolCore() override;

    XCErrorID Add(XCTask& task) override;
    void TakeOut(XCTask& task) noexcept override;
    [[nodiscard]] bool IsStopping() const noexcept override { return m_stopping.load(std::memory_order_relaxed); }
    [[nodiscard]] bool HasFreeRunner() noexcept override;
    bool NoteBlocked(int change) noexcept override;
    [[nodiscard]] win32::MessageEvent* Messages() noexcept override { return m_messages.get(); }
    void StartSpare() noexcept override;

    /// Runs a task that a waiter on one of the pool's threads has claimed, and gives its reference back.
    void Help(XCTask& task) noexcept;
    /// Runs a new task on the calling thread, which is one of the pool's.
    void RunInPlace(XCTask& task) noexcept;
    /// Stop without a wait, for the end of the public object.
    void Abandon() noexcept;
    XCErrorID Stop(std::uint32_t timeoutMs, XCStopQueued queued);
    XCErrorID WaitIdle(std::uint32_t timeoutMs);
    [[nodiscard]] XCPoolStatistics Statistics() noexcept;
    [[nodiscard]] unsigned int Maximum() const noexcept { return m_maximum; }

private:
    struct Worker { // on the stack of its thread
        TaskRing ring;
        std::atomic<XCTask*> current{nullptr};
        std::atomic<std::uint64_t> done{0}, failed{0}; // written by the worker alone
        Worker* next = nullptr;
        Worker* previous = nullptr;
    };
    struct Guest { // a task on a thread that does not serve the queue at that moment, for the report of Stop
        Frame frame;
        Guest* next = nullptr;
        Guest* previous = nullptr;
    };
    enum class Room { Queue, Refused, RunHere };

    Room MakeRoom(std::unique_lock<win32::SlimLock>& hold, XCErrorID& refused);
    void Push(XCTask& task) noexcept;
    [[nodiscard]] XCTask* Pop(XCTaskPriority priority) noexcept;
    [[nodiscard]] XCTask* Steal() noexcept;
    [[nodiscard]] std::size_t Ahead() const noexcept;
    [[nodiscard]] bool MayGrow() const noexcept;
    void Reserve() noexcept;
    XCErrorID StartReserved() noexcept;
    void WakeWorker() noexcept;
    void RefuseQueued(XCErrorID const& why) noexcept;

    void Work() noexcept;
    [[nodiscard]] XCTask* Next(Worker& worker) noexcept;
    [[nodiscard]] XCTask* Pick(Worker& worker) noexcept;
    void TakeAhead(Worker& worker) noexcept;
    void RunOn(Worker& worker, XCTask& task) noexcept;
    bool AwaitWork(std::unique_lock<win32::SlimLock>& hold) noexcept;
    void Leave(Worker& worker) noexcept;
    void RunHere(XCTask& task, std::uint64_t XCPoolStatistics::*count) noexcept;

    [[nodiscard]] bool IsIdle() const noexcept;
    [[nodiscard]] XCString DescribeRunning() noexcept;

    unsigned int const m_minimum, m_maximum;
    XCPoolOptions const m_options;
    std::unique_ptr<win32::MessageEvent> const m_messages; // null: the threads have no windows

    win32::SlimLock m_lock; // guards all that follows
    win32::SlimSignal m_work, m_room, m_change;
    TaskList m_lists[3];                  // by priority
    std::atomic<std::size_t> m_queued{0}; // in the lists
    unsigned int m_threads = 0, m_resting = 0, m_idle = 0, m_wakes = 0,
                 m_blocked = 0; // resting: looks for work or idle
    unsigned int m_roomWaiters = 0, m_changeWaiters = 0, m_picks = 0, m_guestCount = 0, m_stoppers = 0;
    Worker* m_workers = nullptr;
    Guest* m_guests = nullptr;
    bool m_draining = false, m_cannotStart = false;
    XCPoolStatistics m_statistics; // of guests and of workers that have left
    // Read by workers without the lock, and seldom written: on a line of their own.
    alignas(64) std::atomic<unsigned int> m_spinning{0};
    alignas(64) std::atomic<bool> m_detour{false}; // a worker's next task is not the one that it has taken ahead
    std::atomic<bool> m_stopping{false}, m_reporting{false};
};

} // namespace xc::work
