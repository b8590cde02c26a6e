// Cipher.h - authenticated encryption, key derivation and random bytes, all by the system's cryptography.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace xc::win32 {

using CipherKey = std::array<std::uint8_t, 32>;
using CipherNonce = std::array<std::uint8_t, 12>;
using CipherTag = std::array<std::uint8_t, 16>;
using Bytes = std::span<std::uint8_t const>;

// Each is false when the system refuses; what was to be written is then undefined.

/// Unpredictable bytes.
[[nodiscard]] bool FillRandom(std::span<std::uint8_t> bytes) noexcept;
/// PBKDF2 with HMAC-SHA-256.
[[nodiscard]] bool DeriveKey(CipherKey& key, Bytes secret, Bytes salt, unsigned int rounds) noexcept;
/// AES-256 in GCM: `sealed` has the size of `plain`. A nonce must never serve twice under one key.
[[nodiscard]] bool Seal(std::span<std::uint8_t> sealed, CipherTag& tag, Bytes plain, CipherKey const& key,
                        CipherNonce const& nonce) noexcept;
/// The way back; false also when tag, key or a byte is not the right one.
[[nodiscard]] bool Open(std::span<std::uint8_t> plain, Bytes sealed, CipherTag const& tag, CipherKey const& key,
                        CipherNonce const& nonce) noexcept;

} // namespace xc::win32
