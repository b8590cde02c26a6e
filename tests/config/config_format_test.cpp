// The file format: what is read, what is kept, what is refused.
#include "config/config_files.h"
#include "prelude.h"
#include "repetitions.h"

// fault, bytes, section, key, value
Rows<const char*, const wchar_t*, const wchar_t*, const wchar_t*> const kValueCases = {
    {"blanks around '=' kept", "[s]\nkey = some value  \n", L"s", L"key", L"some value"},
    {"return kept in the value", "[s]\r\nk=a\rb\r\n", L"s", L"k", L"ab"},
    {"value runs into the next line", "[s]\nk=\nnext=1\n", L"s", L"k", L""},
    {"second '=' ends the value", "[s]\nk=a=b\n", L"s", L"k", L"a=b"},
    {"';' starts a comment inside a value", "[s]\nk=a;b\n", L"s", L"k", L"a;b"},
    {"key without '=' ends at its line", "[s]\nlost\nk=v\n", L"s", L"lost\nk", L"v"},
    {"name ends at its line", "[a\nb]\nk=v\n", L"a\nb", L"k", L"v"},
    {"blanks of a name dropped", "[ s ]\nk=v\n", L" s ", L"k", L"v"},
    {"blanks after a header refused", "[s] \t\r\nk=v\n", L"s", L"k", L"v"},
    {"case counts", "[Main]\nKey=v\n", L"mAIN", L"kEY", L"v"},
    {"case of other scripts counts", "[\xC3\x89t\xC3\xA9]\n\xD0\xB6=v\n", L"\u00E9T\u00C9", L"\u0416", L"v"},
    {"empty key", "[s]\n = v\n", L"s", L"", L"v"},
    {"header at the end of the file", "[s]\nk=v\n[t]", L"s", L"k", L"v"},
};

TEST(XCConfigFormat, ReadsValues)
{
    for (auto const& [fault, bytes, section, key, value] : kValueCases) {
        SCOPED_TRACE(fault);
        ScratchFile const disk(bytes, "xc_config_value.ini");
        XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
        ASSERT_FALSE(file.IsNull());
        EXPECT_TRUE(file->GetString(section, key, L"(none)") == value)
            << file->GetString(section, key, L"(none)").AsUTF8();
        XCConfig reader;
        EXPECT_TRUE(reader.Open(disk.Path()).Good() && reader.GetString(section, key, L"(none)") == value);
    }
}

TEST(XCConfigFormat, KeepsWhatItReads)
{
    std::string const real = "; head\r\n\r\n[Main] \r\n; about\r\n;  the key\r\n\r\n\tKey = some  value \r\nB=\r\n"
                             "\r\n;next\r\n[Other]\r\nk=1\r\n\r\n; end\r\n\r\n\r\n";
    std::string const realSaved = "; head\r\n\r\n[Main]\r\n; about\r\n;  the key\r\n\r\nKey=some  value\r\nB=\r\n"
                                  "\r\n;next\r\n[Other]\r\nk=1\r\n\r\n; end\r\n\r\n\r\n";
    Case<std::string, std::string> const cases[] = {
        {"comments, blank lines, spelling", real, realSaved},
        {"saved file changes again", realSaved, {}},
        {"line feeds become CRLF", "[s]\nk=v\n\n; c\n", {}},
        {"minority of line ends kept", "[s]\nk=v\r\nl=w\n", "[s]\nk=v\nl=w\n"},
        {"empty file gets content", "", {}},
        {"only comments", "; a\n\n", {}},
        {"UTF-8 text", "[\xC3\xA9]\n\xE6\x97\xA5=\xF0\x9F\x98\x80\n", {}},
        {"UTF-8 mark lost", "\xEF\xBB\xBF[s]\nk=\xC3\xA9\n", {}},
        {"UTF-16 little-endian", BytesOf("\xFF\xFE[\0s\0]\0\r\0\n\0k\0=\0\xE9\0\r\0\n\0"), {}},
        {"UTF-16 big-endian", BytesOf("\xFE\xFF\0[\0s\0]\0\n\0k\0=\x20\xAC\0\n"), {}},
        {"unpaired surrogate of UTF-16", BytesOf("\xFF\xFE[\0\0\xD8]\0\n\0"), {}},
        {"ANSI text", "[caf\xE9]\nk=\x80\n", {}},
        {"NUL units", BytesOf("[s]\nk\0l=v\0w\n; \0\n"), {}},
        {"last comment without line break", "[s]\n;c", "[s]\n;c\n"},
        {"indentation of a comment", "  ;c\n \t\n[s]\n", ";c\n\n[s]\n"},
        {"a blank taken for a return", "[s]\r\n ;c\nk=v\r\n;d\r\nl= w\r\n", "[s]\r\n;c\r\nk=v\r\n;d\r\nl=w\r\n"},
        {"comment without text", "[s]\n;\nk=v\n", "[s]\n\nk=v\n"},
        {"returns before a line feed", "[s]\r\r\n;c\r\r\nk=v\r\r\n", "[s]\r\n;c\r\nk=v\r\n"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.fault);
        EXPECT_EQ(LoadAndSave(c.given), c.expected.empty() ? c.given : c.expected);
    }
}

TEST(XCConfigFormat, RefusesBrokenText)
{
    wchar_t const* const keyCut = L"unexpected EOF while parsing a key name of a configuration line";
    wchar_t const* const noHeader = L"expecting a '[' at the beginning of a section";
    wchar_t const* const nameCut = L"unexpected EOF while parsing a section name";
    wchar_t const* const afterHeader = L"unexpected character after the closing ']' of a section name";
    wchar_t const* const malformed = L"malformed text in a configuration file";
    // fault, bytes, message, line, column
    Rows<std::string, const wchar_t*, std::size_t, std::size_t> const cases = {
        {"key without '=' at the end", "[s]\nk=v\n\n  key\n", keyCut, 4, 3},
        {"text before the first section", "; c\n\n k=v\n", noHeader, 3, 2},
        {"only a bracket", "[", nameCut, 1, 2},
        {"text after a header", "[Main] x\n", afterHeader, 1, 8},
        {"comment after a header", "[Main] ; c\n", afterHeader, 1, 8},
        {"UTF-16 without a mark", BytesOf("[\0s\0]\0\n\0"), afterHeader, 1, 6},
        {"malformed UTF-8 behind a mark", "\xEF\xBB\xBF[s]\nk=\xE9\n", malformed, 2, 3},
        {"half a unit of UTF-16", BytesOf("\xFF\xFE[\0s"), malformed, 1, 2},
        {"byte without meaning in the code page", "[s]\nk=\x81\n", malformed, 2, 3},
    };
    for (auto const& [rowFault, bytes, message, line, column] : cases) {
        SCOPED_TRACE(rowFault);
        ScratchFile const disk(bytes, "xc_config_refused.ini");
        try {
            (void)XCConfigFile::Load(disk.Path());
            ADD_FAILURE() << "accepted";
        } catch (XCConfigStreamException const& fault) {
            EXPECT_TRUE(fault.What() == message) << fault.what();
            EXPECT_TRUE(fault.GetFileName() == disk.Path().c_str());
            EXPECT_EQ(All(fault.GetLine(), fault.GetColumn()), All(line, column));
        }
        XCConfig reader;
        EXPECT_EQ(reader.Open(disk.Path()), XCErrConfigMalformed);
    }
}

TEST(XCConfigFormat, ReadsHostileTextInLinearTime)
{
    std::string sections;
    int const count = Times(1000000);
    for (int i = 0; i < count; ++i) sections += "[s]\n";
    std::string const million(1000000, 'x');
    ScratchFile const disk("xc_config_hostile.ini");
    disk.Write(sections);
    EXPECT_EQ(XCConfigFile::Load(disk.Path())->GetSize(), static_cast<std::size_t>(count));
    disk.Write("[s]\n" + million + "=" + million);
    EXPECT_EQ(XCConfigFile::Load(disk.Path())->GetString(L"s", XCString(std::wstring(1000000, L'x')), L"").Length(),
              1000000u);
    for (std::string const& bytes : {"[" + million, "[s]" + million, million, "[s]\n" + million,
                                     "[s]\n" + std::string(1000000, '['), std::string(1000000, '\0')})
    {
        disk.Write(bytes);
        EXPECT_THROW((void)XCConfigFile::Load(disk.Path()), XCConfigStreamException);
    }
    disk.Write(std::string(1000000, '\r'));
    EXPECT_EQ(XCConfigFile::Load(disk.Path())->GetSize(), 0u);
}
