// XCLocaleCollator.h - orders from outside the program: the system's for a locale, and a table in a file.
//
// WHAT     XCLocaleCollator compares as the system does in a locale: for lists that stand next to those of other
//          programs. XCLevelCollator (XCLevelCollator.h) gives the same order everywhere and is many times as fast;
//          XCReadCollationFile reads its rules from a file.
// COST     Some microseconds a comparison; XCSortByKeys makes one key a text instead.
// CAUTION  The order may change with the release of the system. Keys are never kept beyond the process.
// THREADS  Collators do not change after construction.
#pragma once

#include <XelbrinCore/XCErrorID.h>
#include <XelbrinCore/XCLevelCollator.h>
#include <XelbrinCore/XCLocale.h>

namespace xc::win32 {
struct LocaleOrder;
} // namespace xc::win32

/// The system's order of a locale.
class XC_API XCLocaleCollator : public XCCollator {
public:
    /// @param flags XCCollationFlags.
    explicit XCLocaleCollator(XCLocale const& locale, unsigned int flags = XCCollateAccents | XCCollateCase);
    ~XCLocaleCollator() override;
    /// @throws XCWindowsLastErrorException when the system refuses the texts or the flags.
    int Compare(wchar_t const* a, wchar_t const* b) const override;
    /// @throws XCWindowsLastErrorException as Compare.
    void AppendKey(std::string& key, wchar_t const* text) const override;

private:
    std::unique_ptr<xc::win32::LocaleOrder const> m_order;
    bool m_strict;
};

/// Reads the rules of a table from a file in UTF-8, UTF-16 with a byte order mark, or the ANSI code page. Bad, and
/// `table` as it was, when the file cannot be read or is no text (XCErrCollationFile); lines that are wrong are appended
/// to `faults` and left out.
XC_API XCErrorID XCReadCollationFile(XCString const& path, XCSmartPtrToConst<XCCollationTable>& table,
                                     std::vector<XCLineFault>& faults);
