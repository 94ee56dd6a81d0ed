// The library as a partner of the interop matrix: reads one JSON request per line from stdin, and writes one JSON
// response per line to stdout. partners/ has the same for other implementations; matrix.py asks and compares.
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Testing;

constexpr auto signatureAlgorithm = JOSE::fromRawValue<JOSE::SignatureAlgorithm>;

std::string base64url(ByteView bytes) {
    return encodeBase64url(bytes);
}

bool isSecp256k1(const json& jwk) {
    return jwk.value("crv", "") == "secp256k1";
}

JsonWebKey privateKeyIn(const json& jwk, JWKUse use) {
    const std::string kid = jwk.value("kid", "");
    if (isSecp256k1(jwk)) return {Zennet::PrivateKey(decoded(jwk, "d"), KeyType::SECP256K1Key), use, kid};
    return JsonWebKey::fromPrivateJwk(bytesOf(jwk.dump()), use, kid);
}

// A set with one platform key, as applications have it, in which a helper finds the key.
JsonWebKeySet setWith(const json& jwk, KeyClass keyClass, JWKUse use) {
    const auto key = privateKeyOf(jwk);
    return {JsonWebKey(keyClass == KeyClass::privateKey ? key : key.publicKey(), keyClass, KeyType::RSA2048Key, use,
                       jwk.at("kid"))};
}

// A sender's helper has the private signing key and the recipient's public encryption key; a receiver's helper has the
// public signing key and the private encryption key.
JOSEHelper helperFor(const json& request, KeyClass ofSigning, KeyClass ofEncryption) {
    const auto signing = setWith(request.at("sigKey"), ofSigning, JWK_SIG);
    const auto encryption = setWith(request.at("encKey"), ofEncryption, JWK_ENC);
    const bool sends = ofSigning == KeyClass::privateKey;
    return JOSEHelper::Builder()
        .setSenderJwkSet(sends ? signing : encryption)
        .setRecipientJwkSet(sends ? encryption : signing)
        .setJWSAlgorithm(request.at("sigAlg"))
        .setJWEKeyManagementAlgorithm(request.at("alg"))
        .setJWEContentEncryptionAlgorithm(request.at("enc"))
        .create();
}

const std::map<std::string, std::function<json(const json&)>> operations{
    {"algorithms",
     [](const json&) -> json {
         json names{{"sign", json::array()}, {"alg", json::array()}, {"enc", json::array()}, {"version", "torvane"}};
         for (const auto& entry : valueTable(JOSE::SignatureAlgorithm())) names["sign"].push_back(entry.name);
         for (const auto& entry : valueTable(JOSE::KeyManagementAlgorithm())) names["alg"].push_back(entry.name);
         for (const auto& entry : valueTable(JOSE::ContentEncryptionAlgorithm())) names["enc"].push_back(entry.name);
         return names;
     }},
    {"sign",
     [](const json& request) -> json {
         const JWSSigner signer(signatureAlgorithm(request.at("alg").get<std::string>()).value(),
                                privateKeyIn(request.at("key"), JWK_SIG));
         const auto token = signer.signJWT(decoded(request, "payload"), request.value("header", StringMap()));
         return {{"token", asText(token)}};
     }},
    {"verify",
     [](const json& request) -> json {
         const JWSVerifier verifier(signatureAlgorithm(request.at("alg").get<std::string>()).value(),
                                    publicKeyOf(request.at("key")));
         return {{"payload", base64url(verifier.verifyJWS(request.at("token").get<std::string>()))}};
     }},
    {"encrypt",
     [](const json& request) -> json {
         const JWEEncrypter encrypter(request.at("alg").get<std::string>(), request.at("enc").get<std::string>(),
                                      publicKeyOf(request.at("key")), {});
         const auto token = encrypter.encryptJWT(decoded(request, "payload"), request.value("header", StringMap()));
         return {{"token", asText(token)}};
     }},
    {"decrypt",
     [](const json& request) -> json {
         const JWEDecrypter decrypter(request.at("alg").get<std::string>(), request.at("enc").get<std::string>(),
                                      privateKeyIn(request.at("key"), JWK_ENC));
         return {{"payload", base64url(decrypter.decryptJWE(request.at("token").get<std::string>()))}};
     }},
    {"encode",
     [](const json& request) -> json {
         const auto helper = helperFor(request, KeyClass::privateKey, KeyClass::publicKey);
         return {{"token", asText(helper.encodeMessage(decoded(request, "payload")))}};
     }},
    {"decode",
     [](const json& request) -> json {
         const auto helper = helperFor(request, KeyClass::publicKey, KeyClass::privateKey);
         return {{"payload", base64url(helper.decodeMessage(asBytes(request.at("token").get<std::string>())))}};
     }},
    {"public",
     [](const json& request) -> json {
         const auto& jwk = request.at("key");
         const auto key =
             isSecp256k1(jwk) ? JsonWebKey(publicKeyOf(jwk).key(), JWK_SIG, jwk.value("kid", "")) : publicKeyOf(jwk);
         return {{"jwk", json(key.encodeToDictionary())}};
     }},
    {"set",
     [](const json& request) -> json {
         std::vector<JsonWebKey> keys;
         for (const auto& jwk : request.at("keys")) keys.push_back(publicKeyOf(jwk));
         return {{"jwks", JsonWebKeySet(std::move(keys)).encodeToString()}};
     }},
    {"readset",
     [](const json& request) -> json {
         auto kids = json::array();
         for (const auto& key : JsonWebKeySet(bytesOf(request.at("jwks"))).jwks) kids.push_back(key.keyId());
         return {{"kids", kids}};
     }},
};

json answer(const std::string& line) {
    try {
        const auto request = json::parse(line);
        return operations.at(request.at("op"))(request);
    } catch (const std::exception& error) {
        return {{"error", error.what()}};
    }
}

}  // namespace

int main() try {
    for (std::string line; std::getline(std::cin, line);) std::cout << answer(line).dump() << std::endl;
} catch (const std::exception& error) {
    std::cerr << "torvane_partner: " << error.what() << '\n';
    return 1;
}
