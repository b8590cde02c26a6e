// The tables of Unicode beside the system's, over every unit. Two versions of Unicode differ in the characters that the
// younger one added, so a difference must have a reason: its unit is unassigned on one side, or it is a place listed here.
#include "prelude.h"

#include <windows.h>

namespace {

WORD SystemType(wchar_t unit)
{
    WORD type = 0;
    ::GetStringTypeW(CT_CTYPE1, &unit, 1, &type);
    return type;
}

wchar_t SystemMap(DWORD how, wchar_t unit)
{
    wchar_t mapped = unit;
    ::LCMapStringEx(LOCALE_NAME_INVARIANT, how, &unit, 1, &mapped, 1, nullptr, nullptr, 0);
    return mapped;
}

bool SystemHas(WORD type, wchar_t unit)
{
    return (SystemType(unit) & type) != 0;
}

bool IsOf(wchar_t unit, XCUnicodeCategory category)
{
    return XCUnicode::GetCategory(unit) == category;
}

/// The system leaves a unit alone where the mapping has no way back, such as that of the final sigma.
bool AgreesInCase(wchar_t unit, DWORD how, char32_t (*map)(char32_t), char32_t (*back)(char32_t))
{
    char32_t const ours = map(unit);
    wchar_t const theirs = SystemMap(how, unit);
    return ours == theirs || (theirs == unit && back(ours) != unit);
}

TEST(XCUnicode, AgreesWithTheSystem)
{
    // fault, agrees
    Rows<bool (*)(wchar_t unit)> const rows = {
        {"letter; the system counts numbers made of letters",
         [](wchar_t u) {
             return (XCUnicode::IsLetter(u) || IsOf(u, XCUnicodeCategory::LetterNumber)) == SystemHas(C1_ALPHA, u);
         }},
        {"upper; title case is both in the system",
         [](wchar_t u) {
             return (XCUnicode::IsUpper(u) || IsOf(u, XCUnicodeCategory::TitlecaseLetter)) == SystemHas(C1_UPPER, u);
         }},
        {"lower; the system counts four raised letters",
         [](wchar_t u) {
             bool const raised = u == 0xAA || u == 0xBA || u == 0x2071 || u == 0x207F;
             bool const ours = XCUnicode::IsLower(u) || IsOf(u, XCUnicodeCategory::TitlecaseLetter) || raised;
             return ours == SystemHas(C1_LOWER, u);
         }},
        {"digit; the system counts the raised ones of Latin-1",
         [](wchar_t u) {
             bool const raised = u == 0xB2 || u == 0xB3 || u == 0xB9;
             return (XCUnicode::IsDigit(u) || raised) == SystemHas(C1_DIGIT, u);
         }},
        {"space", [](wchar_t u) { return XCUnicode::IsSpace(u) == SystemHas(C1_SPACE, u); }},
        {"control; the system counts marks of format",
         [](wchar_t u) {
             return (XCUnicode::IsControl(u) || IsOf(u, XCUnicodeCategory::Format)) == SystemHas(C1_CNTRL, u);
         }},
        {"to upper",
         [](wchar_t u) { return AgreesInCase(u, LCMAP_UPPERCASE, XCUnicode::ToUpper, XCUnicode::ToLower); }},
        {"to lower",
         [](wchar_t u) { return AgreesInCase(u, LCMAP_LOWERCASE, XCUnicode::ToLower, XCUnicode::ToUpper); }},
    };
    int compared = 0;
    for (unsigned int number = 0; number < 0x10000; ++number) {
        wchar_t const unit = static_cast<wchar_t>(number);
        if (XCUnicode::IsAssigned(unit) != SystemHas(C1_DEFINED, unit)) continue; // another version of Unicode
        ++compared;
        for (auto const& [fault, agrees] : rows) EXPECT_TRUE(agrees(unit)) << fault << " U+" << std::hex << number;
    }
    EXPECT_GT(compared, 65000) << "hardly anything was compared";
}

} // namespace
