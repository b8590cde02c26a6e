// gate.h - lets threads pass once it has been opened.
#pragma once

#include <XelbrinCore/XCThread.h>

#include <atomic>

/// Opened once; who passes before waits.
struct Gate {
    void Open() { m_open = true; }
    void Pass() const
    {
        while (!m_open) XCThread::yield();
    }

private:
    std::atomic<bool> m_open{false};
};
