// Functions and lines by the tables in a module's own file.
//
// The file is mapped for one question and let go after it: a module that is unloaded may be replaced at once, and memory
// holds no more than the pages of the tables that were looked at. Between questions stay the ranges of lines, some tens
// of kilobytes a module, and the answers, since the same few places of a program throw again and again. A module is
// known by what its image in memory says of its build, and a file of another build is not used: its names would be
// wrong. A module that was stripped names the file with its debug data, beside it or in the folder .debug there; that
// file is read once, in small blocks, to hold it against its checksum, and used like the module's own from then on.
// Cost of the first address of a module: its programs of lines are run once, some milliseconds a megabyte.
// Invariant: what is kept of a module belongs to the image that is loaded at its base now.
#include "win32/FileSymbols.h"

#include "win32/CoffImage.h"
#include "win32/DebugLink.h"
#include "win32/File.h"
#include "win32/FileView.h"
#include "win32/FunctionName.h"
#include "win32/LineTable.h"

#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>
#include <windows.h>

namespace xc::win32 {

namespace {

constexpr std::size_t kMostAnswers = 1024; // kept of a module

/// The headers of an image in memory.
CoffImage::Identity IdentityInMemory(std::uintptr_t base) noexcept
{
    constexpr std::size_t kHeaders = 4096; // a page, which every image has there
    return CoffImage({reinterpret_cast<char const*>(base), kHeaders}).GetIdentity();
}

/// The bytes of a file, for one question; none when it cannot be had.
class MappedFile {
public:
    explicit MappedFile(std::wstring const& path)
    {
        unsigned long error = path.empty() ? ERROR_FILE_NOT_FOUND : m_file.Open(SystemPath(path), {});
        std::uint64_t const size = error == 0 ? m_file.Size(error) : 0;
        if (error == 0 && size != 0 &&
            m_view.Map(m_file.Handle(), false, false, 0, static_cast<std::size_t>(size)) == 0)
            m_bytes = {static_cast<char const*>(m_view.Bytes()), m_view.Size()};
    }
    [[nodiscard]] std::string_view Bytes() const noexcept { return m_bytes; }

private:
    File m_file;
    FileView m_view;
    std::string_view m_bytes;
};

/// Not by a view: every page of it would count as memory of the process.
bool HasChecksum(std::wstring const& path, std::uint32_t wanted)
{
    File file;
    unsigned long error = file.Open(SystemPath(path), {});
    std::vector<char> block(64 * 1024);
    std::uint32_t checksum = 0;
    std::uint64_t at = 0;
    for (std::size_t count = block.size(); error == 0 && count == block.size(); at += count) {
        count = file.Read(block.data(), block.size(), at, error);
        checksum = DebugChecksum(checksum, {block.data(), count});
    }
    return error == 0 && checksum == wanted;
}

/// The file with the debug data of a module.
struct DebugFile {
    std::wstring path; ///< empty: none
    CoffImage::Identity identity;
};

DebugFile FindDebugFile(CoffImage const& module, std::wstring const& modulePath)
{
    DebugLink const link = ReadDebugLink(module.Section(".gnu_debuglink"));
    if (link.file.empty()) return {};
    std::wstring const folder = modulePath.substr(0, modulePath.size() - BaseName(modulePath).size());
    for (wchar_t const* const below : {L"", L".debug\\"}) {
        std::wstring path = folder + below + Widen(link.file);
        if (!HasChecksum(path, link.checksum)) continue;
        CoffImage::Identity const identity = CoffImage(MappedFile(path).Bytes()).GetIdentity();
        return {std::move(path), identity};
    }
    return {};
}

/// What is known of a module.
class KnownModule {
public:
    KnownModule(std::wstring path, CoffImage::Identity const& identity) : m_path(std::move(path)), m_identity(identity)
    {
    }
    [[nodiscard]] bool Is(std::wstring const& path, CoffImage::Identity const& identity) const noexcept
    {
        return m_identity == identity && m_path == path;
    }

    FileAnswer Name(std::uintptr_t base, std::uintptr_t address)
    {
        auto const known = m_answers.find(address);
        if (known != m_answers.end()) return known->second;
        FileAnswer answer = Read(base, address);
        if (m_answers.size() >= kMostAnswers) m_answers.clear();
        return m_answers.emplace(address, std::move(answer)).first->second;
    }

private:
    FileAnswer Read(std::uintptr_t base, std::uintptr_t address)
    {
        MappedFile const own(m_path);
        CoffImage const image(own.Bytes());
        if (own.Bytes().empty() || image.GetIdentity() != m_identity) return {};
        auto const offset = static_cast<std::uint32_t>(address - base);
        // Functions without lines are half an answer where another file has both.
        if (!image.HasSymbols() || image.Section(".debug_line").empty()) {
            if (!m_debugFile) m_debugFile = FindDebugFile(image, m_path);
            MappedFile const other(m_debugFile->path);
            CoffImage const debug(other.Bytes());
            // By its headers: reading all of it again for each question would take longer than the answer.
            if (debug.HasSymbols() && debug.GetIdentity() == m_debugFile->identity)
                return {ReadName(debug, base, offset), false};
            if (image.NamesOtherSymbols()) return {{}, true};
        }
        if (!image.HasSymbols()) return {};
        return {ReadName(image, base, offset), false};
    }

    NamedAddress ReadName(CoffImage const& image, std::uintptr_t base, std::uint32_t address)
    {
        CoffImage::Function const function = image.NearestFunction(address);
        if (function.name.empty()) return {};
        std::string const symbol(function.name);
        std::string const declaration = Demangled(symbol.c_str());
        // Names of C have no brackets; what an optimizer has added to one stands after a point.
        std::string_view const name = declaration == symbol ? std::string_view(symbol).substr(0, symbol.find('.', 1))
                                                            : ShortFunctionName(declaration);
        return {Widen(name), base + function.start, ReadLine(image, address)};
    }

    std::wstring ReadLine(CoffImage const& image, std::uint32_t address)
    {
        LineSections const sections{image.Section(".debug_line"), image.Section(".debug_line_str"),
                                    image.Section(".debug_str")};
        if (!m_ranges) m_ranges = FindLineRanges(sections.lines);
        SourceLine const source = FindSourceLine(sections, *m_ranges, image.PreferredBase() + address);
        if (source.file.empty()) return {};
        return BaseName(Widen(source.file)) + L":" + std::to_wstring(source.line);
    }

    std::wstring m_path;
    CoffImage::Identity m_identity;
    std::optional<DebugFile> m_debugFile;
    std::optional<std::vector<LineRange>> m_ranges;           ///< of the file that names are read from
    std::unordered_map<std::uintptr_t, FileAnswer> m_answers; ///< by address
};

} // namespace

FileAnswer NameByFile(std::uintptr_t base, std::wstring const& path, std::uintptr_t address)
{
    static std::mutex& lock = *new std::mutex; // both for the whole life of the process
    static auto& modules = *new std::unordered_map<std::uintptr_t, KnownModule>;
    CoffImage::Identity const identity = IdentityInMemory(base);
    std::lock_guard const guard(lock);
    auto module = modules.find(base);
    if (module != modules.end() && !module->second.Is(path, identity)) {
        modules.erase(module);
        module = modules.end();
    }
    if (module == modules.end()) module = modules.emplace(base, KnownModule(path, identity)).first;
    return module->second.Name(base, address);
}

std::wstring BaseName(std::wstring const& path)
{
    return path.substr(path.find_last_of(L"\\/") + 1);
}

std::wstring Widen(std::string_view text)
{
    int const size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0'); // no text has more units than bytes
    wide.resize(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

} // namespace xc::win32
