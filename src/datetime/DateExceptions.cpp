// The exceptions of dates and durations carry the refused value as its own representation, because their header stands
// below the classes of the values. A representation can also hold what no setter stores.
//
// So the value travels as its eight bytes. That is sound because every value class is one trivially copyable word,
// which is asserted where the bytes are taken; and it is exact: what a handler gets back compares equal to what was
// refused, also where no call could have made it. The flag beside the bytes tells a refused value from an exception
// that was thrown with words alone, whose value is a null one.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>

#include <bit>
#include <type_traits>

namespace {

template <class Value>
std::int64_t Bits(Value const& value) noexcept
{
    static_assert(sizeof(Value) == sizeof(std::int64_t) && std::is_trivially_copyable_v<Value>);
    return std::bit_cast<std::int64_t>(value);
}

// A null value has no text: the message then ends without a colon, not with one that nothing follows.
XCString DateMessage(XCString const& value)
{
    return value.IsNull() ? XCString(L"No valid date") : L"No valid date: " + value;
}

} // namespace

XCDateException::XCDateException(XCString const& message)
    : XCException(message), m_value(Bits(XCDateTime())), m_hasValue(false)
{
}
XCDateException::XCDateException(XCDateTime const& value)
    // In UTC: the message must not depend on the zone of the machine that happened to throw.
    : XCDateException(DateMessage(value.AsString(L"%Y/%m/%d %H:%M:%S", XCTimeZone())), value)
{
}
XCDateException::XCDateException(XCString const& message, XCDateTime const& value)
    : XCException(message), m_value(Bits(value)), m_hasValue(true)
{
}
XCDateException::~XCDateException() = default;

XCDateTime XCDateException::GetValue() const noexcept
{
    return std::bit_cast<XCDateTime>(m_value);
}

XCDateExceptionEx::XCDateExceptionEx(XCString const& message)
    : XCException(message), m_value(Bits(XCDateTimeEx())), m_hasValue(false)
{
}
XCDateExceptionEx::XCDateExceptionEx(XCDateTimeEx const& value)
    : XCDateExceptionEx(DateMessage(value.AsString(XCTimeZone())), value)
{
}
XCDateExceptionEx::XCDateExceptionEx(XCString const& message, XCDateTimeEx const& value)
    : XCException(message), m_value(Bits(value)), m_hasValue(true)
{
}
XCDateExceptionEx::~XCDateExceptionEx() = default;

XCDateTimeEx XCDateExceptionEx::GetValue() const noexcept
{
    return std::bit_cast<XCDateTimeEx>(m_value);
}

XCDurationExceptionEx::XCDurationExceptionEx(XCString const& message)
    // A duration has no null; the invalid one takes its part.
    : XCException(message), m_value(Bits(XCDurationEx::invalid_)), m_hasValue(false)
{
}
XCDurationExceptionEx::XCDurationExceptionEx(XCDurationEx const& value)
    : XCDurationExceptionEx(L"No valid duration: " + value.AsString(), value)
{
}
XCDurationExceptionEx::XCDurationExceptionEx(XCString const& message, XCDurationEx const& value)
    : XCException(message), m_value(Bits(value)), m_hasValue(true)
{
}
XCDurationExceptionEx::~XCDurationExceptionEx() = default;

XCDurationEx XCDurationExceptionEx::GetValue() const noexcept
{
    return std::bit_cast<XCDurationEx>(m_value);
}
