#include "torvane/platform/jose/jws.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/jose/internal/jws_writer.hpp"
#include "torvane/platform/primitives/digest.hpp"

namespace Torvane::JOSE {
namespace {

using Crypto::Digest;

// Digest of the signing input, updated while the payload is decoded; nothing when the algorithm is not known.
class SigningDigest {
  public:
    SigningDigest(const std::string& algorithm, std::string_view header) {
        if (const auto known = fromRawValue<SignatureAlgorithm>(algorithm)) {
            digest_.emplace(parameters(*known).hash);
            update(header);
            update(".");
        }
    }

    void update(std::string_view text) {
        if (digest_) digest_->update(asBytes(text));
    }
    std::optional<ByteBuffer> finish() { return digest_ ? std::optional(digest_->finish()) : std::nullopt; }

  private:
    std::optional<Digest> digest_;
};

// Hashes and decodes the text of a payload: calls use(bytes) for one decoded chunk after the other, and wipes them at
// the end. Returns the digest.
template <class Use>
std::optional<ByteBuffer> decodeInChunks(std::string_view text, SigningDigest& digest, Use use) {
    std::array<std::uint8_t, bytesPerChunk> bytes;
    const auto longest = std::span(bytes).first(std::min(text.size(), bytesPerChunk));
    const WipeOnExit wipeBytes(longest);
    while (!text.empty()) {
        const auto chunk = text.substr(0, charactersPerChunk);
        digest.update(chunk);
        const auto size = decodeBase64url(chunk, bytes);
        if (!size) rejectPart("payload");
        use(ByteView(bytes).first(*size));
        text.remove_prefix(chunk.size());
    }
    return digest.finish();
}

// Restores a token after a partial in-place decoding, which is possible because base64url text is canonical. Works
// backwards so that no byte is overwritten before it is encoded again.
void restore(ByteBuffer& text, const ByteBuffer& front, std::size_t decoded) noexcept {
    std::array<std::uint8_t, bytesPerChunk> bytes;
    while (decoded > 0) {
        const auto start = (decoded - 1) / bytesPerChunk * bytesPerChunk;
        const auto chunk = ByteView(text).subspan(start, decoded - start);
        std::copy(chunk.begin(), chunk.end(), bytes.begin());
        encodeBase64url(ByteView(bytes).first(chunk.size()),
                        std::span(text).subspan(front.size() + base64urlSize(start)));
        decoded = start;
    }
    std::copy(front.begin(), front.end(), text.begin());
    wipe(bytes.data(), bytes.size());
}

// Turns the text into the payload, in the same memory; a failure leaves the text unchanged. Returns the digest.
std::optional<ByteBuffer> decodeInPlace(std::string_view header, std::string_view payload, ByteBuffer& text,
                                        SigningDigest& digest) {
    ByteBuffer front(header.begin(), header.end());
    front.push_back('.');
    std::size_t decoded = 0;
    std::optional<ByteBuffer> finished;
    try {
        finished = decodeInChunks(payload, digest, [&](ByteView chunk) {
            std::copy(chunk.begin(), chunk.end(), text.begin() + static_cast<std::ptrdiff_t>(decoded));
            decoded += chunk.size();
        });
    } catch (...) {
        restore(text, front, decoded);
        throw;
    }
    wipe(text.data() + decoded, text.size() - decoded);
    text.resize(decoded);
    return finished;
}

// If payload and signature are both malformed, the payload is reported.
ByteBuffer decodeSignature(const CompactParts<JWS::componentCount>& parts) {
    auto signature = decodeBase64url(parts[2]);
    if (!signature) rejectPart(isBase64url(parts[1]) ? "signature" : "payload");
    return *std::move(signature);
}

}  // namespace

JWS::JWS(const JWSHeader& header, ByteView payload, const Signer& signer) {
    JWSWriter writer(header, payload, signer);
    auto& compact = compact_.data();
    compact.reserve(writer.compactSize());
    for (auto chunk = writer.nextChunk(); !chunk.empty(); chunk = writer.nextChunk()) {
        compact.insert(compact.end(), chunk.begin(), chunk.end());
    }
    signature_ = writer.signature();
}

ReceivedJWS::ReceivedJWS(const Parts& parts, const Limits& limits, ByteBuffer* text)
    : header_(decodePart(parts[0], "header"), limits), signature_(decodeSignature(parts)) {
    SigningDigest digest(header_.algorithm(), parts[0]);
    if (text != nullptr) {
        digest_ = decodeInPlace(parts[0], parts[1], *text, digest);
        payload_ = Payload(std::move(*text));
    } else {
        auto& payload = payload_.data();
        payload.reserve(parts[1].size() / 4 * 3 + 2);
        digest_ = decodeInChunks(parts[1], digest, [&payload](ByteView chunk) {
            payload.insert(payload.end(), chunk.begin(), chunk.end());
        });
    }
}

ReceivedJWS ReceivedJWS::read(ByteView compactSerialization, const Limits& limits, ByteBuffer* text) {
    return readCompact<JWS::componentCount>(compactSerialization, limits, [&](const Parts& parts) {
        if (parts[2].empty()) throw JOSESwiftError::parsingFailed("The signature is empty.");
        return ReceivedJWS(parts, limits, text);
    });
}

ReceivedJWS::ReceivedJWS(ByteView compactSerialization, const Limits& limits)
    : ReceivedJWS(read(compactSerialization, limits, nullptr)) {}

ReceivedJWS::ReceivedJWS(ByteBuffer&& compactSerialization, const Limits& limits)
    : ReceivedJWS(read(compactSerialization, limits, &compactSerialization)) {}

Payload ReceivedJWS::validate(const Verifier& verifier) {
    if (header_.algorithm() != rawValue(verifier.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the verifier's.");
    }
    if (!digest_) throw JOSESwiftError::verifyingFailed("The payload has been taken.");
    if (!verifier.verifyDigest(*digest_, signature_)) {
        throw JOSESwiftError::verifyingFailed("The signature does not verify.");
    }
    digest_.reset();
    return std::move(payload_);
}

}  // namespace Torvane::JOSE
