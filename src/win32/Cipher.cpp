// Authenticated encryption by the system's own cryptography: AES-256 in Galois/Counter mode, keys by PBKDF2 with
// HMAC-SHA-256. Nothing is computed here. Every failure is one answer, false, whatever its reason: a caller that could
// tell a wrong key from an altered text would help whoever tries keys.
//
// A key of the system lives as long as one call: it is destroyed, and with it the schedule of the secret, before the
// caller goes on. Opening the algorithm each time costs microseconds beside the milliseconds of deriving a key.
#include "win32/Cipher.h"

#include <windows.h>

#include <bcrypt.h>

namespace xc::win32 {

namespace {

bool Succeeded(NTSTATUS status) noexcept
{
    return status >= 0;
}

/// The system declares what it only reads as if it would write.
PUCHAR In(Bytes bytes) noexcept
{
    // Only for parameters that the system documents as input.
    return const_cast<PUCHAR>(bytes.data());
}

ULONG Count(std::size_t n) noexcept
{
    return static_cast<ULONG>(n);
}

class Algorithm {
public:
    explicit Algorithm(wchar_t const* name, ULONG flags) noexcept
    {
        if (!Succeeded(::BCryptOpenAlgorithmProvider(&m_handle, name, nullptr, flags))) m_handle = nullptr;
    }
    ~Algorithm()
    {
        if (m_handle) ::BCryptCloseAlgorithmProvider(m_handle, 0);
    }
    Algorithm(Algorithm const&) = delete;
    Algorithm& operator=(Algorithm const&) = delete;
    [[nodiscard]] BCRYPT_ALG_HANDLE Get() const noexcept { return m_handle; }

private:
    BCRYPT_ALG_HANDLE m_handle = nullptr;
};

/// AES in GCM under one key.
class SealingKey {
public:
    explicit SealingKey(CipherKey const& key) noexcept : m_algorithm(BCRYPT_AES_ALGORITHM, 0)
    {
        wchar_t mode[] = BCRYPT_CHAIN_MODE_GCM;
        if (m_algorithm.Get() &&
            Succeeded(::BCryptSetProperty(m_algorithm.Get(), BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode),
                                          sizeof mode, 0)) &&
            !Succeeded(
                ::BCryptGenerateSymmetricKey(m_algorithm.Get(), &m_handle, nullptr, 0, In(key), Count(key.size()), 0)))
            m_handle = nullptr;
    }
    ~SealingKey()
    {
        if (m_handle) ::BCryptDestroyKey(m_handle);
    }
    SealingKey(SealingKey const&) = delete;
    SealingKey& operator=(SealingKey const&) = delete;
    [[nodiscard]] BCRYPT_KEY_HANDLE Get() const noexcept { return m_handle; }

private:
    Algorithm m_algorithm;
    BCRYPT_KEY_HANDLE m_handle = nullptr;
};

BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO ModeOf(CipherNonce const& nonce, CipherTag const& tag) noexcept
{
    BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO info{};
    info.cbSize = sizeof info;
    info.dwInfoVersion = BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO_VERSION;
    info.pbNonce = In(nonce);
    info.cbNonce = Count(nonce.size());
    // Written to when sealing and compared when opening: one structure serves both.
    info.pbTag = In(tag);
    info.cbTag = Count(tag.size());
    return info;
}

} // namespace

bool FillRandom(std::span<std::uint8_t> bytes) noexcept
{
    return Succeeded(::BCryptGenRandom(nullptr, bytes.data(), Count(bytes.size()), BCRYPT_USE_SYSTEM_PREFERRED_RNG));
}

bool DeriveKey(CipherKey& key, Bytes secret, Bytes salt, unsigned int rounds) noexcept
{
    Algorithm const hash(BCRYPT_SHA256_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG);
    return hash.Get() &&
           Succeeded(::BCryptDeriveKeyPBKDF2(hash.Get(), In(secret), Count(secret.size()), In(salt), Count(salt.size()),
                                             rounds, key.data(), Count(key.size()), 0));
}

bool Seal(std::span<std::uint8_t> sealed, CipherTag& tag, Bytes plain, CipherKey const& key,
          CipherNonce const& nonce) noexcept
{
    SealingKey const sealing(key);
    auto info = ModeOf(nonce, tag);
    ULONG written = 0;
    // The system counts in 32 bits; a longer text is refused, not cut.
    return plain.size() < MAXLONG && sealing.Get() &&
           Succeeded(::BCryptEncrypt(sealing.Get(), In(plain), Count(plain.size()), &info, nullptr, 0, sealed.data(),
                                     Count(sealed.size()), &written, 0)) &&
           written == plain.size();
}

bool Open(std::span<std::uint8_t> plain, Bytes sealed, CipherTag const& tag, CipherKey const& key,
          CipherNonce const& nonce) noexcept
{
    SealingKey const sealing(key);
    auto info = ModeOf(nonce, tag);
    ULONG written = 0;
    return sealing.Get() &&
           Succeeded(::BCryptDecrypt(sealing.Get(), In(sealed), Count(sealed.size()), &info, nullptr, 0, plain.data(),
                                     Count(plain.size()), &written, 0)) &&
           // The system checks the tag first and gives nothing when it does not fit.
           written == sealed.size();
}

} // namespace xc::win32
