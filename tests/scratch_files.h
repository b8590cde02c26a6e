// scratch_files.h - files and folders of the tests: bytes in, bytes out, and gone at the end.
#pragma once

#include <XelbrinCore/XCString.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

namespace xc_test {

/// All bytes of a file; "-" when there is none.
inline std::string ReadFile(std::string const& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (!file) return "-";
    std::string bytes;
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) bytes.push_back(static_cast<char>(c));
    std::fclose(file);
    return bytes;
}

/// A file, or a folder that the test makes, by a plain name; removed at both ends of the test.
class ScratchFile {
public:
    explicit ScratchFile(std::string name = "xc_test.ini") : m_name(std::move(name)) { Delete(); }
    explicit ScratchFile(std::string_view bytes, std::string name) : ScratchFile(std::move(name)) { Write(bytes); }
    ~ScratchFile() { Delete(); }
    ScratchFile(ScratchFile const&) = delete;
    ScratchFile& operator=(ScratchFile const&) = delete;

    void Write(std::string_view bytes) const
    {
        std::FILE* const file = std::fopen(m_name.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
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

} // namespace xc_test
