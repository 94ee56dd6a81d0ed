// A shop rotates its keys without losing a message. It publishes the new keys beside the old ones, and its bank chooses
// the encryption key by its id. The shop waits until the bank has the new keys, uses them, waits until no message for
// the old ones is in transit, and removes the old keys. The header of each token contains the id of the key that it
// needs ("kid").
#include <iostream>
#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace {

using namespace Torvane;

void addKey(JsonWebKeySet& keys, JWKUse use, const std::string& id) {
    keys.jwks.emplace_back(SoftwareKeyStore::generateRSA(), use, id);
}

void dropKey(JsonWebKeySet& keys, const std::string& id) {
    std::erase_if(keys.jwks, [&](const auto& key) { return key.keyId() == id; });
}

void decode(const char* reader, const JOSEHelper& helper, const ByteBuffer& token) {
    std::cout << "    " << reader << ": ";
    try {
        std::cout << asText(helper.decodeMessage(token)) << '\n';
    } catch (const JOSEError& error) {
        std::cout << error.errorDescription() << '\n';
    }
}

}  // namespace

int main() {
    JsonWebKeySet shopKeys, bankKeys;
    addKey(shopKeys, JWKUse::JWK_SIG, "sig-2025");
    addKey(shopKeys, JWKUse::JWK_ENC, "enc-2025");
    addKey(bankKeys, JWKUse::JWK_SIG, "bank-sig");
    addKey(bankKeys, JWKUse::JWK_ENC, "bank-enc");

    // A helper keeps the keys that the sets contain when it is made.
    const auto shop = [&](const std::string& signingKeyId) {
        JOSEHelper::Builder builder;
        builder.setSenderJwkSet(shopKeys, signingKeyId).setRecipientJwkSet(bankKeys.publicSet(), "bank-enc");
        return builder.create();
    };
    const auto bank = [&](const std::optional<std::string>& encryptionKeyId) {
        JOSEHelper::Builder builder;
        builder.setSenderJwkSet(bankKeys, "bank-sig").setRecipientJwkSet(shopKeys.publicSet(), encryptionKeyId);
        return builder.create();
    };

    const auto bankOf2025 = bank("enc-2025");
    const auto oldToBank = shop("sig-2025").encodeMessage(asBytes("signed with sig-2025"));
    const auto oldToShop = bankOf2025.encodeMessage(asBytes("encrypted to enc-2025"));
    const auto unnamed = bank(std::nullopt).encodeMessage(asBytes("encrypted without a key id"));

    addKey(shopKeys, JWKUse::JWK_SIG, "sig-2026");
    addKey(shopKeys, JWKUse::JWK_ENC, "enc-2026");
    const auto shopWithBoth = shop("sig-2026"), bankWithBoth = bank("enc-2026");
    const auto newToBank = shopWithBoth.encodeMessage(asBytes("signed with sig-2026"));
    const auto newToShop = bankWithBoth.encodeMessage(asBytes("encrypted to enc-2026"));
    std::cout << "old and new keys side by side\n";
    decode("the bank", bankWithBoth, oldToBank);
    decode("the bank", bankWithBoth, newToBank);
    decode("the shop", shopWithBoth, oldToShop);
    decode("the shop", shopWithBoth, newToShop);
    std::cout << "a bank that has only the old keys\n";
    decode("the bank", bankOf2025, newToBank);
    std::cout << "a token without \"kid\", when there are two keys\n";
    decode("the shop", shopWithBoth, unnamed);

    dropKey(shopKeys, "sig-2025");
    dropKey(shopKeys, "enc-2025");
    const auto shopOf2026 = shop("sig-2026"), bankOf2026 = bank("enc-2026");
    std::cout << "only new keys\n";
    decode("the bank", bankOf2026, oldToBank);
    decode("the bank", bankOf2026, newToBank);
    decode("the shop", shopOf2026, oldToShop);
    decode("the shop", shopOf2026, newToShop);
}
