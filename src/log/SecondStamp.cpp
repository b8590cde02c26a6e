#include "log/SecondStamp.h"

#include "log/Digits.h"
#include "win32/Clock.h"

namespace xc::log {

void SecondStamp::Refresh() noexcept
{
    std::uint64_t const now = win32::TickMs();
    if (now >= m_from && now < m_until) return;
    win32::WallTime const t = win32::LocalNow();
    m_day = t.year * 10000u + t.month * 100u + t.day;
    m_from = now;
    m_until = now + 1000u - t.millisecond;
    char* to = PutDigits(m_text, t.year, 4);
    to = PutDigits(to, t.month, 2);
    to = PutDigits(to, t.day, 2);
    *to++ = ' ';
    to = PutDigits(to, t.hour, 2);
    to = PutDigits(to, t.minute, 2);
    to = PutDigits(to, t.second, 2);
    *to++ = '>';
    *to = ' ';
}

} // namespace xc::log
