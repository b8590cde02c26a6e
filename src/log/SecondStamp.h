// SecondStamp.h - the time prefix of log lines, made once a second.
#pragma once

#include <cstdint>
#include <string_view>

namespace xc::log {

/// "YYYYMMDD HHMMSS> " of the local time. One thread at a time. The system's coarse clock decides whether the second
/// has passed: a stamp may be late by one of its steps (about 16 ms), and a change of the system's time shows within a
/// second.
class SecondStamp {
public:
    std::string_view Text() noexcept
    {
        Refresh();
        return {m_text, sizeof m_text};
    }
    /// The local day, as year * 10000 + month * 100 + day.
    std::uint32_t Day() noexcept
    {
        Refresh();
        return m_day;
    }

private:
    void Refresh() noexcept;

    char m_text[17] = {};
    std::uint32_t m_day = 0;
    std::uint64_t m_from = 0; ///< the coarse milliseconds for which the text holds
    std::uint64_t m_until = 0;
};

} // namespace xc::log
