// What the portable core asks of the system, answered natively: for the sanitizer and fuzzing builds only.
#include <XelbrinCore/XCUnicode.h>

#include "win32/BlockReserve.h"
#include "win32/CaseTable.h"
#include "win32/Clock.h"
#include "win32/GrowBlock.h"
#include "win32/LastError.h"
#include "win32/Module.h"
#include "win32/Process.h"
#include "win32/ThreadEnd.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <thread>
#include <unistd.h>

namespace xc::win32 {

namespace {

void Fill(wchar_t (&table)[0x10000], char32_t (*map)(char32_t))
{
    for (unsigned int unit = 0; unit < 0x10000; ++unit) table[unit] = static_cast<wchar_t>(map(unit));
}

char32_t BaseLetter(char32_t unit)
{
    return unit < 0xC0 || unit > 0x17F ? unit : XCUnicode::Decompose(unit)[0]; // enough for the tests
}

} // namespace

bool GrowInPlace(void*, std::size_t) noexcept
{
    return false; // the heap here cannot
}

namespace {

/// The sanitizers see every block: with a reserve they would take a block of a former text for one that is in use.
constexpr bool kHasReserve =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    false;
#elif defined(__has_feature)
    !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
    true;
#endif

thread_local bool t_isOver = false;
struct OwnBlocks {
    BlockReserve reserve;
    ~OwnBlocks() { t_isOver = true; }
};

} // namespace

BlockReserve* OwnReserve() noexcept
{
    if (!kHasReserve || t_isOver) return nullptr;
    thread_local OwnBlocks blocks;
    return &blocks.reserve;
}

void* ModuleAt(void const*) noexcept
{
    return nullptr;
}

void ReadUpperCase(wchar_t (&table)[0x10000])
{
    Fill(table, [](char32_t unit) { return XCUnicode::ToUpper(unit); });
}

void ReadLowerCase(wchar_t (&table)[0x10000])
{
    Fill(table, [](char32_t unit) { return XCUnicode::ToLower(unit); });
}

void ReadBaseLetters(wchar_t (&table)[0x10000])
{
    Fill(table, BaseLetter);
}

unsigned long LastError() noexcept
{
    return static_cast<unsigned long>(errno);
}

KeepLastError::KeepLastError() noexcept : m_error(LastError()) {}

KeepLastError::~KeepLastError()
{
    errno = static_cast<int>(m_error);
}

namespace {

WallTime BrokenDown(std::tm* (*split)(std::time_t const*, std::tm*)) noexcept
{
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    std::tm t{};
    split(&now.tv_sec, &t);
    auto const u16 = [](long value) { return static_cast<std::uint16_t>(value); };
    return {u16(t.tm_year + 1900), u16(t.tm_mon + 1), u16(t.tm_wday), u16(t.tm_mday),
            u16(t.tm_hour),        u16(t.tm_min),     u16(t.tm_sec),  u16(now.tv_nsec / 1000000)};
}

} // namespace

WallTime LocalNow() noexcept
{
    return BrokenDown(::localtime_r);
}

WallTime UtcNow() noexcept
{
    return BrokenDown(::gmtime_r);
}

std::int64_t UtcTicks() noexcept
{
    std::timespec now{};
    std::timespec_get(&now, TIME_UTC);
    return (static_cast<std::int64_t>(now.tv_sec) + 11644473600) * 10000000 + now.tv_nsec / 100;
}

std::uint64_t TickMs() noexcept
{
    std::timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

std::optional<std::wstring> ReadEnvironment(wchar_t const* name)
{
    std::wstring const wide(name);
    char const* const value = std::getenv(std::string(wide.begin(), wide.end()).c_str());
    if (!value) return std::nullopt;
    std::string const bytes(value);
    return std::wstring(bytes.begin(), bytes.end());
}

std::wstring ModulePath(void*)
{
    return L"C:\\native"; // in the form that programs have where the library is used
}

void CallAtExit(void (*function)())
{
    (void)std::atexit(function);
}

unsigned long ProcessId() noexcept
{
    return static_cast<unsigned long>(::getpid());
}

bool IsProcessAlive(unsigned long id) noexcept
{
    return ::kill(static_cast<pid_t>(id), 0) == 0;
}

bool StartedAfter(unsigned long, std::uint64_t) noexcept
{
    return false;
}

std::wstring_view MachineMark() noexcept
{
    return {L"00000000", 8};
}

namespace {

std::atomic<std::uint64_t> g_lastSerial{0};
std::atomic<void (*)(std::uint64_t)> g_atThreadEnd{nullptr};

struct Serial {
    std::uint64_t value = ++g_lastSerial;
    ~Serial()
    {
        if (auto* const function = g_atThreadEnd.load()) function(value);
    }
};

} // namespace

std::uint64_t ThreadSerial() noexcept
{
    thread_local Serial const serial;
    return serial.value;
}

void CallAtThreadEnd(void (*function)(std::uint64_t)) noexcept
{
    g_atThreadEnd = function;
}

unsigned long ThreadId() noexcept
{
    return std::hash<std::thread::id>{}(std::this_thread::get_id());
}

} // namespace xc::win32
