// XCDateAndTime.h - the broken-down form that the date and time classes fill and take.
//
// WHAT     Plain fields and the zone that they are meant in. Nothing is checked here: the class that takes the fields
//          checks them.
// COST     None beyond copying eight numbers and a zone.
// THREADS  As for a plain structure: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCTimeZone.h>

/// A broken-down date and time with the zone it is seen in. A date without a time reads as midnight; a time without a
/// date has year, month and day 0, and is taken back as such.
struct XCDateAndTime {
    int year = 0;                 ///< The year, negative before year 0.
    unsigned int month = 0;       ///< 1 to 12.
    unsigned int day = 0;         ///< 1 to 31.
    unsigned int hour = 0;        ///< 0 to 23.
    unsigned int minute = 0;      ///< 0 to 59.
    unsigned int second = 0;      ///< 0 to 59.
    unsigned int millisecond = 0; ///< 0 to 999.
    unsigned int weekDay = 0;     ///< as XCDateEx::GetWeekDay gives it; not looked at when a value takes the aggregate
    XCTimeZone zone;              ///< The zone that the fields are meant in.
};
