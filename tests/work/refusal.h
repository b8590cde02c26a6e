// refusal.h - makes the start of threads fail where tests can reach it.
#pragma once

#if !defined(_WIN32)
#include <atomic>
extern std::atomic<bool> xc_refuseThreads; // tests/native
#endif

/// No thread starts until its end. Where threads are the system's own it refuses nothing: Works() is false.
class ThreadRefusal {
public:
    ThreadRefusal() { Refuse(true); }
    ~ThreadRefusal() { Refuse(false); }
    ThreadRefusal(ThreadRefusal const&) = delete;
    ThreadRefusal& operator=(ThreadRefusal const&) = delete;
    void End() { Refuse(false); }

#if defined(_WIN32)
    static constexpr bool Works()
    {
        return false;
    }

private:
    void Refuse(bool) {}
#else
    static constexpr bool Works()
    {
        return true;
    }

private:
    void Refuse(bool refuse)
    {
        xc_refuseThreads = refuse;
    }
#endif
};
