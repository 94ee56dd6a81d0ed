// JWEEncrypter: encrypts bytes for one recipient (RFC 7516).
//
//     Torvane::JWEEncrypter encrypter("RSA-OAEP-256", "A256GCM", recipientKey, "their-key");
//     std::string jwe = encrypter.encryptJWTToString("attack at dawn", {{"cty", "text/plain"}});
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/header_parameters.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One recipient's public key and two algorithms, whose names become the "alg" and "enc" of each token.
///
/// An encrypter keeps no state between calls, so a failed call leaves it unchanged. One encrypter may be used from
/// several threads at once, as long as none of them calls setJwk() or assigns to it. Key and algorithms are checked on
/// construction.
class TORVANE_EXPORT JWEEncrypter {
  public:
    /// An encrypter with a platform key.
    /// @param jweKeyManagementAlgorithm the "alg": an enumerator, or a name such as "RSA-OAEP-256".
    /// @param jweContentEncryptionAlgorithm the "enc": an enumerator, or a name such as "A128CBC-HS256".
    /// @param encryptionPublicKey the recipient's public key.
    /// @param keyId the "kid"; nothing for tokens without one.
    /// @throws JOSEError algorithmNotSupported for an unknown name (if both are unknown, for that of the key management
    ///         algorithm); then invalidKeyFormat for a key that does not fit, a private key included.
    JWEEncrypter(JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm> jweKeyManagementAlgorithm,
                 JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm> jweContentEncryptionAlgorithm,
                 const SecKey& encryptionPublicKey, std::optional<std::string> keyId);

    /// An encrypter with a JSON Web Key.
    /// @param jweKeyManagementAlgorithm the "alg": an enumerator, or a name such as "RSA-OAEP-256".
    /// @param jweContentEncryptionAlgorithm the "enc": an enumerator, or a name such as "A128CBC-HS256".
    /// @param encryptionPublicKey the recipient's public key. Its own id is not used.
    /// @param keyId the "kid"; nothing for tokens without one.
    /// @throws JOSEError algorithmNotSupported for an unknown name (if both are unknown, for that of the key management
    ///         algorithm); then invalidKeyFormat for a key without a JWK; algorithmNotSupported "Unsupported Key" for a
    ///         private key, or for a key of a type other than EC256Key and RSA2048Key; invalidKeyFormat for a key that
    ///         does not fit.
    JWEEncrypter(JOSE::AlgorithmOrName<JOSE::KeyManagementAlgorithm> jweKeyManagementAlgorithm,
                 JOSE::AlgorithmOrName<JOSE::ContentEncryptionAlgorithm> jweContentEncryptionAlgorithm,
                 const JsonWebKey& encryptionPublicKey, std::optional<std::string> keyId);

    /// An encrypter for RSA-OAEP-256 and A128CBC-HS256 with a JSON Web Key, whose id becomes the "kid".
    /// @throws JOSEError curveNotSupported for a secp256k1 key; then missingKey for a key without a platform key; then
    ///         the errors that the constructor above throws because of the key.
    explicit JWEEncrypter(const JsonWebKey& jwk);

    /// @{
    /// A move is a copy, so a moved-from encrypter still works.
    JWEEncrypter(const JWEEncrypter&) = default;
    JWEEncrypter& operator=(const JWEEncrypter&) = default;
    /// @}

    /// The "alg" of the tokens.
    [[nodiscard]] JOSE::KeyManagementAlgorithm jweKeyManagementAlgorithm() const noexcept {
        return encrypter_.keyManagementAlgorithm();
    }
    /// The "enc" of the tokens.
    [[nodiscard]] JOSE::ContentEncryptionAlgorithm jweContentEncryptionAlgorithm() const noexcept {
        return encrypter_.contentEncryptionAlgorithm();
    }
    /// Both algorithms with the key, for JOSE::JWE.
    [[nodiscard]] const JOSE::Encrypter& encrypter() const noexcept { return encrypter_; }
    /// The "kid" of the tokens; nothing for tokens without one.
    [[nodiscard]] const std::optional<std::string>& keyId() const noexcept { return keyId_; }
    /// The key of the constructor that takes a key alone, or the last one given to setJwk(); nothing otherwise.
    [[nodiscard]] const std::optional<JsonWebKey>& jwk() const noexcept { return key_; }
    /// Replaces what jwk() returns, but not the key that encrypts. Not to be called while another thread uses the
    /// encrypter.
    void setJwk(std::optional<JsonWebKey> jwk) { key_ = std::move(jwk); }

    /// @{
    /// Encrypts a plaintext and returns the JWE in compact serialisation (RFC 7516, section 7.1). The content
    /// encryption key and the initialization vector are random and fresh for each call.
    ///
    /// @param payload the plaintext: any bytes, or text, whose bytes are encrypted unchanged; possibly empty.
    /// @param headerParams extra members of the protected header, which everyone can read, with texts in UTF-8 or any
    ///        other JSON values. "alg", "enc" and, when there is a key id, "kid" are overwritten.
    /// @param isNested true when the payload is itself a token: "cty" becomes "JWT" (RFC 7519, section 5.2).
    /// @returns ASCII text: header, encrypted key, initialization vector, ciphertext and tag in base64url, joined by
    ///          dots; the plaintext grows by a third. The text is allocated once, at its exact size.
    /// @throws JOSE::JOSESwiftError parsingFailed for a rejected header ("crit", "zip", "b64" other than true, a value
    ///         that is not JSON or not UTF-8). JOSEError JWEEncrypterError wrapping the reason when the encryption
    ///         fails: JOSE::JOSESwiftError parsingFailed for a "jwk" with a private member and, under ECDH-ES, for an
    ///         "apu" or "apv" that is not base64url; SecurityError when a cryptographic operation fails.
    ///         std::bad_alloc, not wrapped, when memory runs out.
    [[nodiscard]] ByteBuffer encryptJWT(ByteView payload, const JOSE::HeaderParameters& headerParams = {},
                                        bool isNested = false) const;
    [[nodiscard]] ByteBuffer encryptJWT(const TextLike auto& payload, const JOSE::HeaderParameters& headerParams = {},
                                        bool isNested = false) const {
        return encryptJWT(asBytes(payload), headerParams, isNested);
    }
    /// @}

    /// @{
    /// encryptJWT(), with the token as a string. Needs memory for two tokens while it runs.
    [[nodiscard]] std::string encryptJWTToString(ByteView payload, const JOSE::HeaderParameters& headerParams = {},
                                                 bool isNested = false) const;
    [[nodiscard]] std::string encryptJWTToString(const TextLike auto& payload,
                                                 const JOSE::HeaderParameters& headerParams = {},
                                                 bool isNested = false) const {
        return encryptJWTToString(asBytes(payload), headerParams, isNested);
    }
    /// @}

  private:
    JOSE::Encrypter encrypter_;
    std::optional<std::string> keyId_;
    std::optional<JsonWebKey> key_;
};

}  // namespace Torvane
