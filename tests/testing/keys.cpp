#include "tests/testing/keys.hpp"

#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/testing/vectors.hpp"

namespace Testing {
namespace {

using Torvane::JsonWebKey;
using Zennet::KeyType;

const nlohmann::json& entry(const std::string& kid) {
    static const auto vectors = readVectors("nested_interop.json");
    for (const auto& key : vectors["keys"]) {
        if (key["kid"] == kid) return key;
    }
    throw std::runtime_error("no test key " + kid);
}

struct IdleStoreKey final : StoreKey {
    explicit IdleStoreKey(PublicComponents numbers) : components(std::move(numbers)) {}
    PublicComponents publicComponents() const override { return components; }

    PublicComponents components;
};

}  // namespace

SecKey keyOfIdleStore(const std::string& kid) {
    return SecKey(std::make_shared<const IdleStoreKey>(publicKey(kid).publicComponents()));
}

const SecKey& privateKey(const std::string& kid) {
    static std::map<std::string, SecKey> keys;
    auto found = keys.find(kid);
    if (found == keys.end()) {
        found = keys.emplace(kid, SoftwareKeyStore::load(keyText(kid, "pkcs8_pem"))).first;
    }
    return found->second;
}

SecKey publicKey(const std::string& kid) {
    return privateKey(kid).publicKey();
}

std::string keyText(const std::string& kid, const std::string& member) {
    const auto& value = entry(kid).at(member);
    return value.is_string() ? value.get<std::string>() : value.dump();
}

JsonWebKey privateJwk(const std::string& kid, Torvane::JWKUse use) {
    return {privateKey(kid), use, kid};
}

JsonWebKey publicJwk(const std::string& kid, Torvane::JWKUse use) {
    return {publicKey(kid), use, kid};
}

JsonWebKey keyInWords(const std::string& words) {
    std::istringstream stream(words);
    std::string keyClass, kid, useText, type;
    stream >> keyClass >> kid >> useText >> type;
    const bool isPublic = keyClass == "public";
    const auto use = Torvane::fromRawValue<Torvane::JWKUse>(useText).value();
    if (keyClass == "privateJwk") return JsonWebKey::fromPrivateJwk(keyText(kid, "jwk_private"), use, kid);
    if (kid.starts_with("secp256k1")) {
        const auto raw = [&](const ByteBuffer& bytes) -> Zennet::Key {
            if (isPublic) return Zennet::PublicKey(bytes, KeyType::SECP256K1Key);
            return Zennet::PrivateKey(bytes, KeyType::SECP256K1Key);
        };
        if (kid == "secp256k1-zero") return {raw(ByteBuffer(32, 0)), use, kid};
        if (kid == "secp256k1-off-curve") return {raw(ByteBuffer(65, 4)), use, kid};
        if (isPublic) return {secp256k1KeyPair().publicKey, use, kid};
        return {secp256k1KeyPair().privateKey, use, kid, secp256k1KeyPair().publicKey};
    }
    const auto key = kid == "rsa1024"
                         ? SoftwareKeyStore::load(readVectors("key_rejections.json").at(kid).get<std::string>())
                         : privateKey(kid);
    if (type == "untyped") return {Zennet::PublicKey(key.publicKey(), std::nullopt), use, kid};
    if (type == "another-type") return {Zennet::PublicKey(key.publicKey(), KeyType("EC384", "P-384")), use, kid};
    return {isPublic ? key.publicKey() : key, use, kid};
}

const Zennet::Secp256k1Utils::KeyPair& secp256k1KeyPair() {
    static const auto pair = [] {
        const auto jwk = nlohmann::json::parse(keyText("d-sig-es256k", "jwk_private"));
        ByteBuffer point{4};
        for (const auto* coordinate : {"x", "y"}) {
            for (const auto byte : fromBase64(jwk.at(coordinate))) point.push_back(byte);
        }
        return Zennet::Secp256k1Utils::KeyPair{{fromBase64(jwk.at("d")), KeyType::SECP256K1Key},
                                               {point, KeyType::SECP256K1Key}};
    }();
    return pair;
}

}  // namespace Testing
