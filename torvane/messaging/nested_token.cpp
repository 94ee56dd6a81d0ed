#include "torvane/messaging/nested_token.hpp"

#include <utility>

#include "torvane/messaging/internal/message_rules.hpp"
#include "torvane/messaging/internal/token_steps.hpp"

namespace Torvane {

NestedToken::NestedToken(JsonWebKeySet ours, JsonWebKeySet theirs, NestedTokenProfile profile)
    : ours_(std::move(ours)),
      theirs_(std::make_shared<const JsonWebKeySet>(std::move(theirs))),
      profile_(std::move(profile)) {}

NestedToken::NestedToken(JsonWebKeySet ours, KeySetSource theirs, NestedTokenProfile profile)
    : ours_(std::move(ours)), theirs_(std::move(theirs)), profile_(std::move(profile)) {}

NestedToken& NestedToken::setSigningKeyId(std::string keyId) {
    signingKeyId_ = std::move(keyId);
    return *this;
}

NestedToken& NestedToken::setEncryptionKeyId(std::string keyId) {
    encryptionKeyId_ = std::move(keyId);
    return *this;
}

NestedToken& NestedToken::setJwsHeaders(JOSE::HeaderParameters headers) {
    jwsHeaders_ = std::move(headers);
    return *this;
}

NestedToken& NestedToken::setJweHeaders(JOSE::HeaderParameters headers) {
    jweHeaders_ = std::move(headers);
    return *this;
}

NestedToken& NestedToken::setLimits(const Limits& limits) {
    limits_ = limits;
    return *this;
}

NestedToken& NestedToken::setClaimsPolicy(ClaimsPolicy policy) {
    rules_ = withClaimsPolicy(rules_, std::move(policy));
    return *this;
}

NestedToken& NestedToken::bindRecipient(std::vector<std::string> ourNames) {
    rules_ = withBinding(rules_, std::move(ourNames));
    return *this;
}

ByteBuffer NestedToken::encode(ByteView message) const {
    const auto signing = chooseOne(ours_, profile_.signature, signingKeyId_, KeyClass::privateKey, "sign");
    const auto theirs = findSet(theirs_, encryptionKeyId_);
    const auto [keyManagement, recipient] = chooseRecipient(*theirs, profile_.encryption, encryptionKeyId_);
    const PreparedEncrypter encrypter(keyManagement, firstContentEncryption(profile_.encryption),
                                      *recipient.key().keyRef(), publishedKeyId(recipient));
    const auto encodeWith = [&](const JOSE::HeaderParameters& jwsHeaders) {
        return encodeNestedMessage(message, JWSSigner(signing.algorithm, signing.key), jwsHeaders, encrypter,
                                   jweHeaders_);
    };
    return rules_ ? encodeWith(rules_->bind(jwsHeaders_, recipient)) : encodeWith(jwsHeaders_);
}

std::string NestedToken::encodeToString(ByteView message) const {
    return std::string(asText(encode(message)));
}

DecodedMessage NestedToken::decode(ByteView token) const {
    auto jwe = readEncryptedToken(token, limits_);
    const auto decryption = chooseDecrypter(ours_, profile_.encryption, jwe.header());
    auto text = decryptToken(jwe, decryption.decrypter);

    auto jws = readSignedToken(std::move(text.data()), limits_);
    const auto algorithm = requireAllowed(profile_.signature, jws.header().algorithm(), "alg");
    const auto keyId = findKeyId(jws.header().parameters());
    const auto keys = requireVerificationKeys(*findSet(theirs_, keyId), algorithm, keyId);
    auto verified = verifyWithAny(keys, algorithm, jws, limits_);
    DecodedMessage message{
        {}, std::move(jwe).header().parameters(), std::move(jws).header().parameters(), verified.key, nullptr};
    if (rules_) message.claims = rules_->accept(verified.payload.data(), message.jwsHeader, decryption.key, limits_);
    message.payload = std::move(verified.payload).data();
    return message;
}

}  // namespace Torvane
