#include "torvane/platform/jose/encrypter.hpp"

#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/internal/key_agreement.hpp"
#include "torvane/platform/key_stores/software_key_store.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"
#include "torvane/platform/primitives/secret_random.hpp"

namespace Torvane::JOSE {
namespace {

SecretBuffer generateRandomKey(std::size_t size) {
    SecretBuffer key(size);
    Crypto::fillWithRandomSecret(key);
    return key;
}

std::optional<SecKey> tryConvert(const JWK& jwk) {
    try {
        return jwk.converted();
    } catch (const Error&) {
        return std::nullopt;
    }
}

[[noreturn]] void rejectEpk() {
    throw JOSESwiftError::parsingFailed("The header's \"epk\" is not a public key on the recipient's curve.");
}

SecKey readEphemeralKey(const JWEHeader& header, const SecKey& own) {
    const auto member = header.parameters().find("epk");
    const auto* members = member == header.parameters().end() ? nullptr : member->second.as<JSONValue::Object>();
    if (members == nullptr || members->contains("d")) rejectEpk();
    try {
        auto key = JWK::initFrom(*members).converted();
        if (key.curve() && key.curve() == own.curve()) return key;
    } catch (const Error&) {
        // Every fault of the "epk" gets the same text.
    }
    rejectEpk();
}

PartyInfo readPartyInfo(const JWEHeader& header) {
    return {header.agreementPartyUInfo().value_or(ByteBuffer()), header.agreementPartyVInfo().value_or(ByteBuffer())};
}

}  // namespace

std::optional<Encrypter> Encrypter::create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const SecKey& encryptionKey) {
    if (!encryptionKey.isPublicKey() || !fits(keyManagementAlgorithm, encryptionKey)) return std::nullopt;
    return Encrypter(keyManagementAlgorithm, contentEncryptionAlgorithm, encryptionKey);
}

std::optional<Encrypter> Encrypter::create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const JWK& encryptionKey) {
    const auto key = tryConvert(encryptionKey);
    return key ? create(keyManagementAlgorithm, contentEncryptionAlgorithm, *key) : std::nullopt;
}

ContentEncryptionKey Encrypter::makeContentEncryptionKey(const JWEHeader& header) const {
    const auto management = parameters(keyManagement_);
    const auto keySize = parameters(contentEncryption_).keySize;
    if (!management.isKeyAgreement()) {
        auto key = generateRandomKey(keySize);
        auto encryptedKey = key_.encrypt(*management.oaepHash, key);
        return {std::move(key), std::move(encryptedKey), std::nullopt};
    }
    const auto ephemeral = SoftwareKeyStore::generateEC(*key_.curve());
    auto ephemeralPublicKey = toJSONObject(ECPublicKey(ephemeral.publicKey(), {}).parameters());
    auto agreed = agreeOnKey(ephemeral, key_, keyManagement_, contentEncryption_, readPartyInfo(header));
    if (management.isDirect()) return {std::move(agreed), {}, std::move(ephemeralPublicKey)};
    auto key = generateRandomKey(keySize);
    auto encryptedKey = Crypto::wrapKey(agreed, key);
    return {std::move(key), std::move(encryptedKey), std::move(ephemeralPublicKey)};
}

std::optional<Decrypter> Decrypter::create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const SecKey& decryptionKey) {
    if (decryptionKey.isPublicKey() || !fits(keyManagementAlgorithm, decryptionKey)) return std::nullopt;
    return Decrypter(keyManagementAlgorithm, contentEncryptionAlgorithm, decryptionKey);
}

std::optional<Decrypter> Decrypter::create(KeyManagementAlgorithm keyManagementAlgorithm,
                                           ContentEncryptionAlgorithm contentEncryptionAlgorithm,
                                           const JWK& decryptionKey) {
    const auto key = tryConvert(decryptionKey);
    return key ? create(keyManagementAlgorithm, contentEncryptionAlgorithm, *key) : std::nullopt;
}

SecretBuffer Decrypter::agreeWithSender(const JWEHeader& header) const {
    const auto info = readPartyInfo(header);
    return agreeOnKey(key_, readEphemeralKey(header, key_), keyManagement_, contentEncryption_, info);
}

SecretBuffer Decrypter::recoverContentEncryptionKey(const JWEHeader& header, ByteView encryptedKey) const {
    const auto management = parameters(keyManagement_);
    const auto keySize = parameters(contentEncryption_).keySize;
    if (encryptedKey.empty() != management.isDirect()) {
        throw JOSESwiftError::parsingFailed(management.isDirect() ? "The encrypted key is not empty."
                                                                  : "The encrypted key is empty.");
    }
    if (management.isDirect()) return agreeWithSender(header);

    auto substitute = generateRandomKey(keySize);
    auto key = management.isKeyAgreement() ? Crypto::unwrapKey(agreeWithSender(header), encryptedKey, keySize)
                                           : key_.decrypt(*management.oaepHash, encryptedKey);
    return key && key->size() == keySize ? *std::move(key) : std::move(substitute);
}

}  // namespace Torvane::JOSE
