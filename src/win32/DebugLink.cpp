// The section .gnu_debuglink: a name that a zero ends, zeros up to a multiple of four bytes, a checksum of the file.
//
// A debug file may be the one of another build, left behind when the module was replaced: the checksum of all its bytes
// is the only sign that every linker's tools write. By tables of eight bytes a step a file of 10 MB takes some
// milliseconds. The name comes out of a file that may be damaged, and is looked for in the module's folders alone.
#include "win32/DebugLink.h"

#include "win32/CoffImage.h"
#include "win32/SlicedCrc.h"

namespace xc::win32 {

namespace {

using Tables = SlicedCrc<0xEDB88320>; // that of Ethernet

} // namespace

DebugLink ReadDebugLink(std::string_view section) noexcept
{
    ByteReader reader(section);
    std::string_view const file = reader.Text();
    (void)reader.Take((0 - (file.size() + 1)) % 4);
    DebugLink const link{file, reader.Number32()};
    bool const isPlain = file.find_first_of("/\\:") == std::string_view::npos;
    return reader.Failed() || !isPlain ? DebugLink{} : link;
}

std::uint32_t DebugChecksum(std::uint32_t before, std::string_view bytes) noexcept
{
    return ~Tables::Advance(~before, reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

} // namespace xc::win32
