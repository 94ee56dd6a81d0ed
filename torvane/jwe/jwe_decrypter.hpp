// JWEDecrypter: decrypts a compact JWE with one private key (RFC 7516).
//
//     Torvane::JWEDecrypter decrypter("RSA-OAEP-256", "A256GCM", ourPrivateKey);
//     Torvane::ByteBuffer plaintext = decrypter.decryptJWE(jwe);
#pragma once

#include <optional>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One private key and two algorithms, all chosen by the recipient and not by the token.
///
/// A decrypter keeps no state between calls, so a failed call leaves it unchanged. One decrypter may be used from
/// several threads at once, as long as none of them calls setJwk() or assigns to it. Key and algorithms are checked on
/// construction.
class TORVANE_EXPORT JWEDecrypter {
  public:
    /// A decrypter with a platform key.
    /// @param jweKeyManagementAlgorithm the only "alg" that is accepted: an enumerator, or a name such as
    ///        "RSA-OAEP-256".
    /// @param jweContentEncryptionAlgorithm the only "enc" that is accepted: an enumerator, or a name such as
    ///        "A128CBC-HS256".
    /// @param decryptionPrivateKey our private key.
    /// @throws JOSEError algorithmNotSupported for an unknown name (if both are unknown, for that of the key management
    ///         algorithm); then invalidKeyFormat for a key that does not fit, a public key included.
    JWEDecrypter(JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm> jweKeyManagementAlgorithm,
                 JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm> jweContentEncryptionAlgorithm,
                 const SecKey& decryptionPrivateKey);

    /// A decrypter with a JSON Web Key.
    /// @param jweKeyManagementAlgorithm the only "alg" that is accepted: an enumerator, or a name such as
    ///        "RSA-OAEP-256".
    /// @param jweContentEncryptionAlgorithm the only "enc" that is accepted: an enumerator, or a name such as
    ///        "A128CBC-HS256".
    /// @param decryptionPrivateKey our private key, from JsonWebKey::fromPrivateJwk(); no other private key has a JWK.
    /// @throws JOSEError algorithmNotSupported for an unknown name (if both are unknown, for that of the key management
    ///         algorithm); then invalidKeyFormat for a key without a JWK; algorithmNotSupported "Unsupported Key" for a
    ///         public key, or for a key of a type other than EC256Key and RSA2048Key; invalidKeyFormat for a key that
    ///         does not fit.
    JWEDecrypter(JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm> jweKeyManagementAlgorithm,
                 JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm> jweContentEncryptionAlgorithm,
                 const JsonWebKey& decryptionPrivateKey);

    /// A decrypter for RSA-OAEP-256 and A128CBC-HS256 with a key from JsonWebKey::fromPrivateJwk().
    /// @throws JOSEError curveNotSupported for a secp256k1 key; then missingKey for a key without a platform key; then
    ///         the errors that the constructor above throws because of the key.
    explicit JWEDecrypter(const JsonWebKey& jwk);

    /// @{
    /// A move is a copy, so a moved-from decrypter still works.
    JWEDecrypter(const JWEDecrypter&) = default;
    JWEDecrypter& operator=(const JWEDecrypter&) = default;
    /// @}

    /// The only "alg" that is accepted.
    [[nodiscard]] JOSE::KeyManagementAlgorithm jweKeyManagementAlgorithm() const noexcept {
        return decrypter_.keyManagementAlgorithm();
    }
    /// The only "enc" that is accepted.
    [[nodiscard]] JOSE::ContentEncryptionAlgorithm jweContentEncryptionAlgorithm() const noexcept {
        return decrypter_.contentEncryptionAlgorithm();
    }
    /// Both algorithms with the key, for JOSE::ReceivedJWE.
    [[nodiscard]] const JOSE::Decrypter& decrypter() const noexcept { return decrypter_; }
    /// The key of the constructor that takes a key alone, or the last one given to setJwk(); nothing otherwise.
    [[nodiscard]] const std::optional<JsonWebKey>& jwk() const noexcept { return key_; }
    /// Replaces what jwk() returns, but not the key that decrypts. Not to be called while another thread uses the
    /// decrypter.
    void setJwk(std::optional<JsonWebKey> jwk) { key_ = std::move(jwk); }

    /// Decrypts a JWE in compact serialisation (RFC 7516, section 5.2) and returns its plaintext.
    ///
    /// The token is ASCII text of any length: five parts in canonical unpadded base64url, joined by dots. The header is
    /// checked as JOSE::JWEHeader says, under ECDH-ES also its "epk", "apu" and "apv"; its "kid" is not compared.
    /// Applies the limits tokenBytes, headerBytes, jsonDepth and jsonMembers.
    /// @returns the plaintext exactly as it was encrypted, with a capacity up to 16 bytes (an AES block) larger.
    /// @throws JOSEError JWEDecrypterError wrapping the reason: JOSE::JOSESwiftError parsingFailed for a malformed
    ///         token, one beyond the limits or a rejected header, unsupportedAlgorithm for other algorithms than the
    ///         decrypter's, and decryptingFailed with one text for everything that an attacker must not tell apart: an
    ///         encrypted key that does not decrypt, a tag that does not match, wrong padding; SecurityError, or
    ///         whatever an application's key store throws, when the key store fails. std::bad_alloc, not wrapped, when
    ///         memory runs out. No plaintext is released before the tag has been checked.
    [[nodiscard]] ByteBuffer decryptJWE(ByteView jweData, const Limits& limits = {}) const;
    /// The same for a token as text.
    [[nodiscard]] ByteBuffer decryptJWE(const TextLike auto& jweString, const Limits& limits = {}) const {
        return decryptJWE(asBytes(jweString), limits);
    }

  private:
    JOSE::Decrypter decrypter_;
    std::optional<JsonWebKey> key_;
};

}  // namespace Torvane
