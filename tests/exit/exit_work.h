// exit_work.h - a pool, server or timer in a state, for the program and the module that end with it.
#pragma once

#include "library.h"

/// Holds one of them. Its end gives them up without a Stop, as the end of static objects does. What their threads touch
/// is never freed.
struct ExitWork {
    ExitWork(std::wstring_view what, std::wstring_view state)
    {
        auto* const begun = new std::atomic<bool>(false);
        bool const blocked = state == L"blocked", busy = state == L"busy";
        auto const job = [begun, blocked, busy] {
            *begun = true;
            while (blocked) XCThread::Sleep(1000);
            while (busy && XCTask::GetCurrent() && !XCTask::GetCurrent()->IsCancelAsked()) XCThread::yield();
        };
        if (what == L"pool") m_executor = new XCThreadPool(1, 2);
        if (what == L"server") m_executor = new XCThreadServer;
        if (what == L"timer") m_queue = new XCTimerQueue;
        for (int i = 0; i < 10 && !m_executor.IsNull(); ++i) m_executor->Submit(job);
        if (!m_queue.IsNull()) {
            XCSmartPtr<XCTimer> const timer(new XCTimer(job, *m_queue));
            (void)timer->Start(1, busy ? 1 : 0);
        }
        while (!*begun) XCThread::yield();
    }
    /// Stops what is there. @return whether nothing of it runs or will run.
    bool Stop(unsigned int timeoutMs)
    {
        if (auto* const pool = dynamic_cast<XCThreadPool*>(m_executor.GetPtr())) return pool->Stop(timeoutMs).Good();
        if (auto* const server = dynamic_cast<XCThreadServer*>(m_executor.GetPtr()))
            return server->Stop(timeoutMs).Good();
        return m_queue->Stop(timeoutMs).Good();
    }

private:
    XCSmartPtr<XCExecutor> m_executor;
    XCSmartPtr<XCTimerQueue> m_queue;
};
