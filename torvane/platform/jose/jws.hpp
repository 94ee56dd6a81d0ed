// JSON Web Signatures in compact serialisation (RFC 7515, section 7.1). What was signed here and what came from a peer
// are two types: a peer's payload is available only after verification.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/payload.hpp"
#include "torvane/platform/jose/signer.hpp"

namespace Torvane::JOSE {

/// A JWS that was signed here. A moved-from JWS is empty.
class TORVANE_EXPORT JWS {
  public:
    /// Number of parts of the compact serialisation.
    static constexpr std::size_t componentCount = 3;

    /// Signs the payload.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the signer's; parsingFailed for a
    ///         "jwk" with a private member; SecurityError, or whatever an application's key store throws, when the key
    ///         store fails.
    JWS(const JWSHeader& header, ByteView payload, const Signer& signer);

    /// @{
    /// ASCII text: header, payload and signature in base64url, joined by dots.
    [[nodiscard]] const ByteBuffer& compactSerializedData() const& noexcept { return compact_.data(); }
    [[nodiscard]] ByteBuffer compactSerializedData() && noexcept { return std::move(compact_).data(); }
    /// @}
    /// The raw signature, of Signer::signatureSize() bytes.
    [[nodiscard]] const ByteBuffer& signature() const noexcept { return signature_; }

  private:
    // Contains the payload, which base64url does not hide, so it is wiped when signing fails.
    Payload compact_{ByteBuffer()};
    ByteBuffer signature_;
};

/// A JWS from a peer, not verified yet. Keeps no view of the text that it was read from.
class TORVANE_EXPORT ReceivedJWS {
  public:
    /// @{
    /// Reads the text. The second constructor takes the text's memory over and decodes the payload there. Applies the
    /// limits tokenBytes, headerBytes, jsonDepth and jsonMembers.
    /// @throws JOSESwiftError parsingFailed for a token beyond the limits, another number of parts than three, a part
    ///         that is not canonical unpadded base64url, a header that JWSHeader rejects, or an empty signature. After
    ///         an error the text is unchanged.
    explicit ReceivedJWS(ByteView compactSerialization, const Limits& limits = {});
    explicit ReceivedJWS(ByteBuffer&& compactSerialization, const Limits& limits = {});
    /// @}

    /// @{
    /// What the sender claims; nothing of it is authentic before validate().
    [[nodiscard]] const JWSHeader& header() const& noexcept { return header_; }
    [[nodiscard]] JWSHeader header() && noexcept { return std::move(header_); }
    /// @}

    /// Verifies the signature and returns the payload, once. After a failure the payload is kept, so that another
    /// verifier can be tried.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" is not the verifier's; verifyingFailed when
    ///         the signature does not verify, or when the payload has been handed out; parsingFailed for a moved-from
    ///         JWS.
    [[nodiscard]] Payload validate(const Verifier& verifier);

  private:
    using Parts = std::array<std::string_view, JWS::componentCount>;
    TORVANE_NO_EXPORT ReceivedJWS(const Parts& parts, const Limits& limits, ByteBuffer* text);
    TORVANE_NO_EXPORT static ReceivedJWS read(ByteView compactSerialization, const Limits& limits, ByteBuffer* text);

    JWSHeader header_;
    ByteBuffer signature_;
    // Digest of the signing input by the header's algorithm; nothing when that algorithm is not known.
    std::optional<ByteBuffer> digest_;
    Payload payload_{ByteBuffer()};
};

}  // namespace Torvane::JOSE
