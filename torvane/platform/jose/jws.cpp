#include "torvane/platform/jose/jws.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/primitives/digest.hpp"

namespace Torvane::JOSE {
namespace {

using Crypto::Digest;

// Calls use(piece) for consecutive pieces of the text, wiped afterwards.
template <class Use>
void inBase64urlPieces(ByteView bytes, Use use) {
    std::array<std::uint8_t, textAtATime> text;
    const auto longest = std::span(text).first(base64urlSize(std::min(bytes.size(), bytesAtATime)));
    const WipeOnExit wipeText(longest);
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), bytesAtATime));
        use(ByteView(text).first(encodeBase64url(piece, text)));
        bytes = bytes.subspan(piece.size());
    }
}

// The digest of what is signed, which is fed while the payload is decoded; nothing where the algorithm is not known.
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

// Hashes a payload's text and decodes it: calls use(bytes) for consecutive pieces of what it decodes to, wiped
// afterwards. Returns the digest.
template <class Use>
std::optional<ByteBuffer> decodeInPieces(std::string_view text, SigningDigest& digest, Use use) {
    std::array<std::uint8_t, bytesAtATime> bytes;
    const auto longest = std::span(bytes).first(std::min(text.size(), bytesAtATime));
    const WipeOnExit wipeBytes(longest);
    while (!text.empty()) {
        const auto piece = text.substr(0, textAtATime);
        digest.update(piece);
        const auto size = decodeBase64url(piece, bytes);
        if (!size) refusePiece("payload");
        use(ByteView(bytes).first(*size));
        text.remove_prefix(piece.size());
    }
    return digest.finish();
}

// Puts a text back whose payload was decoded to its front, so far; bytes have only one text. Backwards, for none to be
// overwritten before it has been encoded.
void restore(ByteBuffer& text, const ByteBuffer& front, std::size_t decoded) noexcept {
    std::array<std::uint8_t, bytesAtATime> bytes;
    while (decoded > 0) {
        const auto start = (decoded - 1) / bytesAtATime * bytesAtATime;
        const auto piece = ByteView(text).subspan(start, decoded - start);
        std::copy(piece.begin(), piece.end(), bytes.begin());
        encodeBase64url(ByteView(bytes).first(piece.size()),
                        std::span(text).subspan(front.size() + base64urlSize(start)));
        decoded = start;
    }
    std::copy(front.begin(), front.end(), text.begin());
    wipe(bytes.data(), bytes.size());
}

// Turns the text into the payload, in its own memory; a failure leaves it as it was. Returns the digest.
std::optional<ByteBuffer> decodeInPlace(std::string_view header, std::string_view payload, ByteBuffer& text,
                                        SigningDigest& digest) {
    ByteBuffer front(header.begin(), header.end());
    front.push_back('.');
    std::size_t decoded = 0;
    std::optional<ByteBuffer> finished;
    try {
        finished = decodeInPieces(payload, digest, [&](ByteView piece) {
            std::copy(piece.begin(), piece.end(), text.begin() + static_cast<std::ptrdiff_t>(decoded));
            decoded += piece.size();
        });
    } catch (...) {
        restore(text, front, decoded);
        throw;
    }
    wipe(text.data() + decoded, text.size() - decoded);
    text.resize(decoded);
    return finished;
}

ByteBuffer decodedSignature(const CompactPieces<JWS::componentCount>& pieces) {
    auto signature = decodeBase64url(pieces[2]);
    if (!signature) refusePiece(isBase64url(pieces[1]) ? "signature" : "payload");
    return *std::move(signature);
}

}  // namespace

JWSWriter::JWSWriter(const JWSHeader& header, ByteView payload, const Signer& signer)
    : payload_(payload), hash_(parameters(signer.algorithm()).hash), signatureSize_(signer.signatureSize()) {
    if (header.algorithm() != rawValue(signer.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's.");
    }
    const auto text = header.jsonData();
    header_.reserve(base64urlSize(text.size()) + 1);
    appendBase64url(header_, text);
    header_.push_back('.');
}

std::size_t JWSWriter::compactSize() const noexcept {
    return header_.size() + base64urlSize(payload_.size()) + 1 + base64urlSize(signatureSize_);
}

ByteBuffer JWSWriter::writeSigningInput(const PieceSink& sink) const {
    Digest digest(hash_);
    const auto write = [&](ByteView piece) {
        digest.update(piece);
        sink(piece);
    };
    write(header_);
    inBase64urlPieces(payload_, write);
    return digest.finish();
}

void JWSWriter::writeSignature(ByteView signature, const PieceSink& sink) {
    sink(asBytes("."));
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

ReceivedJWS::ReceivedJWS(const Pieces& pieces, ByteBuffer* text)
    : header_(decodePiece(pieces[0], "header")), signature_(decodedSignature(pieces)) {
    SigningDigest digest(header_.algorithm(), pieces[0]);
    if (text != nullptr) {
        digest_ = decodeInPlace(pieces[0], pieces[1], *text, digest);
        payload_ = Payload(std::move(*text));
    } else {
        auto& payload = payload_.data();
        payload.reserve(pieces[1].size() / 4 * 3 + 2);
        digest_ = decodeInPieces(pieces[1], digest, [&payload](ByteView piece) {
            payload.insert(payload.end(), piece.begin(), piece.end());
        });
    }
}

ReceivedJWS ReceivedJWS::read(ByteView compactSerialization, ByteBuffer* text) {
    return readCompact<JWS::componentCount>(compactSerialization, [text](const Pieces& pieces) {
        if (pieces[2].empty()) throw JOSESwiftError::parsingFailed("The signature is empty.");
        return ReceivedJWS(pieces, text);
    });
}

ReceivedJWS::ReceivedJWS(ByteView compactSerialization) : ReceivedJWS(read(compactSerialization, nullptr)) {}

ReceivedJWS::ReceivedJWS(ByteBuffer&& compactSerialization)
    : ReceivedJWS(read(compactSerialization, &compactSerialization)) {}

Payload ReceivedJWS::validate(const Verifier& verifier) && {
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
