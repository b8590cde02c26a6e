// TreeTally.h - counts for the caller what an operation on a tree does, and hears whether it is to go on.
#pragma once

#include <XelbrinCore/XCDirectory.h>

#include "win32/TreeSteps.h"

namespace xc::files {

/// A failure at a path: links that lead elsewhere have an error of their own; 0 is success.
XCErrorID TreeError(XCCoreError code, win32::SystemPath const& path, unsigned long systemError);

class TreeTally {
public:
    /// @param report may be null; it is emptied.
    TreeTally(XCTreeReport* report, XCSmartPtr<XCProgressI> progress);

    /// An entry is done. Counts one step.
    void Done(win32::EntryKind const& kind, std::uint64_t bytes = 0);
    /// A file of the target is left as it was.
    void Left();
    /// Keeps the first failures; success is ignored.
    void Failed(XCErrorID const& error);
    /// What a part of the operation has done, without its failures.
    void Add(XCTreeReport const& part) noexcept;
    /// Bytes on their way.
    void Step(std::uint64_t bytes);
    void SetRange(std::uint64_t steps);

    [[nodiscard]] bool IsCancelled() const noexcept { return !m_progress.IsNull() && m_progress->IsCancelled(); }
    [[nodiscard]] bool HasProgress() const noexcept { return !m_progress.IsNull(); }
    /// The first failure; XCErrTreeStopped when it was cancelled before one.
    [[nodiscard]] XCErrorID Result(win32::SystemPath const& path) const;

private:
    XCTreeReport m_own;
    XCTreeReport& m_report;
    XCSmartPtr<XCProgressI> m_progress;
};

} // namespace xc::files
