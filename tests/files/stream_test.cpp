// Streams of files: lines of every encoding, wherever the buffer cuts them, and a disk that is full for a while.

#include "files/shown.h"
#include "repetitions.h"
#include "scratch_files.h"

#if defined(_WIN32)
#include "sync/import_patch.h"
#endif

namespace {

using namespace std::literals;

/// All lines, each before a "|"; the codes of errors in their places.
std::string Lines(XCFileStream& stream)
{
    std::string lines;
    XCString line;
    for (;;) {
        bool got = false;
        XCErrorID const result = stream.ReadLine(line, got);
        if (result.Good() && !got) return lines;
        lines += (got ? Shown(line) : std::to_string(result->GetCode())) + "|";
    }
}

TEST(XCFileStream, LinesOfEveryEncoding)
{
    using Encoding = XCTextEncoding;
    XCSmartPtrToConst<XCStringConverter> const latin(new XCLatin1Converter);
    // fault, bytes, options, lines, found
    Rows<std::string_view, XCTextOptions, char const*, Encoding> const rows = {
        {"empty file has a line", "", {}, "", Encoding::Utf8},
        {"last line lost", "a\r\nb\n\nc", {}, "a|b||c|", Encoding::Utf8},
        {"line after the last", "a\n", {}, "a|", Encoding::Utf8},
        {"return inside a line", "a\rb\r\r\n", {}, "a?b?|", Encoding::Utf8},
        {"half a line given out", "a\nbc", {.wholeLinesOnly = true}, "a|", Encoding::Utf8},
        {"mark is text", "\xEF\xBB\xBF\xC3\xA9\n"sv, {.encoding = Encoding::Ansi}, "?|", Encoding::Utf8WithMark},
        {"mark alone", "\xFF\xFE"sv, {}, "", Encoding::Utf16LE},
        {"byte 0A inside a unit", "\xFF\xFE\x0A\x0A\x41\x00\x0D\x00\x0A\x00\x42\x00"sv, {}, "?A|B|", Encoding::Utf16LE},
        {"line end across two units", "\xFE\xFF\x0A\x00\x0A\x41\x00\x0A"sv, {}, "??|", Encoding::Utf16BE},
        {"half a unit at the end", "\xFE\xFF\x00\x41\x00"sv, {}, "1207|", Encoding::Utf16BE},
        {"damage costs more than its line", "a\n\xC3(\nb\n"sv, {}, "a|1207|b|", Encoding::Utf8},
        {"other encodings", "\xE9\n\xFF"sv, {.converter = latin}, "?|?|", Encoding::Utf8},
        {"mark of another encoding", "\xFF\xFE\n"sv, {.converter = latin}, "??|", Encoding::Utf8},
        {"limit not kept", "12345\n123456\n1\n", {.maxLineUnits = 5}, "12345|1206|1|", Encoding::Utf8},
        {"in bytes", "\xC3\xA9\xC3\xA9\n\xC3\xA9\xC3\xA9\xC3\xA9"sv, {.maxLineUnits = 2}, "??|1206|", Encoding::Utf8},
    };
    for (auto const& [fault, bytes, options, lines, found] : rows) {
        SCOPED_TRACE(fault);
        ScratchFile const disk(bytes, "xc_lines.txt");
        XCFileStream stream;
        ASSERT_TRUE(stream.Open(disk.Path(), XCFileMode::ToRead(), options).Good());
        EXPECT_EQ(Lines(stream), lines);
        EXPECT_EQ(stream.GetEncoding(), found);
        XCFileStream last;
        XCString line;
        bool got = true;
        ASSERT_TRUE(last.Open(disk.Path(), XCFileMode::ToRead(), options).Good() && last.Seek(bytes.size()).Good());
        EXPECT_TRUE(last.ReadLine(line, got).Good() && !got);
        EXPECT_EQ(last.GetEncoding(), found) << "read from its end on";
    }
}

TEST(XCFileStream, ErrorsNameFileLineAndByte)
{
    ScratchFile const disk("ab\ncd\xFF\n"sv, "xc_damaged.txt");
    XCFileStream stream;
    XCString line;
    bool got = false;
    ASSERT_TRUE(stream.Open(disk.Path(), XCFileMode::ToRead()).Good() && stream.ReadLine(line, got).Good());
    XCErrorID const damaged = stream.ReadLine(line, got);
    EXPECT_TRUE(Names(damaged, "xc_damaged.txt"));
    EXPECT_EQ(Parameter(damaged, 1) + ", " + Parameter(damaged, 2), "2, 5");
    EXPECT_TRUE(!got && line.IsNull() && stream.Close().Good());
    for (XCErrorID const& closed : {stream.ReadLine(line, got), stream.WriteLine(L"x"), stream.Flush(), stream.Seek(0)})
        EXPECT_EQ(closed, XCErrFileFailed);
}

TEST(XCFileStream, WhatIsWrittenReadsBackWhereverTheBufferCuts)
{
    using Encoding = XCTextEncoding;
    std::mt19937 random(20);
    for (Encoding const encoding : {Encoding::Utf8, Encoding::Utf8WithMark, Encoding::Utf16LE, Encoding::Utf16BE}) {
        SCOPED_TRACE(static_cast<int>(encoding));
        ScratchFile const disk("xc_written.txt");
        std::vector<std::wstring> lines;
        for (int i = 0; i < 40; ++i) {
            std::wstring line(i % 10 == 9 ? 65'400 + random() % 300 : random() % 9'000, L'\u65E5');
            for (wchar_t& unit : line) unit = random() % 3 != 0 ? unit : static_cast<wchar_t>(0x20 + random() % 0x700);
            lines.push_back(std::move(line));
        }
        XCFileStream out, in;
        XCTextOptions options{.encoding = encoding};
        options.crlf = random() % 2 != 0;
        ASSERT_TRUE(out.Open(disk.Path(), XCFileMode::ToWrite(), options).Good());
        EXPECT_EQ(out.WriteText(L"\xD800").Good(), encoding >= Encoding::Utf16LE) << "half a pair";
        for (std::wstring const& line : lines) ASSERT_TRUE(out.WriteLine(line).Good());
        ASSERT_TRUE(out.Close().Good());
        ASSERT_TRUE(in.Open(disk.Path(), XCFileMode::ToRead()).Good());
        for (std::wstring const& line : lines) {
            XCString read;
            bool got = false;
            ASSERT_TRUE(in.ReadLine(read, got).Good() && got);
            ASSERT_TRUE(read.View().ends_with(line) && read.Length() <= line.size() + (in.GetLineNumber() == 1));
        }
        EXPECT_EQ(All(in.GetEncoding(), Lines(in)), All(encoding, ""));
    }
}

TEST(XCFileStream, UnitsThatTheBufferCutsStayWhole)
{
    // After one byte every unit of two bytes stands at an odd place; the halves of two neighbours look like a line end.
    std::string content = "h";
    for (int i = 0; i < 50'000; ++i) content += "\x4F\x0A\x00\x4E"sv;
    ScratchFile const disk(content, "xc_odd.txt");
    XCFileStream stream;
    char header = 0;
    std::size_t size = 0;
    ASSERT_TRUE(stream.Open(disk.Path(), XCFileMode::ToRead(), {.encoding = XCTextEncoding::Utf16LE}).Good());
    ASSERT_TRUE(stream.Read(&header, 1, size).Good() && size == 1);
    XCString line;
    bool got = false;
    ASSERT_TRUE(stream.ReadLine(line, got).Good() && got);
    EXPECT_EQ(line.Length(), 100'000u);
}

TEST(XCFileStream, AGrowingFileGivesWholeLines)
{
    std::string_view const content = "\xEF\xBB\xBF"
                                     "caf\xC3\xA9\r\n\xE6\x97\xA5\nend"sv;
    ScratchFile const disk("", "xc_grows.txt");
    XCFileStream in, out;
    ASSERT_TRUE(out.Open(disk.Path(), XCFileMode::ToAppend()).Good());
    ASSERT_TRUE(in.Open(disk.Path(), XCFileMode::ToRead(), {.wholeLinesOnly = true}).Good());
    std::string lines;
    for (char const byte : content) {
        ASSERT_TRUE(out.Write(&byte, 1).Good() && out.Flush().Good());
        lines += Lines(in);
    }
    EXPECT_EQ(All(lines, in.GetPosition()), All("caf?|?|", content.size() - 3));
}

TEST(XCFileStream, TypedValuesInBothDirections)
{
    ScratchFile const disk("xc_typed.bin");
    XCFileStream stream;
    ASSERT_TRUE(stream.Open(disk.Path(), {XCFileAccess::ReadWrite, XCFileCreation::Truncate}).Good());
    XCBinaryWriter writer(stream);
    for (int i = 0; i < 50'000; ++i) writer.Write(i);
    std::string const block(100'000, 'b');
    ASSERT_TRUE(writer.Flush().Good() && stream.Write(block.data(), block.size()).Good());
    ASSERT_TRUE(stream.GetPosition() == 300'000 && stream.Seek(4 * 49'999).Good());
    std::uint64_t left = 0;
    EXPECT_TRUE(stream.GetRemaining(left) && left == 100'004) << left;
    int last = 0;
    EXPECT_TRUE(XCBinaryReader(stream).Read(last) && last == 49'999) << last;
    char bytes[4];
    std::size_t got = 0;
    EXPECT_TRUE(stream.Seek(8).Good() && stream.Read(bytes, 4, got).Good());
    EXPECT_TRUE(stream.Write("new!", 4).Good() && stream.Close().Good()) << "right after the bytes that were read";
    EXPECT_EQ(disk.Bytes().substr(8, 12), "\2\0\0\0new!\4\0\0\0"sv);
}

#if defined(_WIN32)
std::size_t g_room = 0;
BOOL WINAPI WriteWithRoom(HANDLE file, void const* from, DWORD size, DWORD* written, OVERLAPPED* place)
{
    if (g_room == 0) return ::SetLastError(ERROR_DISK_FULL), FALSE;
    auto const count = static_cast<DWORD>(std::min<std::size_t>(size, g_room));
    g_room -= count;
    return ::WriteFile(file, from, count, written, place);
}

TEST(XCFileStream, AFullDiskLosesNothingThatWasTaken)
{
    for (XCFileMode const& mode : {XCFileMode::ToWrite(), XCFileMode::ToAppend()}) {
        ScratchFile const disk("xc_full.txt");
        sync_test::ImportPatch const patch("WriteFile", &WriteWithRoom);
        XCFileStream stream;
        ASSERT_TRUE(stream.Open(disk.Path(), mode, {.crlf = false}).Good());
        std::string expected;
        int failures = 0;
        g_room = 10'000;
        for (int i = 0; i < 30'000; ++i) {
            std::string const line = std::to_string(i);
            XCErrorID const result = stream.WriteLine(std::wstring(line.begin(), line.end()));
            if (result.Good()) expected += line + "\n";
            failures += result.Bad();
            if (i % 1'000 == 0) g_room += 2'222;
        }
        EXPECT_GT(failures, 0);
        EXPECT_EQ(stream.Flush().Good(), g_room != 0);
        g_room = SIZE_MAX;
        EXPECT_TRUE(stream.Close().Good() && disk.Bytes() == expected);
    }
}
#endif

} // namespace
