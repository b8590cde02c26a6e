// Error objects, their parameters and XCDouble.
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCMessageSource.h>
#include <XelbrinCore/XCOldDateTime.h>

#include "errors/Plain.h"
#include "prelude.h"

namespace {

XCString const kText(L"parameter");

XCSmartPtr<XCErrorWithArgs> ErrorWithAllTypes(XCSmartPtrToConst<XCMessageSource> const& source)
{
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(source, 7, XCErrorI::SeverityFatal));
    EXPECT_EQ(error->AddParam(0.1), 0u);
    EXPECT_EQ(error->AddParam(-5), 1u);
    EXPECT_EQ(error->AddParam(70000L), 2u);
    EXPECT_EQ(error->AddParam(kText), 3u);
    EXPECT_EQ(error->AddParam(XCDateTime(951782399)), 4u);
    EXPECT_EQ(error->AddParam(XCDouble(2.675, 2)), 5u);
    return error;
}

void ExpectAllTypes(XCErrorI const& error)
{
    wchar_t const* const texts[] = {L"0.1", L"-5", L"70000", L"parameter", L"2000/02/28 23:59:59", L"2.68"};
    ASSERT_EQ(error.GetParameterCount(), 6u);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(error.GetParameterType(i), static_cast<XCErrorI::ErrorParamType>(i + 1));
        EXPECT_TRUE(error.GetParameterValueAsString(i, XCExecContext()) == texts[i]) << i;
    }
    EXPECT_EQ(*static_cast<int const*>(error.GetParameterValue(1)), -5);
    EXPECT_EQ(error.GetParameterType(6), XCErrorI::ParamNone);
    EXPECT_EQ(error.GetParameterValue(6), nullptr);
    EXPECT_TRUE(error.GetParameterValueAsString(6, XCExecContext()).IsNull());
}

TEST(XCErrorID, EmptyIsSuccess)
{
    XCErrorID id;
    EXPECT_TRUE(id.Good() && id.IsSuccess() && !id.Bad());
    EXPECT_EQ(static_cast<int>(id), 0);
    EXPECT_TRUE(id.AsString() == L"SUCCESS");
    id = XCSmartPtr<XCErrorString>(new XCErrorString(L"broken", 42));
    EXPECT_TRUE(id.Bad());
    EXPECT_EQ(static_cast<int>(id), 42);
    EXPECT_EQ(id->GetSeverity(), XCErrorI::SeverityError);
    EXPECT_TRUE(id.AsString() == L"broken");
    EXPECT_TRUE(XCErrorReportText(id) == L"broken");
    id = XCErrorID::Success;
    EXPECT_TRUE(id.Good());
    EXPECT_TRUE(XCErrorReportText(XCSmartPtr<XCXMLError>(new XCXMLError(3))) == L"<Unknown XCError }");
}

TEST(XCErrorWithArgs, ParametersSurviveTheirFirstOwner)
{
    XCSmartPtr<XCErrorWithArgs> first = ErrorWithAllTypes(nullptr);
    XCSmartPtr<XCErrorWithArgs> const copy(new XCErrorWithArgs(*first));
    XCErrorWithArgs assigned(nullptr, 1);
    assigned.AddParam(XCString(L"goes away"));
    assigned = *first;
    assigned = *&assigned;
    first.Clear();
    ExpectAllTypes(*copy);
    ExpectAllTypes(assigned);
    EXPECT_EQ(assigned.GetCode(), 7);
    EXPECT_EQ(assigned.GetSeverity(), XCErrorI::SeverityFatal);
}

TEST(XCErrorWithArgs, ParametersAreReadByTheirOwnTypeOnly)
{
    XCSmartPtr<XCErrorWithArgs> const error = ErrorWithAllTypes(nullptr);
    double number = 1;
    long wide = 3;
    XCString text;
    EXPECT_FALSE(error->GetParam(number, 1) || error->GetParam(wide, 1)); // an int
    EXPECT_TRUE(number == 1 && wide == 3);
    EXPECT_TRUE(error->GetParam(number, 0) && number == 0.1);
    EXPECT_TRUE(error->GetParam(wide, 2) && wide == 70000);
    EXPECT_TRUE(error->GetParam(text, 3) && text == kText);
}

TEST(XCErrorWithArgs, AnyDateHasAText)
{
    Case<std::int64_t, char const*> const cases[] = {
        {"no value", XCDateTime::kNull, ""},
        {"second before 1970", -1, "1969/12/31 23:59:59"},
        {"midnight before 1970", -86400, "1969/12/31 00:00:00"},
        {"leap day of a century", 951782400, "2000/02/29 00:00:00"},
        {"first second of all overflows", XCDateTime::kNull + 1, ""},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCErrorWithArgs error(nullptr, 1);
        error.AddParam(XCDateTime(c.given));
        EXPECT_EQ(Plain(error.GetParameterValueAsString(0, XCExecContext())), c.expected);
    }
}

/// The least that a program's own error is.
struct OwnError final : XCErrorI {
    OwnError() noexcept : XCErrorI(5, SeverityWarning) {}
    int GetIUID() const override { return kIUID; }
    XCErrorID AsString(XCString& text, XCFormatContext const&) const override
    {
        text = L"own";
        return {};
    }
};

TEST(XCError, KindsFollowTheClasses)
{
    XCErrorID const own(XCSmartPtr<XCErrorI>(new OwnError));
    EXPECT_TRUE(own.Bad() && own.AsString() == L"own" && own->IsKindOf(XCErrorI::kIUID));
    EXPECT_TRUE(own->GetParameterCount() == 0 && own->GetParameterType(0) == XCErrorI::ParamNone &&
                !own->GetParameterValue(0) && own->GetParameterValueAsString(0, XCExecContext()).IsNull());
    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(nullptr, 7));
    for (int const kind : {XCErrorI::kIUID, XCError::kIUID, XCErrorWithArgs::kIUID}) EXPECT_TRUE(error->IsKindOf(kind));
    EXPECT_FALSE(error->IsKindOf(XCErrorString::kIUID));
    EXPECT_FALSE(error->QueryInterface(XCError::kIUID).IsNull());
    EXPECT_TRUE(error->QueryInterface(XCWinLastError::kIUID).IsNull());
}

TEST(XCFormatContext, TextsAreCutToTheirFields)
{
    XCFormatContext const context(L"a long language", nullptr);
    EXPECT_STREQ(Plain(context.GetLanguage()).c_str(), "a long ");
    EXPECT_EQ(context.GetFallbackLanguage()[0], L'\0');
    EXPECT_TRUE(context.GetTimeZone().IsUTC());
}

/// The parameters of ErrorWithAllTypes, in order: 0.1, -5, 70000, "parameter", a date, 2.68.
constexpr Case<wchar_t const*, wchar_t const*> kFormatCases[] = {
    {"parameters out of order", L"%g %d %ld %s %s %s", L"0.1 -5 70000 parameter 2000/02/28 23:59:59 2.68"},
    {"text conversion given numbers", L"%s %s %s", L"0.1 -5 70000"},
    {"number conversion given a text", L"%d %x %lu %d", L"0.1 fffffffb 70000 parameter"},
    {"date under a number conversion", L"%g%d%d%d <%d>", L"0.1-570000parameter <2000/02/28 23:59:59>"},
    {"decimal as a double", L"%g %d %d %s %s %.1f", L"0.1 -5 70000 parameter 2000/02/28 23:59:59 2.7"},
    {"more conversions than parameters", L"%s%s%s%s%s%s|%s|%d", L"0.1-570000parameter2000/02/28 23:59:592.68|%s|%d"},
    {"count written to memory", L"%n%n%n%s", L"parameter"},
    {"stray percent signs", L"100%, 50%; %y %", L"100%, 50%; %y %"},
    {"doubled percent sign", L"%% %s %%", L"% 0.1 %"},
    {"no conversion", L"nothing to fill", L"nothing to fill"},
    {"width from a parameter", L"%s%*d", L"0.170000"},
};

TEST(ErrorText, AnyFormatGivesText)
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
    XCErrorID const error(ErrorWithAllTypes(source));
    for (auto const& c : kFormatCases) {
        SCOPED_TRACE(c.fault);
        source->Add(7, c.given);
        EXPECT_EQ(Plain(error.AsString()), Plain(c.expected));
    }
    source->Add(7, L"%s %4000d%9999999999d");
    EXPECT_EQ(error.AsString().Length(), 3000u);
}

TEST(XCInRAMMessageSource, AbsentTextIsNoFailure)
{
    XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource(L"fra"));
    XCString text;
    for (long const code : {0L, -1L, 99L}) {
        text.Clear();
        EXPECT_TRUE(source->GetText(text, code, XCFormatContext()).Good());
        EXPECT_TRUE(text == L"This message cannot be found");
    }
    source->Add(-1, L"first");
    source->Add(-1, L"second");
    XCError const error(source, -1); // a variable, which its source must not delete
    EXPECT_TRUE(error.AsString(text, XCFormatContext()).Good() && text == L"second");
    EXPECT_EQ(error.NbRef(), 0u);
    std::vector<XCString> languages;
    EXPECT_TRUE(source->GetAvailableLanguages(languages).Good());
    EXPECT_EQ(languages, std::vector<XCString>{L"fra"});
}

struct DoubleCase {
    const char* fault;
    double value;
    unsigned int decimals;
    const wchar_t* text;
};
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr DoubleCase kDoubleCases[] = {
    {"binary number below the half", 1.005, 2, L"1.01"},
    {"half to even", 0.125, 2, L"0.13"},
    {"dust of arithmetic above", 1.1 + 2.2, 15, L"3.300000000000000"},
    {"carry through nines", 9.9951, 2, L"10.00"},
    {"carry into a new digit", 0.6, 0, L"1"},
    {"below half of the last place", 0.0049, 2, L"0.00"},
    {"far below the last place", 1e-300, 2, L"0.00"},
    {"minus zero", -0.001, 2, L"0.00"},
    {"large whole number changed", 9007199254740993.0, 2, L"9007199254740992.00"},
    {"more digits than a double has", 123456789012345.67, 2, L"123456789012345.67"},
    {"too many decimals", 0.1, 99, L"0.100000000000000"},
    {"infinity", -kInfinity, 2, L"-inf"},
    {"smallest number", 5e-324, 15, L"0.000000000000000"},
};

TEST(XCDouble, RoundsAsOnPaper)
{
    for (DoubleCase const& c : kDoubleCases) {
        SCOPED_TRACE(c.fault);
        XCDouble const value(c.value, c.decimals);
        EXPECT_EQ(Plain(value.AsString()), Plain(c.text));
        EXPECT_TRUE(XCDouble(value.AsDouble(), c.decimals) == value); // rounding again changes nothing
    }
}

TEST(XCDouble, ArithmeticKeepsTheLargerNumberOfDecimals)
{
    XCDouble const price(19.99), rate(0.0755, 4);
    EXPECT_TRUE((price * rate).AsString() == L"1.5092");
    EXPECT_TRUE((price * 3).AsString() == L"59.97");
    EXPECT_TRUE((10 / XCDouble(3)).AsString() == L"3.33");
    EXPECT_TRUE((1 - price).AsString() == L"-18.99");
    EXPECT_TRUE((XCDouble(0.1) + XCDouble(0.2)) == 0.3);
    EXPECT_TRUE(price == 19.991 && price != rate && rate < price && price > 19 && 20 > price);
    XCDouble const nothing(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(nothing == nothing || nothing < 1 || nothing > 1);
}

} // namespace
