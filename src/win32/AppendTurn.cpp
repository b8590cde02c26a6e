#include "win32/AppendTurn.h"

#include "win32/LastError.h"

#include <cstdio>
#include <cwchar>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr ULONGLONG kPatienceMs = 1000;

std::uint64_t NewTicket() noexcept
{
    static std::atomic<std::uint16_t> handles{0};
    return (std::uint64_t{::GetCurrentProcessId()} << 32) | (std::uint64_t{++handles} << 16);
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
    ::_snwprintf(name, 79, L"Local\\XelbrinCore.append.%08lx.%08lx%08lx", facts.dwVolumeSerialNumber,
                 facts.nFileIndexHigh, facts.nFileIndexLow);
    name[79] = 0;
    m_section = ::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(*m_holder), name);
    if (!m_section) return;
    m_holder = static_cast<std::atomic<std::uint64_t>*>(
        ::MapViewOfFile(m_section, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(*m_holder)));
    m_ticket = NewTicket();
}

void AppendTurn::Close() noexcept
{
    if (m_holder) ::UnmapViewOfFile(m_holder);
    if (m_section) ::CloseHandle(m_section);
    m_holder = nullptr;
    m_section = nullptr;
}

bool AppendTurn::TryTake(std::uint64_t& holder) noexcept
{
    holder = 0;
    return m_holder->compare_exchange_strong(holder, m_ticket, std::memory_order_acquire);
}

void AppendTurn::Take() noexcept
{
    if (!m_holder) return;
    // The low 16 bits count turns, so that a busy holder is never mistaken for one that stands still.
    m_ticket = (m_ticket & ~std::uint64_t{0xFFFF}) | ((m_ticket + 1) & 0xFFFF);
    std::uint64_t holder = 0;
    if (TryTake(holder)) return;
    std::uint64_t watched = holder;
    ULONGLONG since = ::GetTickCount64();
    for (unsigned int round = 0; !TryTake(holder); ++round) {
        if (holder != watched) {
            watched = holder;
            since = ::GetTickCount64();
        } else if (::GetTickCount64() - since > kPatienceMs &&
                   m_holder->compare_exchange_strong(holder, m_ticket, std::memory_order_acquire))
        {
            return;
        }
        Pause(round);
    }
}

void AppendTurn::Give() noexcept
{
    if (!m_holder) return;
    std::uint64_t mine = m_ticket; // not ours any more when it was taken over
    m_holder->compare_exchange_strong(mine, 0, std::memory_order_release);
}

} // namespace xc::win32
