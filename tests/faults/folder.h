// folder.h - a folder of its own for a scenario, so that whatever is left beside a file is seen.
#pragma once

#include <XelbrinCore/XCString.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace faults {

struct Folder {
    std::filesystem::path path = std::filesystem::absolute("xc_faults_folder");
    Folder()
    {
        std::filesystem::remove_all(path);
        std::filesystem::create_directory(path);
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

    [[nodiscard]] std::string File(char const* name) const { return (path / name).string(); }
    [[nodiscard]] XCString Path(char const* name) const
    {
        std::string const narrow = File(name);
        return XCString(std::wstring(narrow.begin(), narrow.end()));
    }
    [[nodiscard]] std::ptrdiff_t Count() const
    {
        return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
    }
};

/// Empty when there is no such file.
inline std::string BytesOf(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace faults
