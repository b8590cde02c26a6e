// XCCollator.h - three-way comparison of texts under rules of case and accent, and the tables behind it.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>

#include <array>
#include <cstdint>

/// Compares two NUL-terminated texts. Counted; one object may be used by many threads.
class XC_API XCCollator : public XCRefCount {
public:
    ~XCCollator() override;
    /// -1, 0 or 1. Neither text may be null.
    virtual int Compare(wchar_t const* a, wchar_t const* b) const = 0;

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
    [[nodiscard]] char Map(char code) const noexcept { return m_map[static_cast<unsigned char>(code)]; }
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
    [[nodiscard]] wchar_t Map(wchar_t code) const noexcept { return m_map[static_cast<std::uint16_t>(code)]; }
    void Set(wchar_t code, wchar_t collatingCode) noexcept { m_map[static_cast<std::uint16_t>(code)] = collatingCode; }

private:
    std::array<wchar_t, 0x10000> m_map;
};

/// Compares through a wide collating table, then by code unit.
class XC_API XCTableCollator : public XCCollator {
public:
    ~XCTableCollator() override;
    int Compare(wchar_t const* a, wchar_t const* b) const override;
    [[nodiscard]] XCCollatingTable<wchar_t> const& GetTable() const noexcept { return *m_table; }

protected:
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
