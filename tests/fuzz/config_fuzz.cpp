// The configuration file: any bytes load or are refused, and what a load and a save wrote stays as it is from then on.
#include <XelbrinCore/XCConfig.h>

#include "win32/FileIo.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

std::wstring ScratchPath()
{
    std::string const path = "/tmp/xc_config_fuzz_" + std::to_string(::getpid());
    return {path.begin(), path.end()};
}

void WriteFile(std::wstring const& path, std::string_view bytes)
{
    if (xc::win32::ReplaceFileContents(xc::win32::SystemPath(path), bytes, *xc::win32::SystemReplaceSteps()) != 0)
        std::abort();
}

std::string ReadFile(std::wstring const& path)
{
    std::string bytes;
    if (xc::win32::ReadWholeFile(xc::win32::SystemPath(path), bytes) != 0) std::abort();
    return bytes;
}

/// What is on disk after loading and saving; nothing when the text is refused.
bool LoadAndSave(std::wstring const& path, std::string& saved)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(path);
    for (auto section = file->GetSectionsBegin(); section != file->GetSectionsEnd(); ++section) {
        if (file->FindSection(section->GetName()) == nullptr) std::abort();
        for (auto line = section->GetLinesBegin(); line != section->GetLinesEnd(); ++line)
            if (section->FindLine(line->GetKey()) == nullptr) std::abort();
    }
    if (file->Save().Bad()) return false;
    saved = ReadFile(path);
    return true;
}

/// An unchanged file saves what an edited copy of all its parts saves.
void CheckCopy(std::wstring const& path, std::string const& saved)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(path);
    std::size_t count = file->GetSize();
    for (auto section = file->GetSectionsBegin(); count-- > 0; section = file->DeleteSection(section))
        file->AddSection(*section);
    if (file->Save().Bad() || ReadFile(path) != saved) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    static std::wstring const path = ScratchPath();
    WriteFile(path, {reinterpret_cast<char const*>(bytes), size});
    std::string once, twice;
    try {
        if (!LoadAndSave(path, once)) std::abort(); // what was read can be written
    } catch (XCConfigStreamException const&) {
        return 0;
    }
    if (!LoadAndSave(path, twice) || once != twice) std::abort();
    CheckCopy(path, once);
    return 0;
}
