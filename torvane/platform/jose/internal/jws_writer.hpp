// Writer of a compact JWS, chunk by chunk (RFC 7515, section 7.1).
//
//     JWSWriter writer(header, payload, signer);
//     for (auto chunk = writer.nextChunk(); !chunk.empty(); chunk = writer.nextChunk()) append(chunk);
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/jose/signer.hpp"
#include "torvane/platform/primitives/digest.hpp"

namespace Torvane::JOSE {

/// Hashes each chunk of the signing input while the chunk is in the cache, and signs after the last chunk of the
/// payload.
class JWSWriter {
  public:
    /// The payload is not copied: it has to stay unchanged until it has been written.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the signer's; parsingFailed as
    ///         makeHeaderText().
    JWSWriter(const JWSHeader& header, ByteView payload, const Signer& signer);
    /// Wipes the chunks, which held the payload.
    ~JWSWriter();
    JWSWriter(const JWSWriter&) = delete;
    JWSWriter& operator=(const JWSWriter&) = delete;

    /// Characters of the whole JWS.
    [[nodiscard]] std::size_t compactSize() const noexcept { return compactSize_; }

    /// The next characters: the header's, then the payload's, finally the signature's. The signature is made in that
    /// call. Valid until the next call. Empty after the signature.
    /// @throws SecurityError, or whatever an application's key store throws, when the key store fails.
    ByteView nextChunk();

    /// The raw signature; empty until nextChunk() has returned its characters.
    [[nodiscard]] const ByteBuffer& signature() const noexcept { return signature_; }

  private:
    enum class Part { header, payload, signature, none };

    ByteView nextPayloadChunk();
    ByteView sign();
    ByteView encode(ByteView bytes, std::size_t position);

    ByteBuffer header_;
    ByteView payload_;
    Signer signer_;
    std::optional<Crypto::Digest> digest_;
    ByteBuffer signature_;
    std::size_t compactSize_;
    Part next_ = Part::header;
    std::array<std::uint8_t, charactersPerChunk> chunk_;
    std::size_t longestChunk_ = 0;
};

}  // namespace Torvane::JOSE
