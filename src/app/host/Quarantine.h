// Quarantine.h - modules that have brought a run down, and what follows from it in the next ones.
#pragma once

#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCModuleSafety.h>

#include "app/host/QuarantineText.h"
#include "win32/SystemPath.h"

#include <functional>
#include <vector>

namespace xc::host {

/// One a process, on the host's thread.
class Quarantine {
public:
    /// @param file of the verdicts; journals of runs stand beside it.
    explicit Quarantine(win32::SystemPath file) : m_file(std::move(file)) {}
    /// A run that ends without EndWell leaves its journal.
    ~Quarantine();
    Quarantine(Quarantine const&) = delete;
    Quarantine& operator=(Quarantine const&) = delete;

    /// Judges the runs that have ended without removing their journals, tells what was found, and begins a journal. Bad,
    /// when none can be kept: the verdicts that can be read hold all the same.
    XCErrorID Start();
    /// Why a module is not to be loaded; null when it may be. One whose file has changed since is released.
    XCString WhySkipped(XCString const& path);
    /// The run has ended well: what it has loaded is no longer suspected.
    void EndWell() noexcept;

    [[nodiscard]] std::vector<XCModuleVerdict> List() const;
    /// Releases a module, by its path or its file name; all when it is null. Bad when there is no such one, or the file
    /// cannot be written.
    XCErrorID Clear(XCString const& module);

private:
    XCErrorID Change(std::function<bool(std::vector<Verdict>&)> const& change);
    bool TakeUp(std::vector<Verdict>& verdicts, std::vector<win32::SystemPath>& done);
    bool Judge(RunEnd const& run, std::wstring const& name, std::vector<Verdict>& verdicts);
    XCErrorID Begin();

    win32::SystemPath const m_file;
    std::vector<Verdict> m_verdicts; ///< of the moment of the last change
    bool m_started = false;          ///< the journal of the process is this one's
};

} // namespace xc::host
