// LateWriter.h - records that the library's writing thread takes to their files, so that who logs waits for no disk.
#pragma once

#include <XelbrinCore/XCErrorID.h>

#include "win32/ShortLock.h"
#include "win32/SlimLock.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

namespace xc::log {

/// The records of one file on their way to the writing thread: whole, in order, up to a limit.
class LateRecords {
public:
    /// @param write called on the writing thread when records wait; takes them by Take.
    LateRecords(void (*write)(void* owner) noexcept, void* owner) noexcept : m_write(write), m_owner(owner) {}
    ~LateRecords() { Detach(); }
    LateRecords(LateRecords const&) = delete;
    LateRecords& operator=(LateRecords const&) = delete;

    /// Records are taken from now on; a second call changes limit and rule. Bad: there is no thread.
    /// @param maxBytes one record may go over it. @param waits at the limit: for room, or not at all.
    XCErrorID Begin(std::size_t maxBytes, bool waits);
    /// Records are refused from now on; those that wait stay to be taken.
    void Stop() noexcept;
    /// Stop, and the writing thread forgets this. Waits for it; with no lock that `write` takes.
    void Detach() noexcept;

    enum class Outcome { Taken, Refused, Full, NoMemory };
    /// Adds what `build(bytes)` appends, whole or not at all. Refused: the caller writes it itself.
    template <class Build>
    Outcome Add(Build const& build) noexcept
    {
        if (!m_active.load(std::memory_order_relaxed)) return Outcome::Refused;
        std::unique_lock hold(m_lock);
        while (m_bytes.size() >= m_maxBytes && m_active.load(std::memory_order_relaxed)) {
            if (!m_waits) return Outcome::Full;
            if (!WaitForRoom()) break; // the process ends: the record goes over the limit
        }
        if (!m_active.load(std::memory_order_relaxed)) return Outcome::Refused;
        std::size_t const before = m_bytes.size(), enough = std::min(m_maxBytes / 2, kEnough);
        try {
            build(m_bytes);
            m_ends.push_back(m_bytes.size());
        } catch (std::exception const&) {
            m_bytes.resize(before);
            return Outcome::NoMemory;
        }
        bool const hurry = before < enough && m_bytes.size() >= enough;
        hold.unlock(); // waking is a call of the system
        if (before == 0 || hurry) Announce(hurry);
        return Outcome::Taken;
    }
    /// For what `build` reads: no record is added meanwhile.
    template <class Change>
    void WithLock(Change const& change)
    {
        std::lock_guard const hold(m_lock);
        change();
    }
    /// Exchanges the waiting records with two empty containers: the bytes, and the end of each record in them.
    void Take(std::string& bytes, std::vector<std::size_t>& ends) noexcept;

private:
    friend class LateWriter;
    /// Bytes worth a write at once: more of them would only leave the processor's caches, and grow the buffers.
    static constexpr std::size_t kEnough = 256 * 1024;

    bool WaitForRoom() noexcept;
    void TellRoom() noexcept;
    void Announce(bool hurry) noexcept;

    void (*m_write)(void*) noexcept;
    void* m_owner;
    std::atomic<bool> m_active{false};
    bool m_isKnown = false;     ///< to the writing thread; by Begin and Detach
    win32::SlimLock m_roomLock; ///< guards the wait for room
    win32::SlimSignal m_room;
    std::uint64_t m_rounds = 0; ///< how often there was room; changed under both locks
    win32::ShortLock m_lock;    ///< guards the rest; taken by every record
    std::size_t m_maxBytes = 0;
    bool m_waits = true;
    std::string m_bytes;
    std::vector<std::size_t> m_ends;
};

} // namespace xc::log
