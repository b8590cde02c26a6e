// Classifying, tokenising and looking up arguments; the lines of the usage screen.

#include "app/commandline/UsageText.h"
#include "prelude.h"

namespace {

using Argument = XCCommandLineArgument;

struct ClassifyCase {
    const char* fault;
    const wchar_t* text;
    Argument::ArgumentType type;
    const wchar_t *argument, *value;
    const wchar_t* argDelimiters = L"/-";
    const wchar_t* valueDelimiters = L":";
};
constexpr ClassifyCase kClassifyCases[] = {
    {"second delimiter ignored", L"-noconsole", Argument::ArgSwitch, L"noconsole", L""},
    {"file name taken for an option", L"data.txt", Argument::ArgNonStandard, L"data.txt", L""},
    {"path taken for an option", L"/usr/local/file", Argument::ArgNonStandard, L"/usr/local/file", L""},
    {"slash in the value makes a path", L"/osxpath:c:/dir/x.lst", Argument::ArgWithValue, L"osxpath", L"c:/dir/x.lst"},
    {"path rule applied to other delimiters", L"-usr/bin", Argument::ArgSwitch, L"usr/bin", L""},
    {"value cut at its own delimiter", L"/a:b:c", Argument::ArgWithValue, L"a", L"b:c"},
    {"lone delimiter lost", L"/", XCCommandLine::ArgSwitch, L"", L""},
    {"double slash not a path", L"//", Argument::ArgNonStandard, L"//", L""},
    {"empty name lost", L"/:x", Argument::ArgWithValue, L"", L"x"},
    {"empty value reads as a switch", L"/x:", Argument::ArgWithValue, L"x", L""},
    {"empty argument lost", L"", Argument::ArgAbsent, L"", L""},
    {"last of several value delimiters taken", L"-a=b:c", Argument::ArgWithValue, L"a", L"b:c", L"-", L":="},
    {"delimiter of both kinds underflows", L":ab", Argument::ArgWithValue, L"", L"ab", L":", L":"},
    {"slash of both kinds makes a path", L"/a/b", Argument::ArgWithValue, L"", L"a/b", L"/", L"/"},
    {"no value delimiters", L"/a:b", Argument::ArgSwitch, L"a:b", L"", L"/", L""},
};

TEST(XCCommandLine, ClassifiesEachArgument)
{
    for (ClassifyCase const& c : kClassifyCases) {
        SCOPED_TRACE(c.fault);
        wchar_t const* const values[] = {L"tool", c.text};
        XCCommandLine const line(2, values, c.argDelimiters, c.valueDelimiters, false);
        ASSERT_EQ(line.GetParsedArgumentVector().size(), 1u);
        Argument const& argument = line.GetParsedArgumentVector()[0];
        EXPECT_EQ(argument.GetArgType(), c.type);
        EXPECT_TRUE(argument.GetArgument() == c.argument && argument.GetValueAsString() == c.value);
        EXPECT_TRUE(line.GetRawArgumentListVector()[0] == c.text);
    }
}

TEST(XCCommandLine, TokenisesAString)
{
    Case<std::wstring, std::vector<std::wstring>> const cases[] = {
        {"blanks make tokens", L"  tool \t a  b ", {L"tool", L"a", L"b"}},
        {"pair inside quotes closes them", L"tool \"a \"\"quoted\"\" word\"", {L"tool", L"a \"quoted\" word"}},
        {"quote inside a token splits", L"tool /x:\"c:\\a b\"\\d", {L"tool", L"/x:c:\\a b\\d"}},
        {"pair outside quotes vanishes", L"tool \"\" x", {L"tool", L"\"", L"x"}},
        {"three quotes", L"tool \"\"\"a b\"\"\"", {L"tool", L"\"a b\""}},
        {"unclosed quote lost", L"tool \"a  b ", {L"tool", L"a  b "}},
        {"quoted blanks dropped", L"tool \"  \"", {L"tool", L"  "}},
        {"option as program name", L"-x y", {L"", L"-x", L"y"}},
        {"quoted option as program name", L"\"-x y\"", {L"", L"-x y"}},
        {"path of a program taken for an option", L"/bin/tool -x", {L"/bin/tool", L"-x"}},
        {"path with a value delimiter", L"/bin/tool:x", {L"", L"/bin/tool:x"}},
        {"text behind a terminator read", std::wstring(L"tool a\0b c", 10), {L"tool", L"a"}},
        {"nothing at all", L" \t", {}},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        XCCommandLine const line(c.given);
        ASSERT_EQ(line.GetArgCount(), c.expected.size());
        for (std::size_t i = 0; i < c.expected.size(); ++i)
            EXPECT_TRUE(XCString(line.GetArgValues()[i]) == c.expected[i].c_str()) << i;
        EXPECT_EQ(line.GetArgValues()[c.expected.size()], nullptr);
        EXPECT_TRUE(line.GetAppName() == (c.expected.empty() ? L"" : c.expected[0].c_str()));
    }
}

TEST(XCCommandLine, LooksUpTheFirstOfAName)
{
    XCCommandLine line(L"tool /Config:a.ini in.txt -config:b.ini /trace:7x -rate:2.5 out.txt -empty \"\"");
    EXPECT_TRUE(line.GetArg(L"CONFIG", L"none") == L"a.ini" && line.GetArg(L"missing", L"none") == L"none");
    EXPECT_EQ(All(line.GetArg(L"trace", 1), line.GetArg(L"missing", 1), line.GetArg(L"rate", 0.0)), All(7, 1, 2.5));
    EXPECT_EQ(line.GetArg(L"empty", 9), 0) << "an option without value is there, and reads as an empty text";
    EXPECT_TRUE(line.GetArg(L"empty", L"x") == L"");
    EXPECT_TRUE(line.ArgPresent(L"IN.TXT")) << "lookups regard every kind";
    EXPECT_TRUE(line.GetFileName(1) == L"out.txt" && line.GetFileName(3) == L"");
    EXPECT_EQ(line.GetNonStandardArguments().size(), 3u);

    std::vector<XCString> invalid{L"kept"};
    EXPECT_EQ(line.GetInvalidArguments({L"config", L"TRACE", L"rate"}, invalid), 1u);
    ASSERT_EQ(invalid.size(), 2u);
    EXPECT_TRUE(invalid[1] == L"empty");

    line.SetCaseSensitivity(true);
    EXPECT_TRUE(line.GetArg(L"config", L"none") == L"b.ini");
    EXPECT_FALSE(line.ArgPresent(L"CONFIG"));
    EXPECT_EQ(line.GetInvalidArguments({L"config"}, invalid), 4u);
}

TEST(XCCommandLine, AnEmptyArgumentAnswersForTheEmptyName)
{
    wchar_t const* const values[] = {nullptr, L"", nullptr, L"/"};
    XCCommandLine const line(4, values);
    EXPECT_FALSE(line.ArgPresent(L""));
    EXPECT_EQ(All(line.GetNonStandardArguments().size(), XCCommandLine(0, nullptr).GetArgCount()), All(2u, 0u));
}

TEST(XCCommandLine, CopiesOutliveTheirSource)
{
    std::wstring text = L"/x:1";
    wchar_t const* values[] = {L"tool", text.c_str()};
    auto source = std::make_unique<XCCommandLine>(2, values);
    XCCommandLine assigned(L"other -y");
    assigned = *source;
    XCCommandLine const copy(assigned);
    assigned = *&assigned;
    source.reset();
    text[1] = L'y';
    for (XCCommandLine const* line : {&std::as_const(assigned), &copy}) {
        ASSERT_EQ(line->GetArgCount(), 2u);
        EXPECT_TRUE(XCString(line->GetArgValues()[1]) == L"/x:1");
        EXPECT_EQ(line->GetArg(L"X", 0), 1);
    }
    XCCommandLine const moved(std::move(assigned));
    EXPECT_TRUE(moved.GetArg(L"X", 0) == 1 && assigned.GetArgCount() == 0);
}

TEST(XCUsageInfo, LaysOutOptionLines)
{
    std::wstring const blanks(25, L' ');
    std::wstring const word54(54, L'd');
    auto const padded = [](std::wstring text, std::size_t width) { return text.append(width - text.size(), L' '); };
    std::wstring const cut40 = std::wstring(40, L'a') + L' ' + std::wstring(14, L'b');
    // fault, name, description, lines
    Rows<std::wstring, std::wstring, std::wstring> const cases = {
        {"short name", L"trace:{n}", L"Level.", L"   /" + padded(L"trace:{n}", 20) + L" " + padded(L"Level.", 54)},
        {"blank at 54 not taken", L"a", word54 + L" e",
         L"   /" + padded(L"a", 20) + L" " + word54 + L"\n" + blanks + padded(L"e", 54)},
        {"not cut at the last blank", L"a", cut40,
         L"   /" + padded(L"a", 20) + L" " + padded(std::wstring(40, L'a'), 54) + L"\n" + blanks +
             padded(std::wstring(14, L'b'), 54)},
        {"no blank to cut at", L"a", word54 + L"ef",
         L"   /" + padded(L"a", 20) + L" " + word54 + L"\n" + blanks + padded(L"ef", 54)},
        {"name of 20 put alone", std::wstring(20, L'n'), L"x",
         L"   /" + std::wstring(20, L'n') + L" " + padded(L"x", 54)},
        {"name of 21 shares its line", std::wstring(21, L'n'), L"x",
         L"   /" + std::wstring(21, L'n') + L"\n" + blanks + padded(L"x", 54)},
    };
    for (auto const& [fault, name, description, lines] : cases) {
        SCOPED_TRACE(fault);
        XCUsageInfo usage;
        usage.AddCmdLineArgDesc(XCString(name), XCString(description), false);
        EXPECT_TRUE(xc::commandline::FormatUsage(usage) == (lines + L"\n").c_str());
    }
}

TEST(XCUsageInfo, WidensNarrowTexts)
{
    XCUsageInfo usage;
    usage.AddCmdLineArgDesc("caf\xC3\xA9", "caf\xE9", true);
    usage.AddCmdLineArgDesc(static_cast<char const*>(nullptr), "", false);
    XCString name, description;
    bool flag = false;
    ASSERT_TRUE(usage.GetCmdLineArgDesc(0, name, description, flag));
    EXPECT_TRUE(name == L"caf\u00E9" && description == L"caf\u00E9" && flag);
    EXPECT_FALSE(usage.GetCmdLineArgDesc(2, name, description, flag));
}

} // namespace
