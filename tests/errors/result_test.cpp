// Errors in one call, results, and codes of the standard library.
#include <XelbrinCore/XCErrorCode.h>
#include <XelbrinCore/XCGuid.h>
#include <XelbrinCore/XCResult.h>

#include <gtest/gtest.h>

namespace {

XCResult<XCString> Name(int number)
{
    if (number < 0) return XCFail(L"%d is negative", number);
    XCString name;
    name.Format(L"n%d", number);
    return name;
}

TEST(XCFail, CarriesEveryKindOfArgument)
{
    XCErrorID const error =
        XCFail(XCErrDataCorrupt, UINT64_MAX, 5u, -3ll, XCErrorID(), XCGuid(), L"text", 2.5, short{7});
    using enum XCErrorI::ErrorParamType;
    std::pair<XCErrorI::ErrorParamType, wchar_t const*> const wanted[] = {{ParamString, L"18446744073709551615"},
                                                                          {ParamLong, L"5"},
                                                                          {ParamLong, L"-3"},
                                                                          {ParamString, L"SUCCESS"},
                                                                          {ParamString, nullptr},
                                                                          {ParamString, L"text"},
                                                                          {ParamDouble, L"2.5"},
                                                                          {ParamInt, L"7"}};
    ASSERT_EQ(error->GetParameterCount(), std::size(wanted));
    for (std::size_t i = 0; i < std::size(wanted); ++i) {
        EXPECT_EQ(error->GetParameterType(i), wanted[i].first) << i;
        if (!wanted[i].second) continue;
        EXPECT_TRUE(error->GetParameterValueAsString(i, XCExecContext()) == wanted[i].second) << i;
    }
    EXPECT_EQ(int(error), XCErrDataCorrupt);
}

TEST(XCErrorWithArgs, MovesItsParameters)
{
    XCErrorWithArgs first(glbXCOREMsgSourceP, XCErrDataCorrupt);
    first.AddParam(1);
    XCErrorWithArgs second(std::move(first));
    EXPECT_EQ(second.GetParameterCount(), 1u);
    first = std::move(second);
    EXPECT_EQ(first.GetParameterCount(), 1u);
}

TEST(XCResult, ValueOrFailure)
{
    EXPECT_TRUE(Name(5).Good() && *Name(5) == L"n5" && Name(5)->Length() == 2);
    XCResult<XCString> const failed = Name(-1);
    EXPECT_TRUE(failed.Bad() && failed.GetError().AsString() == L"-1 is negative");
    EXPECT_TRUE(failed.ValueOr(L"none") == L"none" && Name(1).ValueOr(L"none") == L"n1");
    auto const length = [](XCString const& name) { return name.Length(); };
    EXPECT_EQ(Name(12).Then(length).Value(), 3u);
    EXPECT_TRUE(failed.Then(length).GetError().IsSameAs(failed.GetError()));
    EXPECT_THROW((void)failed.Value(), XCException);
    EXPECT_THROW((void)XCResult<int>{XCErrorID()}, XCException);
}

TEST(XCErrorCode, ThereAndBack)
{
    EXPECT_FALSE(XCToErrorCode(XCErrorID()));
    EXPECT_TRUE(XCFromErrorCode({}).Good());
    std::error_code const late = XCToErrorCode(XCFail(XCErrTimedOut));
    EXPECT_TRUE(late == std::errc::timed_out && late.category() == XCCoreErrorCategory());
    EXPECT_EQ(int(XCFromErrorCode(late)), XCErrTimedOut);
    static constexpr std::pair<XCCoreError, std::errc> kMeanings[] = {
        {XCErrSocketReset, std::errc::connection_reset},
        {XCErrSocketCancelled, std::errc::operation_canceled},
        {XCErrQueueFull, std::errc::resource_unavailable_try_again},
        {XCErrWaitCycle, std::errc::resource_deadlock_would_occur},
        {XCErrUnmappableUnit, std::errc::illegal_byte_sequence},
        {XCErrNumberRange, std::errc::result_out_of_range},
    };
    for (auto const& [code, meaning] : kMeanings) EXPECT_TRUE(XCToErrorCode(XCFail(code)) == meaning) << code;
    EXPECT_FALSE(late.message().empty());
    std::error_code const own = XCToErrorCode(XCFail(L"text")); // its own code is 0
    EXPECT_TRUE(own && own.category() == XCProgramErrorCategory());
    std::error_code const system(2, std::system_category());
    XCErrorID const missing = XCFromErrorCode(system);
    EXPECT_TRUE(missing->IsKindOf(XCWinLastError::kIUID) && XCToErrorCode(missing) == system);
    XCErrorID const foreign = XCFromErrorCode(std::make_error_code(std::errc::invalid_argument));
    EXPECT_TRUE(int(foreign) == int(std::errc::invalid_argument) && !foreign.AsString().IsNull());
}

} // namespace
