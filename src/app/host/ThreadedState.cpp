// What a host knows of the thread that runs a plug-in: not started, running, ended or vanished.
//
// `running` is set and cleared by the thread itself. A thread that was ended from inside Run never clears it, so that
// IsRunning also asks the system, by a handle that the thread has duplicated for this purpose: `running` with an ended
// thread means that it has vanished. The exit of a thread is waited for in steps, because only the event of a proper
// end can be waited for together with other news.
#include "app/host/ThreadedState.h"

#include <algorithm>
#include <windows.h>

namespace xc::host {

ThreadedState::ThreadedState() = default;

ThreadedState::~ThreadedState()
{
    if (self) ::CloseHandle(self);
}

void ThreadedState::SetStarted()
{
    XCLockGuard<XCCriticalSection> const guard(section);
    if (self) ::CloseHandle(self);
    HANDLE const process = ::GetCurrentProcess();
    if (!::DuplicateHandle(process, ::GetCurrentThread(), process, &self, SYNCHRONIZE, FALSE, 0)) self = nullptr;
    threadId = XCThread::GetCurrentThreadID();
    started = running = true;
    ended.reset();
    startedEvent.post();
}

void ThreadedState::SetEnded()
{
    XCLockGuard<XCCriticalSection> const guard(section);
    running = false;
    ended.post();
}

bool ThreadedState::IsRunning()
{
    XCLockGuard<XCCriticalSection> const guard(section);
    return running && (!self || ::WaitForSingleObject(self, 0) != WAIT_OBJECT_0);
}

bool ThreadedState::WaitForEnd()
{
    unsigned int const step = std::clamp(patienceMs.load(), 1u, XCThreadedRunPlugIn::kExitStepMs);
    return ended.wait(step) == 0 || !IsRunning();
}

bool ThreadedState::HasVanished()
{
    XCLockGuard<XCCriticalSection> const guard(section);
    return running;
}

void ThreadedState::Join()
{
    thread->Join();
    thread.Clear();
}

} // namespace xc::host
