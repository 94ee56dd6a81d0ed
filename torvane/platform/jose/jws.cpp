#include "torvane/platform/jose/jws.hpp"

#include "torvane/platform/crypto/digest.hpp"
#include "torvane/platform/jose/compact.hpp"

namespace JOSE {

JWS::JWS(const JWSHeader& header, Platform::ByteView payload, const Signer& signer) {
    if (header.algorithm() != rawValue(signer.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's.");
    }
    const auto headerText = header.jsonData();
    auto& compact = compact_.data();
    compact.reserve(Platform::base64urlSize(headerText.size()) + Platform::base64urlSize(payload.size()) +
                    Platform::base64urlSize(signer.signatureSize()) + componentCount - 1);
    Platform::appendBase64url(compact, headerText);
    compact.push_back('.');
    Platform::appendBase64url(compact, payload);
    signature_ = signer.sign(compact);
    compact.push_back('.');
    Platform::appendBase64url(compact, signature_);
}

struct ReceivedJWS::Parts {
    std::string_view text, header, payload, signature;

    explicit Parts(std::string_view compact) : text(compact) {
        const auto pieces = splitCompact<JWS::componentCount>(compact);
        header = pieces[0];
        payload = pieces[1];
        signature = pieces[2];
        if (signature.empty()) throw JOSESwiftError::parsingFailed("The signature is empty.");
    }

    Platform::ByteView signingInput() const noexcept {
        return Platform::asBytes(text.substr(0, text.size() - signature.size() - 1));
    }
};

ReceivedJWS::ReceivedJWS(Platform::ByteView compactSerialization)
    : ReceivedJWS(Parts(Platform::asText(compactSerialization))) {}

ReceivedJWS::ReceivedJWS(const Parts& parts)
    : header_(decodePiece(parts.header, "header")),
      payload_(decodePiece(parts.payload, "payload")),
      signature_(decodePiece(parts.signature, "signature")) {
    if (const auto algorithm = fromRawValue<SignatureAlgorithm>(header_.algorithm())) {
        digest_ = Platform::Crypto::digest(parameters(*algorithm).hash, parts.signingInput());
    }
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
