// The plug-in classes: what a plug-in is when it overrides nothing, and how a threaded one is asked to end.
//
// The answers are virtual functions because modules derive from these classes across the border of the DLL; the state
// of a threaded plug-in is hidden, so that a release may change it without breaking modules. A request to exit waits
// for Run in steps: Run may end its thread instead of returning, which no event tells.
#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCSync.h>
#include <XelbrinCore/XCThread.h>

#include "app/host/ThreadedState.h"

// XCPlugIn ------------------------------------------------------------------------------------------------------

XCPlugIn::~XCPlugIn() = default;

int XCPlugIn::GetIUID() const
{
    return kIUID;
}
bool XCPlugIn::IsKindOf(int iuid) const
{
    return iuid == kIUID;
}
XCPlugIn::Status XCPlugIn::GetStatus() const
{
    return m_status.load();
}
bool XCPlugIn::IsRunningPlugIn() const
{
    return false;
}
bool XCPlugIn::IsContainerPlugIn() const
{
    return false;
}
XCUsageInfo XCPlugIn::GetUsageInfo() const
{
    return {};
}
std::vector<PlugInIdEx> XCPlugIn::GetDependentV() const
{
    return {};
}
XCErrorID XCPlugIn::Init(XCApplicationWithPlugIns const&)
{
    return XCErrorID::Success;
}
void XCPlugIn::Unload() {}
void XCPlugIn::RequestExit(bool) {}

// XCRunPlugIn, XCPlugInContainer --------------------------------------------------------------------------------

XCRunPlugIn::~XCRunPlugIn() = default;

int XCRunPlugIn::GetIUID() const
{
    return kIUID;
}
bool XCRunPlugIn::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCPlugIn::IsKindOf(iuid);
}
bool XCRunPlugIn::IsRunningPlugIn() const
{
    return true;
}

XCPlugInContainer::~XCPlugInContainer() = default;

int XCPlugInContainer::GetIUID() const
{
    return kIUID;
}
bool XCPlugInContainer::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCPlugIn::IsKindOf(iuid);
}
bool XCPlugInContainer::IsContainerPlugIn() const
{
    return true;
}

// XCThreadedRunPlugIn -------------------------------------------------------------------------------------------

XCThreadedRunPlugIn::XCThreadedRunPlugIn() : m_state(std::make_unique<xc::host::ThreadedState>()) {}
XCThreadedRunPlugIn::~XCThreadedRunPlugIn() = default;

int XCThreadedRunPlugIn::GetIUID() const
{
    return kIUID;
}
bool XCThreadedRunPlugIn::IsKindOf(int iuid) const
{
    return iuid == kIUID || XCRunPlugIn::IsKindOf(iuid);
}

void XCThreadedRunPlugIn::RequestExit(bool immediately)
{
    xc::host::ThreadedState& state = *m_state;
    // An event and not a flag, so that a Run that sleeps wakes at once.
    state.exitRequested.post();
    if (immediately || state.threadId == XCThread::GetCurrentThreadID()) return; // Run cannot wait for its own end
    unsigned int const patience = state.askMs;
    // Steps are counted, not times read: a machine that sleeps meanwhile does not use up the patience.
    for (unsigned int waited = 0; state.IsRunning() && (patience == XCInfinite || waited < patience);
         waited += kExitStepMs)
        if (state.WaitForEnd()) return;
}

bool XCThreadedRunPlugIn::IsExitRequested() const noexcept
{
    return m_state->exitRequested.posted();
}

bool XCThreadedRunPlugIn::WaitForExitRequest(unsigned int timeoutMs) const
{
    return m_state->exitRequested.wait(timeoutMs) == 0;
}
