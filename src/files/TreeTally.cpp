// The tally of an operation on a tree. Failures of entries do not end it, so that they are gathered here; the list is cut
// at a hundred, since a volume that goes away fails for every entry. Progress steps are bytes and entries together: large
// files then move the bar by their size, and folders of many small ones by their number.
#include "files/TreeTally.h"

#include "errors/CoreError.h"
#include "files/FileErrors.h"

#include <utility>

namespace xc::files {

XCErrorID TreeError(XCCoreError code, win32::SystemPath const& path, unsigned long systemError)
{
    if (systemError != win32::kErrorLeadsElsewhere) return FileError(code, path, systemError);
    return errors::MakeCoreError(XCErrTreeLink, XCString(path.Text()));
}

TreeTally::TreeTally(XCTreeReport* report, XCSmartPtr<XCProgressI> progress)
    : m_report(report ? *report : m_own), m_progress(std::move(progress))
{
    // The caller's report may be used again: what it held belongs to an operation before.
    m_report = XCTreeReport();
}

void TreeTally::Done(win32::EntryKind const& kind, std::uint64_t bytes)
{
    ++(kind.IsLink() ? m_report.links : kind.IsFolder() ? m_report.folders : m_report.files);
    m_report.bytes += bytes;
    Step(1);
}

void TreeTally::Left()
{
    ++m_report.left;
    Step(1);
}

void TreeTally::Failed(XCErrorID const& error)
{
    if (error.Good()) return;
    ++m_report.failed;
    if (m_report.failures.size() < XCTreeReport::kMostFailures) m_report.failures.push_back(error);
}

void TreeTally::Add(XCTreeReport const& part) noexcept
{
    m_report.files += part.files;
    m_report.folders += part.folders;
    m_report.links += part.links;
    m_report.bytes += part.bytes;
}

void TreeTally::Step(std::uint64_t bytes)
{
    if (!m_progress.IsNull() && bytes != 0) m_progress->Step(bytes);
}

void TreeTally::SetRange(std::uint64_t steps)
{
    if (!m_progress.IsNull()) m_progress->SetRange(steps);
}

XCErrorID TreeTally::Result(win32::SystemPath const& path) const
{
    // The first failure stands for all of them; being stopped is told only when nothing has failed.
    if (!m_report.failures.empty()) return m_report.failures.front();
    return IsCancelled() ? errors::MakeCoreError(XCErrTreeStopped, XCString(path.Text())) : XCErrorID::Success;
}

} // namespace xc::files
