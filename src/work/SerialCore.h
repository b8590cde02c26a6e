// SerialCore.h - tasks one after the other on the threads of another executor.
#pragma once

#include <XelbrinCore/XCThreadPool.h>

#include "work/Executor.h"

namespace xc::work {

/// While tasks are queued, one task of the library's own stands in the executor below and runs them.
class SerialCore final : public ExecutorCore {
public:
    SerialCore(XCSmartPtr<XCExecutor> const& executor, XCString const& name) : ExecutorCore(name), m_executor(executor)
    {
    }
    ~SerialCore() override;

    XCErrorID Add(XCTask& task) override;
    void TakeOut(XCTask& task) noexcept override;
    [[nodiscard]] bool IsStopping() const noexcept override { return m_stopping.load(std::memory_order_relaxed); }
    [[nodiscard]] bool HasFreeRunner() noexcept override;
    [[nodiscard]] ExecutorCore* Below() noexcept override;
    bool NoteBlocked(int change) noexcept override;

    XCErrorID Stop(std::uint32_t timeoutMs);

private:
    class Turn;

    void Schedule() noexcept;
    void RunSome() noexcept;
    void GiveUp(XCErrorID const& why) noexcept;
    void CancelQueued(XCErrorID const& why) noexcept;

    XCSmartPtr<XCExecutor> const m_executor;
    win32::SlimLock m_lock; // guards all that follows
    win32::SlimSignal m_change;
    TaskList m_tasks;
    bool m_hasTurn = false; // stands in the executor or runs
    bool m_running = false;
    unsigned int m_blocked = 0;
    std::atomic<bool> m_stopping{false};
};

} // namespace xc::work
