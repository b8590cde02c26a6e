// For the native build: code pages by the C library's own tables, and a toy in the place of the system's cryptography.
#include "win32/Cipher.h"
#include "win32/CodePage.h"

#include <iconv.h>

namespace xc::win32 {

namespace {

struct Converter {
    Converter(std::string const& to, std::string const& from) : handle(::iconv_open(to.c_str(), from.c_str())) {}
    ~Converter()
    {
        if (IsOpen()) ::iconv_close(handle);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    [[nodiscard]] bool IsOpen() const { return handle != iconv_t(-1); }

    iconv_t handle;
};

template <class Out, class In>
std::optional<Out> Convert(std::string const& to, std::string const& from, In in)
{
    Converter const converter(to, from);
    Out out(in.size() * 4 + 4, 0);
    char* source = const_cast<char*>(reinterpret_cast<char const*>(in.data()));
    std::size_t sourceLeft = in.size() * sizeof(in[0]);
    char* target = reinterpret_cast<char*>(out.data());
    std::size_t targetLeft = out.size() * sizeof(out[0]);
    if (!converter.IsOpen() || ::iconv(converter.handle, &source, &sourceLeft, &target, &targetLeft) != 0)
        return std::nullopt;
    out.resize(out.size() - targetLeft / sizeof(out[0]));
    return out;
}

std::string NameOf(unsigned int codePage)
{
    return "CP" + std::to_string(codePage);
}

} // namespace

CodePageFacts GetCodePageFacts(unsigned int codePage) noexcept
{
    unsigned int const number = codePage == 0 ? 1252 : codePage;
    bool const known = Converter(NameOf(number), "UTF-16LE").IsOpen();
    return {known, number, number == 932 ? 2u : 1u};
}

std::optional<std::wstring> BytesToUnits(unsigned int codePage, std::string_view bytes)
{
    return Convert<std::wstring>("UTF-16LE", NameOf(codePage), bytes);
}

std::optional<std::string> UnitsToBytes(unsigned int codePage, std::wstring_view units)
{
    return Convert<std::string>(NameOf(codePage), "UTF-16LE", units);
}

std::size_t CharacterLength(unsigned int codePage, unsigned char lead) noexcept
{
    return codePage == 932 && ((lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xFC)) ? 2 : 1;
}

// The toy: a byte stream from key and nonce, and a sum over all of it as the tag. It hides nothing.

bool FillRandom(std::span<std::uint8_t> bytes) noexcept
{
    static unsigned int calls = 0;
    ++calls;
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(calls * 31 + i * 7);
    return true;
}

bool DeriveKey(CipherKey& key, Bytes secret, Bytes salt, unsigned int) noexcept
{
    std::uint32_t state = 17;
    for (std::uint8_t& byte : key) {
        for (std::uint8_t const part : secret) state = state * 31 + part;
        for (std::uint8_t const part : salt) state = state * 37 + part;
        byte = static_cast<std::uint8_t>(state >> 8);
    }
    return true;
}

namespace {

void ToyStream(std::span<std::uint8_t> out, CipherTag& tag, Bytes in, bool sealing, CipherKey const& key,
               CipherNonce const& nonce) noexcept
{
    std::uint32_t sum = 1;
    for (std::size_t i = 0; i < 64; ++i) sum = sum * 31 + key[i % key.size()] + nonce[i % nonce.size()];
    for (std::size_t i = 0; i < in.size(); ++i) {
        auto const byte = static_cast<std::uint8_t>(in[i] ^ key[i % key.size()]);
        sum = sum * 31 + (sealing ? in[i] : byte) + 1;
        out[i] = byte;
    }
    for (std::size_t i = 0; i < tag.size(); ++i) tag[i] = static_cast<std::uint8_t>(sum >> (i % 4 * 8));
}

} // namespace

bool Seal(std::span<std::uint8_t> sealed, CipherTag& tag, Bytes plain, CipherKey const& key,
          CipherNonce const& nonce) noexcept
{
    ToyStream(sealed, tag, plain, true, key, nonce);
    return true;
}

bool Open(std::span<std::uint8_t> plain, Bytes sealed, CipherTag const& tag, CipherKey const& key,
          CipherNonce const& nonce) noexcept
{
    CipherTag found{};
    ToyStream(plain, found, sealed, false, key, nonce);
    return found == tag;
}

} // namespace xc::win32
