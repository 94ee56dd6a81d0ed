// Encrypter and Decrypter: the two algorithms of a JWE, with a key that fits the key management algorithm.
#pragma once

#include <optional>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// A content encryption key, and what the JWE carries so that the recipient can recover it.
struct ContentEncryptionKey {
    /// The key itself, of the size that the content encryption algorithm asks for.
    SecretBuffer key;
    /// The key encrypted for the recipient, as the JWE carries it; empty for ECDH_ES itself, where both parties derive
    /// the key.
    ByteBuffer encryptedKey;
    /// The header's "epk" under every form of ECDH-ES; nothing for RSA-OAEP.
    std::optional<JSONValue::Object> ephemeralPublicKey;
};

/// The sender's side, with the recipient's public key: a value, cheap to copy and safe to use from several threads at
/// once.
class TORVANE_EXPORT Encrypter {
  public:
    /// @{
    /// An encrypter; nothing unless the key is a public one that fits the key management algorithm. Nothing too for a
    /// JWK whose members are not a valid key.
    [[nodiscard]] static std::optional<Encrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                                         ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                                         const SecKey& encryptionKey);
    [[nodiscard]] static std::optional<Encrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                                         ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                                         const JWK& encryptionKey);
    /// @}

    /// @{
    /// A move is a copy, so a moved-from encrypter still works.
    Encrypter(const Encrypter&) = default;
    Encrypter& operator=(const Encrypter&) = default;
    /// @}

    /// The "alg" of the header.
    [[nodiscard]] KeyManagementAlgorithm keyManagementAlgorithm() const noexcept { return keyManagement_; }
    /// The "enc" of the header.
    [[nodiscard]] ContentEncryptionAlgorithm contentEncryptionAlgorithm() const noexcept { return contentEncryption_; }

    /// A fresh content encryption key for a JWE with this header, whose "apu" and "apv" enter the key derivation under
    /// ECDH-ES (RFC 7518, section 4.6.2). The caller has to set the header's "epk" to the ephemeral public key.
    /// @throws JOSESwiftError parsingFailed under ECDH-ES, for an "apu" or "apv" that is not base64url; SecurityError
    ///         when a cryptographic operation fails.
    [[nodiscard]] ContentEncryptionKey makeContentEncryptionKey(const JWEHeader& header) const;

  private:
    Encrypter(KeyManagementAlgorithm keyManagement, ContentEncryptionAlgorithm contentEncryption, SecKey key) noexcept
        : keyManagement_(keyManagement), contentEncryption_(contentEncryption), key_(std::move(key)) {}

    KeyManagementAlgorithm keyManagement_;
    ContentEncryptionAlgorithm contentEncryption_;
    SecKey key_;
};

/// The recipient's side, with a private key: a value, cheap to copy and safe to use from several threads at once.
class TORVANE_EXPORT Decrypter {
  public:
    /// @{
    /// A decrypter; nothing unless the key is a private one that fits the key management algorithm. Nothing too for a
    /// JWK whose members are not a valid key.
    [[nodiscard]] static std::optional<Decrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                                         ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                                         const SecKey& decryptionKey);
    [[nodiscard]] static std::optional<Decrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                                         ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                                         const JWK& decryptionKey);
    /// @}

    /// @{
    /// A move is a copy, so a moved-from decrypter still works.
    Decrypter(const Decrypter&) = default;
    Decrypter& operator=(const Decrypter&) = default;
    /// @}

    /// The "alg" that the header has to name.
    [[nodiscard]] KeyManagementAlgorithm keyManagementAlgorithm() const noexcept { return keyManagement_; }
    /// The "enc" that the header has to name.
    [[nodiscard]] ContentEncryptionAlgorithm contentEncryptionAlgorithm() const noexcept { return contentEncryption_; }

    /// The content encryption key of a JWE. An encrypted key that cannot be unwrapped yields a random key of the same
    /// size, so that this failure looks like a wrong tag, which is found later (RFC 7516, section 11.5).
    /// @throws JOSESwiftError parsingFailed for an encrypted key that is empty where the algorithm needs one, or not
    ///         empty where it has none, for a malformed "epk", "apu" or "apv", and for an "epk" that is not a public
    ///         key on the curve of our key. SecurityError, or whatever an application's key store throws, when the key
    ///         store fails.
    [[nodiscard]] SecretBuffer recoverContentEncryptionKey(const JWEHeader& header, ByteView encryptedKey) const;

  private:
    Decrypter(KeyManagementAlgorithm keyManagement, ContentEncryptionAlgorithm contentEncryption, SecKey key) noexcept
        : keyManagement_(keyManagement), contentEncryption_(contentEncryption), key_(std::move(key)) {}

    [[nodiscard]] TORVANE_NO_EXPORT SecretBuffer agreeWithSender(const JWEHeader& header) const;

    KeyManagementAlgorithm keyManagement_;
    ContentEncryptionAlgorithm contentEncryption_;
    SecKey key_;
};

}  // namespace Torvane::JOSE
