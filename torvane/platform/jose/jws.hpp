// JSON Web Signatures in compact serialisation (RFC 7515, section 7.1). What was made here and what came from
// a peer are two types: a peer's payload is to be had by verifying only.
#pragma once

#include <optional>
#include <utility>

#include "torvane/platform/bytes.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/payload.hpp"
#include "torvane/platform/jose/signer.hpp"

namespace JOSE {

/// A JWS made here.
class TORVANE_EXPORT JWS {
  public:
    /// Pieces of the compact serialisation.
    static constexpr std::size_t componentCount = 3;

    /// Signs.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the signer's;
    ///         Platform::SecurityError when the key store fails.
    JWS(const JWSHeader& header, Platform::ByteView payload, const Signer& signer);

    /// @{
    /// ASCII text: header, payload and signature in base64url, joined by dots.
    const Platform::ByteBuffer& compactSerializedData() const& noexcept { return compact_.data(); }
    Platform::ByteBuffer compactSerializedData() && noexcept { return std::move(compact_).data(); }
    /// @}
    /// Raw bytes, as many as Signer::signatureSize().
    const Platform::ByteBuffer& signature() const noexcept { return signature_; }

  private:
    // Holds the payload, readable by anybody, so it is not left behind when signing fails.
    Payload compact_{Platform::ByteBuffer()};
    Platform::ByteBuffer signature_;
};

/// A JWS that somebody sent, not verified yet. Keeps nothing of the text that it was read from.
class TORVANE_EXPORT ReceivedJWS {
  public:
    /// @throws JOSESwiftError parsingFailed for another number of parts than three, a part that is not canonical
    ///         unpadded base64url, a header that JWSHeader refuses, or an empty signature.
    explicit ReceivedJWS(Platform::ByteView compactSerialization);

    /// What the sender claims; nothing of it is authentic before validate().
    const JWSHeader& header() const noexcept { return header_; }

    /// The payload, once.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the verifier's; verifyingFailed
    ///         when the signature does not verify.
    Payload validate(const Verifier& verifier) &&;

  private:
    struct Parts;
    explicit ReceivedJWS(const Parts& parts);

    JWSHeader header_;
    // Of the signing input, by the header's algorithm; nothing when that is not known.
    std::optional<Platform::ByteBuffer> digest_;
    Payload payload_;
    Platform::ByteBuffer signature_;
};

}  // namespace JOSE
