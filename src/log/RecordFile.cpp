#include "log/RecordFile.h"

#include <exception>

namespace xc::log {

void RecordFile::SetTarget(win32::SystemPath path, Start start)
{
    Close();
    m_path = std::move(path);
    m_start = start;
    m_nextTry = 0;
}

bool RecordFile::MayTry() const noexcept
{
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
    if (m_file.IsOpen()) return true;
    if (unsigned long const error = m_file.Open(m_path, m_start)) return Fail(L"Cannot open", error);
    m_start = Start::Append;
    m_valid = true;
    m_fileSize = m_file.Size();
    if (m_rotation) m_rotation->OnOpened(m_path, m_fileSize);
    return true;
} catch (std::exception const&) {
    return Fail(L"Cannot open", 0);
}

std::string& RecordFile::BeginRecord() noexcept
{
    m_recordStart = m_pending.size();
    return m_pending;
}

void RecordFile::EndRecord(bool writeNow) noexcept
try {
    if (m_rotation) RotateIfDue();
    if ((writeNow || m_pending.size() >= kBlock) && MayTry()) Flush();
    if (m_pending.size() > kMostHeld) DropRecord(L"No room to hold a record for");
} catch (std::exception const&) {
    DropRecord(L"No memory for a record for");
}

void RecordFile::DropRecord(wchar_t const* why) noexcept
{
    m_pending.resize(m_recordStart);
    m_failures.NoteFile(why, m_path.Text(), 0);
}

bool RecordFile::Flush() noexcept
{
    if (m_pending.empty()) return true;
    if (!Open()) return false;
    unsigned long error = 0;
    std::size_t const written = m_file.Write(m_pending, error);
    m_fileSize += written;
    m_pending.erase(0, written); // the rest of a record that was cut by a full disk follows when there is room
    m_recordStart = written <= m_recordStart ? m_recordStart - written : m_pending.size(); // a begun record stays
    if (m_pending.empty()) return m_valid = true;
    m_file.Close(); // the handle itself may be what fails
    return Fail(L"Cannot write", error);
}

void RecordFile::Close() noexcept
{
    if (!Flush()) m_failures.NoteFile(L"Gave up records for", m_path.Text(), 0);
    m_pending.clear();
    m_recordStart = 0;
    m_file.Close();
}

/// The record just built goes into a fresh file when the present one is full or of another day.
void RecordFile::RotateIfDue()
{
    if (m_pending.size() == m_recordStart || !MayTry() || !Open()) return;
    std::size_t const recordSize = m_pending.size() - m_recordStart;
    if (!m_rotation->IsDue(m_fileSize + m_recordStart, recordSize)) return;
    std::string const record = m_pending.substr(m_recordStart);
    m_pending.resize(m_recordStart);
    if (Flush()) PutAside();
    m_recordStart = m_pending.size();
    m_pending += record; // there is room: it stood here before
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
