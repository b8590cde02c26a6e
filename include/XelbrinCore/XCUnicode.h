// XCUnicode.h - what Unicode says of characters: category, case, digits, white space, marks, decompositions.
//
// WHAT     Questions about one code point, and the code points of a text. They come from tables of the library, so that
//          they are the same on every system, in every locale; GetVersion names the version of Unicode. The mappings
//          of case are the simple ones, of one code point to one: the German sharp s has no upper case here. The functions
//          XCtowupper and XCString::Upper ask the system instead and can know other characters.
// UNITS    A wchar_t is a code point of the basic plane. Half a surrogate pair has the category Surrogate and no other
//          fact. Numbers above U+10FFFF count as unassigned.
// COST     The category of a unit: two dependent look-ups without a call, about a nanosecond. Its other facts: a call and
//          three look-ups. A code point above the basic plane, and a combining class: a binary search. The tables are
//          53 KiB of read-only data; nothing is made at run time.
// TABLES   The two stages of the categories of units are read by programs directly. Their form can hold every version of
//          Unicode: a program that was built with this header reads the tables of a later library as well. All other
//          tables may change their form, so they stay in the library.
// ERRORS   None; only the functions that return a text allocate.
// THREADS  Any.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The general categories; in the comments their short names.
enum class XCUnicodeCategory : std::uint8_t {
    UppercaseLetter,      ///< Lu
    LowercaseLetter,      ///< Ll
    TitlecaseLetter,      ///< Lt: a digraph whose first half is a capital
    ModifierLetter,       ///< Lm
    OtherLetter,          ///< Lo: of scripts without case
    NonspacingMark,       ///< Mn
    SpacingMark,          ///< Mc
    EnclosingMark,        ///< Me
    DecimalDigit,         ///< Nd
    LetterNumber,         ///< Nl
    OtherNumber,          ///< No
    ConnectorPunctuation, ///< Pc
    DashPunctuation,      ///< Pd
    OpenPunctuation,      ///< Ps
    ClosePunctuation,     ///< Pe
    InitialQuote,         ///< Pi
    FinalQuote,           ///< Pf
    OtherPunctuation,     ///< Po
    MathSymbol,           ///< Sm
    CurrencySymbol,       ///< Sc
    ModifierSymbol,       ///< Sk
    OtherSymbol,          ///< So
    SpaceSeparator,       ///< Zs
    LineSeparator,        ///< Zl
    ParagraphSeparator,   ///< Zp
    Control,              ///< Cc
    Format,               ///< Cf
    Surrogate,            ///< Cs: half a pair
    PrivateUse,           ///< Co
    Unassigned,           ///< Cn
};

/// The facts of Unicode about code points (see the head of this file).
struct XC_API XCUnicode {
    /// The largest code point.
    static constexpr char32_t kLast = 0x10FFFF;

    /// The version of Unicode that the tables hold, such as "14.0.0".
    static XCString GetVersion();

    // One code point ----------------------------------------------------------------------------------------------

    /// The general category; Unassigned above kLast.
    static XCUnicodeCategory GetCategory(char32_t point) noexcept
    {
        if (point > 0xFFFF) return GetCategoryAbove(point);
        return static_cast<XCUnicodeCategory>(
            kUnitCategories[kCategoryBlocks[point / kCategoryBlock] + point % kCategoryBlock]);
    }
    /// Of any kind, also of scripts without case.
    static bool IsLetter(char32_t point) noexcept { return GetCategory(point) <= XCUnicodeCategory::OtherLetter; }
    /// An upper-case letter. (Circled capitals and Roman numbers have a lower case but are symbols and numbers.)
    static bool IsUpper(char32_t point) noexcept { return GetCategory(point) == XCUnicodeCategory::UppercaseLetter; }
    /// A lower-case letter.
    static bool IsLower(char32_t point) noexcept { return GetCategory(point) == XCUnicodeCategory::LowercaseLetter; }
    /// A decimal digit of any script.
    static bool IsDigit(char32_t point) noexcept { return GetCategory(point) == XCUnicodeCategory::DecimalDigit; }
    /// A letter or a decimal digit.
    static bool IsLetterOrDigit(char32_t point) noexcept { return IsLetter(point) || IsDigit(point); }
    /// White space, line ends and the no-break spaces included; U+200B is none.
    static bool IsSpace(char32_t point) noexcept;
    /// A mark that belongs to the character before it.
    static bool IsCombining(char32_t point) noexcept
    {
        return IsWithin(point, XCUnicodeCategory::NonspacingMark, XCUnicodeCategory::EnclosingMark);
    }
    /// Punctuation of any kind: "$" and "+" are symbols.
    static bool IsPunctuation(char32_t point) noexcept
    {
        return IsWithin(point, XCUnicodeCategory::ConnectorPunctuation, XCUnicodeCategory::OtherPunctuation);
    }
    /// Of mathematics, of currencies, of modifiers, or another one.
    static bool IsSymbol(char32_t point) noexcept
    {
        return IsWithin(point, XCUnicodeCategory::MathSymbol, XCUnicodeCategory::OtherSymbol);
    }
    /// U+0000 to U+001F and U+007F to U+009F.
    static bool IsControl(char32_t point) noexcept { return GetCategory(point) == XCUnicodeCategory::Control; }
    /// Whether this version of Unicode has a character there; code points for private use count.
    static bool IsAssigned(char32_t point) noexcept { return GetCategory(point) != XCUnicodeCategory::Unassigned; }

    /// 0 to 9; -1 when it is no decimal digit.
    static int GetDigitValue(char32_t point) noexcept;
    /// The upper case, or the code point itself where there is none of one code point.
    static char32_t ToUpper(char32_t point) noexcept;
    /// The lower case, or the code point itself.
    static char32_t ToLower(char32_t point) noexcept;
    /// The canonical combining class, 0 to 254: marks of different classes may change places.
    static int GetCombiningClass(char32_t point) noexcept;

    // Texts -------------------------------------------------------------------------------------------------------

    /// The whole canonical decomposition, or the code point itself. @note a number above kLast gives U+FFFD.
    static XCString Decompose(char32_t point);
    /// The text in canonical decomposition, its marks in canonical order (normalization form D). Unpaired surrogates
    /// stay. Time is linear but for sorting within a run of marks.
    static XCString Decompose(std::wstring_view text);

    /// The first unit of a pair.
    static constexpr bool IsHighSurrogate(wchar_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
    /// The second unit of a pair.
    static constexpr bool IsLowSurrogate(wchar_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }
    /// The code point of a pair; for units that are no pair the number means nothing.
    static constexpr char32_t ToCodePoint(wchar_t high, wchar_t low) noexcept
    {
        return 0x10000 + ((static_cast<char32_t>(high) & 0x3FF) << 10) + (static_cast<char32_t>(low) & 0x3FF);
    }
    /// The code point that begins at `position`, which moves to what follows it. A surrogate without its partner is
    /// given as it is. @note before the end of the text only.
    static constexpr char32_t Next(std::wstring_view text, std::size_t& position) noexcept
    {
        wchar_t const unit = text[position++];
        if (!IsHighSurrogate(unit) || position == text.size() || !IsLowSurrogate(text[position])) return unit;
        return ToCodePoint(unit, text[position++]);
    }
    /// Appends one unit or a pair; a number above kLast appends U+FFFD.
    static void Append(XCString& text, char32_t point);

private:
    static constexpr char32_t kCategoryBlock = 64;
    static std::uint16_t const kCategoryBlocks[0x10000 / kCategoryBlock]; ///< where the categories of 64 units begin
    static std::uint8_t const kUnitCategories[];                          ///< of units, each run of 64 stored once
    static XCUnicodeCategory GetCategoryAbove(char32_t point) noexcept;
    static bool IsWithin(char32_t point, XCUnicodeCategory first, XCUnicodeCategory last) noexcept
    {
        XCUnicodeCategory const category = GetCategory(point);
        return category >= first && category <= last;
    }
};
