// JSON Web Signatures in compact serialisation (RFC 7515, section 7.1). What was made here and what came from
// a peer are two types: a peer's payload is to be had by verifying only.
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/content.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/payload.hpp"
#include "torvane/platform/jose/signer.hpp"

namespace Torvane::JOSE {

/// Writes a JWS piece by piece, and says what is to be signed.
class TORVANE_EXPORT JWSWriter {
  public:
    /// The payload is not copied: it has to stay where it is, unchanged, until it has been written.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the signer's.
    JWSWriter(const JWSHeader& header, ByteView payload, const Signer& signer);

    /// Characters of the compact serialisation.
    std::size_t compactSize() const noexcept;
    /// Writes header and payload, in pieces that are wiped when they have been taken; returns the digest to be signed.
    ByteBuffer writeSigningInput(const PieceSink& sink) const;
    /// Writes the rest.
    static void writeSignature(ByteView signature, const PieceSink& sink);

  private:
    ByteBuffer header_;
    ByteView payload_;
    HashFunction hash_;
    std::size_t signatureSize_;
};

/// A JWS made here.
class TORVANE_EXPORT JWS {
  public:
    /// Pieces of the compact serialisation.
    static constexpr std::size_t componentCount = 3;

    /// Signs.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the signer's;
    ///         SecurityError when the key store fails.
    JWS(const JWSHeader& header, ByteView payload, const Signer& signer);

    /// @{
    /// ASCII text: header, payload and signature in base64url, joined by dots.
    const ByteBuffer& compactSerializedData() const& noexcept { return compact_.data(); }
    ByteBuffer compactSerializedData() && noexcept { return std::move(compact_).data(); }
    /// @}
    /// Raw bytes, as many as Signer::signatureSize().
    const ByteBuffer& signature() const noexcept { return signature_; }

  private:
    // Holds the payload, readable by anybody, so it is not left behind when signing fails.
    Payload compact_{ByteBuffer()};
    ByteBuffer signature_;
};

/// A JWS that somebody sent, not verified yet. Keeps nothing of the text that it was read from.
class TORVANE_EXPORT ReceivedJWS {
  public:
    /// @{
    /// Reads the text; the second decodes the payload in the text's own memory, of which nothing else is left.
    /// @throws JOSESwiftError parsingFailed for another number of parts than three, a part that is not canonical
    ///         unpadded base64url, a header that JWSHeader refuses, or an empty signature. The text is then unchanged.
    explicit ReceivedJWS(ByteView compactSerialization);
    explicit ReceivedJWS(ByteBuffer&& compactSerialization);
    /// @}

    /// What the sender claims; nothing of it is authentic before validate().
    const JWSHeader& header() const noexcept { return header_; }

    /// The payload, once; a failure leaves it here, to be tried with another verifier.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the verifier's; verifyingFailed
    ///         when the signature does not verify, or the payload has been taken.
    Payload validate(const Verifier& verifier) &&;

  private:
    using Pieces = std::array<std::string_view, JWS::componentCount>;
    ReceivedJWS(const Pieces& pieces, ByteBuffer* text);
    static ReceivedJWS read(ByteView compactSerialization, ByteBuffer* text);

    JWSHeader header_;
    ByteBuffer signature_;
    // Of the signing input, by the header's algorithm; nothing when that is not known.
    std::optional<ByteBuffer> digest_;
    Payload payload_{ByteBuffer()};
};

}  // namespace Torvane::JOSE
