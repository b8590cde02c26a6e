#include "win32/AppendFile.h"

namespace xc::win32 {

unsigned long AppendFile::Open(SystemPath const& path, Start start) noexcept
{
    Close();
    unsigned long const error = m_file.Open(
        path, {.access = FileMode::Access::Append,
               .start = start == Start::Truncate ? FileMode::Start::Truncate : FileMode::Start::OpenOrCreate});
    if (error == 0) m_turn.Open(m_file.Handle());
    return error;
}

void AppendFile::Close() noexcept
{
    m_turn.Close();
    m_file.Close();
}

std::size_t AppendFile::Write(std::string_view bytes, unsigned long& error) noexcept
{
    m_turn.Take();
    std::size_t const written = m_file.Append(bytes, error);
    m_turn.Give();
    return written;
}

bool AppendToFile(SystemPath const& path, std::string_view bytes) noexcept
{
    AppendFile file;
    if (file.Open(path, AppendFile::Start::Append) != 0) return false;
    unsigned long error = 0;
    return file.Write(bytes, error) == bytes.size();
}

} // namespace xc::win32
