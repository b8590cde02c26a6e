// The members of XCString that read dates, times and durations. They stand here because the string is older than the
// dates: the room of texts knows their names alone.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCString.h>

XCDurationEx XCString::AsXCDurationEx(bool* ok) const
{
    XCDurationEx value = XCDurationEx::invalid_;
    bool read = false;
    try {
        read = value.FromString(*this);
    } catch (XCDurationExceptionEx const&) {
        // The verdict says it: a number that no duration holds.
    }
    if (ok) *ok = read;
    return value;
}

XCDateEx XCString::AsXCDateEx(bool* ok) const
{
    XCDateEx value;
    bool const read = value.FromString(*this);
    if (ok) *ok = read;
    return value;
}

XCTimeEx XCString::AsXCTimeEx(bool* ok) const
{
    XCTimeEx value;
    bool const read = value.FromString(*this);
    if (ok) *ok = read;
    return value;
}

XCDateTime XCString::AsXCDateTime(bool* ok) const
{
    XCDateTime value;
    bool const read = value.FromString(*this);
    if (ok) *ok = read;
    return value;
}

XCDateTimeEx XCString::AsXCDateTimeEx(bool* ok) const
{
    XCDateTimeEx value;
    bool const read = value.FromString(*this).Good();
    if (ok) *ok = read;
    return value;
}
