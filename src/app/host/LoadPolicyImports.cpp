// Import tables, read from the file.
//
// The names must be known before the system loads the library, since loading runs the code of what it links to. A file
// may hold anything: every offset is an address in the image, which the table of sections turns into a place of the file,
// and every read is checked against the end of the bytes. Tables end with an entry of zeros; one that does not ends with
// the bytes or after kMostImports, and the file counts as no library. Cost: one step a section for each name.
#include "app/host/LoadPolicy.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace xc::host {

namespace {

constexpr std::size_t kMostImports = 4096;
constexpr std::size_t kLongestName = 260;
constexpr std::uint16_t kProcessor = 0x8664;
constexpr std::uint16_t kPlus = 0x20B; // of the optional header: addresses of 64 bits

/// A table of imports: where its address stands among the directories, the size of its entries, where these have a name.
struct TableForm {
    std::size_t directory, entryBytes, nameAt;
};
constexpr TableForm kForms[] = {{1, 20, 12}, {13, 32, 4}}; // ordinary, delayed

class Image {
public:
    explicit Image(std::string_view bytes) noexcept : m_bytes(bytes) {}

    /// Whether the heads are those of a library that this process can load.
    bool ReadHeads()
    {
        m_head = Get<std::uint32_t>(0x3C).value_or(0);
        if (!m_bytes.starts_with("MZ") || Get<std::uint32_t>(m_head) != 0x4550u) return false; // "PE"
        m_optional = m_head + 24;
        m_sections = m_optional + Get<std::uint16_t>(m_head + 20).value_or(0);
        m_sectionCount = Get<std::uint16_t>(m_head + 6).value_or(0);
        return Get<std::uint16_t>(m_head + 4) == kProcessor && Get<std::uint16_t>(m_optional) == kPlus;
    }

    bool AddNames(TableForm const& form, std::vector<std::wstring>& names) const
    {
        std::optional<std::uint32_t> const directories = Get<std::uint32_t>(m_optional + 108);
        // A head that is cut says nothing: that is not the same as no imports.
        if (!directories) return false;
        if (form.directory >= *directories) return true;
        std::optional<std::uint32_t> const table = Get<std::uint32_t>(m_optional + 112 + form.directory * 8);
        if (!table || *table == 0) return table.has_value();
        for (std::size_t i = 0; i < kMostImports; ++i) {
            std::optional<std::size_t> const entry = PlaceOf(*table + i * form.entryBytes);
            if (!entry) return false;
            std::optional<std::uint32_t> const name = Get<std::uint32_t>(*entry + form.nameAt);
            if (!name) return false;
            if (*name == 0) return true;
            if (!AddName(*name, names)) return false;
        }
        return false;
    }

private:
    template <class T>
    [[nodiscard]] std::optional<T> Get(std::size_t at) const noexcept
    {
        // Compared by what is left: a sum could pass the largest number and come out small.
        if (at > m_bytes.size() || m_bytes.size() - at < sizeof(T)) return std::nullopt;
        T value;
        std::memcpy(&value, m_bytes.data() + at, sizeof value);
        return value;
    }

    /// The place in the file of an address in the image.
    [[nodiscard]] std::optional<std::size_t> PlaceOf(std::size_t address) const noexcept
    {
        for (std::size_t i = 0; i < m_sectionCount; ++i) {
            std::size_t const section = m_sections + i * 40;
            std::optional<std::uint32_t> const begin = Get<std::uint32_t>(section + 12);
            std::optional<std::uint32_t> const size = Get<std::uint32_t>(section + 16); // in the file
            std::optional<std::uint32_t> const file = Get<std::uint32_t>(section + 20);
            if (!begin || !size || !file) return std::nullopt;
            // What a section has in memory alone is zeros, and no table of imports.
            if (address >= *begin && address - *begin < *size) return *file + (address - *begin);
        }
        return std::nullopt;
    }

    bool AddName(std::uint32_t address, std::vector<std::wstring>& names) const
    {
        std::optional<std::size_t> const at = PlaceOf(address);
        if (!at || *at >= m_bytes.size()) return false;
        std::string_view const text = m_bytes.substr(*at, kLongestName);
        std::size_t const end = text.find('\0');
        if (end == 0 || end == std::string_view::npos) return false;
        // What is no plain name of a file, as one with a folder in it, is no name that a linker writes.
        for (char const unit : text.substr(0, end))
            if (unit <= ' ' || unit > '~' || unit == '\\' || unit == '/' || unit == ':') return false;
        names.emplace_back(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end));
        return true;
    }

    std::string_view m_bytes;
    std::size_t m_head = 0, m_optional = 0, m_sections = 0, m_sectionCount = 0;
};

} // namespace

bool ReadImports(std::string_view bytes, std::vector<std::wstring>& names)
{
    Image image(bytes);
    if (!image.ReadHeads()) return false;
    // Delayed ones count as well: they are loaded by name, at a time when nobody judges any more.
    return std::ranges::all_of(kForms, [&](TableForm const& form) { return image.AddNames(form, names); });
}

} // namespace xc::host
