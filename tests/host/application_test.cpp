#include "host/host_tools.h"

#include "app/ListFile.h"

#include <XelbrinCore/XCUnitTest.h>

#include <gtest/gtest.h>
#include <sstream>

namespace {

using xc_test::Listener;
using xc_test::ModuleFolder;

TEST(Application, OptionsAndUsageScreen)
{
    XCSmartPtr<Listener> const listener(new Listener);
    XCApplication quiet(XCString(L"\"c:\\some dir\\tool.exe\" -TRACE /?"), listener, false);
    EXPECT_EQ(quiet.GetTraceLevel(), 0u); // an empty text reads as 0
    EXPECT_EQ(quiet.GetAppName(false, false).AsUTF8(), "tool");
    EXPECT_EQ(quiet.GetAppName(true, true).AsUTF8(), "c:\\some dir\\tool.exe");
    std::wostringstream screen;
    EXPECT_TRUE(quiet.DisplayUsageIfNecessary(&screen));
    std::wstring const asterisks(78, L'*');
    EXPECT_TRUE(screen.str().starts_with(asterisks + L"\n" + asterisks + L"\nUSAGE: tool [options list] \n" +
                                         asterisks + L"\nOptions list: \n   /config:{filename}"));
    XCApplication const normal(XCString(L"tool.exe"), listener, false);
    EXPECT_EQ(normal.GetTraceLevel(), 1u);
    EXPECT_FALSE(normal.DisplayUsageIfNecessary(&screen));
}

TEST(Application, TheLastOneIsFoundInWhateverOrderTheyEnd)
{
    XCSmartPtr<Listener> const listener(new Listener);
    auto first = std::make_unique<XCApplication>(XCString(L"a"), listener, false);
    auto second = std::make_unique<XCApplication>(XCString(L"b"), listener, false);
    auto third = std::make_unique<XCApplication>(XCString(L"c"), listener, false);
    second.reset();
    EXPECT_EQ(XCApplication::GetApp(), third.get());
    third.reset();
    EXPECT_EQ(XCApplication::GetApp(), first.get());
    first.reset();
    EXPECT_EQ(XCApplication::GetApp(), nullptr);
}

TEST(Application, ConfigurationFiles)
{
    ModuleFolder const folder({});
    folder.Write("good.ini", "[a]\nb=1\n");
    folder.Write("bad.ini", "[a]\nno equals sign");
    XCSmartPtr<Listener> const listener(new Listener);
    XCApplication const good(L"x /config:" + folder.Path() + L"\\good.ini", listener, false);
    ASSERT_FALSE(good.GetConfigFile().IsNull());
    EXPECT_EQ(good.GetConfigFile()->GetLong(L"A", L"B", 0), 1);
    XCApplication const bad(L"x /config:" + folder.Path() + L"\\bad.ini", listener, false);
    EXPECT_TRUE(bad.GetConfigFile().IsNull());
    EXPECT_NE(bad.GetConfigFailure().Find(L"bad.ini, line 2: unexpected EOF while parsing a key name"), XCString::npos);
    XCApplication const absent(L"x /config:" + folder.Path() + L"\\absent.ini", listener, false);
    EXPECT_FALSE(absent.GetConfigFailure().IsNull());
}

TEST(Application, NamesOfAListStayInsideItsFolder)
{
    struct Case {
        wchar_t const* name;
        bool inside;
    };
    constexpr Case kCases[] = {{L"a.osx", true},      {L"sub\\a.osx", true}, {L"a..b\\c", true},  {L"./a.osx", true},
                               {L"..\\a.osx", false}, {L"s/../../a", false}, {L"c:a.osx", false}, {L"\\a.osx", false},
                               {L".. \\a", false},    {L"...\\a", false},    {L"", false}};
    for (Case const& c : kCases) {
        xc::app::ModuleList const list = xc::app::ReadModuleList(c.name);
        EXPECT_EQ(list.names.size(), c.inside ? 1u : 0u) << XCString(c.name).AsUTF8();
    }
}

TEST(PlugIns, IdentitiesAsTextAndBack)
{
    bool ok = false;
    XCGuid const guid(L"{01234567-89ab-CDEF-0123-456789abcdef}", &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(guid.AsString().AsUTF8(), "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    for (wchar_t const* const wrong :
         {L"", L"{01234567-89ab-CDEF-0123-456789abcde}", L"01234567-89ab-CDEF-0123+456789abcdef",
          L"g1234567-89ab-CDEF-0123-456789abcdef"})
    {
        EXPECT_TRUE(XCGuid(wrong, &ok).IsNull());
        EXPECT_FALSE(ok);
    }
}

TEST(UnitTestMenu, RunsWhatIsChosen)
{
    XCUnitTest menu(L"Menu");
    menu.AddTestCase(L"good", [](XCTestScope& scope) { scope.Check(true, L"holds"); });
    menu.AddTestCase(L"bad", [](XCTestScope& scope) { scope.Check(false, L"does not hold"); });
    menu.AddTestCase(L"throws", [](XCTestScope&) { throw XCException(L"planned"); });
    std::wistringstream in(L"1\n 2 \n7\nx\na\nq\n1\n");
    std::wostringstream out;
    EXPECT_EQ(menu.RunMenu(in, out), 3u);
    EXPECT_NE(out.str().find(L"[FAIL] bad (1 checks)\n       does not hold\n"), std::wstring::npos);
    EXPECT_NE(out.str().find(L"[FAIL] throws (0 checks)\n       threw: planned\n"), std::wstring::npos);
}

} // namespace
