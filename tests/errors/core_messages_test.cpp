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
    case XCErrUnknownLocale:
    case XCErrNoNumber:
    case XCErrNumberRange:
    case XCErrTextEnds:
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
    case XCErrConditionField:
    case XCErrConditionBlanks:
    case XCErrDataPastEnd:
    case XCErrDataCorrupt:
    case XCErrDataLimit:
    case XCErrDataTooLong:
    case XCErrDataOpenMark:
    case XCErrDataText:
    case XCErrDataFrame:
    case XCErrDataChecksum:
    case XCErrDataUnknownType:
    case XCErrDataNewerVersion:
    case XCErrTimedOut:
    case XCErrCancelled:
    case XCErrExecutorStopped:
    case XCErrQueueFull:
    case XCErrWaitCycle:
    case XCErrTaskFailed:
    case XCErrNoThread:
    case XCErrStillRunning:
    case XCErrScheduleText: return true;
    }
    return false;
}
#pragma GCC diagnostic pop

TEST(CoreMessages, EveryCodeHasATextInBothLanguages)
{
    int codes = 0;
    for (long number = 1; number < 2000; ++number) {
        if (!IsCode(number)) continue;
        SCOPED_TRACE(number);
        XCError const error(glbXCOREMsgSourceP, number);
        XCString english, french;
        EXPECT_TRUE(error.AsString(english, XCFormatContext(L"enu", L"enu")).Good());
        EXPECT_TRUE(error.AsString(french, XCFormatContext(L"fra", L"fra")).Good());
        EXPECT_NE(english, french);
        ++codes;
    }
    EXPECT_EQ(codes, 53); // none lies beyond the numbers that are asked
}

} // namespace
