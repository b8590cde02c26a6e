// The simple reader: a file that is there whole, or the one that was there before. A failure to open changes nothing,
// and an exception about the text becomes an error here, since callers of this class expect no exceptions.
#include <XelbrinCore/XCConfig.h>

#include "app/config/ConfigData.h"
#include "app/config/ConfigErrors.h"

XCConfig::XCConfig() noexcept = default;
XCConfig::~XCConfig() = default;

// Shared with the layers: callers of both expect errors, not exceptions.
XCErrorID xc::config::LoadFile(XCString const& fileName, XCSmartPtr<XCConfigFile>& file)
try {
    XCErrorID whyNot;
    XCSmartPtr<XCConfigFile> const loaded = XCConfigFile::Load(fileName, &whyNot);
    // The old file stays in use when the new one cannot be read: a program that reads its settings again while it runs
    // goes on with the last good ones.
    if (whyNot.Good()) file = loaded;
    return whyNot;
} catch (XCConfigStreamException const& fault) {
    return MalformedFile(fault.GetFileName(), fault.What(), fault.GetLine());
}

XCErrorID XCConfig::Open(XCString const& fileName)
{
    return xc::config::LoadFile(fileName, m_file);
}

XCString XCConfig::GetString(std::wstring_view section, std::wstring_view key, std::wstring_view defaultValue) const
{
    return m_file.IsNull() ? XCString(defaultValue) : m_file->GetString(section, key, defaultValue);
}

long XCConfig::GetLong(std::wstring_view section, std::wstring_view key, long defaultValue) const
{
    return m_file.IsNull() ? defaultValue : m_file->GetLong(section, key, defaultValue);
}
