// Steps that TokenVerifier, NestedToken and the profiles share: the choice of an algorithm, and the verification of a
// JWS with several keys.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/keys/key_set_source.hpp"
#include "torvane/messaging/internal/key_choice.hpp"
#include "torvane/messaging/internal/nested_message.hpp"
#include "torvane/messaging/token_error.hpp"
#include "torvane/messaging/token_profiles.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/support/internal/wrap_errors.hpp"

namespace Torvane {

/// The algorithm that a header names.
/// @param member "alg" or "enc".
/// @throws TokenError algorithmNotAllowed when it is not one of those allowed.
template <class Algorithm>
Algorithm requireAllowed(const std::vector<Algorithm>& allowed, std::string_view name, std::string_view member) {
    for (const auto algorithm : allowed) {
        if (rawValue(algorithm) == name) return algorithm;
    }
    std::string names;
    for (const auto algorithm : allowed) names += (names.empty() ? "" : ", ") + std::string(rawValue(algorithm));
    if (allowed.empty()) names = "none";
    throw TokenError::algorithmNotAllowed("The token's \"" + std::string(member) + "\" is not one of those allowed (" +
                                          names + ").");
}

/// An algorithm, and a key that can be used with it.
template <class Algorithm>
struct Choice {
    Algorithm algorithm;
    JsonWebKey key;
};

/// The first of the algorithms for which the set has a key, and that key.
/// @param purpose for the error: what the key is to do.
/// @param curve of the key; nothing for any curve, and for RSA.
/// @throws TokenError keyNotFound when there is not exactly one key.
template <class Algorithm>
Choice<Algorithm> chooseOne(const JsonWebKeySet& set, const std::vector<Algorithm>& algorithms,
                            const std::optional<std::string>& keyId, KeyClass keyClass, std::string_view purpose,
                            std::optional<EllipticCurve> curve = std::nullopt) {
    for (const auto algorithm : algorithms) {
        auto keys = chooseKeys(set, algorithm, keyId, keyClass);
        if (curve) std::erase_if(keys, [&curve](const auto& key) { return key.key().keyRef()->curve() != curve; });
        if (keys.size() == 1) return {algorithm, keys.front()};
        if (!keys.empty()) throw TokenError::keyNotFound("More than one key can " + std::string(purpose) + ".");
    }
    throw TokenError::keyNotFound("No key can " + std::string(purpose) + ".");
}

/// Reads a JWS. Takes the memory of a ByteBuffer&& over.
/// @throws TokenError malformed.
template <class Text>
JOSE::ReceivedJWS readSignedToken(Text&& text, const Limits& limits) {
    return wrapErrors(TokenError::malformed, [&] { return JOSE::ReceivedJWS(std::forward<Text>(text), limits); });
}

/// The set in which to look for a key, which may have no such key.
/// @throws as KeySetSource::keysFor().
std::shared_ptr<const JsonWebKeySet> findSet(
    const std::variant<std::shared_ptr<const JsonWebKeySet>, KeySetSource>& keys,
    const std::optional<std::string>& keyId);

/// The peer's keys that can verify, in the order of their set.
/// @throws TokenError keyNotFound when there is none.
std::vector<JsonWebKey> requireVerificationKeys(const JsonWebKeySet& set, JOSE::SignatureAlgorithm algorithm,
                                                const std::optional<std::string>& keyId);

/// Tries up to keysTried keys one after the other, and returns the payload as soon as one of them verifies it.
/// @throws TokenError wrongSignature.
VerifiedMessage verifyWithAny(const std::vector<JsonWebKey>& keys, JOSE::SignatureAlgorithm algorithm,
                              JOSE::ReceivedJWS& jws, const Limits& limits);

/// Reads a JWE.
/// @throws TokenError malformed.
JOSE::ReceivedJWE readEncryptedToken(ByteView token, const Limits& limits);

/// What decrypts a token, and the key in it.
struct ChosenDecrypter {
    JOSE::Decrypter decrypter;
    JsonWebKey key;
};

/// The only key of ours that can decrypt, by the header's "alg", "enc" and "kid".
/// @throws TokenError algorithmNotAllowed; keyNotFound when there is not exactly one key.
ChosenDecrypter chooseDecrypter(const JsonWebKeySet& ours, const EncryptionProfile& profile,
                                const JOSE::JWEHeader& header);

/// Decrypts what has been read. To be called once.
/// @throws TokenError decryptionFailed.
JOSE::Payload decryptToken(JOSE::ReceivedJWE& jwe, const JOSE::Decrypter& decrypter);

/// The only key of the peer to encrypt to, and the first algorithm of the profile that it fits.
/// @throws TokenError keyNotFound when there is not exactly one key.
Choice<JOSE::KeyManagementAlgorithm> chooseRecipient(const JsonWebKeySet& theirs, const EncryptionProfile& profile,
                                                     const std::optional<std::string>& keyId);

/// The "enc" that encrypts.
/// @throws TokenError algorithmNotAllowed when the profile has none.
JOSE::ContentEncryptionAlgorithm firstContentEncryption(const EncryptionProfile& profile);

/// The "kid" by which the owner of a key knows it: that of its JWK, if it has one.
inline std::optional<std::string> publishedKeyId(const JsonWebKey& key) {
    return key.jwk() ? (*key.jwk())["kid"] : key.keyId();
}

}  // namespace Torvane
