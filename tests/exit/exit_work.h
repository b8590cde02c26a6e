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
        if (what == L"sockets") StartSockets(begun, blocked, busy);
        while (!*begun) XCThread::yield();
    }
    /// Stops what is there. @return whether nothing of it runs or will run.
    bool Stop(unsigned int timeoutMs)
    {
        if (auto* const pool = dynamic_cast<XCThreadPool*>(m_executor.GetPtr())) return pool->Stop(timeoutMs).Good();
        if (auto* const server = dynamic_cast<XCThreadServer*>(m_executor.GetPtr()))
            return server->Stop(timeoutMs).Good();
        if (!m_sockets.IsNull()) return StopSockets(timeoutMs);
        return m_queue->Stop(timeoutMs).Good();
    }

private:
    /// A connection of the process with itself; busy: a message goes round and round.
    struct Peer final : XCConnectionI {
        Peer(std::atomic<bool>* set, bool blocks) : begun(set), blocked(blocks) {}
        void OnOpen(XCConnection&) override
        {
            *begun = true;
            while (blocked) XCThread::Sleep(1000);
        }
        void OnData(XCConnection& peer, XCBytes bytes) override { (void)peer.Send(bytes); }
        std::atomic<bool>* begun;
        bool blocked;
    };
    void StartSockets(std::atomic<bool>* begun, bool blocked, bool busy)
    {
        XCSocketAddress where;
        m_sockets = new XCSocketServer(
            [begun, blocked](XCConnection&) { return XCSmartPtr<XCConnectionI>(new Peer(begun, blocked)); });
        (void)m_sockets->Listen(XCSocketAddress(XCIPAddress::Loopback(), 0), &where);
        m_client = new XCStreamSocket;
        (void)m_client->Connect(where);
        if (!busy) return;
        m_echo = new XCThread(XCMakeCallback([client = m_client] {
            char bytes[256] = {};
            std::size_t got = sizeof bytes;
            while (client->Write(bytes, got).Good() && client->Read(bytes, sizeof bytes, got).Good() && got > 0) {
            }
        }));
        (void)m_echo->Start();
    }
    bool StopSockets(unsigned int timeoutMs)
    {
        bool const stopped = m_sockets->Stop(timeoutMs).Good();
        m_client->Abort();
        if (!m_echo.IsNull()) m_echo->Join(); // its code may be a module's
        return stopped;
    }

    XCSmartPtr<XCExecutor> m_executor;
    XCSmartPtr<XCTimerQueue> m_queue;
    XCSmartPtr<XCSocketServer> m_sockets;
    XCSmartPtr<XCStreamSocket> m_client;
    XCSmartPtr<XCThread> m_echo;
};
