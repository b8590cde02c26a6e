// The library's own messages: every code has a text in each language.
#include <XelbrinCore/XCMessageSource.h>

#include <gtest/gtest.h>
#include <string_view>
#include <utility>
#include <vector>

namespace {

/// How the compiler writes a value of the codes: a number without a name stands as a cast.
template <XCCoreError>
constexpr std::string_view Written()
{
    return __PRETTY_FUNCTION__;
}

/// One answer for each number: whether it is a code. A code that is added is found here by itself.
template <long... Numbers>
std::vector<bool> AreCodes(std::integer_sequence<long, Numbers...>)
{
    return {Written<static_cast<XCCoreError>(Numbers)>().find("= XCErr") != std::string_view::npos...};
}

TEST(CoreMessages, EveryCodeHasATextInBothLanguages)
{
    std::vector<bool> const areCodes = AreCodes(std::make_integer_sequence<long, 2000>());
    int codes = 0;
    for (long number = 1; number < 2000; ++number) {
        if (!areCodes[static_cast<std::size_t>(number)]) continue;
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
