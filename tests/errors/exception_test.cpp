// Exceptions and the stacks they carry.
#include <XelbrinCore/XCException.h>

#include "errors/Plain.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace {

__attribute__((noinline)) void ThrowFromHere(int depth)
{
    if (depth == 0) throw XCException(L"thrown");
    ThrowFromHere(depth - 1);
    asm volatile("");
}

TEST(XCException, StackNamesTheThrower)
{
    try {
        ThrowFromHere(3);
        FAIL();
    } catch (XCException const& e) {
        EXPECT_TRUE(e.What() == L"thrown");
        EXPECT_STREQ(e.what(), "thrown");
        std::string const stack = Plain(e.Stack());
        EXPECT_EQ(stack.find("test_errors.exe!ThrowFromHere"), 0u) << stack;
    }
}

TEST(XCWindowsLastErrorException, ReadsTheErrorFirst)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    try {
        throw XCWindowsLastErrorException();
    } catch (XCWindowsLastErrorException const& e) {
        EXPECT_EQ(e.GetLastErrorCode(), 5u);
        EXPECT_TRUE(e.What() == L"Access denied.");
    }
}

} // namespace
