// Files for the tests of the configuration classes: bytes in, bytes out.
#pragma once

#include <XelbrinCore/XCConfig.h>

#include <cstdio>
#include <string>
#include <string_view>

namespace xc_test {

/// A file in the current folder that is gone at the end of the test.
class ScratchFile {
public:
    explicit ScratchFile(std::string name = "xc_config_test.ini") : m_name(std::move(name)) { Delete(); }
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
    /// What is on disk; "(missing)" when there is no such file.
    [[nodiscard]] std::string Bytes() const
    {
        std::FILE* const file = std::fopen(m_name.c_str(), "rb");
        if (!file) return "(missing)";
        std::string bytes;
        for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file))
            bytes.push_back(static_cast<char>(byte));
        std::fclose(file);
        return bytes;
    }
    void Delete() const { std::remove(m_name.c_str()); }
    [[nodiscard]] std::wstring Path() const { return {m_name.begin(), m_name.end()}; }

private:
    std::string m_name;
};

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

/// For range loops.
template <class Iterator>
struct Range {
    Iterator first, last;
    [[nodiscard]] Iterator begin() const { return first; }
    [[nodiscard]] Iterator end() const { return last; }
};
inline Range<XCConfigFile::iterator> SectionsOf(XCConfigFile& file)
{
    return {file.GetSectionsBegin(), file.GetSectionsEnd()};
}
inline Range<XCConfigSection::iterator> LinesOf(XCConfigSection& section)
{
    return {section.GetLinesBegin(), section.GetLinesEnd()};
}

} // namespace xc_test
