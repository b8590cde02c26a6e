// CronLine.h - the text of a cron line, field by field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::work {

/// Reads a line into sets; stops at the first fault.
struct CronLine {
    enum Field : unsigned int { Minute, Hour, Day, Month, WeekDay, kFields };

    explicit CronLine(std::wstring_view line) noexcept;

    std::uint64_t fields[kFields] = {}; // bit n: the value n
    bool star[kFields] = {};            // the field begins with "*"
    std::size_t position = 0;           // of the fault
    wchar_t const* expected = nullptr;  // null: no fault

private:
    void ReadFields() noexcept;
    bool ReadNickname() noexcept;
    void ReadField(Field field) noexcept;
    void ReadItem(Field field) noexcept;
    unsigned int ReadValue(Field field) noexcept;
    unsigned int ReadNumber() noexcept;
    void SkipBlanks() noexcept;
    bool Skip(wchar_t unit) noexcept;
    void Expect(wchar_t const* what) noexcept;

    std::wstring_view m_line;
};

} // namespace xc::work
