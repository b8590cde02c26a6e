// Host.h - what a host keeps: the list of plug-ins, their modules, and what is under way.
#pragma once

#include <XelbrinCore/XCApplicationWithPlugIns.h>
#include <XelbrinCore/XCThreadPool.h>

#include "app/host/LoadPolicy.h"
#include "app/host/ModuleSet.h"
#include "app/host/PlugInList.h"
#include "app/host/Probe.h"
#include "app/host/Quarantine.h"
#include "app/host/StopDeadline.h"
#include "app/host/Unloader.h"

#include <atomic>
#include <memory>
#include <optional>
#include <utility>

/// The parts are plain classes; the application joins them to its virtual operations.
struct XCApplicationWithPlugIns::Host final : xc::host::StopActions {
    explicit Host(XCApplicationWithPlugIns& application_) noexcept : application(application_) {}

    /// What is known of a plug-in that is being added: it is not asked twice. Scopes nest, as additions do.
    class Known {
    public:
        Known(Host& host, XCPlugIn const* plugIn, xc::host::Facts const& facts) noexcept
            : m_host(host), m_plugIn(plugIn), m_facts(facts), m_outer(std::exchange(host.m_known, this))
        {
        }
        ~Known() { m_host.m_known = m_outer; }
        Known(Known const&) = delete;
        Known& operator=(Known const&) = delete;

    private:
        friend struct Host;
        Host& m_host;
        XCPlugIn const* m_plugIn;
        xc::host::Facts const& m_facts;
        Known const* m_outer;
    };

    /// What a plug-in tells about itself: as known, else asked.
    [[nodiscard]] xc::host::Facts FactsOf(XCPlugIn const& plugIn, XCString const& path) const
    {
        for (Known const* known = m_known; known; known = known->m_outer)
            if (known->m_plugIn == &plugIn) return known->m_facts;
        return xc::host::Facts::Of(plugIn, path);
    }

    /// What of a module is still registered with the log or among the threads; null when nothing is.
    static wchar_t const* LeftBehindBy(void const* module);
    /// The value, unless this process is the child of a probe: that one ends here.
    template <class T>
    static T const& AfterProbe(T const& value, void* module)
    {
        xc::host::RunProbeIfAsked(module, &LeftBehindBy);
        return value;
    }

    XCThreadPool& JobPool();
    /// @return false when jobs go on.
    bool StopJobs() noexcept;

    // Of its deadline, on threads of the deadline:
    void SayLate() noexcept override;
    void KeepLoaded(xc::errors::CallNote const& call) noexcept override;
    void AskRest() noexcept override;
    void EndInstead() noexcept override;
    [[nodiscard]] unsigned long AskingThread() const noexcept override { return askingThread; }

    [[nodiscard]] bool IsDeadlineOver() const noexcept { return deadline && deadline->IsOver(); }
    /// How long a request to exit waits for the thread of a plug-in: within a deadline others are still to be asked.
    [[nodiscard]] unsigned int AskPatienceMs() const noexcept;
    /// Asks the plug-ins that come after a position.
    void Ask(std::uint64_t after, bool immediately) noexcept;

    XCApplicationWithPlugIns& application;
    xc::host::PlugInList list;
    std::atomic<bool> exitAsked = false; ///< RequestExit was called for the present quit request
    std::atomic<unsigned int> exitPatienceMs = XCThreadedRunPlugIn::kExitPatienceMs;
    std::atomic<unsigned long> askingThread = 0;      ///< the one that hands on the quit request
    std::atomic<std::uint64_t> lastAsked = 0;         ///< the position of the plug-in that is or was asked last
    std::unique_ptr<xc::host::StopDeadline> deadline; ///< null while nobody has set one

    std::unique_ptr<xc::host::Quarantine> quarantine; ///< null while nobody has set one
    std::optional<XCProbeOptions> probe;
    std::unique_ptr<xc::host::TrustSteps> trust;  ///< null while nobody has set a policy
    std::unique_ptr<xc::host::LoadPolicy> policy; ///< the same

    // For the thread that loads and unloads:
    xc::host::ModuleSet modules{&LeftBehindBy};
    xc::host::Unloader unloader;

private:
    Known const* m_known = nullptr;
    XCCriticalSection m_jobSection; // guards the pointer
    XCSmartPtr<XCThreadPool> m_jobs;
};
