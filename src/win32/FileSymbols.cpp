// Functions and lines by the tables in a module's own file.
//
// The file is mapped for one question and let go after it: a module that is unloaded may be replaced at once, and memory
// holds no more than the pages of the tables that were looked at. Between questions stay the ranges of lines, some tens
// of kilobytes a module, and the answers, since the same few places of a program throw again and again. A module is
// known by what its image in memory says of its build, and a file of another build is not used: its names would be
// wrong. Cost of the first address of a module: its programs of lines are run once, some milliseconds a megabyte.
// Invariant: what is kept of a module belongs to the image that is loaded at its base now.
#include "win32/FileSymbols.h"

#include "win32/CoffImage.h"
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
        File file;
        FileView view;
        unsigned long error = file.Open(SystemPath(m_path), {});
        std::uint64_t const size = error == 0 ? file.Size(error) : 0;
        if (error != 0 || size == 0 || view.Map(file.Handle(), false, false, 0, static_cast<std::size_t>(size)) != 0)
            return {};
        CoffImage const image({static_cast<char const*>(view.Bytes()), view.Size()});
        if (image.GetIdentity() != m_identity) return {};
        // Functions without lines are half an answer where another file has both.
        bool const isWhole = image.HasSymbols() && !image.Section(".debug_line").empty();
        if (!isWhole && image.NamesOtherSymbols()) return {{}, true};
        if (!image.HasSymbols()) return {};
        return {ReadName(image, base, static_cast<std::uint32_t>(address - base)), false};
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
    std::optional<std::vector<LineRange>> m_ranges;
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
