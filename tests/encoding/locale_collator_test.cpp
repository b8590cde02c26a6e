// Orders of the system beside those of tables.

#include "scratch_files.h"
#include "text/order_laws.h"

namespace {

// Words that differ in accents, case, length and in letters that only their language has.
// locale, rules, words
Table<wchar_t const*, wchar_t const*, wchar_t const*> const kLanguages = {
    {L"de-DE", L"",
     L"Apfel \u00C4pfel apfel Arbeit \u00E4rmlich arm Bar B\u00E4r bar B\u00E4ren dass da\u00DF Fuss Fu\u00DF "
     L"Fu\u00DFball fallen f\u00E4llen gro\u00DF Gr\u00F6\u00DFe Grosse Ma\u00DF Masse m\u00FC\u00DFig Muse M\u00FChe "
     L"Mut offen \u00F6ffnen Ofen \u00D6fen schon sch\u00F6n Schule Sch\u00FCler Strasse Stra\u00DFe Stra\u00DFen "
     L"\u00DCbung Ufer \u00FCber unter Zoll Z\u00F6lle Zug Z\u00FCge"},
    {L"fr-FR", L"",
     L"c\u00F4te cote cot\u00E9 C\u00F4t\u00E9 c\u00F4t\u00E9 p\u00EAche p\u00E9ch\u00E9 pecher p\u00E9cher "
     L"P\u00EAcher \u00E9l\u00E8ve \u00E9lev\u00E9 eleve \u00E9t\u00E9 Etat \u00C9tat \u00EAtre gar\u00E7on garcon "
     L"gare gar\u00E9 h\u00F4tel hotte ile \u00EEle ma\u00EFs mais Ma\u00EEs no\u00EBl Noel \u0153uf \u0152uvre oeuvre "
     L"ouvre o\u00F9 ou s\u0153ur soeur sur s\u00FBr S\u00FBr t\u00E2che tache tach\u00E9 z\u00E8bre"},
    {L"es-ES", L"n < \u00F1 <<< \u00D1",
     L"ano a\u00F1o a\u00F1os anual cana ca\u00F1a ca\u00F1\u00F3n canon can\u00F3n carro coche chico cien dado "
     L"est\u00E1 esta Est\u00E9 este llama lima luz ma\u00F1ana manana mano ni\u00F1a Ni\u00F1o nina \u00F1and\u00FA "
     L"nunca ojo \u00D1o\u00F1o pi\u00F1a pino ping\u00FCino papa pap\u00E1 s\u00ED si solo s\u00F3lo t\u00FA tu "
     L"\u00FAnico uva zorro"},
    {L"sv-SE",
     L"z < \u00E5 <<< \u00C5 < \u00E4 <<< \u00C4 << \u00E6 <<< \u00C6 < \u00F6 <<< \u00D6 << \u00F8 <<< \u00D8",
     L"al \u00E5l \u00C5l \u00E4lg \u00C4lg \u00F6 \u00D6l \u00F6l ort bad b\u00E5t b\u00E4r bar b\u00F6r bo d\u00E5 "
     L"d\u00E4r d\u00F6r dag \u00E5r \u00E4r \u00F6re fall f\u00E5 f\u00E4 f\u00F6r f\u00E5gel g\u00E5 gata g\u00E4st "
     L"g\u00F6ra h\u00E4st hus lag l\u00E5g l\u00E4gga l\u00F6v mal m\u00E5l m\u00F6te zon Zebra z\u00E5 Orsa "
     L"\u00D6rebro \u00C5re Arboga"},
    {L"pl-PL",
     L"a < \u0105 <<< \u0104\nc < \u0107 <<< \u0106\ne < \u0119 <<< \u0118\nl < \u0142 <<< \u0141\nn < \u0144 <<< "
     L"\u0143\no < \u00F3 <<< \u00D3\ns < \u015B <<< \u015A\nz < \u017A <<< \u0179 < \u017C <<< \u017B",
     L"bak b\u0105k bok b\u00F3b buk cie\u0144 \u0107ma cma \u0106wierk ci\u0119\u017Cki laska \u0142aska "
     L"\u0141\u00F3d\u017A lod lot \u0142\u00F3dka mama m\u0105ka maka ma\u0107 n\u00F3\u017C no\u017Ce ni\u0107 "
     L"ko\u0144 kon kont k\u0105t kat kto sad s\u0105d \u015Awit swit \u015Bnieg sok s\u00F3l zar \u017Car \u017Arebak "
     L"\u017Ar\u00F3d\u0142o \u017C\u00F3\u0142w \u017Baba zaba r\u0119ka reka r\u00F3w row"},
};

std::vector<XCString> WordsOf(wchar_t const* list)
{
    std::vector<XCString> words;
    XCTokenizer tokens{XCString(list), L" "};
    for (XCString word; tokens.GetNext(word);) words.push_back(word);
    return words;
}

TEST(XCLocaleCollator, TablesAgreeWithTheSystemOnWords)
{
    for (auto const& [rowLocale, rules, rowWords] : kLanguages) {
        XCLocale locale;
        ASSERT_TRUE(XCLocale::Find(XCString(rowLocale), locale).Good());
        XCLocaleCollator const system(locale);
        std::vector<XCLineFault> faults;
        XCLevelCollator const table(XCCollateAccents | XCCollateCase,
                                    XCCollationTable::Read(XCString(rules), XCString(), faults));
        ASSERT_TRUE(faults.empty());
        std::vector<XCString> const words = WordsOf(rowWords);
        int pairs = 0;
        int agree = 0;
        std::string others;
        for (XCString const& a : words) {
            for (XCString const& b : words) {
                ++pairs;
                int const expected = system.Compare(a.AsWChar(), b.AsWChar());
                if (expected == table.Compare(a.AsWChar(), b.AsWChar()))
                    ++agree;
                else if (expected < 0)
                    others += " " + a.AsUTF8() + "<" + b.AsUTF8();
            }
        }
        std::printf("%s: %d of %d pairs\n", XCString(rowLocale).AsUTF8().c_str(), agree, pairs);
        EXPECT_GE(words.size(), 40u);
        EXPECT_GE(agree * 100, pairs * 99) << XCString(rowLocale).AsUTF8() << others;
    }
}

TEST(XCLocaleCollator, FlagsAndOrderLaws)
{
    XCLocale german;
    ASSERT_TRUE(XCLocale::Find(XCString(L"de-DE"), german).Good());
    // fault, flags, a, b, expected
    Rows<unsigned int, wchar_t const*, wchar_t const*, int> const rows = {
        {"case not ignored", XCCollateAccents, L"A", L"a", 0},
        {"accents not ignored", XCCollateCase, L"\u00E9", L"e", 0},
        {"case ignored", XCCollateCase, L"A", L"a", 1},
        {"numbers as texts", XCCollateNumbers, L"a10", L"a9", 1},
        {"equal is not the same", XCCollateStrict, L"A", L"a", -1},
    };
    for (auto const& [fault, flags, a, b, expected] : rows) {
        XCLocaleCollator const collator(german, flags);
        EXPECT_EQ(collator.Compare(a, b), expected) << fault;
        EXPECT_EQ(SignOf(collator.MakeKey(a).compare(collator.MakeKey(b))), expected) << fault;
    }
    XCLocaleCollator const strict(german, XCCollateAccents | XCCollateCase | XCCollateStrict);
    ExpectOrderLaws(strict, "system", TripleCount() / 20);
    EXPECT_EQ(
        strict.MakeKey(std::wstring(2000, L'a').c_str()).compare(strict.MakeKey(std::wstring(1999, L'a').c_str())) > 0,
        true);
}

TEST(XCReadCollationFile, ReadsRulesAndNamesWhatIsWrong)
{
    ScratchFile const file("n < \xC3\xB1\n<\n", "xc_test.rules");
    XCSmartPtrToConst<XCCollationTable> table;
    std::vector<XCLineFault> faults;
    ASSERT_TRUE(XCReadCollationFile(XCString(file.Path()), table, faults).Good());
    EXPECT_EQ(XCLevelCollator(XCCollateAccents, table).Compare(L"\u00F1", L"nz"), 1);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].line, 2u);
    file.Write(std::string("\xFF\xFE\x61", 3)); // half a unit
    EXPECT_EQ(static_cast<int>(XCReadCollationFile(XCString(file.Path()), table, faults)), XCErrCollationFile);
    EXPECT_EQ(static_cast<int>(XCReadCollationFile(XCString(L"no such file"), table, faults)), XCErrCollationFile);
}

} // namespace
