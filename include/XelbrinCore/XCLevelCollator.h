// XCLevelCollator.h - alphabetical order: letters, then accents, then case; numbers; orders of languages as text.
//
// WHAT     XCLevelCollator compares two texts by their letters; where these are all equal, accents decide, then case.
//          "cote" < "Cote" < "côté" < "cotes". What counts is chosen by flags. XCCollationTable is the order of the
//          characters: the default one, made of the facts of Unicode (so it is the same on every system), or one that
//          rules change for a language. XCSortByKeys sorts many texts.
// RULES    A line of rules is "a < b << c <<< d = e": the first item stays where it is, each other one is put after the
//          one before it, as another letter (<), an accent (<<), a case (<<<), or as the same (=). Items of several
//          characters are letters of their own ("c < ch <<< Ch"); as a first item they mean their sequence
//          ("ae << ä"). docs/collation.md has the rules in full, and the lines of some languages.
// ORDER    White space, punctuation, symbols, digits, letters by script; in Latin, letters such as ø and ß stand with
//          those they come from. Controls and format characters are ignored. Accents are marks U+0300 to U+036F: a
//          letter with marks of its own equals the composed one.
// COST     A table has 300 KiB and takes some milliseconds to build. Comparing skips what is equal in vector steps and
//          then looks up each unit; a key has one byte for a
//          Latin letter in lower case, two or three for others.
// THREADS  Tables and collators do not change after construction.
#pragma once

#include <XelbrinCore/XCCollator.h>
#include <XelbrinCore/XCLineFault.h>

#include <memory>
#include <vector>

namespace xc::text {
struct CollationData;
} // namespace xc::text

/// What decides the order of two texts after their letters; bits that add up.
enum XCCollationFlags : unsigned int {
    XCCollateLetters = 0, ///< letters alone
    XCCollateAccents = 1, ///< where the letters are equal, the first accent that differs
    XCCollateCase = 2,    ///< then the first letter that differs in case: lower before upper
    XCCollateNumbers = 4, ///< a run of the digits 0 to 9 counts as one number, whatever its length: "a9" < "a10"
    XCCollateStrict = 8   ///< at last the code units: only equal texts are equal
};

/// An order of characters.
class XC_API XCCollationTable : public XCRefCount {
public:
    ~XCCollationTable() override;
    /// The default order; made once.
    static XCSmartPtrToConst<XCCollationTable> GetDefault();
    /// The default order, changed by rules. Lines that are wrong are appended to `faults` and left out.
    /// @param name stands in the faults.
    static XCSmartPtrToConst<XCCollationTable> Read(XCString const& rules, XCString const& name,
                                                    std::vector<XCLineFault>& faults);
    /// For the library itself.
    [[nodiscard]] xc::text::CollationData const& GetData() const noexcept { return *m_data; }

private:
    explicit XCCollationTable(std::unique_ptr<xc::text::CollationData const> data) noexcept;
    std::unique_ptr<xc::text::CollationData const> m_data;
};

/// Compares level by level through a table.
class XC_API XCLevelCollator : public XCCollator {
public:
    /// @param flags XCCollationFlags. @param table null is the default order.
    explicit XCLevelCollator(unsigned int flags = XCCollateAccents | XCCollateCase,
                             XCSmartPtrToConst<XCCollationTable> table = {});
    ~XCLevelCollator() override;
    int Compare(wchar_t const* a, wchar_t const* b) const override;
    void AppendKey(std::string& key, wchar_t const* text) const override;

private:
    XCSmartPtrToConst<XCCollationTable> m_table;
    unsigned int m_flags;
};

/// Sorts texts by a collator; equal ones stay in their order. Makes each key once: for many texts several times as fast
/// as sorting by Compare. Needs, for the time of the call, the keys and 32 bytes a text. When it throws (out of memory, or
/// what the collator throws), the texts are as they were.
XC_API void XCSortByKeys(std::vector<XCString>& texts, XCCollator const& collator);
