// What of the host is pure logic: list files, the order of plug-ins, identities as text.
#include "app/host/ListFile.h"
#include "app/host/PlugInOrder.h"
#include "prelude.h"

#include <XelbrinCore/XCPlugIn.h>

namespace {

TEST(ListFile, LinesNamesAndWhatIsRefused)
{
    auto const joined = [](std::vector<XCString> const& names) { // with "|" behind each
        std::string text;
        for (XCString const& name : names) text += std::string(XCString(name.AsWChar()).AsUTF8()) + "|";
        return text;
    };
    for (auto const& [fault, text, names, refused] : Rows<std::wstring_view, char const*, char const*>{
             {"line ends", L"a.osx\r\nb.osx\nc.osx\rd.osx", "a.osx|b.osx|c.osx|d.osx|", ""},
             {"comments and blanks", L"\n ; no\n;a.osx\n\t a b.osx \t\n\n", "a b.osx|", ""},
             {"a comment is a whole line", L"a;b.osx", "a;b.osx|", ""},
             {"the order is kept, also of twins", L"z\na\nz", "z|a|z|", ""},
             {"folders", L"sub\\a.osx\n./a.osx\na..b\\c", "sub\\a.osx|./a.osx|a..b\\c|", ""},
             {"ways out", L"..\\a\ns/../../a\n\\a\n/a\n.. \\a\n...\\a\n..", "",
              "..\\a|s/../../a|\\a|/a|.. \\a|...\\a|..|"},
             {"drives and streams", L"c:a.osx\nc:\\a\na.osx:b", "", "c:a.osx|c:\\a|a.osx:b|"},
             {"devices of the system",
              L"CON\nnul.osx\nsub\\aux .x.osx\ncom1\nLPT9.txt\nCOM\u00B2\nconin$\nCLOCK$/x\nprn. .", "",
              "CON|nul.osx|sub\\aux .x.osx|com1|LPT9.txt|COM\u00B2|conin$|CLOCK$/x|prn. .|"},
             {"names that begin like a device", L"console.osx\nCOM10\nlpt\nnull\na.con",
              "console.osx|COM10|lpt|null|a.con|", ""},
             {"a NUL ends a name early", {L"..\0x\na\0", 7}, "", "..|a|"}, // shown up to it
             {"nothing", L"", "", ""},
         })
    {
        xc::host::ModuleList const list = xc::host::ReadModuleList(text);
        EXPECT_EQ(joined(list.names), names) << fault;
        EXPECT_EQ(joined(list.refused), refused) << fault;
    }
}

using Graph = std::vector<std::vector<std::size_t>>;

TEST(PlugInOrder, OrdersAndFindsCycles)
{
    // What can never be ready stands at the end.
    for (auto const& [fault, dependsOn, order, cycles] : Rows<Graph, std::vector<std::size_t>, Graph>{
             {"nothing", {}, {}, {}},
             {"given order changed without need", {{}, {}, {0}}, {0, 1, 2}, {}},
             {"chain from the end", {{1}, {2}, {3}, {}}, {3, 2, 1, 0}, {}},
             {"first that is ready goes first", {{2}, {}, {}, {0}}, {1, 2, 0, 3}, {}},
             {"two ways to one, and one named twice", {{}, {0, 0}, {0}, {1, 2}}, {0, 1, 2, 3}, {}},
             {"depends on itself", {{0}, {}}, {1, 0}, {{0}}},
             {"follower of a cycle counted in", {{1}, {0}, {1}, {}}, {3, 0, 1, 2}, {{0, 1}}},
             {"two cycles joined to one", {{2}, {3}, {0, 1}, {1}}, {0, 1, 2, 3}, {{0, 2}, {1, 3}}},
             {"cycles that share an item", {{1}, {2, 0}, {1}}, {0, 1, 2}, {{0, 1, 2}}},
             {"long way around", {{4}, {0}, {1}, {2}, {3}}, {0, 1, 2, 3, 4}, {{0, 1, 2, 3, 4}}},
         })
    {
        EXPECT_EQ(xc::host::OrderByDependency(dependsOn), order) << fault;
        EXPECT_EQ(xc::host::FindCycles(dependsOn), cycles) << fault;
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
