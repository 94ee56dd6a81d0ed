#include "torvane/platform/jose/jws.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/crypto/digest.hpp"
#include "torvane/platform/jose/compact.hpp"

namespace JOSE {
namespace {

using Platform::ByteBuffer;
using Platform::ByteView;

// How much of a payload is written as text at a time: whole groups of base64url, and small enough that the text stays
// in the cache until it has been used.
constexpr std::size_t pieceSize = 6144;
static_assert(pieceSize % 3 == 0);

// Calls use(piece) for consecutive pieces of the text, wiped afterwards.
template <class Use>
void inBase64urlPieces(ByteView bytes, Use use) {
    std::array<std::uint8_t, Platform::base64urlSize(pieceSize)> text;
    const auto longest = std::span(text).first(Platform::base64urlSize(std::min(bytes.size(), pieceSize)));
    const Platform::WipeOnExit wipeText(longest);
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), pieceSize));
        use(ByteView(text).first(Platform::encodeBase64url(piece, text)));
        bytes = bytes.subspan(piece.size());
    }
}

// The header's piece with the dot behind it.
ByteBuffer headerText(const JWSHeader& header, const Signer& signer) {
    if (header.algorithm() != rawValue(signer.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's.");
    }
    ByteBuffer text;
    Platform::appendBase64url(text, header.jsonData());
    text.push_back('.');
    return text;
}

Platform::Crypto::Digest newDigest(const Signer& signer) {
    return Platform::Crypto::Digest(parameters(signer.algorithm()).hash);
}

std::size_t sizeOf(const ByteBuffer& headerText, ByteView payload, std::size_t signatureSize) noexcept {
    return headerText.size() + Platform::base64urlSize(payload.size()) + 1 + Platform::base64urlSize(signatureSize);
}

// The bytes of a valid piece, in the memory of the text that it is part of; the rest of the text is wiped.
ByteBuffer decodedInPlace(std::string_view piece, ByteBuffer text) {
    const auto size = *Platform::decodeBase64url(piece, text);
    Platform::wipe(text.data() + size, text.size() - size);
    text.resize(size);
    return text;
}

}  // namespace

SignedPayload::SignedPayload(const JWSHeader& header, ByteView payload, const Signer& signer)
    : header_(headerText(header, signer)), payload_(payload) {
    auto digest = newDigest(signer);
    digest.update(header_);
    inBase64urlPieces(payload, [&digest](ByteView piece) { digest.update(piece); });
    signature_ = signer.signDigest(digest.finish());
}

std::size_t SignedPayload::compactSize() const noexcept {
    return sizeOf(header_, payload_, signature_.size());
}

void SignedPayload::writeTo(const PieceSink& sink) const {
    sink(header_);
    inBase64urlPieces(payload_, sink);
    sink(Platform::asBytes("."));
    inBase64urlPieces(signature_, sink);
}

JWS::JWS(const JWSHeader& header, ByteView payload, const Signer& signer) {
    auto& compact = compact_.data();
    auto digest = newDigest(signer);
    const auto write = [&](ByteView piece) {
        compact.insert(compact.end(), piece.begin(), piece.end());
        digest.update(piece);
    };
    const auto start = headerText(header, signer);
    compact.reserve(sizeOf(start, payload, signer.signatureSize()));
    write(start);
    inBase64urlPieces(payload, write);
    signature_ = signer.signDigest(digest.finish());
    compact.push_back('.');
    Platform::appendBase64url(compact, signature_);
}

struct ReceivedJWS::Parts {
    std::string_view text;
    CompactPieces<JWS::componentCount> pieces;

    explicit Parts(ByteView compact)
        : text(Platform::asText(compact)), pieces(splitCompact<JWS::componentCount>(text)) {}

    std::string_view payload() const noexcept { return pieces[1]; }
    std::string_view signature() const noexcept { return pieces[2]; }

    ByteView signingInput() const noexcept {
        return Platform::asBytes(text.substr(0, text.size() - signature().size() - 1));
    }

    void check() const {
        if (!Platform::isBase64url(payload())) refusePiece(pieces, "payload");
        if (signature().empty()) throw JOSESwiftError::parsingFailed("The signature is empty.");
    }
};

ReceivedJWS::ReceivedJWS(const Parts& parts)
    : header_((parts.check(), decodePiece(parts.pieces, 0, "header"))),
      signature_(decodePiece(parts.pieces, 2, "signature")) {
    if (const auto algorithm = fromRawValue<SignatureAlgorithm>(header_.algorithm())) {
        digest_ = Platform::Crypto::digest(parameters(*algorithm).hash, parts.signingInput());
    }
}

ReceivedJWS::ReceivedJWS(ByteView compactSerialization) : ReceivedJWS(Parts(compactSerialization)) {
    payload_ = Payload(decodePiece(Parts(compactSerialization).pieces, 1, "payload"));
}

ReceivedJWS::ReceivedJWS(ByteBuffer&& compactSerialization) : ReceivedJWS(Parts(compactSerialization)) {
    const auto payload = Parts(compactSerialization).payload();
    payload_ = Payload(decodedInPlace(payload, std::move(compactSerialization)));
}

Payload ReceivedJWS::validate(const Verifier& verifier) && {
    if (header_.algorithm() != rawValue(verifier.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the verifier's.");
    }
    if (!verifier.verifyDigest(*digest_, signature_)) {
        throw JOSESwiftError::verifyingFailed("The signature does not verify.");
    }
    return std::move(payload_);
}

}  // namespace JOSE
