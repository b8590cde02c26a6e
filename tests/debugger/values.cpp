// Values for a debugger to look at. It stops at Stop(), where the variables of main stand in the frame above.
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCPlugIn.h>

[[gnu::noinline]] void Stop(void const* values)
{
    asm volatile("" : : "r"(values) : "memory");
}

int main()
{
    XCString const emptyText;
    XCString const text(L"a \"quoted\" word, \u00e9, \xD83D\xDE00");
    XCString const loneSurrogate(L"x\xD800y");
    XCString const longText = XCString(L'z', 300);

    XCErrorID const success;
    XCErrorID const failure(XCSmartPtr<XCErrorString>(new XCErrorString(L"no paper", 42, XCErrorI::SeverityWarning)));
    XCSmartPtr<XCErrorString> const pointer(new XCErrorString(L"shared", 7));
    XCSmartPtr<XCErrorString> const second = pointer;
    XCSmartPtrToConst<XCErrorI> const nullPointer;

    XCDateEx const noDate;
    XCDateEx const date(2024, 2, 29);
    XCTimeEx const noTime;
    XCTimeEx const time(23, 5, 9, 7);
    XCDateTimeEx const noInstant;
    XCDateTimeEx instant;
    instant.FromInt64((static_cast<std::int64_t>(date.AsInt()) << 32) | time.AsUInt());
    XCDurationEx const duration(-3, XCDurationEx::Hour);
    XCDurationEx const noUnit(5, XCDurationEx::InvalidUnit);
    XCDate const oldDate(29, 2, 2024);
    XCDateTime const oldInstant(1709247909);
    XCDateTime const oldNull;
    XCDouble const price(1.005, 2);
    XCGuid const guid(0x6F1D2C84, 0x93B5, 0x4E0A, {0xA7, 0xC1, 0x2B, 0x8E, 0x5D, 0x90, 0xF3, 0x46});
    PlugInIdEx const identity(guid, L"Greeter");
    void const* const values[] = {&emptyText,  &text,      &loneSurrogate, &longText, &success, &failure,
                                  &pointer,    &second,    &nullPointer,   &noDate,   &date,    &noTime,
                                  &time,       &noInstant, &instant,       &duration, &noUnit,  &oldDate,
                                  &oldInstant, &oldNull,   &price,         &guid,     &identity};
    Stop(values);
    return 0;
}
