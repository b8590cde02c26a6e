// The typed reader: any bytes, any order of calls. A block and a source that delivers a few bytes at a time must tell the
// same, and the memory in use never passes what the reader promises. The bytes are repeated to a size at which the fixed
// part of the promise hides nothing.
#include "data/streams.h"
#include "input.h"
#include "peak_memory.h"

constexpr std::size_t kLarge = std::size_t{1} << 18;
constexpr std::size_t kFixed = 65536;

/// What was written, as a checksum: the target itself needs no memory.
struct Digest : XCByteSinkI {
    XCErrorID Write(void const* bytes, std::size_t size) override
    {
        sum = XCCrc32c({bytes, size}, sum);
        count += size;
        return {};
    }
    std::uint32_t sum = 0;
    std::uint64_t count = 0;
    bool operator==(Digest const& other) const { return sum == other.sum && count == other.count; }
};

/// Walks over the bytes, and fails when that takes more memory than `times` the bytes.
Digest WalkWithin(std::size_t times, XCBinaryReader& reader, XCBytes script, std::size_t size)
{
    Digest seen;
    PeakMemory const peak;
    xc_test::Walk(reader, script, seen);
    if (peak.Bytes() > times * size + kFixed) std::abort();
    return seen;
}

void Fuzz(std::uint8_t const* bytes, std::size_t size)
{
    if (size < 3) return;
    XCBytes const input(bytes, size);
    XCBytes const script = input.Slice(2, bytes[0] % 32);
    XCBytes const rest = input.Slice(2 + script.Size());
    XCBuffer data{rest};
    if (bytes[1] % 64 == 0 && !rest.IsEmpty())
        while (data.Size() < kLarge) data.Append(data.View());
    XCReadLimits limits;
    if (bytes[1] >= 128) limits.maxBytes = limits.maxLength = bytes[1];
    limits.readAhead = bytes[1] % 16;
    XCBinaryReader block(data.View(), XCByteOrder::Little, limits);
    Digest const wanted = WalkWithin(2, block, script, data.Size());
    xc_test::TrickleSource source(data, bytes[1] % 64 == 0 ? 4096 : 1 + bytes[1] % 7);
    XCBinaryReader reader(source, XCByteOrder::Little, limits);
    if (!(WalkWithin(3, reader, script, data.Size()) == wanted)) std::abort();
}
