// The tables of a module's file, read where they stand.
//
// A linker that is told to keep them writes the symbols of all objects behind the sections: 18 bytes each, the long
// names in a table after them. Functions are told by their type; their place is a section and an offset in it. They are
// in no order, so that one question is one walk over the table: 20,000 symbols are 360 KB, which takes some tens of
// microseconds. An order of our own would be found faster and had to be made, and kept, for modules that are asked for
// once. The file may be damaged or another one by now: every offset is held against the bytes that are there.
#include "win32/CoffImage.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace xc::win32 {

namespace {

constexpr std::size_t kSymbolSize = 18, kSectionSize = 40, kShortName = 8;

std::string_view Part(std::string_view bytes, std::uint64_t offset, std::uint64_t count) noexcept
{
    if (offset > bytes.size() || count > bytes.size() - offset) return {};
    return bytes.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
}

/// 0 for what is not there.
template <class Number>
Number At(std::string_view bytes, std::uint64_t offset) noexcept
{
    Number number = 0;
    if (offset <= bytes.size() && sizeof number <= bytes.size() - offset)
        std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

std::uint16_t Number16At(std::string_view bytes, std::uint64_t offset) noexcept
{
    return At<std::uint16_t>(bytes, offset);
}

std::uint32_t Number32At(std::string_view bytes, std::uint64_t offset) noexcept
{
    return At<std::uint32_t>(bytes, offset);
}

std::string_view UpToZero(std::string_view text) noexcept
{
    return text.substr(0, text.find('\0'));
}

} // namespace

// Byte reader ----------------------------------------------------------------------------------------------------------

std::string_view ByteReader::Text() noexcept
{
    std::size_t const length = m_bytes.find('\0');
    if (length == std::string_view::npos) return Take(std::uint64_t{m_bytes.size()} + 1); // fails
    return Take(length + 1).substr(0, length);
}

std::uint64_t ByteReader::Groups(unsigned int& shift, bool& negative) noexcept
{
    std::uint64_t value = 0;
    for (bool more = true; more && !m_failed; shift += 7) {
        std::uint8_t const group = Byte();
        if (shift < 64) value |= std::uint64_t{group & 0x7Fu} << shift;
        more = (group & 0x80) != 0;
        negative = (group & 0x40) != 0;
    }
    return value;
}

std::uint64_t ByteReader::Leb() noexcept
{
    unsigned int shift = 0;
    bool negative = false;
    return Groups(shift, negative);
}

std::int64_t ByteReader::SignedLeb() noexcept
{
    unsigned int shift = 0;
    bool negative = false;
    std::uint64_t value = Groups(shift, negative);
    if (negative && shift < 64) value |= ~std::uint64_t{0} << shift;
    return static_cast<std::int64_t>(value);
}

// Image ----------------------------------------------------------------------------------------------------------------

CoffImage::CoffImage(std::string_view bytes) noexcept : m_bytes(bytes)
{
    std::uint64_t const header = Number32At(bytes, 0x3C);
    if (Part(bytes, header, 4) != std::string_view("PE\0\0", 4)) return;
    std::uint64_t const optional = header + 24;
    std::uint64_t const optionalSize = Number16At(bytes, header + 20);
    if (Number16At(bytes, optional) != 0x20B) return; // images of 64 bits alone
    m_identity = {Number32At(bytes, header + 8), Number32At(bytes, optional + 16), Number32At(bytes, optional + 56),
                  Number32At(bytes, optional + 64)};
    m_base = At<std::uint64_t>(bytes, optional + 24);
    m_sections = Part(bytes, optional + optionalSize, Number16At(bytes, header + 6) * kSectionSize);
    std::uint64_t const symbols = Number32At(bytes, header + 12);
    std::uint64_t const size = std::uint64_t{Number32At(bytes, header + 16)} * kSymbolSize;
    if (symbols != 0) {
        m_symbols = Part(bytes, symbols, size);
        m_names = Part(bytes, symbols + size, Number32At(bytes, symbols + size));
    }
    constexpr unsigned int kDebugDirectory = 6;
    if (Number32At(bytes, optional + 108) > kDebugDirectory)
        m_debug = BytesAt(Number32At(bytes, optional + 112 + kDebugDirectory * 8),
                          Number32At(bytes, optional + 116 + kDebugDirectory * 8));
}

// A program database is named by a record of kind 2 that begins with a signature, an identity and a number; builds that
// only mark themselves leave the name empty. Debug data in a file of its own are named by a section.
bool CoffImage::NamesOtherSymbols() const noexcept
{
    constexpr std::size_t kEntry = 28, kNameAt = 24;
    for (std::size_t at = 0; at + kEntry <= m_debug.size(); at += kEntry) {
        std::string_view const record = Part(m_bytes, Number32At(m_debug, at + 24), Number32At(m_debug, at + 16));
        bool const isDatabase = Number32At(m_debug, at + 12) == 2 && record.starts_with("RSDS");
        if (isDatabase && record.size() > kNameAt && record[kNameAt] != '\0') return true;
    }
    return !Section(".gnu_debuglink").empty();
}

CoffImage::Function CoffImage::NearestFunction(std::uint32_t address) const noexcept
{
    constexpr std::uint64_t kExternal = 2, kStatic = 3, kFunction = 0x20;
    Function best;
    std::string_view bestField;
    for (std::size_t at = 0; at + kSymbolSize <= m_symbols.size(); at += kSymbolSize) {
        std::string_view const symbol = m_symbols.substr(at, kSymbolSize);
        at += kSymbolSize * static_cast<unsigned char>(symbol[17]); // what belongs to it
        auto const kind = static_cast<unsigned char>(symbol[16]);
        if ((kind != kExternal && kind != kStatic) || (Number16At(symbol, 14) & 0x30) != kFunction) continue;
        std::uint64_t const start = StartOf(Number16At(symbol, 12)) + Number32At(symbol, 8);
        if (start > address || (start <= best.start && !bestField.empty())) continue;
        best.start = static_cast<std::uint32_t>(start);
        bestField = symbol;
    }
    if (bestField.empty()) return best;
    std::string_view const field = bestField.substr(0, kShortName);
    best.name = Number32At(field, 0) == 0 ? NameAt(Number32At(field, 4)) : UpToZero(field);
    return best;
}

std::string_view CoffImage::Section(std::string_view name) const noexcept
{
    for (std::size_t at = 0; at + kSectionSize <= m_sections.size(); at += kSectionSize) {
        std::string_view const section = m_sections.substr(at, kSectionSize);
        if (SectionName(section.substr(0, kShortName)) != name) continue;
        // In the file a section is filled up with zeros; its size in memory is the true one.
        std::uint32_t const size = std::min(Number32At(section, 8), Number32At(section, 16));
        return Part(m_bytes, Number32At(section, 20), size);
    }
    return {};
}

std::string_view CoffImage::NameAt(std::uint64_t offset) const noexcept
{
    return offset < m_names.size() ? UpToZero(m_names.substr(static_cast<std::size_t>(offset))) : std::string_view();
}

/// Long names are "/" and their place in decimal digits.
std::string_view CoffImage::SectionName(std::string_view field) const noexcept
{
    std::string_view const name = UpToZero(field);
    if (!name.starts_with('/')) return name;
    std::uint32_t offset = 0;
    std::from_chars(name.data() + 1, name.data() + name.size(), offset);
    return NameAt(offset);
}

/// Of sections numbered from 1; far away for any other, such as those of absolute symbols.
std::uint64_t CoffImage::StartOf(std::uint32_t section) const noexcept
{
    std::uint64_t const at = (std::uint64_t{section} - 1) * kSectionSize;
    return section == 0 || at + kSectionSize > m_sections.size() ? ~std::uint32_t{0} : Number32At(m_sections, at + 12);
}

/// Bytes of the file that are loaded to an address, counted from the start of the image.
std::string_view CoffImage::BytesAt(std::uint64_t address, std::uint64_t count) const noexcept
{
    for (std::size_t at = 0; at + kSectionSize <= m_sections.size(); at += kSectionSize) {
        std::uint64_t const start = Number32At(m_sections, at + 12), size = Number32At(m_sections, at + 16);
        if (address >= start && address - start < size)
            return Part(m_bytes, Number32At(m_sections, at + 20) + (address - start), count);
    }
    return {};
}

} // namespace xc::win32
