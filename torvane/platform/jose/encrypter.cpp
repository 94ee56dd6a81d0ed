#include "torvane/platform/jose/encrypter.hpp"

#include "torvane/platform/core/random.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/internal/key_agreement.hpp"
#include "torvane/platform/key_stores/software_key_store.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

namespace Torvane::JOSE {
namespace {

SecretBuffer randomKey(std::size_t size) {
    SecretBuffer key(size);
    secRandomCopyBytes(key);
    return key;
}

std::optional<SecKey> convertedOrNothing(const JWK& jwk) {
    try {
        return jwk.converted();
    } catch (const Error&) {
        return std::nullopt;
    }
}

[[noreturn]] void refuseEpk() {
    throw JOSESwiftError::parsingFailed("The header's \"epk\" is not a public key on the recipient's curve.");
}

SecKey ephemeralKey(const JWEHeader& header, const SecKey& own) {
    const auto member = header.parameters().find("epk");
    const auto* members = member == header.parameters().end() ? nullptr : member->second.as<JSONValue::Object>();
    if (members == nullptr || members->contains("d")) refuseEpk();
    try {
        auto key = JWK::initFrom(*members).converted();
        if (key.curve() && key.curve() == own.curve()) return key;
    } catch (const Error&) {
        // Whatever is wrong with it, it is refused in the same words.
    }
    refuseEpk();
}

ByteBuffer partyInfo(const JWEHeader& header, const char* name) {
    const auto member = header.parameters().find(name);
    if (member == header.parameters().end()) return {};
    const auto* text = member->second.as<std::string>();
    auto bytes = text ? decodeBase64url(*text) : std::nullopt;
    if (!bytes) throw JOSESwiftError::parsingFailed("The header's \"" + std::string(name) + "\" is not base64url.");
    return *std::move(bytes);
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
    const auto key = convertedOrNothing(encryptionKey);
    return key ? create(keyManagementAlgorithm, contentEncryptionAlgorithm, *key) : std::nullopt;
}

ContentKey Encrypter::newContentKey(JWEHeader& header) const {
    const auto management = parameters(keyManagement_);
    const auto keySize = parameters(contentEncryption_).keySize;
    if (!management.isKeyAgreement()) {
        auto key = randomKey(keySize);
        auto encryptedKey = key_.encrypt(*management.oaepHash, key);
        return {std::move(key), std::move(encryptedKey)};
    }
    const auto ephemeral = SoftwareKeyStore::generateEC(*key_.curve());
    header.setEphemeralPublicKey(toJSONObject(ECPublicKey(ephemeral.publicKey(), {}).parameters()));
    const PartyInfo info{partyInfo(header, "apu"), partyInfo(header, "apv")};
    auto agreed = agreedKey(ephemeral, key_, keyManagement_, contentEncryption_, info);
    if (management.isDirect()) return {std::move(agreed), {}};
    auto key = randomKey(keySize);
    auto encryptedKey = Crypto::wrapKey(agreed, key);
    return {std::move(key), std::move(encryptedKey)};
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
    const auto key = convertedOrNothing(decryptionKey);
    return key ? create(keyManagementAlgorithm, contentEncryptionAlgorithm, *key) : std::nullopt;
}

SecretBuffer Decrypter::agreed(const JWEHeader& header) const {
    const PartyInfo info{partyInfo(header, "apu"), partyInfo(header, "apv")};
    return agreedKey(key_, ephemeralKey(header, key_), keyManagement_, contentEncryption_, info);
}

SecretBuffer Decrypter::contentKey(const JWEHeader& header, ByteView encryptedKey) const {
    const auto management = parameters(keyManagement_);
    const auto keySize = parameters(contentEncryption_).keySize;
    if (encryptedKey.empty() != management.isDirect()) {
        throw JOSESwiftError::parsingFailed(management.isDirect() ? "The encrypted key is not empty."
                                                                  : "The encrypted key is empty.");
    }
    if (management.isDirect()) return agreed(header);

    auto substitute = randomKey(keySize);
    auto key = management.isKeyAgreement() ? Crypto::unwrapKey(agreed(header), encryptedKey, keySize)
                                           : key_.decrypt(*management.oaepHash, encryptedKey);
    return key && key->size() == keySize ? *std::move(key) : std::move(substitute);
}

}  // namespace Torvane::JOSE
