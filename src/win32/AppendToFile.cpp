#include "win32/AppendToFile.h"

#include "win32/AppendFile.h"

namespace xc::win32 {

bool AppendToFile(std::wstring const& path, std::string_view bytes)
{
    AppendFile file;
    if (file.Open(path, AppendFile::Start::Append) != 0) return false;
    unsigned long error = 0;
    return file.Write(bytes.data(), bytes.size(), error) == bytes.size();
}

} // namespace xc::win32
