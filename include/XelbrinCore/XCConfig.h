// XCConfig.h - configuration files: sections in brackets with key=value lines, comments kept.
//
// WHAT     XCConfig is the small read-only reader. This header also includes the editable file (XCConfigFile.h), its
//          parts (XCConfigParts.h) and lists of values (XCCommaSeparatedValues.h).
// COST     Reading is linear. A lookup takes constant time, however long the file.
// ERRORS   Open answers a Bad XCErrorID. Out of memory: std::bad_alloc.
// THREADS  Any threads may look up; Open needs the callers' own lock.
#pragma once

#include <XelbrinCore/XCCommaSeparatedValues.h>
#include <XelbrinCore/XCConfigFile.h>
#include <XelbrinCore/XCConfigParts.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCRefCount.h>
#include <XelbrinCore/XCString.h>

#include <string_view>

/// Reads a configuration file once and answers lookups. Any threads may look up; Open needs the callers' own lock.
class XC_API XCConfig final : public XCConfigI {
public:
    XCConfig() noexcept;
    XCConfig(XCConfig const&) = delete;
    XCConfig& operator=(XCConfig const&) = delete;
    ~XCConfig() override;

    /// Reads a file in place of what was read before. Bad when it cannot be read or is malformed: the error tells file,
    /// line and fault, and the object answers as before.
    XCErrorID Open(XCString const& fileName);
    [[nodiscard]] XCString GetString(std::wstring_view section, std::wstring_view key,
                                     std::wstring_view defaultValue) const override;
    [[nodiscard]] long GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const override;

private:
    XCSmartPtr<XCConfigFile> m_file;
};
