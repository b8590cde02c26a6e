#include <XelbrinCore/XCConfig.h>

#include <gtest/gtest.h>
TEST(XCConfig, X)
{
    XCConfigFile f(L"x");
    f.SetString(L"a", L"b", L"c");
    EXPECT_TRUE(f.GetString(L"A", L"B", L"") == L"c");
}
