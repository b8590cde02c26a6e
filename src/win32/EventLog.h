// EventLog.h - the system's event log.
//
// Errors are the numbers of the operating system; 0 is success.
#pragma once

#include <string>
#include <vector>

namespace xc::win32 {

enum class EventType : unsigned short { Error = 1, Warning = 2, Information = 4 };

/// An event on its way.
struct Event {
    EventType type;
    unsigned long id;
    std::vector<std::wstring> inserts;
};

/// A source that is open for writing.
class EventWriter {
public:
    explicit EventWriter(wchar_t const* source) noexcept;
    ~EventWriter();
    EventWriter(EventWriter const&) = delete;
    EventWriter& operator=(EventWriter const&) = delete;

    /// Inserts above the system's limits are cut: 31,839 units each, 256 of them.
    unsigned long Write(Event const& event) const;

private:
    void* m_handle;
    unsigned long m_openError;
};

/// Where a source is entered: under "SYSTEM\CurrentControlSet\Services\EventLog".
/// @param messageFiles one path, or several with semicolons between them.
unsigned long EnterEventSource(std::wstring const& log, std::wstring const& source, std::wstring const& messageFiles);
unsigned long TakeOutEventSource(std::wstring const& log, std::wstring const& source) noexcept;

/// The path of the library itself.
std::wstring LibraryPath();

} // namespace xc::win32
