// The library's own messages: every code has a text in each language.
#include <XelbrinCore/XCMessageSource.h>

#include <gtest/gtest.h>

namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic error "-Wswitch"
/// The compiler refuses this function when a code is missing.
bool IsCode(long number)
{
    switch (static_cast<XCCoreError>(number)) {
    case XCErrThreadAlreadyStarted:
    case XCErrMalformedText:
    case XCErrUnmappableUnit:
    case XCErrUnknownCodePage:
    case XCErrNoConverter:
    case XCErrMessageNotFound:
    case XCErrNoDateTime:
    case XCErrInvalidDateTime:
    case XCErrPlugInFailed:
    case XCErrConsoleNotRedirected:
    case XCErrListCannotRead:
    case XCErrListMalformed:
    case XCErrConfigCannotRead:
    case XCErrConfigCannotWrite:
    case XCErrConfigPartlyRead:
    case XCErrConfigWouldNotReadBack:
    case XCErrConfigMalformed:
    case XCErrLogCannotOpen:
    case XCErrConditionOperator:
    case XCErrConditionValue:
    case XCErrConditionQuote:
    case XCErrConditionParenthesis:
    case XCErrConditionLink:
    case XCErrConditionDate:
    case XCErrConditionPattern:
    case XCErrConditionNesting:
    case XCErrConditionNative:
    case XCErrConditionRefused:
    case XCErrConditionField: return true;
    }
    return false;
}
#pragma GCC diagnostic pop

TEST(CoreMessages, EveryCodeAndNoOtherNumberHasATextInBothLanguages)
{
    for (long number = 1; number < 1000; ++number) {
        SCOPED_TRACE(number);
        XCError const error(glbXCOREMsgSourceP, number);
        XCString english, french;
        bool const hasEnglish = error.AsString(english, XCFormatContext(L"enu", L"enu")).Good();
        bool const hasFrench = error.AsString(french, XCFormatContext(L"fra", L"fra")).Good();
        EXPECT_EQ(hasEnglish, IsCode(number));
        EXPECT_EQ(hasFrench, IsCode(number));
        if (hasEnglish && hasFrench) EXPECT_NE(english, french);
    }
}

} // namespace
