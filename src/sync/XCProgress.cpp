// Steps of many threads, notices of one.
//
// A step is an atomic addition to its own node; nothing is summed before a notice is due. The time of the next notice is one
// atomic word: the thread that moves it forward owns the notice and the others go on. Only the owner takes the lock and
// walks the tree: a job is done by its own steps, the weights of the parts that are closed, and the weights of the open ones
// times how far they are, over its range. A part that closes adds its weight to the steps of its whole and leaves the list,
// so that neither memory nor the walk grow with the parts a long job has had. The fraction that was told is never
// undercut, although a range that grows makes the true one smaller.
//
// Invariant: while m_teller names a thread, that thread is inside the listener, without the lock, and no other one enters
// it. Finish leaves the last notice to that thread, and waits until it has been given.
#include "sync/ProgressTree.h"

#include "win32/Clock.h"
#include "win32/Process.h"

#include <algorithm>
#include <utility>

namespace xc::sync {

double ProgressNode::Fraction() const noexcept
{
    std::uint64_t const all = range.load(std::memory_order_relaxed);
    if (all == 0) return 0;
    double sum = static_cast<double>(done.load(std::memory_order_relaxed));
    // A part without a range counts as not begun, and one that is closed stands in `done` already.
    for (Part const& part : open) sum += static_cast<double>(part.weight) * part.node->Fraction();
    return std::min(sum / static_cast<double>(all), 1.0);
}

ProgressTree::ProgressTree(XCProgress::Listener listener, XCProgress::Clock clock)
    : m_listener(std::move(listener)), m_clock(clock ? clock : win32::TickMs), m_startMs(m_clock()), m_nextMs(m_startMs)
{
}

void ProgressTree::SetText(XCString const& text)
{
    std::lock_guard const guard(m_lock);
    m_text = text;
}

std::shared_ptr<ProgressNode> ProgressTree::AddPart(ProgressNode& whole, std::uint64_t weight)
{
    auto const part = std::make_shared<ProgressNode>();
    std::lock_guard const guard(m_lock);
    whole.open.push_back({weight, part});
    return part;
}

void ProgressTree::ClosePart(ProgressNode& whole, std::shared_ptr<ProgressNode> const& part) noexcept
{
    std::lock_guard const guard(m_lock);
    auto const place = std::find_if(whole.open.begin(), whole.open.end(),
                                    [&part](ProgressNode::Part const& open) { return open.node == part; });
    whole.done.fetch_add(place->weight, std::memory_order_relaxed);
    whole.open.erase(place);
}

XCProgressState ProgressTree::State()
{
    constexpr double kYearMs = 365.0 * 24 * 60 * 60 * 1000;
    m_fraction = std::max(m_fraction, m_root->Fraction());
    XCProgressState state{m_fraction, m_text, std::nullopt, m_isFinished};
    double const spentMs = static_cast<double>(std::max(m_clock(), m_startMs) - m_startMs);
    // By the mean speed so far. The first second tells too little, and more than a year is no estimate.
    double const remainingMs = spentMs * (1 - m_fraction) / std::max(m_fraction, 1e-12);
    if (spentMs >= 1000 && remainingMs <= kYearMs) state.remainingMs = static_cast<std::uint64_t>(remainingMs);
    return state;
}

XCProgressState ProgressTree::GetState()
{
    std::lock_guard const guard(m_lock);
    return State();
}

/// Calls the listener until it has heard the last of a finished job. Nobody is inside it when this begins.
void ProgressTree::Tell(std::unique_lock<win32::SlimLock>& hold) noexcept
{
    m_teller = std::this_thread::get_id();
    do {
        m_isLastTold = m_isFinished;
        XCProgressState const state = State();
        hold.unlock();
        try {
            if (m_listener) m_listener(state);
        } catch (...) { // a display that fails must not fail the job
        }
        hold.lock();
    } while (m_isFinished && !m_isLastTold);
    m_teller = {};
    m_told.WakeAll();
}

void ProgressTree::TellWhenDue() noexcept
{
    std::uint64_t const now = m_clock();
    std::uint64_t due = m_nextMs.load(std::memory_order_relaxed);
    // A failed exchange means that another thread has just taken this notice.
    if (now < due || !m_nextMs.compare_exchange_strong(due, now + XCProgress::kPaceMs)) return;
    std::unique_lock hold(m_lock);
    // A listener that is slower than the pace misses notices, instead of having threads wait for it.
    if (m_teller == std::thread::id() && !m_isFinished) Tell(hold);
}

void ProgressTree::Finish() noexcept
{
    if (win32::IsProcessEnding()) return; // there are no threads any more, and a lock may be held for ever
    std::unique_lock hold(m_lock);
    m_isFinished = true;
    if (m_teller == std::this_thread::get_id()) return; // the notice that called gives the last one after itself
    if (m_teller == std::thread::id() && !m_isLastTold) Tell(hold);
    while (m_teller != std::thread::id()) m_told.Wait(m_lock, 0xFFFFFFFF);
}

namespace {

/// One job of the tree: the whole, or a part of another.
class ProgressJob final : public XCProgressI {
public:
    /// The whole.
    explicit ProgressJob(std::shared_ptr<ProgressTree> tree) : m_tree(std::move(tree)), m_node(m_tree->Root()) {}
    ProgressJob(ProgressJob const& whole, std::uint64_t weight)
        : m_tree(whole.m_tree), m_whole(whole.m_node), m_node(m_tree->AddPart(*m_whole, weight))
    {
    }
    ~ProgressJob() override
    {
        if (!m_whole) return;
        m_tree->ClosePart(*m_whole, m_node);
        m_tree->TellWhenDue();
    }
    void SetRange(std::uint64_t steps) override
    {
        m_node->range.store(steps, std::memory_order_relaxed);
        m_tree->TellWhenDue();
    }
    void Step(std::uint64_t steps) override
    {
        m_node->done.fetch_add(steps, std::memory_order_relaxed);
        m_tree->TellWhenDue();
    }
    void SetText(XCString const& text) override
    {
        m_tree->SetText(text);
        m_tree->TellWhenDue();
    }
    [[nodiscard]] bool IsCancelled() const noexcept override { return m_tree->IsCancelled(); }
    [[nodiscard]] XCSmartPtr<XCProgressI> AddPart(std::uint64_t weight) override
    {
        return XCSmartPtr<XCProgressI>(new ProgressJob(*this, weight));
    }

private:
    std::shared_ptr<ProgressTree> const m_tree;
    std::shared_ptr<ProgressNode> const m_whole; // none: this is the whole
    std::shared_ptr<ProgressNode> const m_node;
};

} // namespace

} // namespace xc::sync

using xc::sync::ProgressTree;

XCProgressI::~XCProgressI() = default;

XCProgress::XCProgress(Listener listener, Clock clock)
    : m_tree(std::make_shared<ProgressTree>(std::move(listener), clock)), m_job(new xc::sync::ProgressJob(m_tree))
{
}

XCProgress::~XCProgress()
{
    m_tree->Finish();
}

void XCProgress::SetRange(std::uint64_t steps)
{
    m_job->SetRange(steps);
}

void XCProgress::Step(std::uint64_t steps)
{
    m_job->Step(steps);
}

void XCProgress::SetText(XCString const& text)
{
    m_job->SetText(text);
}

bool XCProgress::IsCancelled() const noexcept
{
    return m_tree->IsCancelled();
}

XCSmartPtr<XCProgressI> XCProgress::AddPart(std::uint64_t weight)
{
    return m_job->AddPart(weight);
}

void XCProgress::Cancel() noexcept
{
    m_tree->Cancel();
}

void XCProgress::Finish()
{
    m_tree->Finish();
}

XCProgressState XCProgress::GetState() const
{
    return m_tree->GetState();
}
