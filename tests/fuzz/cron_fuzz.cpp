// Cron lines: what can be read is due in order, at whole minutes that the same line means again.
#include "input.h"

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    XCString line;
    for (std::size_t i = 0; i < size && i < 200; ++i) line += static_cast<wchar_t>(bytes[i]);
    XCScheduleCron const schedule(line);
    XCDateTimeEx last(2024, 2, 28, 23, 59, 30, 0, XCTimeZone::UTC());
    for (int i = 0; i < 3; ++i) {
        XCDateTimeEx const next = schedule.GetNext(last, XCTimeZone::UTC());
        if (next.IsNull()) return;
        if (schedule.IsEmpty() || !(last < next) || next.GetTime(XCTimeZone::UTC()).AsMilliseconds() % 60000 != 0)
            std::abort();
        last = next;
    }
}
