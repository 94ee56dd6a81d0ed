// JSON Web Encryption in compact serialisation (RFC 7516, section 7.1). What was encrypted here and what came from a
// peer are two types.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/payload.hpp"

namespace Torvane::JOSE {

/// A JWE that was encrypted here. A moved-from JWE is empty.
class TORVANE_EXPORT JWE {
  public:
    /// Number of parts of the compact serialisation.
    static constexpr std::size_t componentCount = 5;

    /// Encrypts the payload under a fresh content encryption key and initialization vector.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" or "enc" is not the encrypter's;
    ///         parsingFailed for a "jwk" with a private member and, under ECDH-ES, for an "apu" or "apv" that is not
    ///         base64url; SecurityError when a cryptographic operation fails.
    JWE(JWEHeader header, ByteView payload, const Encrypter& encrypter);

    /// @{
    /// ASCII text: header, encrypted key, initialization vector, ciphertext and tag in base64url, joined by dots.
    [[nodiscard]] const ByteBuffer& compactSerializedData() const& noexcept { return compact_; }
    [[nodiscard]] ByteBuffer compactSerializedData() && noexcept { return std::move(compact_); }
    /// @}

  private:
    ByteBuffer compact_;
};

/// A JWE from a peer. Keeps the decoded parts, and the base64url text of the header.
class TORVANE_EXPORT ReceivedJWE {
  public:
    /// Reads the text. Applies the limits tokenBytes, headerBytes, jsonDepth and jsonMembers.
    /// @throws JOSESwiftError parsingFailed for a token beyond the limits, another number of parts than five, a part
    ///         that is not canonical unpadded base64url, or a header that JWEHeader rejects.
    explicit ReceivedJWE(ByteView compactSerialization, const Limits& limits = {});

    /// @{
    /// What the sender claims; nothing of it is authentic before decrypt().
    [[nodiscard]] const JWEHeader& header() const& noexcept { return header_; }
    [[nodiscard]] JWEHeader header() && noexcept { return std::move(header_); }
    /// @}

    /// Decrypts the ciphertext in place and returns the plaintext. To be called once, whether it succeeds or not.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" or "enc" is not the decrypter's;
    ///         parsingFailed for a part whose size shows that it is malformed, for a moved-from JWE, and as
    ///         Decrypter::recoverContentEncryptionKey(); decryptingFailed for everything else, with one text for all
    ///         reasons, and for every call after the first. SecurityError, or whatever an application's key store
    ///         throws, when the key store fails.
    [[nodiscard]] Payload decrypt(const Decrypter& decrypter) &&;

    /// True when any part is empty. Under ECDH_ES itself the encrypted key always is.
    [[nodiscard]] bool hasEmptyPart() const noexcept;

  private:
    using Parts = std::array<std::string_view, JWE::componentCount>;
    TORVANE_NO_EXPORT ReceivedJWE(const Parts& parts, const Limits& limits);

    JWEHeader header_;
    std::string additionalData_;
    ByteBuffer encryptedKey_;
    ByteBuffer initializationVector_;
    Payload ciphertext_;
    ByteBuffer authenticationTag_;
    bool isUsed_ = false;
};

}  // namespace Torvane::JOSE
