
#include "prelude.h"

namespace {

using Category = XCUnicodeCategory;

TEST(XCUnicode, FactsOfACodePoint)
{
    // fault, point, category, digit, isSpace, upper, lower, combiningClass
    Rows<char32_t, Category, int, bool, char32_t, char32_t, int> const rows = {
        {"tab is white space", 9, Category::Control, -1, true, 9, 9, 0},
        {"digit row at 0", U'7', Category::DecimalDigit, 7, false, U'7', U'7', 0},
        {"digit row at 6", 0x96F, Category::DecimalDigit, 9, false, 0x96F, 0x96F, 0},
        {"no upper case of one", 0xDF, Category::LowercaseLetter, -1, false, 0xDF, 0xDF, 0},
        {"title case has both", 0x1C5, Category::TitlecaseLetter, -1, false, 0x1C4, 0x1C6, 0},
        {"lower case of two", 0x130, Category::UppercaseLetter, -1, false, 0x130, U'i', 0},
        {"first above", 0x10000, Category::OtherLetter, -1, false, 0x10000, 0x10000, 0},
        {"case above", 0x10428, Category::LowercaseLetter, -1, false, 0x10400, 0x10428, 0},
        {"fifth row of digits", 0x1D7FF, Category::DecimalDigit, 9, false, 0x1D7FF, 0x1D7FF, 0},
        {"mark above", 0x1D165, Category::SpacingMark, -1, false, 0x1D165, 0x1D165, 216},
        {"last of all", 0x10FFFF, Category::Unassigned, -1, false, 0x10FFFF, 0x10FFFF, 0},
        {"beyond", 0xFFFFFFFF, Category::Unassigned, -1, false, 0xFFFFFFFF, 0xFFFFFFFF, 0},
    };
    for (auto const& [fault, point, category, digit, isSpace, upper, lower, combiningClass] : rows) {
        EXPECT_EQ(All(XCUnicode::GetCategory(point), XCUnicode::GetDigitValue(point), XCUnicode::IsSpace(point),
                      XCUnicode::ToUpper(point)),
                  All(category, digit, isSpace, upper))
            << fault;
        EXPECT_EQ(XCUnicode::ToLower(point), lower) << fault;
        EXPECT_EQ(XCUnicode::GetCombiningClass(point), combiningClass) << fault;
    }
}

TEST(XCUnicode, Decomposition)
{
    Case<wchar_t const*, wchar_t const*> const rows[] = {
        {"two steps", L"\u01D5", L"U\u0308\u0304"},
        {"syllable of two, of three", L"\uAC00\uD7A3", L"\u1100\u1161\u1112\u1175\u11C2"},
        {"beside the syllables", L"\uABFF\uD7A4", L"\uABFF\uD7A4"},
        {"marks out of order", L"a\u0301\u0323", L"a\u0323\u0301"},
        {"marks of one class keep theirs", L"a\u0301\u0300", L"a\u0301\u0300"},
        {"order across decompositions", L"\u00E9\u0323", L"e\u0323\u0301"},
        {"above, into above", L"\xD834\xDD5E", L"\xD834\xDD57\xD834\xDD65"},
        {"unpaired", L"\xDC00\xD834", L"\xDC00\xD834"},
        {"compatibility is kept", L"\uFB01", L"\uFB01"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(XCUnicode::Decompose(std::wstring_view(row.given)), XCString(row.expected)) << row.fault;
    EXPECT_EQ(XCUnicode::Decompose(char32_t{0x110000}), XCString(L"\uFFFD")) << "beyond";
}

} // namespace
