// A shop changes its keys without losing a message: it publishes the new keys beside the old ones, waits until its bank
// has them, uses the new keys, waits until no message is under way, and removes the old keys. The "kid" of a token
// names the key that it needs.
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

    // Each helper has the keys that exist when it is made.
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
    const auto unnamed = bank(std::nullopt).encodeMessage(asBytes("encrypted to the only key there is"));

    addKey(shopKeys, JWKUse::JWK_SIG, "sig-2026");
    addKey(shopKeys, JWKUse::JWK_ENC, "enc-2026");
    const auto shopWithBoth = shop("sig-2026"), bankWithBoth = bank("enc-2026");
    const auto newToBank = shopWithBoth.encodeMessage(asBytes("signed with sig-2026"));
    const auto newToShop = bankWithBoth.encodeMessage(asBytes("encrypted to enc-2026"));
    std::cout << "with the old keys and the new\n";
    decode("the bank", bankWithBoth, oldToBank);
    decode("the bank", bankWithBoth, newToBank);
    decode("the shop", shopWithBoth, oldToShop);
    decode("the shop", shopWithBoth, newToShop);
    std::cout << "for a bank that has not fetched the new ones yet\n";
    decode("the bank", bankOf2025, newToBank);
    std::cout << "without a \"kid\", now that two keys could be meant\n";
    decode("the shop", shopWithBoth, unnamed);

    dropKey(shopKeys, "sig-2025");
    dropKey(shopKeys, "enc-2025");
    const auto shopOf2026 = shop("sig-2026"), bankOf2026 = bank("enc-2026");
    std::cout << "with the new keys alone\n";
    decode("the bank", bankOf2026, oldToBank);
    decode("the bank", bankOf2026, newToBank);
    decode("the shop", shopOf2026, oldToShop);
    decode("the shop", shopOf2026, newToShop);
}
