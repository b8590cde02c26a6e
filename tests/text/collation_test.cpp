
#include "text/order_laws.h"

#include "text/Kernels.h"

namespace {

constexpr unsigned int kBoth = XCCollateAccents | XCCollateCase;

XCSmartPtrToConst<XCCollationTable> TableOf(wchar_t const* rules)
{
    std::vector<XCLineFault> faults;
    XCSmartPtrToConst<XCCollationTable> const table =
        XCCollationTable::Read(XCString(rules), XCString(L"rules"), faults);
    EXPECT_TRUE(faults.empty());
    return table;
}

TEST(XCLevelCollator, OrdersByLettersThenAccentsThenCase)
{
    wchar_t const* const swedish = L"z < \u00E5 <<< \u00C5 < \u00E4 <<< \u00C4 < \u00F6 <<< \u00D6";
    // fault, rules, flags, a, b, expected
    Rows<wchar_t const*, unsigned int, wchar_t const*, wchar_t const*, int> const rows = {
        {"code units", L"", kBoth, L"B", L"a", 1},
        {"case before the next letter", L"", kBoth, L"Ab", L"aa", 1},
        {"upper case first", L"", kBoth, L"A", L"a", 1},
        {"case before accents", L"", kBoth, L"A", L"\u00E1", -1},
        {"accent before the next letter", L"", kBoth, L"\u00E9a", L"eb", -1},
        {"last accent decides", L"", kBoth, L"cot\u00E9", L"c\u00F4te", -1},
        {"prefix", L"", kBoth, L"cote", L"cotes", -1},
        {"accents not ignored", L"", XCCollateCase, L"\u00E9", L"e", 0},
        {"case not ignored", L"", XCCollateAccents, L"E", L"e", 0},
        {"neither ignored", L"", XCCollateLetters, L"\u00C9", L"e", 0},
        {"case of a letter with an accent", L"", XCCollateCase, L"\u00C9", L"e", 1},
        {"mark of its own", L"", kBoth | XCCollateNumbers, L"e\u0301t", L"\u00E9t", 0},
        {"equal is not the same", L"", kBoth | XCCollateStrict, L"e\u0301t", L"\u00E9t", -1},
        {"soft hyphen counts", L"", kBoth, L"a\u00ADb", L"ab", 0},
        {"blank within", L"", kBoth, L"a b", L"aa", -1},
        {"digits after letters", L"", kBoth, L"9", L"a", -1},
        {"sharp s is another letter", L"", kBoth, L"Stra\u00DFe", L"Strasser", -1},
        {"sharp s equals two", L"", kBoth, L"stra\u00DFe", L"strasse", 1},
        {"ligature with an accent", L"", kBoth, L"\u01FD", L"af", -1},
        {"stroke", L"", kBoth, L"\u00F8z", L"pa", -1},
        {"numbers as texts", L"", XCCollateNumbers, L"a10", L"a9", 1},
        {"leading zeros", L"", XCCollateNumbers, L"a007b", L"a7b", 0},
        {"zero", L"", XCCollateNumbers, L"a0", L"a00", 0},
        {"difference within a number", L"", XCCollateNumbers, L"123x", L"13", 1},
        {"numbers above 64 bits", L"", XCCollateNumbers, L"99999999999999999999998", L"99999999999999999999999", -1},
        {"numbers without the flag", L"", kBoth, L"a10", L"a9", -1},
        {"rule ignored", swedish, kBoth, L"\u00E5", L"zz", 1},
        {"rule reaches the decomposed spelling", swedish, kBoth, L"a\u030A", L"\u00E5", 0},
        {"order of a chain", swedish, kBoth, L"\u00D6a", L"\u00E4z", 1},
        {"case of a placed letter", swedish, kBoth, L"\u00C5", L"\u00E5", 1},
        {"other letters moved", swedish, kBoth, L"\u00E0", L"b", -1},
        {"sequence", L"c < ch <<< Ch <<< CH", kBoth, L"ch", L"cz", 1},
        {"sequence where the first difference lies in it", L"c < ch <<< Ch <<< CH", kBoth, L"ach", L"acz", 1},
        {"half a sequence", L"c < ch", kBoth, L"c", L"ch", -1},
        {"case of a sequence", L"c < ch <<< Ch <<< CH", kBoth, L"CHa", L"Cha", 1},
        {"longer sequence first", L"d < dz < dzs", kBoth, L"dzsa", L"dzt", 1},
        {"expansion", L"ae << \u00E4 <<< \u00C4", kBoth, L"\u00E4", L"af", -1},
        {"expansion after its letters", L"ae << \u00E4 <<< \u00C4", kBoth, L"\u00E4", L"ae", 1},
        {"same", L"a < b = \u00E1 <<< A", kBoth, L"\u00E1", L"b", 0},
        {"case of another letter", L"a < b = \u00E1 <<< A", kBoth, L"A", L"b", 1},
        {"second line from the same letter", L"n < \u00F1\nn < \u0148", kBoth, L"\u0148", L"\u00F1", -1},
        {"accent between case forms", L"a << q", kBoth, L"q", L"A", 1},
        {"escaped item", L"a < \\< < \\u003D", kBoth, L"=", L"<", 1},
    };
    for (auto const& [fault, rules, flags, a, b, expected] : rows) {
        XCLevelCollator const collator(flags, TableOf(rules));
        EXPECT_EQ(All(collator.Compare(a, b), collator.Compare(b, a),
                      SignOf(collator.MakeKey(a).compare(collator.MakeKey(b)))),
                  All(expected, -expected, expected))
            << fault;
    }
}

TEST(XCCollationTable, NamesEveryBadLineAndKeepsTheOthers)
{
    // fault, line, place
    Rows<wchar_t const*, char const*> const rows = {
        {"item alone", L"a", "2:2: <, <<, <<< or = was expected"},
        {"step without an item", L" a < ", "2:6: an item was expected"},
        {"four signs", L"a <<<< b", "2:3: <, <<, <<< or = was expected"},
        {"two equal signs", L"a == b", "2:3: <, <<, <<< or = was expected"},
        {"no step between", L"a b", "2:3: <, <<, <<< or = was expected"},
        {"short escape", L"a < \\u12", "2:5: \\u needs four hexadecimal digits"},
        {"backslash at the end", L"a < \\", "2:5: nothing follows the backslash"},
        {"a mark as the first item", L"\u0301 < b", "2:1: nothing can be put after this item"},
        {"placed before", L"a < q", "2:5: line 1 has placed this item"},
        {"terminator", L"a < \\u0000", "2:1: an item holds no U+0000"},
        {"item too long", L"a < abcdefghi", "2:1: the item is too long"},
    };
    for (auto const& [fault, line, place] : rows) {
        std::vector<XCLineFault> faults;
        std::wstring const rules = std::wstring(L"z < q\n") + line + L"\r\n; comment < x\n\ny < p";
        XCLevelCollator const collator(kBoth, XCCollationTable::Read(XCString(rules), XCString(L"r"), faults));
        ASSERT_EQ(faults.size(), 1u) << fault;
        EXPECT_EQ(faults[0].AsString().AsUTF8(), std::string("r:") + place) << fault;
        EXPECT_EQ(collator.Compare(L"q", L"z") + collator.Compare(L"p", L"y"), 2) << fault;
    }
}

TEST(XCCollator, OrderLawsHold)
{
    XCSmartPtrToConst<XCCollationTable> const table =
        TableOf(L"c < ch <<< Ch <<< CH\nz < \u00E5 <<< \u00C5\nae << \u00F6\no = 7\ns < s\u0301z\nh << 1a");
    using Pointer = XCSmartPtrToConst<XCCollator>;
    ExpectOrderLaws(*Pointer(new XCTableIgnoreCaseCollator), "ignore case", TripleCount());
    ExpectOrderLaws(*Pointer(new XCTableIgnoreCaseAndAccentCollator), "ignore both", TripleCount());
    for (unsigned int flags : {0u, 2u, 3u, 5u, 15u}) {
        std::string const name = "flags " + std::to_string(flags);
        ExpectOrderLaws(*Pointer(new XCLevelCollator(flags)), name, TripleCount());
        ExpectOrderLaws(*Pointer(new XCLevelCollator(flags, table)), name + " rules", TripleCount());
    }
}

TEST(XCCollator, SortingByKeysIsStableAndEqualsSortingByCompare)
{
    Triples triples;
    std::vector<XCString> texts;
    for (int i = 0; i < 500; ++i) {
        triples.Next();
        for (std::wstring const& text : triples.texts) texts.emplace_back(text);
    }
    XCLevelCollator const collator(XCCollateLetters);
    std::vector<XCString> wanted = texts;
    std::stable_sort(wanted.begin(), wanted.end(), [&](XCString const& a, XCString const& b) {
        return collator.Compare(a.AsWChar(), b.AsWChar()) < 0;
    });
    XCSortByKeys(texts, collator);
    EXPECT_TRUE(texts == wanted);
}

TEST(Kernels, MismatchOfTextsWithoutALength)
{
    std::wstring left(6000, L'x'); // three pages: blocks that would cross into the next one are taken unit by unit
    std::wstring const right = left;
    for (std::size_t length : {0u, 1u, 7u, 8u, 9u, 40u}) {
        for (std::size_t at = 0; at + length < 5000; at += 1 + at % 3) {
            left[at + length] = L'y';
            ASSERT_EQ(xc::text::MismatchOrEnd(left.c_str() + at, right.c_str() + at), length);
            left[at + length] = L'\0';
            ASSERT_EQ(xc::text::MismatchOrEnd(left.c_str() + at, left.c_str() + at), length);
            left[at + length] = L'x';
        }
    }
}

} // namespace
