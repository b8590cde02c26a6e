// What of the host is pure logic: list files, the order of plug-ins, identities as text.
#include "app/host/ListFile.h"
#include "app/host/PlugInOrder.h"

#include <XelbrinCore/XCPlugIn.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace {

TEST(ListFile, LinesNamesAndWhatIsRefused)
{
    struct Case {
        char const* fault;
        std::wstring_view text;
        char const* names; ///< with "|" behind each
        char const* refused;
    };
    constexpr Case kCases[] = {
        {"line ends", L"a.osx\r\nb.osx\nc.osx\rd.osx", "a.osx|b.osx|c.osx|d.osx|", ""},
        {"comments and blanks", L"\n ; no\n;a.osx\n\t a b.osx \t\n\n", "a b.osx|", ""},
        {"a comment is a whole line", L"a;b.osx", "a;b.osx|", ""},
        {"the order is kept, also of twins", L"z\na\nz", "z|a|z|", ""},
        {"folders", L"sub\\a.osx\n./a.osx\na..b\\c", "sub\\a.osx|./a.osx|a..b\\c|", ""},
        {"ways out", L"..\\a\ns/../../a\n\\a\n/a\n.. \\a\n...\\a\n..", "", "..\\a|s/../../a|\\a|/a|.. \\a|...\\a|..|"},
        {"drives and streams", L"c:a.osx\nc:\\a\na.osx:b", "", "c:a.osx|c:\\a|a.osx:b|"},
        {"devices of the system", L"CON\nnul.osx\nsub\\aux .x.osx\ncom1\nLPT9.txt\nCOM\u00B2\nconin$\nCLOCK$/x\nprn. .",
         "", "CON|nul.osx|sub\\aux .x.osx|com1|LPT9.txt|COM\u00B2|conin$|CLOCK$/x|prn. .|"},
        {"names that begin like a device", L"console.osx\nCOM10\nlpt\nnull\na.con", "console.osx|COM10|lpt|null|a.con|",
         ""},
        {"a NUL ends a name early", {L"..\0x\na\0", 7}, "", "..|a|"}, // shown up to it
        {"nothing", L"", "", ""},
    };
    auto const joined = [](std::vector<XCString> const& names) {
        std::string text;
        for (XCString const& name : names) text += std::string(XCString(name.AsWChar()).AsUTF8()) + "|";
        return text;
    };
    for (Case const& c : kCases) {
        xc::host::ModuleList const list = xc::host::ReadModuleList(c.text);
        EXPECT_EQ(joined(list.names), c.names) << c.fault;
        EXPECT_EQ(joined(list.refused), c.refused) << c.fault;
    }
}

using Graph = std::vector<std::vector<std::size_t>>;

/// Any graph of a few items: each with the items that it depends on.
Graph AnyGraph(std::mt19937& random)
{
    Graph dependsOn(random() % 9);
    for (auto& wanted : dependsOn)
        for (std::size_t edges = random() % 3; edges-- > 0;) wanted.push_back(random() % dependsOn.size());
    return dependsOn;
}

/// The order by definition: again and again the first item that has all it depends on; what is left at the end.
std::vector<std::size_t> SlowOrder(Graph const& dependsOn)
{
    std::vector<std::size_t> order;
    auto const placed = [&](std::size_t item) { return std::find(order.begin(), order.end(), item) != order.end(); };
    for (bool progress = true; progress;) {
        progress = false;
        for (std::size_t i = 0; i < dependsOn.size() && !progress; ++i) {
            if (placed(i) || !std::all_of(dependsOn[i].begin(), dependsOn[i].end(), placed)) continue;
            order.push_back(i);
            progress = true;
        }
    }
    for (std::size_t i = 0; i < dependsOn.size(); ++i)
        if (!placed(i)) order.push_back(i);
    return order;
}

/// By definition: items that reach each other, themselves included, belong together.
Graph SlowCycles(Graph const& dependsOn)
{
    std::size_t const count = dependsOn.size();
    std::vector<std::vector<bool>> reaches(count, std::vector<bool>(count));
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t const to : dependsOn[i]) reaches[i][to] = true;
    for (std::size_t via = 0; via < count; ++via)
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t j = 0; j < count; ++j)
                if (reaches[i][via] && reaches[via][j]) reaches[i][j] = true;
    Graph cycles;
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<std::size_t> members;
        for (std::size_t j = 0; j < count; ++j)
            if (reaches[i][j] && reaches[j][i]) members.push_back(j);
        if (!members.empty() && members.front() == i) cycles.push_back(members);
    }
    return cycles;
}

TEST(PlugInOrder, OrdersAndFindsTheCyclesOfAnyGraph)
{
    std::mt19937 random(20261122);
    for (int round = 0; round < 2000; ++round) {
        Graph const dependsOn = AnyGraph(random);
        EXPECT_EQ(xc::host::OrderByDependency(dependsOn), SlowOrder(dependsOn)) << "round " << round;
        EXPECT_EQ(xc::host::FindCycles(dependsOn), SlowCycles(dependsOn)) << "round " << round;
    }
}

TEST(Guid, TextAndBack)
{
    bool ok = false;
    XCGuid const guid(L"{01234567-89ab-CDEF-0123-456789abcdef}", &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(guid, XCGuid(0x01234567, 0x89AB, 0xCDEF, {1, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
    EXPECT_EQ(guid.AsString().AsUTF8(), "{01234567-89AB-CDEF-0123-456789ABCDEF}");
    EXPECT_EQ(XCGuid(L"01234567-89ab-cdef-0123-456789abcdef"), guid);
    for (wchar_t const* const wrong :
         {L"", L"{01234567-89ab-CDEF-0123-456789abcde}", L"01234567-89ab-CDEF-0123+456789abcdef",
          L"g1234567-89ab-CDEF-0123-456789abcdef", L"{01234567-89ab-cdef-0123-456789abcdef"})
    {
        EXPECT_TRUE(XCGuid(wrong, &ok).IsNull());
        EXPECT_FALSE(ok);
    }
}

} // namespace
