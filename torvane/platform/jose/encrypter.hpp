// Encrypter and Decrypter: two algorithms and a key that fits the first.
#pragma once

#include <optional>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// A content key, and the form in which it travels: empty where both parties derive it.
struct ContentKey {
    /// As long as the content encryption algorithm wants it.
    SecretBuffer key;
    /// For the recipient's private key to open.
    ByteBuffer encryptedKey;
};

/// The sender's side, with the recipient's public key: a value, safe to use from several threads at once.
class TORVANE_EXPORT Encrypter {
  public:
    /// @{
    /// Nothing unless the key is a public one that fits the key management algorithm.
    static std::optional<Encrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const SecKey& encryptionKey);
    static std::optional<Encrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const JWK& encryptionKey);
    /// @}

    /// The "alg" that goes into the header.
    KeyManagementAlgorithm keyManagementAlgorithm() const noexcept { return keyManagement_; }
    /// The "enc" that goes into the header.
    ContentEncryptionAlgorithm contentEncryptionAlgorithm() const noexcept { return contentEncryption_; }

    /// A fresh content key; under ECDH-ES the header gets the ephemeral public key.
    /// @throws JOSESwiftError parsingFailed for an "apu" or "apv" that is not base64url, under ECDH-ES;
    ///         SecurityError.
    ContentKey newContentKey(JWEHeader& header) const;

  private:
    Encrypter(KeyManagementAlgorithm keyManagement, ContentEncryptionAlgorithm contentEncryption, SecKey key) noexcept
        : keyManagement_(keyManagement), contentEncryption_(contentEncryption), key_(std::move(key)) {}

    KeyManagementAlgorithm keyManagement_;
    ContentEncryptionAlgorithm contentEncryption_;
    SecKey key_;
};

/// The recipient's side, with a private key: a value, safe to use from several threads at once.
class TORVANE_EXPORT Decrypter {
  public:
    /// @{
    /// Nothing unless the key is a private one that fits the key management algorithm.
    static std::optional<Decrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const SecKey& decryptionKey);
    static std::optional<Decrypter> create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const JWK& decryptionKey);
    /// @}

    /// The "alg" that has to be in the header.
    KeyManagementAlgorithm keyManagementAlgorithm() const noexcept { return keyManagement_; }
    /// The "enc" that has to be in the header.
    ContentEncryptionAlgorithm contentEncryptionAlgorithm() const noexcept { return contentEncryption_; }

    /// The content key, or a random one of the same size in place of an encrypted key that cannot be
    /// unwrapped, so that nothing tells the two apart until the tag fails.
    /// @throws JOSESwiftError parsingFailed for an encrypted key that is empty where one is due, or is there where
    ///         none is; for an "epk", "apu" or "apv" that is malformed or no public key on the curve of ours.
    ///         SecurityError when the key store fails.
    SecretBuffer contentKey(const JWEHeader& header, ByteView encryptedKey) const;

  private:
    Decrypter(KeyManagementAlgorithm keyManagement, ContentEncryptionAlgorithm contentEncryption, SecKey key) noexcept
        : keyManagement_(keyManagement), contentEncryption_(contentEncryption), key_(std::move(key)) {}

    SecretBuffer agreed(const JWEHeader& header) const;

    KeyManagementAlgorithm keyManagement_;
    ContentEncryptionAlgorithm contentEncryption_;
    SecKey key_;
};

}  // namespace Torvane::JOSE
