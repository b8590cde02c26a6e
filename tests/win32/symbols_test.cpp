// Names and lines from the tables of a module's file.
#include "prelude.h"
#include "win32/CoffImage.h"
#include "win32/DebugLink.h"
#include "win32/FunctionName.h"
#include "win32/LineTable.h"

namespace {

using namespace xc::win32;

TEST(FunctionName, IsWhatTheSourceCallsIt)
{
    Case<std::string, std::string> const cases[] = {
        {"what it lies in", "ns::Box<int>::Get(char)", "Get"},
        {"result, own arguments", "int (anonymous namespace)::Take<ns::A<(ns::K)1>, char>(char) const",
         "Take<ns::A<(ns::K)1>, char>"},
        {"described result", "decltype (f(1)) ns::Make<int>(int)", "Make<int>"},
        {"local of a function", "ns::Outer(int) const::{lambda(char)#1}::operator()(char) const", "operator()"},
        {"signs of operators", "std::operator<< <char>(std::ostream&, char)", "operator<< <char>"},
        {"conversion", "Box::operator std::vector<int>() const", "operator std::vector<int>"},
        {"copy by the optimizer", "ns::Go(int) [clone .constprop.0]", "Go"},
        {"name of C", "main", "main"},
        {"open bracket", "a<b(", "a<b("},
        {"nothing", "", ""},
    };
    for (auto const& c : cases) EXPECT_EQ(ShortFunctionName(c.given), c.expected) << c.fault;
}

std::string Bytes(std::uint64_t value, int count)
{
    std::string bytes;
    for (; count > 0; --count, value >>= 8) bytes += static_cast<char>(value);
    return bytes;
}

/// a.cpp, line 10, at 0x1000 to 0x1003; b.cpp, line 12, up to 0x1013.
std::string UnitOf(int version)
{
    std::string const zero(1, '\0');
    std::string head("\x01\x01\x01\xFB\x0E\x0D\0\x01\x01\x01\x01\0\0\0\x01\0\0\x01", 18);
    if (version < 4) head.erase(1, 1);
    if (version < 5)
        head += zero + "a.cpp" + Bytes(0, 4) + "b.cpp" + Bytes(0, 4) + zero;
    else // folders: a path in place; files: a path in the table of texts, and a folder
        head += std::string("\x01\x01\x08\x01"
                            "d\0\x02\x01\x1F\x02\x0B\x03",
                            12) +
                Bytes(0, 5) + Bytes(0, 5) + Bytes(6, 5);
    std::string const program =
        std::string("\0\x09\x02", 3) + Bytes(0x1000, 8) + std::string("\x03\x09\x01\x04\x02\x4C\x02\x10\0\x01\x01", 11);
    std::string const body = Bytes(static_cast<unsigned>(version), 2) + (version == 5 ? std::string("\x08\0", 2) : "") +
                             Bytes(head.size(), 4) + head + program;
    return Bytes(body.size(), 4) + body;
}

TEST(LineTable, FindsLinesOfEveryVersionAndSurvivesCuts)
{
    std::string const names("a.cpp\0b.cpp\0", 12);
    // fault, address, file, line
    Rows<std::uint64_t, std::string, std::uint64_t> const rows = {
        {"before the first", 0xFFF, "", 0},     {"first", 0x1000, "a.cpp", 10},
        {"last of a row", 0x1003, "a.cpp", 10}, {"next row", 0x1004, "b.cpp", 12},
        {"last of all", 0x1013, "b.cpp", 12},   {"after the end", 0x1014, "", 0},
    };
    for (int const version : {2, 4, 5}) {
        // Behind a unit of a version that nobody knows.
        std::string const section = Bytes(2, 4) + Bytes(9, 2) + UnitOf(version);
        for (auto const& [fault, address, file, line] : rows) {
            SourceLine const found = FindSourceLine({section, names, {}}, FindLineRanges(section), address);
            EXPECT_TRUE(found.file == file && found.line == line) << fault << " in " << version << ": " << found.file;
        }
        for (std::size_t size = 0; size < section.size(); ++size) {
            std::string const cut = section.substr(0, size); // of its own: the address sanitizer sees its end
            (void)FindSourceLine({cut, names, {}}, FindLineRanges(section), 0x1004);
            EXPECT_LE(FindLineRanges(cut).size(), 1u);
            EXPECT_FALSE(CoffImage(cut).HasSymbols());
        }
    }
}

TEST(DebugLink, NamesAFileInTheModulesFolder)
{
    Rows<std::string, std::string> const rows = {
        {"zeros before the checksum", std::string("a.debug\0\x26\x39\xF4\xCB", 12), "a.debug"},
        {"up to a multiple of four", std::string("a.dbg\0\0\0\x26\x39\xF4\xCB", 12), "a.dbg"},
        {"another folder", std::string("..\\a.d\0\x26\x39\xF4\xCB", 12), ""},
        {"cut", std::string("a.debug\0\x26\x39\xF4", 11), ""},
        {"without an end", "a.debug", ""},
    };
    for (auto const& [fault, section, file] : rows) {
        DebugLink const link = ReadDebugLink(section);
        EXPECT_EQ(link.file, file) << fault;
        EXPECT_TRUE(file.empty() || link.checksum == DebugChecksum(DebugChecksum(0, "1"), "23456789")) << fault;
    }
}

} // namespace
