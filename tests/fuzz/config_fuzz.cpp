// The configuration file: any bytes load or are refused, and what a load and a save wrote stays as it is from then on.

#include "input.h"
#include "scratch_files.h"

#include <unistd.h>

using xc_test::ScratchFile;

/// What is on disk after loading and saving; nothing when the text is refused.
bool LoadAndSave(ScratchFile const& disk, std::string& saved)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    for (auto section = file->GetSectionsBegin(); section != file->GetSectionsEnd(); ++section) {
        if (file->FindSection(section->GetName()) == nullptr) std::abort();
        for (auto line = section->GetLinesBegin(); line != section->GetLinesEnd(); ++line)
            if (section->FindLine(line->GetKey()) == nullptr) std::abort();
    }
    if (file->Save().Bad()) return false;
    saved = disk.Bytes();
    return true;
}

/// An unchanged file saves what an edited copy of all its parts saves.
void CheckCopy(ScratchFile const& disk, std::string const& saved)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::Load(disk.Path());
    std::size_t count = file->GetSize();
    for (auto section = file->GetSectionsBegin(); count-- > 0; section = file->DeleteSection(section))
        file->AddSection(*section);
    if (file->Save().Bad() || disk.Bytes() != saved) std::abort();
}

/// Bytes in memory give what the same bytes on disk give; each line tells a place inside the text; the report of a layer
/// has every key that a look-up finds.
void CheckLayers(std::string_view bytes)
{
    XCSmartPtr<XCConfigFile> const file = XCConfigFile::FromBytes(bytes);
    auto const feeds = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    XCConfigLayers layers;
    layers.AddFile(file, L"layer");
    layers.AddFile(file);
    std::size_t found = 0;
    for (XCConfigSection const& section : *file)
        for (XCConfigLine const& line : section) {
            if (line.GetFileLine() == 0 || line.GetFileLine() > feeds + 1) std::abort();
            if (file->FindSection(section.GetName()) != &section) continue;
            ++found;
            if (layers.GetOrigins(section.GetName(), line.GetKey()).size() != 2) std::abort();
        }
    std::size_t keys = 0;
    for (XCString const& section : layers.GetSections()) keys += layers.GetKeys(section).size();
    if (keys > found) std::abort();
    for (wchar_t const unit : layers.GetReport())
        if (unit < 0x20 && unit != L'\n') std::abort();
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    static ScratchFile const disk("/tmp/xc_config_fuzz_" + std::to_string(::getpid()));
    disk.Write({reinterpret_cast<char const*>(bytes), size});
    std::string once, twice;
    try {
        if (!LoadAndSave(disk, once)) std::abort(); // what was read can be written
    } catch (XCConfigStreamException const&) {
        return;
    }
    if (!LoadAndSave(disk, twice) || once != twice) std::abort();
    CheckCopy(disk, once);
    CheckLayers({reinterpret_cast<char const*>(bytes), size});
}
