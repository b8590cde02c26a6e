// Names at random: 60 bits of the system's generator in 12 signs that every file system keeps and that no case mapping
// makes equal. The exclusive creation under such a name decides, never a look whether it is free. Should the generator
// fail, the process, the moment and a counter keep the names of living processes apart.
#include "files/UniqueName.h"

#include "win32/Cipher.h"
#include "win32/Clock.h"
#include "win32/Process.h"

#include <atomic>
#include <cstdint>
#include <cstring>

namespace xc::files {

namespace {

/// Five bits each. Letters that are mistaken for digits or for each other are left out, for names that people read
/// aloud.
constexpr wchar_t kSigns[] = L"0123456789abcdefghjkmnpqrstvwxyz"; // 32
constexpr int kLength = 12;

std::uint64_t RandomBits() noexcept
{
    std::uint64_t bits = 0;
    std::uint8_t bytes[sizeof bits];
    if (win32::FillRandom(bytes)) {
        std::memcpy(&bits, bytes, sizeof bits);
        return bits;
    }
    static std::atomic<std::uint64_t> calls{0};
    std::uint64_t const moment = static_cast<std::uint64_t>(win32::UtcTicks()) + calls.fetch_add(1) * 7919;
    // An odd factor near 2^64 over the golden ratio spreads neighbouring moments over all bits.
    return moment * 0x9E3779B97F4A7C15u ^ std::uint64_t{win32::ProcessId()} << 20;
}

} // namespace

std::wstring UniqueName(std::wstring_view prefix, std::wstring_view suffix)
{
    std::wstring name(prefix);
    std::uint64_t bits = RandomBits();
    for (int i = 0; i < kLength; ++i, bits >>= 5) name += kSigns[bits & 31];
    return name.append(suffix);
}

} // namespace xc::files
