// Encrypt and Decrypt of XCString.
//
// An enciphered text is a letter string and the suffix. The letters (64 of them, 6 bits each, as in the URL form of
// base 64 without padding) spell: version 1, salt (16 bytes), nonce (12), tag (16), then the enciphered units.
//
// AES-256 in GCM (NIST SP 800-38D) both hides the text and notices every change, so that an altered text, or another
// seed, is refused instead of read as rubbish. The key comes from the seed by PBKDF2 (RFC 8018) with a salt of its own:
// equal texts have different forms, and each guess of a seed costs tens of milliseconds. A fresh nonce for each text
// keeps the mode safe. The letters survive configuration files, command lines and mail.
//
// Invariant: the string changes only after the whole operation succeeded.
#include <XelbrinCore/XCString.h>

#include "text/StringAccess.h"
#include "text/Units.h"
#include "win32/Cipher.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace xc::text {

namespace {

using ByteVector = std::vector<std::uint8_t>;

constexpr std::uint8_t kVersion = 1;
constexpr std::size_t kSaltSize = 16;
constexpr std::size_t kSaltAt = 1;
constexpr std::size_t kNonceAt = kSaltAt + kSaltSize;
constexpr std::size_t kTagAt = kNonceAt + std::tuple_size_v<win32::CipherNonce>;
constexpr std::size_t kTextAt = kTagAt + std::tuple_size_v<win32::CipherTag>;
// A later version may raise the count: the version byte tells which one a text was made with.
constexpr unsigned int kRounds = 20000; // part of version 1; tens of milliseconds for each guess of a seed

constexpr std::wstring_view kLetters = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// A block that is initialised before any code runs and never freed: its share count is one above its owners.
template <std::size_t N>
struct TextBlock {
    XCString::DataDef header;
    wchar_t text[N];
};
template <std::size_t N>
constexpr TextBlock<N> MakeBlock(wchar_t const (&text)[N])
{
    TextBlock<N> block{{N - 1, 1, N - 1}, {}};
    for (std::size_t i = 0; i < N; ++i) block.text[i] = text[i];
    return block;
}
// The default seed is public and hides a text from a glance only; the header says so.
constinit TextBlock<12> defaultSeed = MakeBlock(L"XelbrinCore");
constinit TextBlock<6> suffix = MakeBlock(L"*XC1*");
static_assert(offsetof(TextBlock<6>, text) == sizeof(XCString::DataDef));

void AppendLetters(XCString& out, ByteVector const& bytes)
{
    std::uint32_t bits = 0;
    int count = 0;
    for (std::uint8_t const byte : bytes) {
        bits = bits << 8 | byte;
        for (count += 8; count >= 6; count -= 6) out += kLetters[bits >> (count - 6) & 63];
    }
    if (count > 0) out += kLetters[bits << (6 - count) & 63];
}

/// The bytes of a letter string; nothing when a unit is no letter, or when it does not spell whole bytes exactly.
std::optional<ByteVector> ReadLetters(std::wstring_view letters)
{
    ByteVector bytes;
    bytes.reserve(letters.size() * 6 / 8);
    std::uint32_t bits = 0;
    int count = 0;
    for (wchar_t const letter : letters) {
        std::size_t const value = kLetters.find(letter);
        if (value == std::wstring_view::npos) return std::nullopt;
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        bytes.push_back(static_cast<std::uint8_t>(bits >> count));
    }
    // Left-over bits must be 0, so that one text of letters stands for one row of bytes.
    bool const exact = count < 6 && (bits & ((1u << count) - 1)) == 0;
    return exact ? std::optional(std::move(bytes)) : std::nullopt;
}

/// The bytes that an enciphered text spells; nothing when it has not that form.
std::optional<ByteVector> ReadEnciphered(XCString const& text)
{
    std::wstring_view const all = text.View();
    std::wstring_view const end = XCString::cryptSuffix.View();
    if (!all.ends_with(end)) return std::nullopt;
    std::optional<ByteVector> bytes = ReadLetters(all.substr(0, all.size() - end.size()));
    bool const valid = bytes && bytes->size() >= kTextAt && (bytes->size() - kTextAt) % sizeof(wchar_t) == 0 &&
                       bytes->front() == kVersion;
    return valid ? std::move(bytes) : std::nullopt;
}

bool MakeKey(win32::CipherKey& key, XCString const& seed, ByteVector const& bytes) noexcept
{
    win32::Bytes const secret(reinterpret_cast<std::uint8_t const*>(seed.AsWChar()), seed.Length() * sizeof(wchar_t));
    return win32::DeriveKey(key, secret, {bytes.data() + kSaltAt, kSaltSize}, kRounds);
}

template <class Array>
Array ArrayAt(ByteVector const& bytes, std::size_t at) noexcept
{
    Array array;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), array.size(), array.begin());
    return array;
}

} // namespace

} // namespace xc::text

constinit XCString const XCString::cryptDefaultSeed(ConstantBlock{}, &xc::text::defaultSeed.header);
constinit XCString const XCString::cryptSuffix(ConstantBlock{}, &xc::text::suffix.header);

bool XCString::Encrypt(XCString const& seed)
{
    using namespace xc::text;
    // By its form alone: whoever enciphers twice by mistake could not read the text with one call.
    if (IsEncrypted()) return false;
    std::size_t const size = Length() * sizeof(wchar_t);
    ByteVector bytes(kTextAt + size);
    bytes[0] = kVersion;
    xc::win32::CipherKey key;
    xc::win32::CipherTag tag{};
    // Salt and nonce lie side by side: one call fills both.
    if (!xc::win32::FillRandom({bytes.data() + kSaltAt, kTagAt - kSaltAt}) || !MakeKey(key, seed, bytes)) return false;
    auto const nonce = ArrayAt<xc::win32::CipherNonce>(bytes, kNonceAt);
    xc::win32::Bytes const plain(reinterpret_cast<std::uint8_t const*>(AsWChar()), size);
    if (!xc::win32::Seal({bytes.data() + kTextAt, size}, tag, plain, key, nonce)) return false;
    std::copy(tag.begin(), tag.end(), bytes.begin() + kTagAt);
    XCString letters;
    // Four letters for three bytes, and a group that is not full.
    letters.Reserve(bytes.size() / 3 * 4 + 4 + cryptSuffix.Length() + 1);
    AppendLetters(letters, bytes);
    letters += cryptSuffix;
    Swap(letters);
    return true;
}

bool XCString::Decrypt(XCString const& seed)
{
    using namespace xc::text;
    std::optional<ByteVector> const bytes = ReadEnciphered(*this);
    xc::win32::CipherKey key;
    if (!bytes || !MakeKey(key, seed, *bytes)) return false;
    std::size_t const size = bytes->size() - kTextAt;
    XCString plain;
    plain.Reserve(size / sizeof(wchar_t) + 1);
    // Opened into a string of its own: before the tag is proved, nothing of it may be seen.
    auto* const units = reinterpret_cast<std::uint8_t*>(StringAccess::Units(plain));
    if (!xc::win32::Open({units, size}, {bytes->data() + kTextAt, size}, ArrayAt<xc::win32::CipherTag>(*bytes, kTagAt),
                         key, ArrayAt<xc::win32::CipherNonce>(*bytes, kNonceAt)))
        return false;
    StringAccess::SetLength(plain, size / sizeof(wchar_t));
    Swap(plain);
    return true;
}

bool XCString::IsEncrypted() const
{
    return xc::text::ReadEnciphered(*this).has_value();
}
