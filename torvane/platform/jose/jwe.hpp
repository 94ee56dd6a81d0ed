// JSON Web Encryption in compact serialisation (RFC 7516, section 7.1).
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/content.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/payload.hpp"

namespace Torvane::JOSE {

/// A JWE made here.
class TORVANE_EXPORT JWE {
  public:
    /// Pieces of the compact serialisation.
    static constexpr std::size_t componentCount = 5;

    /// @{
    /// Encrypts bytes, or content while it writes itself, under a content key and an initialization vector of its own.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" or "enc" is not the encrypter's;
    ///         parsingFailed for an "apu" or "apv" that is not base64url, under ECDH-ES; SecurityError;
    ///         whatever the content throws.
    JWE(JWEHeader header, ByteView payload, const Encrypter& encrypter);
    JWE(JWEHeader header, Content& content, const Encrypter& encrypter);
    /// @}

    /// @{
    /// ASCII text: header, encrypted key, initialization vector, ciphertext and tag in base64url, joined by dots.
    const ByteBuffer& compactSerializedData() const& noexcept { return compact_; }
    ByteBuffer compactSerializedData() && noexcept { return std::move(compact_); }
    /// @}

  private:
    ByteBuffer compact_;
};

/// A JWE that somebody sent. Keeps nothing of the text that it was read from but the header's piece.
class TORVANE_EXPORT ReceivedJWE {
  public:
    /// @throws JOSESwiftError parsingFailed for another number of parts than five, a part that is not canonical
    ///         unpadded base64url, or a header that JWEHeader refuses.
    explicit ReceivedJWE(ByteView compactSerialization);

    /// What the sender claims; nothing of it is authentic before decrypt().
    const JWEHeader& header() const noexcept { return header_; }

    /// The plaintext, once; the ciphertext is decrypted in its place.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" or "enc" is not the decrypter's;
    ///         parsingFailed for a part whose size shows it to be malformed, and as Decrypter::contentKey;
    ///         decryptingFailed for everything else, without a trace of why.
    Payload decrypt(const Decrypter& decrypter) &&;

    /// Whether any part is empty, as the encrypted key is where both parties derive the content key.
    bool hasEmptyPart() const noexcept;

  private:
    using Pieces = std::array<std::string_view, JWE::componentCount>;
    explicit ReceivedJWE(const Pieces& pieces);

    JWEHeader header_;
    std::string additionalData_;
    ByteBuffer encryptedKey_;
    ByteBuffer initializationVector_;
    Payload ciphertext_;
    ByteBuffer authenticationTag_;
};

}  // namespace Torvane::JOSE
