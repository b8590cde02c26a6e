// XCCollator.h - three-way comparison of texts under rules of case and accent, and their tables.
//
// WHAT     XCCollator compares two texts. The table collators map each unit through an XCCollatingTable and compare
//          the results as unsigned numbers: one without regard to case, one without regard to accents, one without
//          regard to either. XCString::Compare uses these three for its modes 1 to 3.
// CASE     By the invariant one-to-one tables of the system: no unit becomes two, and no language has its own rules.
// ACCENT   A letter counts as the base of its canonical decomposition; a combining mark of its own (U+0300 to U+036F)
//          counts as nothing.
// MORE     XCLevelCollator.h: accents and case as tie-breaks, numbers, orders of languages from text files.
//          XCLocaleCollator.h: the system's order of a locale.
// COST     Building a table collator fills 128 KiB; comparing costs one look-up a unit after the first difference.
// THREADS  Collators do not change after construction; one object may be used by many threads.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>

#include <array>
#include <cstdint>
#include <string>

/// Compares two NUL-terminated texts. Counted; one object may be used by many threads.
class XC_API XCCollator : public XCRefCount {
public:
    ~XCCollator() override;
    /// -1, 0 or 1. Neither text may be null.
    virtual int Compare(wchar_t const* a, wchar_t const* b) const = 0;
    /// Appends the text's key: bytes that stand to the bytes of other keys of this collator as their texts stand to one
    /// another (memcmp; a key that is the beginning of another stands before it). Worth its memory where a text is
    /// compared often: see XCSortByKeys. A key means nothing to another collator, nor to another version of it.
    virtual void AppendKey(std::string& key, wchar_t const* text) const = 0;
    /// The key of one text.
    [[nodiscard]] std::string MakeKey(wchar_t const* text) const
    {
        std::string key;
        AppendKey(key, text);
        return key;
    }

protected:
    XCCollator() noexcept = default;
};

/// A direct map from a code to its collating code; the map stands at the start of the table's data.
template <class Unit>
class XCCollatingTable;

/// 256 one-byte entries.
template <>
class XC_API XCCollatingTable<char> : public XCRefCount {
public:
    /// The identity.
    XCCollatingTable() noexcept;
    ~XCCollatingTable() override;
    /// The code that stands for this one when texts are compared.
    [[nodiscard]] char Map(char code) const noexcept { return m_map[static_cast<unsigned char>(code)]; }
    /// Makes one code count as another.
    void Set(char code, char collatingCode) noexcept { m_map[static_cast<unsigned char>(code)] = collatingCode; }

private:
    std::array<char, 0x100> m_map;
};

/// 65,536 two-byte entries.
template <>
class XC_API XCCollatingTable<wchar_t> : public XCRefCount {
public:
    /// The identity.
    XCCollatingTable() noexcept;
    ~XCCollatingTable() override;
    /// The code that stands for this one when texts are compared.
    [[nodiscard]] wchar_t Map(wchar_t code) const noexcept { return m_map[static_cast<std::uint16_t>(code)]; }
    /// Makes one code count as another.
    void Set(wchar_t code, wchar_t collatingCode) noexcept { m_map[static_cast<std::uint16_t>(code)] = collatingCode; }

private:
    std::array<wchar_t, 0x10000> m_map;
};

/// Compares through a wide collating table. A unit (but U+0000) that the table maps to 0 is ignored.
class XC_API XCTableCollator : public XCCollator {
public:
    ~XCTableCollator() override;
    int Compare(wchar_t const* a, wchar_t const* b) const override;
    /// One to three bytes for each unit that is not ignored.
    void AppendKey(std::string& key, wchar_t const* text) const override;
    /// The table that the collator maps through; lives as long as the collator.
    [[nodiscard]] XCCollatingTable<wchar_t> const& GetTable() const noexcept { return *m_table; }

protected:
    /// Keeps a share of the table.
    explicit XCTableCollator(XCSmartPtrToConst<XCCollatingTable<wchar_t>> table) noexcept;

private:
    XCSmartPtrToConst<XCCollatingTable<wchar_t>> m_table;
};

/// Without regard to case.
class XC_API XCTableIgnoreCaseCollator : public XCTableCollator {
public:
    XCTableIgnoreCaseCollator();
    ~XCTableIgnoreCaseCollator() override;
};

/// Without regard to accents: a letter with marks counts as its base letter.
class XC_API XCTableIgnoreAccentCollator : public XCTableCollator {
public:
    XCTableIgnoreAccentCollator();
    ~XCTableIgnoreAccentCollator() override;
};

/// Without regard to either.
class XC_API XCTableIgnoreCaseAndAccentCollator : public XCTableCollator {
public:
    XCTableIgnoreCaseAndAccentCollator();
    ~XCTableIgnoreCaseAndAccentCollator() override;
};
