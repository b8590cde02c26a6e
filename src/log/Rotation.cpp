#include "log/Rotation.h"

#include "log/Digits.h"
#include "win32/AppendFile.h"

namespace xc::log {

namespace {

/// The name of the file put aside `number` rotations ago; 0 is the file in use.
std::wstring NumberedName(std::wstring const& path, unsigned int number)
{
    if (number == 0) return path;
    std::wstring name = path + L'.';
    AppendNumber(name, number);
    return name;
}

} // namespace

void Rotation::OnOpened(std::wstring const& path, std::uint64_t size)
{
    m_fileDay = size > 0 ? win32::LastWriteDay(path) : 0;
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
    return (full || newDay) && win32::CoarseMilliseconds() >= m_notBefore;
}

/// The lowest number without a file, or the highest kept one: no more files than needed are touched, so that a try that
/// was refused half way loses nothing when it is repeated.
unsigned int Rotation::FirstFree(std::wstring const& path) const
{
    unsigned int number = 1;
    while (number < m_keep && win32::FileExists(NumberedName(path, number))) ++number;
    return number;
}

unsigned long Rotation::Rotate(std::wstring const& path)
{
    for (unsigned int number = FirstFree(path); number > 0; --number) {
        unsigned long const error = win32::RenameFile(NumberedName(path, number - 1), NumberedName(path, number));
        if (error != 0) {
            m_notBefore = win32::CoarseMilliseconds() + kRetryMs;
            return error;
        }
    }
    m_notBefore = 0;
    return 0;
}

} // namespace xc::log
