
#include "prelude.h"
#include "repetitions.h"
#include "scratch_files.h"

namespace {

std::string Plain(XCString const& text)
{
    return text.AsUTF8();
}

XCMessageLibraryFile FileOf(std::string const& lines, char const* head = "LAN 1 Demo enu\n")
{
    XCMessageLibraryFile file;
    EXPECT_TRUE(file.Read(head + lines, XCString(L"demo")).Good());
    return file;
}

std::string TextOf(XCMessageLibraryFile const& file, long code)
{
    XCString text(L"-");
    (void)file.Find(text, code);
    return Plain(text);
}

TEST(MessageLibraryFile, ReadsTexts)
{
    // fault, lines, code, text
    Rows<char const*, long, char const*> const rows = {
        {"plain", "12 1 The file %s\n", 12, "The file %s"},
        {"blanks around", "  12\t 1   a b \t\r\n", 12, "a b"},
        {"no line break at the end", "12 1 a", 12, "a"},
        {"comment read as a text", "; 12 1 a\n\n \n12 1 b ; c\n", 12, "b ; c"},
        {"negative code", "-2147483648 1 a\n", -2147483647 - 1, "a"},
        {"escapes", "12 1 a\\tb\\nc\\\\d\\u00e9\\uD83D\\uDE00\\u0020\n", 12, "a\tb\nc\\d\xC3\xA9\xF0\x9F\x98\x80 "},
        {"continued over two breaks", "12 1 one \\\n   two\\\r\n\tthree\n13 1 x\n", 12, "one twothree"},
        {"backslash at the end taken for a continuation", "12 1 a\\\\\n13 1 x\n", 12, "a\\"},
        {"comment sign within a text that goes on", "12 1 a\\\n;b\n", 12, "a;b"},
        {"empty line in a text that goes on", "12 1 a\\\n\n13 1 x\n", 13, "x"},
        {"beyond ASCII", "12 1 d\xC3\xA9j\xC3\xA0 vu \xE2\x82\xAC, more than sixteen bytes\n", 12,
         "d\xC3\xA9j\xC3\xA0 vu \xE2\x82\xAC, more than sixteen bytes"},
        {"first of two of one code does not count", "13 1 x\n12 1 a\n12 1 b\n11 1 y\n", 12, "a"},
    };
    for (auto const& [fault, lines, code, text] : rows) EXPECT_EQ(TextOf(FileOf(lines), code), text) << fault;
    EXPECT_EQ(FileOf("1 3 a\n").GetSeverity(1), XCErrorI::SeverityFatal);
    EXPECT_EQ(FileOf("\n1 3 a\\\n b\n2 0 c").GetLine(2), 5u);
}

TEST(MessageLibraryFile, NamesEveryBadLineAndKeepsTheOthers)
{
    // fault, bad, place
    Rows<char const*, char const*> const rows = {
        {"no code", "a 1 x", "demo:3:1: a code was expected"},
        {"code glued to its severity", "12;1 x", "demo:3:1: a code was expected"},
        {"code alone", "12", "demo:3:1: a code was expected"},
        {"code too large", " 2147483648 1 x", "demo:3:2: the code does not fit 32 bits"},
        {"severity missing", "12 text", "demo:3:4: a severity from 0 to 3 was expected"},
        {"severity too large", "12 4 x", "demo:3:4: a severity from 0 to 3 was expected"},
        {"text missing", "12 1  ", "demo:3:7: the text is missing"},
        {"malformed bytes", "12 1 \xC3\xA9\xF0\x9F\x98\x80\xFF", "demo:3:9: no text in the encoding of the file"},
        {"terminator within", "12 1 a\x01z", "demo:3:7: a control character"},
        {"unknown escape", "12 1 a\\q", "demo:3:7: an escape is \\n, \\t, \\\\ or \\u with four hexadecimal digits"},
        {"short escape", "12 1 \\u12", "demo:3:6: an escape is \\n, \\t, \\\\ or \\u with four hexadecimal digits"},
        {"escape that ends the text", "12 1 \\u0000", "demo:3:6: \\u0000 would end the text"},
        {"half a pair", "12 1 \\uD83D\\u0041", "demo:3:6: one half of a pair without the other"},
        {"place within a text that goes on", "12 1 a\\\n  b\\q",
         "demo:4:4: an escape is \\n, \\t, \\\\ or \\u with four hexadecimal digits"},
        {"second of one code", "10 1 x", "demo:3: code 10 stands in line 2 already"},
    };
    for (auto const& [fault, bad, place] : rows) {
        XCMessageLibraryFile const file = FileOf("10 1 first\n" + std::string(bad) + "\n11 1 last\n");
        ASSERT_EQ(file.GetFaults().size(), 1u) << fault;
        EXPECT_EQ(
            All(Plain(file.GetFaults()[0].AsString()), TextOf(file, 10) + TextOf(file, 11), file.GetCodes().size()),
            All(place, "firstlast", 2u))
            << fault;
    }
    // A column counts what an editor shows, malformed bytes one each.
    EXPECT_EQ(Plain(FileOf("1 \xE6\xE6\xE6 a\\").GetFaults().at(0).AsString()),
              "demo:2:8: no line follows in which the text could go on");
    EXPECT_EQ(FileOf([] {
                  std::string many;
                  for (int i = 0; i < 3000; ++i) many += "x\n";
                  return many;
              }())
                  .GetFaults()
                  .size(),
              1001u);
}

TEST(MessageLibraryFile, RefusesWhatIsNoSuchFile)
{
    char const* const heads[] = {"",
                                 "12 1 a\n",
                                 "LAN 2 Demo enu\n",
                                 "LAN 1\n",
                                 "LAN 1 Demo en\n",
                                 "LAN 1 Demo en1\n",
                                 "LAN 1 Demo enu utf8\n",
                                 "LAN 1 Demo enu 64999\n",
                                 "LAN 1 Demo enu 1252 x\n",
                                 "LAN 1 Demo deu\n",
                                 "LAN 1 Other enu\n"};
    for (char const* head : heads) {
        XCMessageLibraryFile file;
        EXPECT_EQ(static_cast<int>(file.Read(head, L"C:\\a\\Demo.enu.LAN")), XCErrMessageFileMalformed) << head;
        EXPECT_EQ(file.GetFaults().size(), 1u) << head;
    }
    XCMessageLibraryFile file;
    EXPECT_TRUE(file.Read("LAN 1 Demo ENU\n", XCString(L"a/demo.enu.lan")).Good());
    EXPECT_EQ(static_cast<int>(file.Open(XCString(L"no such file"))), XCErrMessageFileCannotRead);
    EXPECT_TRUE(file.GetCodes().empty()); // the old texts do not pass for the new file's
}

TEST(MessageLibraryFile, ReadsEveryEncoding)
{
    std::wstring const text = L"LAN 1 Demo fra\r\n1 1 \u00E9t\u00E9\r\n2 1 \xD83D\n3 1 fin";
    auto const units = [&](bool swapped) {
        std::string bytes;
        for (wchar_t const unit : L"\uFEFF" + text) {
            char const pair[] = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
            bytes += swapped ? std::string{pair[1], pair[0]} : std::string{pair[0], pair[1]};
        }
        return bytes;
    };
    std::string const files[] = {
        units(false),
        units(true),
        "\xEF\xBB\xBFLAN 1 Demo fra\n1 1 \xC3\xA9t\xC3\xA9\n2 1 \xED\xA0\xBD\n3 1 fin",
        "LAN 1 Demo fra 1252\n1 1 \xE9t\xE9\n2 1 \x81\n3 1 fin",
    };
    for (std::string const& bytes : files) {
        XCMessageLibraryFile file;
        ASSERT_TRUE(file.Read(bytes, XCString(L"x")).Good());
        EXPECT_EQ(TextOf(file, 1) + TextOf(file, 3), "\xC3\xA9t\xC3\xA9"
                                                     "fin");
        EXPECT_EQ(file.GetFaults().size(), 1u); // line 3, whatever the encoding
        for (XCLineFault const& fault : file.GetFaults()) EXPECT_EQ(fault.line, 3u);
    }
}

TEST(MessageLibraryFile, FindsEachCodeAmongMany)
{
    for (double power : {1.0, 1.5, 3.0, 3.9}) { // even steps, and ever wider ones
        std::string lines;
        for (int i = 200; i >= 0; --i) lines += std::to_string(std::lround(std::pow(i, power)) * 2) + " 1 text\n";
        XCMessageLibraryFile const file = FileOf(lines);
        for (long const code : file.GetCodes())
            ASSERT_EQ(TextOf(file, code) + TextOf(file, code + 1), "text-") << power;
    }
}

TEST(MessageLibraryFile, TranslationsTakeTheParametersOfTheOriginal)
{
    // fault, original, translation, fits
    Rows<char const*, char const*, bool> const rows = {
        {"another order", "%s has %d", "%d a %s", false},
        {"same order", "%s has %d, 100%%", "A %s il y a %d, 100%%", true},
        {"one less", "%s has %d", "%s a", false},
        {"one more", "%s", "%s %s", false},
        {"blank taken for text", "100%% sure", "100 % s\xC3\xBBr", false},
        {"text for a number", "%d", "%s", false},
        {"narrow for wide", "%s", "%hs", false},
        {"64 bits for 32", "%d", "%I64d", false},
        {"other spelling", "%i %ls %X %E", "%-5d %s %x %.3e", true},
        {"width from an argument", "%5d", "%*d", false},
        {"text without its end", "%.8s", "%s", false},
        {"written through", "%p", "%n", false},
        {"escaped percent sign", "%d", "\\u0025s", false},
        {"escaped break", "%d\\n%s", "%d %s", true},
        {"inserts in another order", "%1 of %2!d!", "%2!d! / %1.", true},
        {"insert of another type", "%1!d!", "%1!s!", false},
        {"insert missing", "%1 of %2", "%1", false},
        {"numbered template", "%0:s, %1:la", "%1:la, %0:s", true},
        {"percent sign at the end", "50%", "50 %", true},
    };
    for (auto const& [fault, rowOriginal, rowTranslation, fits] : rows) {
        XCMessageLibraryFile const original = FileOf("5 1 " + std::string(rowOriginal));
        XCMessageLibraryFile translation = FileOf("\n5 1 " + std::string(rowTranslation), "LAN 1 Demo fra\n");
        EXPECT_EQ(translation.Check(original), fits ? 0u : 1u) << fault;
        EXPECT_EQ(TextOf(translation, 5) == TextOf(original, 5), !fits) << fault;
        if (fits) continue;
        EXPECT_EQ(translation.GetFaults().at(0).line, 3u) << fault;
    }
    XCMessageLibraryFile foreign = FileOf("6 1 %s");
    EXPECT_EQ(foreign.Check(FileOf("5 1 x")), 1u);
    EXPECT_EQ(TextOf(foreign, 6), "-");
}

struct Folder : ScratchFolder {
    Folder() : ScratchFolder("xc_test_messages")
    {
        Write("Demo.enu.LAN", "LAN 1 Demo enu\n1 2 one %s\n2 1 two\n3 1 three %d\n");
        Write("Demo.fra.LAN", "LAN 1 Demo fra\n1 1 un %s\n3 1 trois %s\n");
        Write("Demo.deu.LAN", "LAN 1 Demo deu\n2 1 zwei\n");
        Write("Demo.jpn.LAN", "no such file\n");
        Write("Demo.fra.LAN.bak", "LAN 1 Demo fra\n1 1 old\n");
        Write("Demo2.fra.LAN", "LAN 1 Demo2 fra\n1 1 other\n");
    }
};

std::string Ask(XCMessageLibrary const& library, long code, wchar_t const* language, wchar_t const* fallback = L"")
{
    XCString text;
    XCErrorID const result = library.GetText(text, code, XCFormatContext(language, fallback));
    return Plain(text) + (result.Bad() ? "!" : "");
}

TEST(MessageLibrary, SpeaksTheLanguageAskedFor)
{
    Folder const folder;
    XCSmartPtr<XCMessageLibrary> const library(new XCMessageLibrary);
    EXPECT_FALSE(library->IsValid());
    EXPECT_TRUE(library->Reload().Bad());
    EXPECT_EQ(static_cast<int>(library->Open(folder.Path(), XCString(L"None"))), XCErrMessageLibraryMissing);
    EXPECT_TRUE(library->Open(folder.Path(), XCString(L"De*")).Bad());
    ASSERT_TRUE(library->Open(folder.Path(), XCString(L"Demo")).Good());
    std::vector<XCString> languages;
    EXPECT_TRUE(library->GetAvailableLanguages(languages).Good());
    EXPECT_EQ(languages, (std::vector<XCString>{XCString(L"deu"), XCString(L"enu"), XCString(L"fra")}));

    // fault, code, language, fallback, text
    Rows<long, wchar_t const*, wchar_t const*, char const*> const rows = {
        {"language ignored", 1, L"FRA", L"deu", "un %s"},
        {"fallback ignored", 2, L"fra", L"deu", "zwei"},
        {"default language ignored", 2, L"fra", L"jpn", "two"},
        {"no language", 2, L"", L"", "two"},
        {"translation with another conversion used", 3, L"fra", L"deu", "three %d"},
        {"missing code not named", 9, L"fra", L"deu", "Demo 9!"},
    };
    for (auto const& [fault, code, language, fallback, text] : rows)
        EXPECT_EQ(Ask(*library, code, language, fallback), text) << fault;
    std::vector<XCLineFault> const faults = library->GetFaults();
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(All(faults[1].line, Plain(faults[1].reason), library->GetSeverity(1)),
              All(3u, "code 3: conversions: the original has %d, the translation %s", XCErrorI::SeverityWarning));

    XCSmartPtr<XCErrorWithArgs> const error(new XCErrorWithArgs(library, 1));
    error->AddParam(XCString(L"x"));
    XCString text;
    EXPECT_TRUE(error->AsString(text, XCFormatContext(L"fra")).Good());
    EXPECT_EQ(Plain(text), "un x");
}

TEST(MessageLibrary, ReloadKeepsWhatCannotBeRead)
{
    Folder const folder;
    XCMessageLibrary library;
    ASSERT_TRUE(library.Open(folder.Path(), XCString(L"Demo")).Good());
    folder.Write("Demo.fra.LAN", "");
    folder.Write("Demo.deu.LAN", "LAN 1 Demo deu\n2 1 ZWEI\n");
    EXPECT_TRUE(library.Reload().Good());
    EXPECT_EQ(Ask(library, 1, L"fra"), "un %s");
    EXPECT_EQ(Ask(library, 2, L"deu"), "ZWEI");
    for (char const* name : {"Demo.enu.LAN", "Demo.fra.LAN", "Demo.deu.LAN"}) folder.Write(name, "");
    EXPECT_TRUE(library.Open(folder.Path(), XCString(L"Demo")).Bad());
    EXPECT_EQ(Ask(library, 1, L"fra"), "un %s"); // nothing is lost
}

TEST(MessageLibrary, ReloadsWhileThreadsRead)
{
    Folder const folder;
    XCMessageLibrary library;
    ASSERT_TRUE(library.Open(folder.Path(), XCString(L"Demo")).Good());
    std::string const long1(300, 'a');
    std::string const long2(300, 'b');
    std::atomic<bool> stop = false;
    std::atomic<int> read = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                std::string const text = Ask(library, 2, L"deu");
                ASSERT_TRUE(text == "zwei" || text == long1 || text == long2) << text;
                ++read;
            }
        });
    }
    for (int i = 0; i < 40 || read < 1000; ++i) {
        folder.Write("Demo.deu.LAN", "LAN 1 Demo deu\n2 1 " + (i % 2 == 0 ? long1 : long2) + "\n");
        EXPECT_TRUE(library.Reload().Good());
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
}

} // namespace
