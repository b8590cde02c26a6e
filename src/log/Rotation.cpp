#include "log/Rotation.h"

#include "log/Digits.h"
#include "win32/FileSystem.h"

namespace xc::log {

namespace {

/// The name of the file put aside `number` rotations ago; 0 is the file in use.
win32::SystemPath NumberedName(win32::SystemPath const& path, unsigned int number)
{
    if (number == 0) return path;
    std::wstring suffix(1, L'.');
    AppendNumber(suffix, number);
    return path.WithSuffix(suffix);
}

} // namespace

void Rotation::OnOpened(win32::SystemPath const& path, std::uint64_t size)
{
    win32::FileFacts facts;
    m_fileDay = size > 0 && win32::GetFacts(path, facts) == 0 ? facts.lastWriteDay : 0;
    if (m_fileDay == 0) m_fileDay = m_clock.Day();
}

bool Rotation::IsDue(std::uint64_t fileSize, std::uint64_t recordSize) noexcept
{
    bool const full = m_maxBytes != 0 && fileSize + recordSize > m_maxBytes;
    bool const newDay = m_daily && m_clock.Day() != m_fileDay;
    if (fileSize == 0) {
        m_fileDay = m_clock.Day();
        return false;
    }
    return (full || newDay) && win32::TickMs() >= m_notBefore;
}

/// The lowest number without a file, or the highest kept one: no more files than needed are touched, so that a try that
/// was refused half way loses nothing when it is repeated.
unsigned int Rotation::FirstFree(win32::SystemPath const& path) const
{
    unsigned int number = 1;
    while (number < m_keep && win32::Exists(NumberedName(path, number))) ++number;
    return number;
}

unsigned long Rotation::Rotate(win32::SystemPath const& path)
{
    for (unsigned int number = FirstFree(path); number > 0; --number) {
        unsigned long const error = win32::RenameOver(NumberedName(path, number - 1), NumberedName(path, number));
        if (error != 0) {
            m_notBefore = win32::TickMs() + kRetryMs;
            return error;
        }
    }
    m_notBefore = 0;
    return 0;
}

} // namespace xc::log
