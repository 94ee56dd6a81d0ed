// JWEEncrypter: encrypts bytes for one recipient (RFC 7516).
//
//     Torvane::JWEEncrypter encrypter("RSA-OAEP-256", "A256GCM", recipientKey, "their-key");
//     Torvane::ByteBuffer jwe = encrypter.encryptJWT(payload);
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/content.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One key and two algorithms. A value: the key is made ready once, and nothing is kept between calls.
class TORVANE_EXPORT JWEEncrypter {
  public:
    /// For a recipient's platform public key.
    /// @throws JOSEError algorithmNotSupported for an unknown name, that of the key management first;
    ///         invalidKeyFormat for a key that does not fit.
    JWEEncrypter(const std::string& jweKeyManagementAlgorithm, const std::string& jweContentEncryptionAlgorithm,
                 const SecKey& encryptionPublicKey, std::optional<std::string> keyId);

    /// For a recipient's key with a JWK; its own id is not used.
    /// @throws JOSEError as above; invalidKeyFormat for a key without a JWK; algorithmNotSupported "Unsupported Key"
    ///         for a private key, or one of a type other than EC256Key and RSA2048Key.
    JWEEncrypter(const std::string& jweKeyManagementAlgorithm, const std::string& jweContentEncryptionAlgorithm,
                 const JsonWebKey& encryptionPublicKey, std::optional<std::string> keyId);

    /// RSA-OAEP-256 and A128CBC-HS256 for a key, with its id.
    /// @throws JOSEError as above; curveNotSupported for a secp256k1 key; missingKey for one without a platform key.
    explicit JWEEncrypter(const JsonWebKey& jwk);

    /// The "alg" that goes into the header.
    JOSE::KeyManagementAlgorithm jweKeyManagementAlgorithm() const noexcept {
        return encrypter_.keyManagementAlgorithm();
    }
    /// The "enc" that goes into the header.
    JOSE::ContentEncryptionAlgorithm jweContentEncryptionAlgorithm() const noexcept {
        return encrypter_.contentEncryptionAlgorithm();
    }
    /// The algorithms with the key, for JOSE::JWE.
    const JOSE::Encrypter& encrypter() const noexcept { return encrypter_; }
    /// The "kid" that goes into the header; nothing where there is none.
    const std::optional<std::string>& keyId() const noexcept { return keyId_; }
    /// The key, of an encrypter made from a key alone.
    const std::optional<JsonWebKey>& jwk() const noexcept { return jwk_; }
    /// Changes what jwk() gives, and not the key that the encrypter works with.
    void setJwk(std::optional<JsonWebKey> jwk) { jwk_ = std::move(jwk); }

    /// The JWE in compact serialisation. Its header is headerParams with "alg", "enc" and, where there is a
    /// key id, "kid" set, and "cty" set to "JWT" when the payload is itself a token.
    /// @throws JOSE::JOSESwiftError when the header is refused; JOSEError JWEEncrypterError when encryption fails.
    ByteBuffer encryptJWT(ByteView payload, const std::optional<StringMap>& headerParams = std::nullopt,
                          bool isNested = false) const;

    /// The same for content that writes itself, such as JWSSigner::pendingJWT(), while it is encrypted.
    /// @throws JOSEError of the content, as it is.
    ByteBuffer encryptJWT(JOSE::Content& content, const std::optional<StringMap>& headerParams = std::nullopt,
                          bool isNested = false) const;

  private:
    JOSE::Encrypter encrypter_;
    std::optional<std::string> keyId_;
    std::optional<JsonWebKey> jwk_;
};

}  // namespace Torvane
