// Digits.h - the fixed places of records that hold digits.
#pragma once

#include "text/NumberText.h"
#include "win32/Clock.h"

namespace xc::log {

using text::AppendNumber;
using text::Digits;
using text::PutDigits;

/// Fills the digits of a stamp laid out as "0000-00-00 00:00:00.000"; what stands between them stays.
inline void PutStampDigits(char* stamp, win32::WallTime const& t) noexcept
{
    PutDigits(stamp, t.year, 4);
    PutDigits(stamp + 5, t.month, 2);
    PutDigits(stamp + 8, t.day, 2);
    PutDigits(stamp + 11, t.hour, 2);
    PutDigits(stamp + 14, t.minute, 2);
    PutDigits(stamp + 17, t.second, 2);
    PutDigits(stamp + 20, t.millisecond, 3);
}

} // namespace xc::log
