// XCProgress.h - how far a long job is: steps from any thread, notices at a readable pace, cancellation.
//
// WHAT     A job is handed an XCProgressI and steps. XCProgress gathers the steps and tells its listener at most ten
//          times a second, and once at the end. A job made of jobs hands each a part of itself (AddPart), which counts
//          as so many of its own steps. XCConsoleProgress is a listener that draws a bar on the console.
// PACE     Notices come with the calls of the job: one that makes none for a minute is not heard of for a minute.
//          What falls between two notices is in the next one, and everything in the last.
// COST     A step: one atomic addition and a look at the clock, some 15 ns; a lock only when a notice is due. A notice
//          walks the parts that are open.
// LIFETIME Counted. The listener lives as long as the progress or any of its parts.
// ERRORS   None but std::bad_alloc; an exception of the listener ends that notice and nothing else.
// THREADS  Any, all functions. The listener is called on the thread that steps, by one at a time and under no lock, and
//          may use the progress. When Finish has returned, no notice runs or will run; called by the listener itself,
//          it does not wait, and the last notice follows the running one.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace xc::sync {
class ProgressTree;
} // namespace xc::sync

/// What a job sees of its progress.
class XC_API XCProgressI : public XCRefCount {
public:
    ~XCProgressI() override;
    /// How many steps the job has, the weights of its parts included. As long as it is 0, the job stands at its beginning.
    virtual void SetRange(std::uint64_t steps) = 0;
    /// So many more steps are done. Those above the range count as the range.
    virtual void Step(std::uint64_t steps = 1) = 0;
    /// What is being done now, in a few words.
    virtual void SetText(XCString const& text) = 0;
    /// Whether somebody wants the job to end; it should look some times a second.
    [[nodiscard]] virtual bool IsCancelled() const noexcept = 0;
    /// A part of the job that counts as `weight` of its steps. It is done when it is released, whatever it has stepped.
    [[nodiscard]] virtual XCSmartPtr<XCProgressI> AddPart(std::uint64_t weight) = 0;

protected:
    XCProgressI() noexcept = default;
    XCProgressI(XCProgressI const&) noexcept = default;
    XCProgressI& operator=(XCProgressI const&) noexcept = default;
};

/// What a listener is told.
struct XCProgressState {
    double fraction = 0;                      ///< 0 to 1; never less than in the notice before
    XCString text;                            ///< the last one that was set, by whichever part
    std::optional<std::uint64_t> remainingMs; ///< at the pace so far; none in the first second, and above a year
    bool isEnd = false;                       ///< the last notice
};

/// Gathers the steps of a job and of its parts (see the head of this file).
class XC_API XCProgress final : public XCProgressI {
public:
    /// Is told how far the job is.
    using Listener = std::function<void(XCProgressState const&)>;
    /// Milliseconds from any beginning.
    using Clock = std::uint64_t (*)() noexcept;
    /// The least time between two notices; the last one does not wait for it.
    static constexpr std::uint64_t kPaceMs = 100;

    /// @param listener may be empty. @param clock null: the system's.
    explicit XCProgress(Listener listener, Clock clock = nullptr);
    /// Finishes.
    ~XCProgress() override;

    void SetRange(std::uint64_t steps) override;
    void Step(std::uint64_t steps = 1) override;
    void SetText(XCString const& text) override;
    [[nodiscard]] bool IsCancelled() const noexcept override;
    [[nodiscard]] XCSmartPtr<XCProgressI> AddPart(std::uint64_t weight) override;

    /// Asks the job and all of its parts to end.
    void Cancel() noexcept;
    /// Gives the last notice; later steps change nothing that anybody is told. The fraction is left as it is, so that
    /// the listener sees whether the job was cut short.
    void Finish();
    /// How far the job is.
    [[nodiscard]] XCProgressState GetState() const;

private:
    std::shared_ptr<xc::sync::ProgressTree> m_tree;
    XCSmartPtr<XCProgressI> m_job; ///< the whole of the tree
};

/// The state in one line: "[#####.....]  50%  0:12  copying". The time is what remains, in minutes and seconds or in
/// hours, minutes and seconds. @param width units between the brackets.
XC_API XCString XCProgressBar(XCProgressState const& state, std::size_t width = 30);

/// A listener that draws the bar in one line of the console at the standard error and removes it at the end. While the
/// standard error is a file or a pipe it writes nothing. The line is cut to the width of the console. Text that others
/// write to the console meanwhile begins after the bar.
XC_API XCProgress::Listener XCConsoleProgress(std::size_t width = 30);
