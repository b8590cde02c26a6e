// Records on their way to a file. m_pending holds them back to back, m_records their sizes; the invariant is that the
// sizes add up to m_complete, the first m_complete bytes of m_pending, and that none of these bytes counts as written
// before the system has said so. A write takes as many records as go into the present file: all of them, or with a
// rotation those up to the limit or the end of their day; the file is put aside between two writes, never inside a
// record.
//
// When the disk is full a write may end inside a record. Its line stays in m_pending whole, and m_cut remembers how much
// of it is in the file: AppendFile continues there when nobody has written since, else repeats the line on one of its
// own. Dropping the rest, or writing it where the file ends by then, would glue two records together.
#include "log/RecordFile.h"

#include "log/Tell.h"
#include "win32/Clock.h"

#include <exception>

namespace xc::log {

void RecordFile::SetTarget(win32::SystemPath path, Start start)
{
    Close();
    m_path = std::move(path);
    m_start = start;
    m_nextTry = 0;
    m_continues = false;
}

bool RecordFile::MayTry() const noexcept
{
    // A file that failed is left alone for a while: each try may wait for a dead share, in the thread that logs.
    return m_valid || win32::TickMs() >= m_nextTry;
}

bool RecordFile::Fail(wchar_t const* what, unsigned long error) noexcept
{
    m_failures.NoteFile(what, m_path.Text(), error);
    m_valid = false;
    m_lastError = error;
    m_nextTry = win32::TickMs() + kRetryMs;
    return false;
}

bool RecordFile::Open() noexcept
try {
    using win32::AppendFile;
    if (m_file.IsOpen()) return true;
    auto const start = m_start == Start::Truncate ? AppendFile::Start::Truncate
                       : m_continues              ? AppendFile::Start::Continue
                                                  : AppendFile::Start::Append;
    if (unsigned long const error = m_file.Open(m_path, start)) return Fail(L"Cannot open", error);
    m_start = Start::Append;
    m_valid = true;
    m_fileSize = m_file.Size();
    // The day of a file that was already there is told by the file, not by this process.
    if (m_rotation) m_rotation->OnOpened(m_path, m_fileSize);
    return true;
} catch (std::exception const&) {
    return Fail(L"Cannot open", 0);
}

std::string& RecordFile::BeginRecord() noexcept
{
    return m_pending;
}

void RecordFile::EndRecord(bool writeNow) noexcept
try {
    std::size_t const size = m_pending.size() - m_complete;
    if (size == 0) return;
    m_records.push_back({size, m_rotation ? m_rotation->Today() : 0});
    m_complete += size;
    // While the process ends every record is written at once: there may be no later.
    if ((writeNow || m_exiting || m_complete >= kBlock) && MayTry()) Flush();
    // The newest goes, not the oldest: the first records of a failure say how it began.
    if (m_complete > kMostHeld) DropLastRecord();
} catch (std::exception const&) {
    DropRecord(L"No memory for a record for");
}

void RecordFile::DropRecord(wchar_t const* why) noexcept
{
    m_pending.resize(m_complete);
    m_failures.NoteFile(why, m_path.Text(), 0);
}

void RecordFile::DropLastRecord() noexcept
{
    std::size_t const size = m_records.back().size;
    if (m_complete - m_cut.bytes < size) return; // it is partly in the file
    m_complete -= size;
    m_records.pop_back();
    DropRecord(L"No room to hold a record for");
}

bool RecordFile::Flush() noexcept
{
    if (m_complete == 0) return true;
    for (bool mayPutAside = true; m_complete > 0;) {
        if (!Open()) return false;
        std::size_t const count = m_rotation ? FittingBytes(mayPutAside) : m_complete;
        mayPutAside = count > 0; // one that was just put aside, or cannot be, takes the next record in any case
        if (count == 0)
            PutAside();
        else if (!Write(count))
            return false;
    }
    return m_valid = true;
}

/// The records from the first on that go into the present file.
std::size_t RecordFile::FittingBytes(bool mayPutAside) noexcept
{
    std::size_t bytes = 0;
    for (Record const& record : m_records) {
        bool const stays = bytes == 0 && (!mayPutAside || m_cut.bytes > 0);
        if (!stays && m_rotation->IsDue(m_fileSize + bytes, record.size, record.day)) break;
        bytes += record.size;
    }
    return bytes;
}

bool RecordFile::Write(std::size_t count) noexcept
{
    unsigned long error = 0;
    std::string_view const bytes(m_pending.data(), count);
    std::size_t const before = m_cut.bytes;
    std::size_t const written = m_file.Write(bytes, m_cut, error);
    m_cut = {};
    if (error == 0) {
        // What the cut record had in the file already was counted when it was written.
        m_fileSize += written - before;
        m_continues = true;
        Consume(written);
        return true;
    }
    std::size_t const line = bytes.substr(0, written).rfind('\n') + 1; // npos + 1: no whole line
    m_cut = {written - line, m_file.Size()};
    Consume(line);
    m_file.Close(); // the handle itself may be what fails
    return Fail(L"Cannot write", error);
}

void RecordFile::Consume(std::size_t count) noexcept
{
    // The rest moves to the front. It is short as a rule, since a write takes everything that fits.
    m_pending.erase(0, count);
    m_complete -= count;
    auto whole = m_records.begin();
    for (; whole != m_records.end() && whole->size <= count; ++whole) count -= whole->size;
    if (whole != m_records.end()) whole->size -= count;
    m_records.erase(m_records.begin(), whole);
}

void RecordFile::Close() noexcept
{
    if (!Flush()) GiveUp();
    m_file.Close();
}

void RecordFile::GiveUp() noexcept
{
    m_failures.NoteLost(m_records.size(), m_path.Text(), m_lastError);
    // Once a file: a disk that is full would fill the console as well.
    if (!m_toldLoss) TellError(m_failures.Last().View());
    m_toldLoss = true;
    m_pending.clear();
    m_records.clear();
    m_complete = 0;
    m_cut = {};
}

/// When that fails the present file is used on.
void RecordFile::PutAside() noexcept
try {
    m_file.Close();
    if (unsigned long const error = m_rotation->Rotate(m_path))
        m_failures.NoteFile(L"Cannot rename", m_path.Text(), error);
} catch (std::exception const&) {
    m_failures.NoteFile(L"No memory to rename", m_path.Text(), 0);
}

} // namespace xc::log
