// The library's own messages: what has a text in one language has another in the other. That every code has texts is
// checked where the pages are (check_docs.py).
#include <XelbrinCore/XCMessageSource.h>

#include <gtest/gtest.h>

namespace {

TEST(CoreMessages, EveryTextStandsInBothLanguages)
{
    int codes = 0;
    testing::internal::CaptureStdout(); // where a text is missing the source says so
    for (long number = 1; number < 2000; ++number) {
        XCError const error(glbXCOREMsgSourceP, number);
        XCString english, french;
        bool const has = error.AsString(english, XCFormatContext(L"enu", L"enu")).Good();
        EXPECT_EQ(error.AsString(french, XCFormatContext(L"fra", L"fra")).Good(), has) << number;
        EXPECT_EQ(english != french, has) << number;
        codes += has ? 1 : 0;
    }
    (void)testing::internal::GetCapturedStdout();
    EXPECT_GT(codes, 50) << "not asked for where they are";
}

} // namespace
