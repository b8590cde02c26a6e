// CoffImage.h - the file of a module: its sections, and the functions that its table of symbols names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace xc::win32 {

/// Reads bytes one after the other; past the end everything is 0, and Failed says so.
class ByteReader {
public:
    explicit ByteReader(std::string_view bytes) noexcept : m_bytes(bytes) {}
    [[nodiscard]] bool Failed() const noexcept { return m_failed; }
    [[nodiscard]] bool AtEnd() const noexcept { return m_bytes.empty(); }
    [[nodiscard]] std::string_view Rest() const noexcept { return m_bytes; }

    std::string_view Take(std::uint64_t count) noexcept
    {
        if (count > m_bytes.size()) {
            m_failed = true;
            return m_bytes = {};
        }
        std::string_view const taken = m_bytes.substr(0, static_cast<std::size_t>(count));
        m_bytes.remove_prefix(taken.size());
        return taken;
    }
    /// A number of `count` bytes, the lowest first.
    std::uint64_t Number(unsigned int count) noexcept
    {
        std::uint64_t value = 0;
        std::string_view const bytes = Take(count);
        for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
        return value;
    }
    std::uint8_t Byte() noexcept
    {
        if (m_failed = m_failed || m_bytes.empty(); m_failed) return 0;
        auto const byte = static_cast<std::uint8_t>(m_bytes.front());
        m_bytes.remove_prefix(1);
        return byte;
    }
    std::uint32_t Number32() noexcept { return static_cast<std::uint32_t>(Number(4)); }
    /// A text that a zero ends.
    std::string_view Text() noexcept;
    /// A number in groups of seven bits, the lowest first, without and with a sign.
    std::uint64_t Leb() noexcept;
    std::int64_t SignedLeb() noexcept;

private:
    std::uint64_t Groups(unsigned int& shift, bool& negative) noexcept;

    std::string_view m_bytes;
    bool m_failed = false;
};

/// See above. What the bytes promise and do not hold is not there: no function reads outside of them.
class CoffImage {
public:
    /// @param bytes of the file, or as many as are there; they live as long as this.
    explicit CoffImage(std::string_view bytes) noexcept;

    /// What tells one build of a module from another; equal in the file and in memory.
    struct Identity {
        std::uint32_t time = 0;
        std::uint32_t entry = 0;
        std::uint32_t size = 0;
        std::uint32_t checksum = 0;
        bool operator==(Identity const&) const noexcept = default;
    };
    [[nodiscard]] Identity const& GetIdentity() const noexcept { return m_identity; }
    /// Where the file wants to be loaded: addresses in debug data count from there.
    [[nodiscard]] std::uint64_t PreferredBase() const noexcept { return m_base; }
    [[nodiscard]] bool HasSymbols() const noexcept { return !m_symbols.empty(); }
    /// Whether the module tells where else its symbols are.
    [[nodiscard]] bool NamesOtherSymbols() const noexcept;

    struct Function {
        std::string_view name; ///< as the linker knows it; empty: none
        std::uint32_t start = 0;
    };
    /// The function with the highest start at or below the address, both from the start of the image. Linear in the table.
    [[nodiscard]] Function NearestFunction(std::uint32_t address) const noexcept;
    /// The bytes of a section in the file; empty when there is none.
    [[nodiscard]] std::string_view Section(std::string_view name) const noexcept;

private:
    [[nodiscard]] std::string_view NameAt(std::uint64_t offset) const noexcept;
    [[nodiscard]] std::string_view SectionName(std::string_view field) const noexcept;
    [[nodiscard]] std::uint64_t StartOf(std::uint32_t section) const noexcept;
    [[nodiscard]] std::string_view BytesAt(std::uint64_t address, std::uint64_t count) const noexcept;

    std::string_view m_bytes;
    std::string_view m_sections; ///< the table of them
    std::string_view m_symbols;  ///< the table of symbols
    std::string_view m_names;    ///< long names, from the size of the table on
    std::string_view m_debug;    ///< the directory of debug data
    Identity m_identity;
    std::uint64_t m_base = 0;
};

} // namespace xc::win32
