// Probe.h - a module is tried in a process of its own before it may come into this one.
#pragma once

#include <XelbrinCore/XCModuleSafety.h>
#include <XelbrinCore/XCString.h>

#include "app/host/ModuleSet.h"
#include "win32/SystemPath.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace xc::host {

/// How a probe has ended.
struct ProbeResult {
    enum class End {
        Exited,        ///< by itself, or by a fault
        NotStarted,    ///< exitCode is the number of the system's error
        TimedOut,      ///< ended by its parent
        TooMuchMemory, ///< the same, or the system has refused it memory
    };
    enum class Stage : std::uint32_t { NotBegun, Working, Passed, Refused };

    End end = End::Exited;
    unsigned long exitCode = 0;
    Stage stage = Stage::NotBegun;
    XCString call; ///< that was under way
    XCString text; ///< of Refused
};
/// Why a module is refused, in the words of one line; null when it has passed.
XCString WhyRefused(ProbeResult const& result, XCProbeOptions const& options);

/// The child process, as the system offers it. One child an object.
class ProbeSteps {
public:
    virtual ~ProbeSteps() = default;
    /// @param variable "NAME=VALUE", which the child finds in its environment beside those of this process.
    /// @return 0, or the number of the system's error.
    virtual unsigned long Start(std::wstring const& command, std::wstring const& variable,
                                std::uint64_t memoryBytes) = 0;
    /// Whether it has ended within the time.
    virtual bool WaitForEnd(unsigned int milliseconds) = 0;
    /// The memory that it keeps from others now; 0 when the system does not say.
    virtual std::uint64_t MemoryBytes() = 0;
    /// Whether the system has refused it memory above the limit.
    virtual bool HasHitLimit() = 0;
    virtual unsigned long ExitCode() = 0;
    /// Ends it, and what it has started.
    virtual void Kill() = 0;
};
std::unique_ptr<ProbeSteps> SystemProbeSteps();

/// Loads a module in a child, asks for its plug-in and the facts of that, and unloads it. Returns within twice the time
/// limit, whatever the module does. @param folders to which the child narrows its search for libraries; none: it is wide.
ProbeResult Probe(std::wstring const& path, XCString const& entryName, XCProbeOptions const& options, ProbeSteps& steps,
                  std::vector<win32::SystemPath> const& folders = {});

/// In a child: carries the order out and ends the process. Elsewhere nothing. @param module as of the application.
void RunProbeIfAsked(void* module, ModuleSet::LeftBehind leftBehind);

} // namespace xc::host
