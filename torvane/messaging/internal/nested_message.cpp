#include "torvane/messaging/internal/nested_message.hpp"

#include <string_view>

#include "torvane/jwe/internal/jwe_operations.hpp"
#include "torvane/jws/internal/jws_operations.hpp"
#include "torvane/jwt/json_web_structure.hpp"
#include "torvane/platform/encodings/utf8.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/jose/internal/jwe_writer.hpp"
#include "torvane/platform/jose/internal/jws_writer.hpp"

namespace Torvane {
namespace {

// Well-formed tokens are parsed once. For others these two return nothing, and the slow path (JsonWebStructure, then
// JWEDecrypter or JWSVerifier) reports the errors in the documented order. std::bad_alloc passes. A token that is too
// long never takes the slow path.

std::optional<JOSE::ReceivedJWE> readJWE(ByteView token, const Limits& limits) {
    wrapErrors(JOSEError::JWEDecrypterError, [&] { JOSE::requireWithin(limits, token); });
    try {
        JOSE::ReceivedJWE jwe(token, limits);
        if (!jwe.hasEmptyPart()) return jwe;
    } catch (const Error&) {
    }
    return std::nullopt;
}

// Takes the text over when it returns something.
std::optional<JOSE::ReceivedJWS> readJWS(ByteBuffer& text, const Limits& limits) {
    wrapErrors(JOSEError::JWSVerificationError, [&] { JOSE::requireWithin(limits, text); });
    try {
        return JOSE::ReceivedJWS(std::move(text), limits);
    } catch (const Error&) {
        return std::nullopt;
    }
}

// Returns nothing for a header that cannot be read or has no "kid": the keys are then looked up without an id.
std::optional<std::string> extractKeyId(ByteView compactSerialization, const Limits& limits) {
    const auto text = Zennet::isUTF8(compactSerialization) ? asText(compactSerialization) : std::string_view();
    const auto header = JsonWebStructure::readHeader(text, limits);
    return header ? findKeyId(*header) : std::nullopt;
}

template <class Received>
std::optional<std::string> readKeyId(const std::optional<Received>& received, ByteView text, const Limits& limits) {
    return received ? findKeyId(received->header().parameters()) : extractKeyId(text, limits);
}

}  // namespace

std::optional<std::string> findKeyId(const JSONValue::Object& header) {
    const auto* keyId = stringMember(header, "kid");
    return keyId ? std::optional(*keyId) : std::nullopt;
}

ByteBuffer encodeNestedMessage(ByteView message, const JWSSigner& signer, const JOSE::HeaderParameters& jwsHeaders,
                               const PreparedEncrypter& encrypter, const JOSE::HeaderParameters& jweHeaders) {
    auto jws = makeWithHeader<JOSE::JWSWriter>(signer, message, jwsHeaders);
    const auto nextChunk = [&] { return wrapErrors(JOSEError::JWSSignerError, [&] { return jws.nextChunk(); }); };

    std::optional<JOSE::JWEWriter> jwe;
    auto encryptionError = catchError([&] {
        auto header = makeHeader(encrypter.get(), jweHeaders, true);
        wrapErrors(JOSEError::JWEEncrypterError,
                   [&] { jwe.emplace(std::move(header), jws.compactSize(), encrypter.get().encrypter()); });
    });
    for (auto chunk = nextChunk(); !chunk.empty(); chunk = nextChunk()) {
        if (encryptionError) continue;  // the chunks are for the signature alone
        encryptionError = catchError([&] { wrapErrors(JOSEError::JWEEncrypterError, [&] { jwe->write(chunk); }); });
    }
    if (encryptionError) std::rethrow_exception(encryptionError);
    return wrapErrors(JOSEError::JWEEncrypterError, [&] { return jwe->finish(); });
}

ReceivedNestedMessage::ReceivedNestedMessage(ByteView token, const Limits& limits)
    : limits_(limits), token_(token), jwe_(readJWE(token, limits)), keyId_(readKeyId(jwe_, token, limits)) {}

ReceivedSignedMessage ReceivedNestedMessage::decrypt(const JWEDecrypter& decrypter) {
    // A failed allocation may have kept the token from being read.
    const auto read = [this] { return JOSE::ReceivedJWE(token_, limits_); };
    if (!jwe_) jwe_.emplace(wrapErrors(JOSEError::JWEDecrypterError, read));
    return {decryptReceivedJWE(decrypter, *std::move(jwe_)), limits_};
}

ReceivedSignedMessage::ReceivedSignedMessage(ByteBuffer jws, const Limits& limits)
    : limits_(limits),
      text_(std::move(jws)),
      jws_(readJWS(text_.data(), limits)),
      keyId_(readKeyId(jws_, text_.data(), limits)) {}

VerifiedMessage ReceivedSignedMessage::verify(JOSE::SignatureAlgorithm algorithm, std::span<const JsonWebKey> keys) {
    const auto read = [this] { return JOSE::ReceivedJWS(ByteView(text_.data()), limits_); };
    std::exception_ptr lastError;
    std::size_t tried = 0;
    for (const auto& key : keys) {
        if (!key.key().isPublicKey()) continue;
        if (tried++ == limits_.keysTried) break;
        const JWSVerifier verifier(algorithm, key);
        try {
            if (!jws_) jws_.emplace(wrapErrors(JOSEError::JWSVerificationError, read));
            return {JOSE::Payload(verifyReceivedJWS(verifier, *jws_)), key};
        } catch (const JOSEError&) {
            lastError = std::current_exception();
        }
    }
    if (lastError) std::rethrow_exception(lastError);
    throw JOSEError::JWSVerificationError(
        std::make_exception_ptr(JOSE::JOSESwiftError::verifyingFailed("Failed to verify JWT")));
}

}  // namespace Torvane
