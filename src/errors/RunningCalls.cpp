// The register is a chain of blocks of slots that only grows; a slot is taken by one exchange and given back by one
// store, so that a call costs some 300 plain stores at most and no lock. A reader may meet a slot that is being
// written: each slot carries a version that is odd meanwhile, and a copy counts only when the version was even and is
// unchanged after it (a sequence lock). Texts are kept as atomic units, so that such a race is one of values alone.
// Invariant: a slot in use with an even version holds one whole note.
//
// What it is for: when a plug-in never returns or brings the process down, the note of its call names it, its file and
// the time it has taken. Such a report is written when nothing may be relied on any more, perhaps while the thread
// that holds a lock is dead; so no lock may be needed to read, and none is taken to write either.
//
// A call that never returns may be given up: who goes on in its place marks the slot as held, and the thread that comes
// back after all finds that when it gives the slot back, and stops. Both change the slot by one exchange, so that a
// thread is either held or has left its call before.
#include "errors/RunningCalls.h"

#include "win32/Clock.h"
#include "win32/Process.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <thread>
#include <vector>

namespace xc::errors {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
// The parts of a note are ordered against its version without fences, which the thread checker does not know: no part is
// seen before the odd version, and the version is read again after every part. On x86 both are plain moves.
constexpr auto kShown = std::memory_order_release;
constexpr auto kSeen = std::memory_order_acquire;

template <std::size_t N>
using SharedText = std::array<std::atomic<wchar_t>, N>;

template <std::size_t N>
void Put(SharedText<N>& to, std::wstring_view text) noexcept
{
    // Cut, not refused: the head of a name serves its reader, and a note must not allocate.
    std::size_t const count = std::min(text.size(), N - 1);
    for (std::size_t i = 0; i < count; ++i) to[i].store(text[i], kShown);
    to[count].store(L'\0', kShown);
}

template <std::size_t N>
void Get(SharedText<N> const& from, wchar_t (&to)[N]) noexcept
{
    std::size_t i = 0;
    // Bounded by the room too: while the slot is being rewritten the zero may stand anywhere, or nowhere.
    while (i < N - 1 && (to[i] = from[i].load(kSeen)) != L'\0') ++i;
    to[i] = L'\0';
}

/// What a note has of a path: its end tells more than its beginning.
std::wstring_view EndOf(std::wstring_view path) noexcept
{
    return path.substr(path.size() - std::min(path.size(), CallNote::kPathUnits - 1));
}

[[noreturn]] void StopForEver() noexcept
{
    for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

} // namespace

struct RunningCall::Slot {
    enum State : unsigned char {
        Free,
        Used,
        Held,   ///< its thread stops when it comes back
        Leaving ///< its thread has come back and may not be held any more
    };
    std::atomic<State> state{Free};
    std::atomic<std::uint32_t> version{0};
    std::atomic<std::uint64_t> order{0};
    std::atomic<std::uint64_t> sinceMs{0};
    std::atomic<unsigned long> thread{0};
    std::atomic<wchar_t const*> operation{nullptr};
    SharedText<CallNote::kNameUnits> name{};
    SharedText<CallNote::kPathUnits> path{};

    // The look before the exchange leaves slots that are in use unwritten, and so in the caches of their threads.
    [[nodiscard]] bool Take() noexcept { return state.load(kRelaxed) == Free && Change(Free, Used); }
    [[nodiscard]] bool Change(State from, State to) noexcept { return state.compare_exchange_strong(from, to); }
    [[nodiscard]] bool IsOfThread(unsigned long id) const noexcept { return state == Used && thread.load(kSeen) == id; }

    /// False when the slot is free, or was written meanwhile.
    bool Read(CallNote& note) const noexcept
    {
        std::uint32_t const before = version.load(std::memory_order_acquire);
        if (before % 2 != 0 || state.load(kRelaxed) == Free) return false;
        note.order = order.load(kSeen);
        note.sinceMs = sinceMs.load(kSeen);
        note.thread = thread.load(kSeen);
        note.operation = operation.load(kSeen);
        Get(name, note.name);
        Get(path, note.path);
        return note.operation && version.load(kRelaxed) == before;
    }

    void Write(wchar_t const* what, std::wstring_view whose, std::wstring_view where) noexcept
    {
        static std::atomic<std::uint64_t> calls{0};
        version.fetch_add(1, kRelaxed);
        order.store(calls.fetch_add(1, kRelaxed) + 1, kShown);
        sinceMs.store(win32::TickMs(), kShown);
        thread.store(win32::ThreadId(), kShown);
        operation.store(what, kShown);
        Put(name, whose);
        Put(path, EndOf(where));
        version.fetch_add(1, std::memory_order_release);
    }

    /// @return false when its thread must stop.
    [[nodiscard]] bool GiveBack() noexcept
    {
        if (!Change(Used, Leaving)) return false;
        // By two: the version stays even, and a reader in the middle of the slot still sees that it has changed.
        operation.store(nullptr, kRelaxed);
        version.fetch_add(2, std::memory_order_release);
        state.store(Free, std::memory_order_release);
        return true;
    }
};

namespace {

using Slot = RunningCall::Slot;

struct Block {
    std::array<Slot, 32> slots;
    std::atomic<Block*> next{nullptr};
};

/// Never destroyed: plug-ins may run while the process ends.
Block& FirstBlock() noexcept
{
    // In static storage: the first 32 calls need no memory, also when the reason for the report is that there is none.
    alignas(Block) static unsigned char storage[sizeof(Block)];
    static Block* const first = new (storage) Block;
    return *first;
}

/// The block after this one, made when there is none; null without memory.
Block* Grow(Block& last) noexcept
{
    if (Block* const next = last.next.load(std::memory_order_acquire)) return next;
    auto* const fresh = new (std::nothrow) Block;
    Block* other = nullptr;
    if (!fresh || last.next.compare_exchange_strong(other, fresh)) return fresh;
    delete fresh; // another thread was quicker
    return other;
}

Slot* TakeSlot() noexcept
{
    for (Block* block = &FirstBlock(); block; block = Grow(*block))
        for (Slot& slot : block->slots)
            if (slot.Take()) return &slot;
    return nullptr;
}

template <class Visit>
void ForEachSlot(Visit visit)
{
    for (Block* block = &FirstBlock(); block; block = block->next.load(std::memory_order_acquire))
        for (Slot& slot : block->slots) visit(slot);
}

XCString LineOf(CallNote const& note)
{
    XCString line;
    line.Format(L"in %ls", note.operation);
    if (note.name[0] != L'\0') line += XCString(L" of <") + note.name + L">";
    XCString age;
    age.Format(L", for %llu ms", static_cast<unsigned long long>(win32::TickMs() - note.sinceMs));
    return line + L" (" + note.path + L")" + age;
}

} // namespace

RunningCall::RunningCall(wchar_t const* operation, std::wstring_view name, std::wstring_view path) noexcept
    : m_slot(TakeSlot())
{
    if (m_slot) m_slot->Write(operation, name, path);
}

RunningCall::~RunningCall()
{
    if (m_slot && !m_slot->GiveBack()) StopForEver();
}

std::size_t CopyRunningCalls(CallNote* notes, std::size_t room) noexcept
{
    std::size_t count = 0;
    ForEachSlot([&](Slot const& slot) {
        if (count < room && slot.Read(notes[count])) ++count;
    });
    return count;
}

bool ReadInnermostCall(unsigned long thread, std::uint64_t below, CallNote& note) noexcept
{
    Slot const* innermost = nullptr;
    std::uint64_t newest = 0;
    // By the order alone at first: a note is large, and the stack that is left may be small.
    ForEachSlot([&](Slot const& slot) {
        std::uint64_t const order = slot.order.load(kSeen);
        if (!slot.IsOfThread(thread) || order >= below || order <= newest) return;
        newest = order;
        innermost = &slot;
    });
    return innermost && innermost->Read(note);
}

void ForgetCallsOf(unsigned long thread) noexcept
{
    ForEachSlot([&](Slot& slot) {
        // For a thread that was ended from outside: its destructors have not run, and its notes would stand for ever.
        if (slot.IsOfThread(thread)) (void)slot.GiveBack();
    });
}

bool HoldCallsOf(unsigned long thread) noexcept
{
    // The innermost first: from then on the thread cannot come back into the code between two calls.
    for (bool held = false;;) {
        Slot* innermost = nullptr;
        ForEachSlot([&](Slot& slot) {
            if (slot.IsOfThread(thread) && (!innermost || slot.order > innermost->order)) innermost = &slot;
        });
        if (!innermost) return held;
        held = innermost->Change(Slot::Used, Slot::Held) || held;
    }
}

bool CallNote::IsOf(std::wstring_view plugIn, std::wstring_view module) const noexcept
{
    return plugIn.substr(0, kNameUnits - 1) == name && EndOf(module) == path;
}

XCString RunningCallsText(unsigned long thread)
{
    std::vector<CallNote> notes;
    CallNote note;
    ForEachSlot([&](Slot const& slot) {
        if (slot.Read(note) && note.thread == thread) notes.push_back(note);
    });
    // The innermost call first, as in a stack; slots are taken wherever one is free, so their order tells nothing.
    std::ranges::sort(notes, std::greater<>(), &CallNote::order);
    XCString text;
    for (CallNote const& each : notes) text += (text.IsNull() ? L"" : L"\n") + LineOf(each);
    return text;
}

} // namespace xc::errors
