// scratch_files.h - files and folders of the tests: bytes in, bytes out, and gone at the end.
#pragma once

#include "library.h"

namespace xc_test {

/// All bytes of a file; "-" when there is none.
inline std::string ReadFile(std::filesystem::path const& path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "-";
}

/// A file, or a folder that the test makes, by a plain name; removed at both ends of the test.
struct ScratchFile {
    explicit ScratchFile(std::string name = "xc_test.ini") : m_name(std::move(name)) { Delete(); }
    explicit ScratchFile(std::string_view bytes, std::string name) : ScratchFile(std::move(name)) { Write(bytes); }
    ~ScratchFile() { Delete(); }
    ScratchFile(ScratchFile const&) = delete;
    ScratchFile& operator=(ScratchFile const&) = delete;

    void Write(std::string_view bytes) const { std::ofstream(m_name, std::ios::binary) << bytes; }
    void Delete() const
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_name, ignored);
    }
    [[nodiscard]] std::string Bytes() const { return ReadFile(m_name); }
    [[nodiscard]] bool Exists() const { return std::filesystem::exists(m_name); }
    [[nodiscard]] std::wstring Path() const { return {m_name.begin(), m_name.end()}; }

private:
    std::string m_name;
};

/// A folder of its own, empty at first, so that whatever is left beside a file is seen.
struct ScratchFolder {
    explicit ScratchFolder(std::filesystem::path const& folder = "xc_test_folder") : path(absolute(folder))
    {
        Delete();
        create_directories(path);
    }
    ~ScratchFolder() { Delete(); }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;

    void Write(char const* name, std::string_view bytes) const
    {
        std::ofstream(path / name, std::ios::binary) << bytes;
    }
    /// Empty when there is no such file.
    [[nodiscard]] std::string Bytes(char const* name) const { return exists(path / name) ? ReadFile(path / name) : ""; }
    [[nodiscard]] XCString Path() const { return Wide(path); }
    [[nodiscard]] XCString Path(char const* name) const { return Wide(path / name); }
    [[nodiscard]] std::ptrdiff_t Count() const
    {
        return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
    }

    std::filesystem::path const path;

private:
    void Delete() const
    {
        // A module that stays loaded keeps its file. On Windows the standard library then never comes back from a folder
        // with a very long name.
#if defined(_WIN32)
        (void)XCDirectory::RemoveTree(XCPath(Wide(path)));
#else
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
#endif
    }
    static XCString Wide(std::filesystem::path const& path)
    {
        return XCString(std::wstring(path.native().begin(), path.native().end()));
    }
};

} // namespace xc_test
