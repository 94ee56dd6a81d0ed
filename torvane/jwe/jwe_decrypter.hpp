// JWEDecrypter: decrypts a compact JWE with one private key (RFC 7516).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One key and two algorithms. A value: the key is made ready once, and nothing is kept between calls.
class TORVANE_EXPORT JWEDecrypter {
  public:
    /// With a platform private key.
    /// @throws JOSEError algorithmNotSupported for an unknown name, that of the key management first;
    ///         invalidKeyFormat for a key that does not fit.
    JWEDecrypter(const std::string& jweKeyManagementAlgorithm, const std::string& jweContentEncryptionAlgorithm,
                 const SecKey& decryptionPrivateKey);

    /// With a key from JsonWebKey::fromPrivateJwk().
    /// @throws JOSEError as above; invalidKeyFormat for a key without a JWK; algorithmNotSupported "Unsupported Key"
    ///         for a public key, or one of a type other than EC256Key and RSA2048Key.
    JWEDecrypter(const std::string& jweKeyManagementAlgorithm, const std::string& jweContentEncryptionAlgorithm,
                 const JsonWebKey& decryptionPrivateKey);

    /// RSA-OAEP-256 and A128CBC-HS256 with such a key.
    /// @throws JOSEError as above; curveNotSupported for a secp256k1 key; missingKey for one without a platform key.
    explicit JWEDecrypter(const JsonWebKey& jwk);

    /// The "alg" that has to be in the header.
    JOSE::KeyManagementAlgorithm jweKeyManagementAlgorithm() const noexcept {
        return decrypter_.keyManagementAlgorithm();
    }
    /// The "enc" that has to be in the header.
    JOSE::ContentEncryptionAlgorithm jweContentEncryptionAlgorithm() const noexcept {
        return decrypter_.contentEncryptionAlgorithm();
    }
    /// The algorithms with the key, for JOSE::ReceivedJWE.
    const JOSE::Decrypter& decrypter() const noexcept { return decrypter_; }
    /// The key, of a decrypter made from a key alone.
    const std::optional<JsonWebKey>& jwk() const noexcept { return jwk_; }
    /// Changes what jwk() gives, and not the key that the decrypter works with.
    void setJwk(std::optional<JsonWebKey> jwk) { jwk_ = std::move(jwk); }

    /// @{
    /// The plaintext, exactly as it was encrypted. A JWE whose header names other algorithms is refused.
    /// @throws JOSEError JWEDecrypterError, around JOSE::JOSESwiftError: unsupportedAlgorithm, parsingFailed
    ///         for what is malformed, one and the same decryptingFailed for every other failure; around
    ///         SecurityError when the key store fails.
    ByteBuffer decryptJWE(ByteView jweData) const;
    ByteBuffer decryptJWE(std::string_view jweString) const { return decryptJWE(asBytes(jweString)); }
    ByteBuffer decryptJWE(JOSE::ReceivedJWE&& jwe) const;
    /// @}

  private:
    JOSE::Decrypter decrypter_;
    std::optional<JsonWebKey> jwk_;
};

}  // namespace Torvane
