// The thread that writes log records which others have left.
//
// A record is laid out by the thread that logs, with its time and number, and left as bytes: what remains to be done
// late is the write alone. Each file has two buffers that change places, so that callers fill one while the other is
// written, and in the long run nobody allocates. One thread serves all files of the process. After the first record it
// waits kGatherMs for more, since a write, and a wake, cost as much as a hundred records; a buffer that is half full, or
// holds some thousand records, ends that wait. Cost for the caller: the layout and one short lock.
//
// Locks: a file's own lock may be held while that of its room is taken, never the other way round, and neither while a
// file is written or the thread's lock is taken. The file's own is taken by every record, for some ten nanoseconds. The
// thread starts with the first file and ends with the last. While the process exits the files are written by who ends
// it (AtExit), and later records by their callers.
// Invariant: a file whose buffer is not empty is due, or is being written.
#include "log/LateWriter.h"

#include <XelbrinCore/XCThread.h>

#include "errors/CoreError.h"
#include "errors/ExceptionText.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace xc::log {

namespace {

constexpr std::uint32_t kForEver = 0xFFFFFFFF;

} // namespace

/// The process's writing thread; never destroyed.
class LateWriter {
public:
    static LateWriter& Get()
    {
        static LateWriter& writer = *new LateWriter;
        return writer;
    }

    XCErrorID Add(LateRecords& records)
    {
        // Who comes while another starts the thread waits: both must know whether there is one.
        std::lock_guard const starting(m_start);
        {
            std::lock_guard const hold(m_lock);
            m_entries.push_back({&records});
            if (m_runs) return {};
            m_runs = true;
        }
        XCString why;
        if (Start(why)) return {};
        std::lock_guard const hold(m_lock);
        m_runs = false;
        Forget(records);
        return errors::MakeCoreError(XCErrNoThread, XCString(kName), why);
    }

    void Remove(LateRecords const& records) noexcept
    {
        std::lock_guard const hold(m_lock);
        Forget(records);
        // A wait that fails: the process ends, and the thread with it.
        while (m_busy == &records && m_idle.Wait(m_lock, kForEver)) {
        }
        m_work.WakeOne(); // perhaps it was the last one
    }

    void Wake(LateRecords const& records, bool hurry) noexcept
    {
        std::lock_guard const hold(m_lock);
        for (Entry& entry : m_entries)
            if (entry.records == &records) entry.isDue = true;
        m_hurry = m_hurry || hurry;
        if (hurry || !m_gathers) m_work.WakeOne();
    }

private:
    static constexpr wchar_t kName[] = L"log writer";
    static constexpr std::uint32_t kGatherMs = 10;

    struct Entry {
        LateRecords* records;
        bool isDue = false;
    };

    /// @param why receives why not.
    static bool Start(XCString& why)
    {
        try {
            XCSmartPtr<XCThread> const thread(new XCThread(XCMakeCallback([] { Get().Run(); })));
            thread->SetName(kName);
            // Nobody joins it: the thread holds its object until it ends.
            thread->SetDeleteOnEnd(true);
            (void)thread->Start(); // without a priority it fails by an exception alone
            return true;
        } catch (std::exception const&) {
            why = errors::TextOfException();
            return false;
        }
    }

    void Forget(LateRecords const& records) noexcept
    {
        std::erase_if(m_entries, [&](Entry const& entry) { return entry.records == &records; });
    }

    void Run() noexcept
    {
        std::lock_guard const hold(m_lock);
        while (!m_entries.empty()) {
            if (std::ranges::none_of(m_entries, &Entry::isDue)) {
                (void)m_work.Wait(m_lock, kForEver);
                continue;
            }
            m_gathers = true;
            if (!m_hurry) (void)m_work.Wait(m_lock, kGatherMs);
            m_gathers = m_hurry = false;
            // One round: files that become due meanwhile wait for the next, or there would be no gathering.
            for (std::size_t i = 0; i < m_entries.size(); ++i)
                if (std::exchange(m_entries[i].isDue, false)) Write(*m_entries[i].records);
        }
        m_runs = false;
    }

    /// Without the lock, which is held before and after.
    void Write(LateRecords& records) noexcept
    {
        m_busy = &records;
        m_lock.unlock();
        records.m_write(records.m_owner);
        m_lock.lock();
        m_busy = nullptr;
        m_idle.WakeAll();
    }

    win32::SlimLock m_start;
    win32::SlimLock m_lock; ///< guards what follows
    win32::SlimSignal m_work;
    win32::SlimSignal m_idle;
    std::vector<Entry> m_entries;
    LateRecords const* m_busy = nullptr; ///< being written
    bool m_runs = false;
    bool m_gathers = false;
    bool m_hurry = false;
};

XCErrorID LateRecords::Begin(std::size_t maxBytes, bool waits)
{
    {
        std::lock_guard const hold(m_lock);
        m_maxBytes = std::max<std::size_t>(maxBytes, 1);
        m_waits = waits;
        TellRoom(); // the new limit may be higher
    }
    if (!m_isKnown)
        if (XCErrorID failure = LateWriter::Get().Add(*this); failure.Bad()) return failure;
    m_isKnown = true;
    m_active = true;
    return {};
}

void LateRecords::Stop() noexcept
{
    std::lock_guard const hold(m_lock);
    m_active = false;
    TellRoom();
}

void LateRecords::Detach() noexcept
{
    Stop();
    if (std::exchange(m_isKnown, false)) LateWriter::Get().Remove(*this);
}

void LateRecords::Take(std::string& bytes, std::vector<std::size_t>& ends) noexcept
{
    std::lock_guard const hold(m_lock);
    m_bytes.swap(bytes);
    m_ends.swap(ends);
    TellRoom();
}

/// Without the lock meanwhile. False: the process ends, and nobody makes room.
bool LateRecords::WaitForRoom() noexcept
{
    std::uint64_t const round = m_rounds;
    m_lock.unlock();
    LateWriter::Get().Wake(*this, true); // the wait for more records to come makes no sense now
    bool goesOn = true;
    {
        std::lock_guard const hold(m_roomLock);
        while (goesOn && m_rounds == round) goesOn = m_room.Wait(m_roomLock, kForEver);
    }
    m_lock.lock();
    return goesOn;
}

/// With the lock.
void LateRecords::TellRoom() noexcept
{
    std::lock_guard const hold(m_roomLock);
    ++m_rounds;
    m_room.WakeAll();
}

void LateRecords::Announce(bool hurry) noexcept
{
    LateWriter::Get().Wake(*this, hurry);
}

} // namespace xc::log
