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

// The bytes of a valid piece, in the memory of the text that it is part of; the rest of the text is wiped.
ByteBuffer decodedInPlace(std::string_view piece, ByteBuffer text) {
    const auto size = *Platform::decodeBase64url(piece, text);
    Platform::wipe(text.data() + size, text.size() - size);
    text.resize(size);
    return text;
}

}  // namespace

JWSWriter::JWSWriter(const JWSHeader& header, ByteView payload, const Signer& signer)
    : payload_(payload), hash_(parameters(signer.algorithm()).hash), signatureSize_(signer.signatureSize()) {
    if (header.algorithm() != rawValue(signer.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's.");
    }
    const auto text = header.jsonData();
    header_.reserve(Platform::base64urlSize(text.size()) + 1);
    Platform::appendBase64url(header_, text);
    header_.push_back('.');
}

std::size_t JWSWriter::compactSize() const noexcept {
    return header_.size() + Platform::base64urlSize(payload_.size()) + 1 + Platform::base64urlSize(signatureSize_);
}

ByteBuffer JWSWriter::writeSigningInput(const PieceSink& sink) const {
    Platform::Crypto::Digest digest(hash_);
    const auto write = [&](ByteView piece) {
        digest.update(piece);
        sink(piece);
    };
    write(header_);
    inBase64urlPieces(payload_, write);
    return digest.finish();
}

void JWSWriter::writeSignature(ByteView signature, const PieceSink& sink) {
    sink(Platform::asBytes("."));
    inBase64urlPieces(signature, sink);
}

JWS::JWS(const JWSHeader& header, ByteView payload, const Signer& signer) {
    const JWSWriter writer(header, payload, signer);
    auto& compact = compact_.data();
    compact.reserve(writer.compactSize());
    const auto append = [&compact](ByteView piece) { compact.insert(compact.end(), piece.begin(), piece.end()); };
    signature_ = signer.signDigest(writer.writeSigningInput(append));
    JWSWriter::writeSignature(signature_, append);
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
