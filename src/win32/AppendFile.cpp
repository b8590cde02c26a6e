// A file that several processes append records to, none of which may be torn or run into another.
//
// Each write is one turn at the file (AppendTurn). Within it the writer first makes sure that it starts on a new line:
// the holder before it may have died in the middle of a record, which the turn tells, and the file may end inside a
// line when it is opened. A record of ours that a full disk has cut is continued where it stopped, as long as nobody
// has written since, which the size of the file tells; else it starts anew on a line of its own. Cost: one system call
// a write in the usual case, two more after a cut. Invariant: whoever gives the turn back says whether the last line is
// whole.
#include "win32/AppendFile.h"

namespace xc::win32 {

namespace {

/// Reading serves to look at the end alone: a file that may not be read is appended to all the same.
unsigned long OpenToAppend(File& file, SystemPath const& path, FileMode::Start start) noexcept
{
    if (file.Open(path, {.access = FileMode::Access::AppendAndRead, .start = start}) == 0) return 0;
    return file.Open(path, {.access = FileMode::Access::Append, .start = start});
}

} // namespace

unsigned long AppendFile::Open(SystemPath const& path, Start start) noexcept
{
    Close();
    bool const empties = start == Start::Truncate;
    unsigned long const error =
        OpenToAppend(m_file, path, empties ? FileMode::Start::Truncate : FileMode::Start::OpenOrCreate);
    if (error == 0) m_turn.Open(m_file.Handle());
    // A new file begins a line, and one that is continued was looked at by the same writer before.
    m_looksFirst = start == Start::Append;
    return error;
}

void AppendFile::Close() noexcept
{
    m_turn.Close();
    m_file.Close();
}

bool AppendFile::EndsInsideLine(std::uint64_t size) const noexcept
{
    char last = '\n';
    unsigned long error = 0;
    return size > 0 && m_file.Read(&last, 1, size - 1, error) == 1 && last != '\n';
}

std::uint64_t AppendFile::Size() const noexcept
{
    unsigned long error = 0;
    std::uint64_t const size = m_file.Size(error);
    return size + (m_looksFirst && EndsInsideLine(size) ? 1 : 0);
}

std::size_t AppendFile::Write(std::string_view bytes, AppendCut const& cut, unsigned long& error) noexcept
{
    bool endsCut = m_turn.Take(); // what the next holder of the turn is told
    std::size_t done = 0;
    error = 0;
    // In the usual case the file is known to end with a whole line: nothing is asked of the system.
    if (endsCut || m_looksFirst || cut.bytes > 0) {
        unsigned long unknown = 0;
        std::uint64_t const size = m_file.Size(unknown);
        if (cut.bytes > 0 && size == cut.fileSize)
            done = cut.bytes;
        else
            endsCut = EndsInsideLine(size) && m_file.Append("\n", error) != 1;
    }
    if (error == 0) {
        std::size_t const written = m_file.Append(bytes.substr(done), error);
        done += written;
        // What failed without a byte leaves the file as the holder before left it.
        if (written > 0) endsCut = error != 0 && bytes[done - 1] != '\n';
        m_looksFirst = false;
    }
    m_turn.Give(endsCut);
    return done;
}

bool AppendToFile(SystemPath const& path, std::string_view bytes) noexcept
{
    AppendFile file;
    if (file.Open(path, AppendFile::Start::Append) != 0) return false;
    unsigned long error = 0;
    return file.Write(bytes, {}, error) == bytes.size() && error == 0;
}

} // namespace xc::win32
