// XCPlugIn.h - the contract between a host program and its plug-in modules.
//
// WHAT     A module is a DLL with the extension ".osx" that exports GetPlugInObject, a function without arguments that
//          returns a new plug-in (null on failure):
//
//              extern "C" __declspec(dllexport) XCPlugIn* GetPlugInObject() { return new Counter; }
//
//          Its plug-in tells a name, an identity and what it depends on; the host initialises it after those, runs it
//          when it is runnable, asks it to end, and unloads it (XCApplication.h).
// STATES   created 0 -> initialising 1 -> ready 2 -> running 3 -> finished 4. A failed Init leaves 0; a plug-in that
//          cannot run, or was not run because the program is to end, stays ready.
// LIFETIME Plug-ins are counted: GetPlugInObject returns one from new that nobody counts yet. The module stays loaded as
//          long as somebody holds its plug-in. In Unload a plug-in takes back what it has registered in the process: log
//          subscribers, threads, pointers to others.
// FAILURES The host catches whatever a plug-in throws in a call, and reports it with the plug-in's name. After a failed
//          Init the plug-in is released, Unload is not called, and its test cases leave the main menu. A threaded Run
//          that ends its thread (ExitThread) counts as ended and failed.
// THREADS  The host calls Init, Unload and Run of plain plug-ins on its own thread, Run of threaded ones on a thread of
//          their own, and RequestExit on any thread, also while Run is at work.
#pragma once

#include <XelbrinCore/XCCommandLine.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCGuid.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

class XCApplicationWithPlugIns;

namespace xc::host {
struct ThreadedState;
class PlugInAccess;
} // namespace xc::host

/// Names a plug-in: its identity, and a text for people. Equal when the identities are.
class PlugInIdEx {
public:
    /// @param text what people read about the plug-in; may be empty.
    PlugInIdEx(XCGuid const& guid, XCString text = {}) : m_guid(guid), m_text(std::move(text)) {}
    /// The identity.
    [[nodiscard]] XCGuid const& GetGuid() const noexcept { return m_guid; }
    /// What people read; may be empty.
    [[nodiscard]] XCString const& GetText() const noexcept { return m_text; }
    friend bool operator==(PlugInIdEx const& a, PlugInIdEx const& b) noexcept { return a.m_guid == b.m_guid; }

private:
    XCGuid m_guid;
    XCString m_text;
};

/// The base of all plug-ins. Virtual slots: destructor, AddRef, Release, GetIUID, IsKindOf, QueryInterface, then in the
/// order below.
class XC_API XCPlugIn : public XCObjectI {
public:
    static constexpr int kIUID = 4;
    /// Where a plug-in stands in its life; see the head of this file.
    enum Status : std::uint32_t {
        StatusCreated = 0,
        StatusInitialising = 1,
        StatusReady = 2,
        StatusRunning = 3,
        StatusFinished = 4
    };

    ~XCPlugIn() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    /// Where it stands now. Any thread.
    virtual Status GetStatus() const;
    /// The name shown between "<" and ">" in the host's messages.
    virtual XCString GetPlugInName() const = 0;
    /// Its identity, unlike that of any other plug-in, and a text for people.
    virtual PlugInIdEx GetPlugInIdEx() const = 0;
    /// Whether it has a Run: false here.
    virtual bool IsRunningPlugIn() const;
    /// Whether it brings other plug-ins: false here.
    virtual bool IsContainerPlugIn() const;
    /// The options it understands; they join the host's usage screen, also when it refuses to work. Called before Init.
    /// None by default.
    virtual XCUsageInfo GetUsageInfo() const;
    /// The plug-ins that must be loaded before it; none by default.
    virtual std::vector<PlugInIdEx> GetDependentV() const;
    /// Called once, after what it depends on. A Bad result keeps it out. Success by default.
    /// @param application the host; it lives until the plug-in was unloaded.
    virtual XCErrorID Init(XCApplicationWithPlugIns const& application);
    /// Called once before the host releases it, when its Run has ended. Nothing by default.
    virtual void Unload();
    /// The program is to end: make Run return. Called on any thread, perhaps before Run has begun, and must itself
    /// return. Nothing by default.
    /// @param immediately do not wait for the end of what is going on.
    virtual void RequestExit(bool immediately);

protected:
    XCPlugIn() noexcept = default;

private:
    friend class xc::host::PlugInAccess;
    void SetStatus(Status status) noexcept { m_status.store(status); }

    std::atomic<Status> m_status = StatusCreated;
};

/// A plug-in that does work: Run is called once on the host's thread, in the order of dependencies.
class XC_API XCRunPlugIn : public XCPlugIn {
public:
    static constexpr int kIUID = 5;

    ~XCRunPlugIn() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    bool IsRunningPlugIn() const override;
    /// The work. What it throws is reported by the host.
    virtual void Run() = 0;

protected:
    XCRunPlugIn() noexcept = default;
};

/// A plug-in whose Run has a thread of its own. Run is to return soon after IsExitRequested() has become true.
class XC_API XCThreadedRunPlugIn : public XCRunPlugIn {
public:
    static constexpr int kIUID = 7;

    ~XCThreadedRunPlugIn() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    /// Asks Run to end; unless `immediately`, looks every kExitStepMs whether it has, for at most the host's exit
    /// patience. On the plug-in's own thread it does not wait. An override calls it.
    void RequestExit(bool immediately) override;

    /// The patience of a host that has set none (XCApplicationWithPlugIns::SetExitPatience), in milliseconds.
    static constexpr unsigned int kExitPatienceMs = 10000;
    static constexpr unsigned int kExitStepMs = 200; ///< How often RequestExit looks, in milliseconds.

protected:
    XCThreadedRunPlugIn();
    /// Whether Run is to return.
    [[nodiscard]] bool IsExitRequested() const noexcept;
    /// Waits for the request at most this long, in milliseconds. @return whether it has come.
    bool WaitForExitRequest(unsigned int timeoutMs) const;

private:
    friend class xc::host::PlugInAccess;

    std::unique_ptr<xc::host::ThreadedState> m_state;
};

/// A plug-in that brings others with it; they are added before it is initialised itself. A child that fails is reported
/// and does not keep the container out; when the container fails its children go with it.
class XC_API XCPlugInContainer : public XCPlugIn {
public:
    static constexpr int kIUID = 6;

    ~XCPlugInContainer() override;
    int GetIUID() const override;
    bool IsKindOf(int iuid) const override;
    bool IsContainerPlugIn() const override;
    /// Called once, when the container is added.
    virtual XCSmartPtrVector<XCPlugIn> GetPlugInList() const = 0;

protected:
    XCPlugInContainer() noexcept = default;
};
