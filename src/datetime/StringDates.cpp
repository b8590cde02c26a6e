// The members of XCString that read dates, times and durations. They stand here because the string is older than the
// dates: the room of texts knows their names alone.
//
// All follow one rule: the value comes back as FromString left it, which is null or invalid for a text that is no
// value, and the verdict goes to `ok` when the caller asks. A caller that does not ask still cannot mistake a bad text
// for a good date, since no good text gives a null one.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCString.h>

namespace {

template <class Value>
Value ReadAs(XCString const& text, bool* ok)
{
    Value value;
    bool const read = value.FromString(text);
    if (ok) *ok = read;
    return value;
}

} // namespace

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
    return ReadAs<XCDateEx>(*this, ok);
}

XCTimeEx XCString::AsXCTimeEx(bool* ok) const
{
    return ReadAs<XCTimeEx>(*this, ok);
}

XCDateTime XCString::AsXCDateTime(bool* ok) const
{
    return ReadAs<XCDateTime>(*this, ok);
}

XCDateTimeEx XCString::AsXCDateTimeEx(bool* ok) const
{
    XCDateTimeEx value;
    bool const read = value.FromString(*this).Good();
    if (ok) *ok = read;
    return value;
}
