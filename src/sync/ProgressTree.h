// ProgressTree.h - the jobs of one progress and the notices about them.
#pragma once

#include <XelbrinCore/XCProgress.h>

#include "win32/SlimLock.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace xc::sync {

/// One job: its own steps, and the parts that are still open.
struct ProgressNode {
    struct Part {
        std::uint64_t weight;
        std::shared_ptr<ProgressNode> node;
    };
    std::atomic<std::uint64_t> range{0};
    std::atomic<std::uint64_t> done{0};
    std::vector<Part> open; // under the lock of the tree

    /// 0 to 1.
    [[nodiscard]] double Fraction() const noexcept;
};

class ProgressTree {
public:
    ProgressTree(XCProgress::Listener listener, XCProgress::Clock clock);

    [[nodiscard]] std::shared_ptr<ProgressNode> const& Root() const noexcept { return m_root; }
    void SetText(XCString const& text);
    [[nodiscard]] std::shared_ptr<ProgressNode> AddPart(ProgressNode& whole, std::uint64_t weight);
    /// Counts the part as done.
    void ClosePart(ProgressNode& whole, std::shared_ptr<ProgressNode> const& part) noexcept;

    void TellWhenDue() noexcept;
    void Finish() noexcept;
    [[nodiscard]] XCProgressState GetState();

    void Cancel() noexcept { m_isCancelled.store(true, std::memory_order_relaxed); }
    [[nodiscard]] bool IsCancelled() const noexcept { return m_isCancelled.load(std::memory_order_relaxed); }

private:
    /// With the lock held.
    [[nodiscard]] XCProgressState State();
    void Tell(std::unique_lock<win32::SlimLock>& hold) noexcept;

    XCProgress::Listener const m_listener;
    XCProgress::Clock const m_clock;
    std::uint64_t const m_startMs;
    std::atomic<std::uint64_t> m_nextMs;
    std::atomic<bool> m_isCancelled{false};
    std::shared_ptr<ProgressNode> const m_root = std::make_shared<ProgressNode>();

    win32::SlimLock m_lock; // guards all that follows, and the parts of all nodes
    win32::SlimSignal m_told;
    std::thread::id m_teller; // the thread whose notice runs; none: no notice runs
    bool m_isFinished = false;
    bool m_isLastTold = false;
    XCString m_text;
    double m_fraction = 0; // that was told last
};

} // namespace xc::sync
