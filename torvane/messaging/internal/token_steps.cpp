#include "torvane/messaging/internal/token_steps.hpp"

#include <algorithm>
#include <span>

#include "torvane/platform/jose/signer.hpp"

namespace Torvane {
namespace {

std::optional<JOSE::Verifier> makeVerifier(JOSE::SignatureAlgorithm algorithm, const Zennet::Key& key) {
    return key.keyRef() ? JOSE::Verifier::create(algorithm, *key.keyRef())
                        : JOSE::Verifier::create(algorithm, *key.keyData());
}

}  // namespace

std::shared_ptr<const JsonWebKeySet> findSet(
    const std::variant<std::shared_ptr<const JsonWebKeySet>, KeySetSource>& keys,
    const std::optional<std::string>& keyId) {
    if (const auto* set = std::get_if<std::shared_ptr<const JsonWebKeySet>>(&keys)) return *set;
    const auto& source = std::get<KeySetSource>(keys);
    return keyId ? source.keysFor(*keyId) : source.keys();
}

std::vector<JsonWebKey> requireVerificationKeys(const JsonWebKeySet& set, JOSE::SignatureAlgorithm algorithm,
                                                const std::optional<std::string>& keyId) {
    auto keys = chooseKeys(set, algorithm, keyId, KeyClass::publicKey);
    if (!keys.empty()) return keys;
    throw TokenError::keyNotFound(keyId ? "No key that fits the token has its \"kid\"." : "No key fits the token.");
}

VerifiedMessage verifyWithAny(const std::vector<JsonWebKey>& keys, JOSE::SignatureAlgorithm algorithm,
                              JOSE::ReceivedJWS& jws, const Limits& limits) {
    for (const auto& key : std::span(keys).first(std::min(keys.size(), limits.keysTried))) {
        const auto verifier = makeVerifier(algorithm, key.key());
        if (!verifier) continue;
        try {
            return {jws.validate(*verifier), key};
        } catch (const JOSE::JOSESwiftError&) {
            // The payload is kept for the next key.
        }
    }
    throw TokenError::wrongSignature();
}

JOSE::ReceivedJWE readEncryptedToken(ByteView token, const Limits& limits) {
    return wrapErrors(TokenError::malformed, [&] { return JOSE::ReceivedJWE(token, limits); });
}

ChosenDecrypter chooseDecrypter(const JsonWebKeySet& ours, const EncryptionProfile& profile,
                                const JOSE::JWEHeader& header) {
    const auto keyManagement = requireAllowed(profile.keyManagement, header.algorithm(), "alg");
    const auto contentEncryption = requireAllowed(profile.contentEncryption, header.encryptionAlgorithm(), "enc");
    const auto key = chooseOne(ours, std::vector{keyManagement}, findKeyId(header.parameters()), KeyClass::privateKey,
                               "decrypt the token", profile.curve)
                         .key;
    return {*JOSE::Decrypter::create(keyManagement, contentEncryption, *key.key().keyRef()), key};
}

JOSE::Payload decryptToken(JOSE::ReceivedJWE& jwe, const JOSE::Decrypter& decrypter) {
    return wrapErrors(TokenError::decryptionFailed, [&] { return std::move(jwe).decrypt(decrypter); });
}

Choice<JOSE::KeyManagementAlgorithm> chooseRecipient(const JsonWebKeySet& theirs, const EncryptionProfile& profile,
                                                     const std::optional<std::string>& keyId) {
    return chooseOne(theirs, profile.keyManagement, keyId, KeyClass::publicKey, "be encrypted to", profile.curve);
}

JOSE::ContentEncryptionAlgorithm firstContentEncryption(const EncryptionProfile& profile) {
    if (!profile.contentEncryption.empty()) return profile.contentEncryption.front();
    throw TokenError::algorithmNotAllowed("The profile allows no \"enc\".");
}

}  // namespace Torvane
