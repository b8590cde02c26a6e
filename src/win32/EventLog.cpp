// The event log's calls and the registry entry that gives its viewer the words.
//
// A source that was never entered can write all the same: its events lack words, and nothing else. The system refuses a
// whole event when one insert is too long, so inserts are cut first: an event with a cut text is better than none.
#include "win32/EventLog.h"

#include "win32/LastError.h"
#include "win32/Module.h"
#include "win32/Process.h"

#include <algorithm>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr std::size_t kMostInsertUnits = 31839;
constexpr std::size_t kMostInserts = 256;
constexpr DWORD kTypes = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;

std::wstring KeyOf(std::wstring const& log, std::wstring const& source)
{
    return L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\" + log + L"\\" + source;
}

} // namespace

EventWriter::EventWriter(wchar_t const* source) noexcept
    : m_handle(::RegisterEventSourceW(nullptr, source)), m_openError(m_handle ? 0 : ::GetLastError())
{
}

EventWriter::~EventWriter()
{
    if (m_handle) ::DeregisterEventSource(m_handle);
}

unsigned long EventWriter::Write(Event const& event) const
{
    if (!m_handle) return m_openError;
    // Copies: the caller's texts may go to other subscribers.
    std::vector<std::wstring> cut(event.inserts.begin(),
                                  event.inserts.begin() +
                                      static_cast<std::ptrdiff_t>(std::min(event.inserts.size(), kMostInserts)));
    std::vector<wchar_t const*> texts;
    for (std::wstring& insert : cut) {
        if (insert.size() > kMostInsertUnits) insert.resize(kMostInsertUnits);
        texts.push_back(insert.c_str());
    }
    bool const isWritten = ::ReportEventW(m_handle, static_cast<WORD>(event.type), 0, event.id, nullptr,
                                          static_cast<WORD>(texts.size()), 0, texts.data(), nullptr) != 0;
    return isWritten ? 0 : ::GetLastError();
}

unsigned long EnterEventSource(std::wstring const& log, std::wstring const& source, std::wstring const& messageFiles)
{
    std::wstring const path = KeyOf(log, source);
    HKEY key = nullptr;
    LSTATUS status =
        ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr);
    if (status != ERROR_SUCCESS) return static_cast<unsigned long>(status);
    status = ::RegSetValueExW(key, L"EventMessageFile", 0, REG_EXPAND_SZ,
                              reinterpret_cast<BYTE const*>(messageFiles.c_str()),
                              static_cast<DWORD>((messageFiles.size() + 1) * sizeof(wchar_t)));
    if (status == ERROR_SUCCESS)
        status = ::RegSetValueExW(key, L"TypesSupported", 0, REG_DWORD, reinterpret_cast<BYTE const*>(&kTypes),
                                  sizeof kTypes);
    ::RegCloseKey(key);
    return static_cast<unsigned long>(status);
}

unsigned long TakeOutEventSource(std::wstring const& log, std::wstring const& source) noexcept
{
    LSTATUS const status = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, KeyOf(log, source).c_str());
    return status == ERROR_FILE_NOT_FOUND ? 0 : static_cast<unsigned long>(status);
}

std::wstring LibraryPath()
{
    static int const here = 0; // of the library's image
    return ModulePath(ModuleAt(&here));
}

} // namespace xc::win32
