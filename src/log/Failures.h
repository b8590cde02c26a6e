// Failures.h - what went wrong in a part of the logging, counted and readable; failing never stops a program.
#pragma once

#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCSync.h>

#include <atomic>
#include <cstdint>

namespace xc::log {

/// Counts failures and keeps the text of the last one. Any thread.
class Failures {
public:
    void Note(XCString const& text) noexcept;
    /// Notes: what, the path in quotes, and the number of the system's error unless it is 0.
    void NoteFile(wchar_t const* what, std::wstring_view path, unsigned long error) noexcept;
    /// Counts each of the records that a file could not take and notes how many they were.
    void NoteLost(std::uint64_t records, std::wstring_view path, unsigned long error) noexcept;
    [[nodiscard]] std::uint64_t Count() const noexcept { return m_count.load(std::memory_order_relaxed); }
    /// Empty when nothing failed.
    [[nodiscard]] XCString Last() const;

private:
    void Note(std::uint64_t count, std::wstring_view what, std::wstring_view path, unsigned long error) noexcept;

    std::atomic<std::uint64_t> m_count{0};
    mutable XCCriticalSection m_section;
    XCString m_last;
};

} // namespace xc::log
