// Files for the tests of the configuration classes: bytes in, bytes out.
#pragma once

#include "prelude.h"
#include "scratch_files.h"

namespace xc_test {

/// The bytes of a literal, those of value 0 included.
template <std::size_t N>
std::string BytesOf(char const (&literal)[N])
{
    return std::string(literal, N - 1);
}

/// The file that results from loading and saving these bytes.
inline std::string LoadAndSave(std::string_view bytes)
{
    ScratchFile const disk;
    disk.Write(bytes);
    XCErrorID error;
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path(), &error);
    if (error.Good()) error = file->Save();
    return error.Good() ? disk.Bytes() : "(not saved: " + error.AsString().AsUTF8() + ")";
}

/// "section.key=value;" for each line of the file, in order.
inline XCString Dump(XCConfigFile& file)
{
    XCString text;
    for (XCConfigSection const& section : file)
        for (XCConfigLine const& line : section)
            text += section.GetName() + L"." + line.GetKey() + L"=" + line.GetValue() + L";";
    return text;
}

} // namespace xc_test
