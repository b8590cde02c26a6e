// Turns at appending. A handle that may only append is enough where the system moves to the end and writes in one step.
// Layers that stand in for such a system, and some network file systems, look the end up first and write there
// afterwards: two processes then write over one another. One word of shared memory, named after the file's identity,
// keeps them apart. A kernel mutex would do the same for a call of the system at each end; the word costs two atomic
// exchanges.
//
// The word holds a ticket: the holder's thread, a mark made of the moment at which that thread started, and a count of
// turns. The thread tells whether the holder can still give the turn back, and the mark tells it from a later thread
// that was given its number. Who waits looks at the holder every kLookAfterMs: a dead one is succeeded, a slow one is
// waited for, however long it stands still. The invariant: between Take and Give of one object no other object of a
// living thread has the turn of this file.
//
// Without a holder the word is 0, or kCut when the last one left a record unfinished.
#include "win32/AppendTurn.h"

#include "win32/LastError.h"
#include "win32/UniqueHandle.h"

#include <cstdio>
#include <cwchar>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr std::uint64_t kFree = 0;
constexpr std::uint64_t kCut = 1;
constexpr ULONGLONG kLookAfterMs = 100;

/// 16 bits of the moment at which a thread started; 0 when it cannot be had.
std::uint16_t StartMark(HANDLE thread) noexcept
{
    FILETIME created;
    FILETIME ended;
    FILETIME kernel;
    FILETIME user;
    if (!::GetThreadTimes(thread, &created, &ended, &kernel, &user)) return 0;
    constexpr std::uint32_t kSpread = 2654435761; // 2^32 by the golden ratio: neighbouring moments get far marks
    return static_cast<std::uint16_t>((created.dwLowDateTime * kSpread) >> 16);
}

/// The calling thread's mark, asked for once a thread.
std::uint16_t OwnMark() noexcept
{
    constexpr std::uintptr_t kKnown = 0x10000;
    static DWORD const slot = ::TlsAlloc();
    KeepLastError const keep;
    auto known = reinterpret_cast<std::uintptr_t>(::TlsGetValue(slot));
    if ((known & kKnown) == 0) {
        known = kKnown | StartMark(::GetCurrentThread());
        ::TlsSetValue(slot, reinterpret_cast<void*>(known));
    }
    return static_cast<std::uint16_t>(known);
}

std::uint64_t Ticket(std::uint16_t turn) noexcept
{
    return (std::uint64_t{::GetCurrentThreadId()} << 32) | (std::uint64_t{OwnMark()} << 16) | turn;
}

/// Whether the thread of a ticket has ended. One that may not be asked lives.
bool IsDead(std::uint64_t holder) noexcept
{
    KeepLastError const keep;
    UniqueKernelObject const thread(
        ::OpenThread(SYNCHRONIZE | THREAD_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(holder >> 32)));
    if (!thread) return ::GetLastError() == ERROR_INVALID_PARAMETER; // that is: no such thread
    return ::WaitForSingleObject(thread.Get(), 0) == WAIT_OBJECT_0 ||
           StartMark(thread.Get()) != static_cast<std::uint16_t>(holder >> 16);
}

/// Spins a little, then lets others run.
void Pause(unsigned int round) noexcept
{
    if (round < 64)
        YieldProcessor();
    else
        ::Sleep(round < 256 ? 0 : 1);
}

} // namespace

void AppendTurn::Open(void* file) noexcept
{
    Close();
    KeepLastError const keep;
    BY_HANDLE_FILE_INFORMATION facts;
    if (!::GetFileInformationByHandle(file, &facts)) return;
    wchar_t name[80];
    // By the identity, not the name: two paths may lead to one file.
    ::_snwprintf(name, 79, L"Local\\XelbrinCore.append.%08lx.%08lx%08lx", facts.dwVolumeSerialNumber,
                 facts.nFileIndexHigh, facts.nFileIndexLow);
    name[79] = 0;
    m_section = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(*m_holder), name);
    // Without the word there are no turns, and appending relies on the system alone.
    if (!m_section) return;
    m_holder = static_cast<std::atomic<std::uint64_t>*>(
        ::MapViewOfFile(m_section, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(*m_holder)));
    if (!m_holder) Close();
}

void AppendTurn::Close() noexcept
{
    KeepLastError const keep;
    if (m_holder) ::UnmapViewOfFile(m_holder);
    if (m_section) ::CloseHandle(m_section);
    m_holder = nullptr;
    m_section = nullptr;
}

/// When another has the turn, `holder` is its ticket; else what the last one left.
bool AppendTurn::TryTake(std::uint64_t& holder) noexcept
{
    holder = kFree;
    if (m_holder->compare_exchange_strong(holder, m_ticket, std::memory_order_acquire)) return true;
    // The second exchange takes a free turn that a cut was left at; the caller is told.
    return holder == kCut && m_holder->compare_exchange_strong(holder, m_ticket, std::memory_order_acquire);
}

bool AppendTurn::Take() noexcept
{
    if (!m_holder) return false;
    m_ticket = Ticket(++m_turns);
    std::uint64_t holder = kFree;
    if (TryTake(holder)) return holder == kCut;
    std::uint64_t watched = holder;
    ULONGLONG since = ::GetTickCount64();
    for (unsigned int round = 0; !TryTake(holder); ++round) {
        ULONGLONG const now = ::GetTickCount64();
        if (holder != watched) {
            watched = holder;
            since = now;
        } else if (now - since >= kLookAfterMs) {
            // Of several that wait, one exchange succeeds. What a dead holder left is unknown: it counts as cut.
            if (IsDead(holder) && m_holder->compare_exchange_strong(holder, m_ticket, std::memory_order_acquire))
                return true;
            since = now;
        }
        Pause(round);
    }
    return holder == kCut;
}

void AppendTurn::Give(bool cut) noexcept
{
    if (m_holder) m_holder->store(cut ? kCut : kFree, std::memory_order_release);
}

} // namespace xc::win32
