// Tests with the published examples of the RFCs. Supported ones lead to the published bytes, and deliberately omitted
// algorithms are rejected; outcomes.json says how many cases end in which way.

#include "torvane/platform/jose/jwk_set.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Testing;
using enum JOSEError::Case;
using enum JOSE::SignatureAlgorithm;
using JOSE::fromRawValue;

// An RSA key for a token that must be rejected: the token's own key if that is RSA.
json rsaKeyFor(const json& key) {
    if (key.is_object() && key.at("kty") == "RSA") return key;
    return json::parse(keyText(rsaEnc, "jwk_private"));
}

bool isCompact(const json& vector) {
    return vector.value("serialization", "compact") == "compact";
}

void runJws(const json& vector, Outcomes& outcomes) {
    const std::string name = firstOf(vector, {"/alg", "/signatures/0/alg"});
    const auto algorithm = fromRawValue<JOSE::SignatureAlgorithm>(name);
    const auto key = firstOf(vector, {"/key", "/keys/0"});
    const std::string token = vector.at("token");
    if (!algorithm) outcomes.count("unknown " + name);
    if (!algorithm || !isCompact(vector)) {
        const JWSVerifier verifier(RS256, publicKeyOf(rsaKeyFor(key)));
        return outcomes.count(reasonOf(JWSVerificationError, [&] { static_cast<void>(verifier.verifyJWS(token)); }));
    }
    const auto payload = decoded(vector, "payload_b64u");
    EXPECT_EQ(JWSVerifier(*algorithm, publicKeyOf(key)).verifyJWS(token), payload);
    outcomes.count("verified");
    if (algorithm == RS256) {
        const std::string header = firstOf(vector, {"/protected_text", "/signatures/0/protected_text"});
        const auto signer = JOSE::Signer::create(*algorithm, privateKeyOf(key)).value();
        const JOSE::JWS jws(JOSE::JWSHeader(asBytes(header)), payload, signer);
        EXPECT_EQ(asText(jws.compactSerializedData()), token);
        outcomes.count("signed again");
    }
}

using Encrypted = std::pair<ByteBuffer, ByteBuffer>;

JOSE::ContentEncryptionAlgorithm encryptionNamed(const std::string& enc) {
    return fromRawValue<JOSE::ContentEncryptionAlgorithm>(enc).value();
}

void expectRejectedJwe(const JWEDecrypter& decrypter, const std::string& token, Outcomes& outcomes) {
    outcomes.count(reasonOf(JWEDecrypterError, [&] { static_cast<void>(decrypter.decryptJWE(token)); }));
}

void runJwe(const json& vector, Outcomes& outcomes) {
    const std::string alg = firstOf(vector, {"/alg", "/jwe_alg", "/recipients/0/alg"});
    const std::string enc = vector.at("enc"), token = vector.at("token");
    const auto key = firstOf(vector, {"/key", "/enc_key", "/keys/0"});
    if (!fromRawValue<JOSE::KeyManagementAlgorithm>(alg)) {
        const auto rsa = privateKeyOf(rsaKeyFor(key));
        const auto unknown = alg + " algorithm is not supported for key management.";
        EXPECT_ERROR(JWEDecrypter(alg, enc, rsa), JOSEError::algorithmNotSupported(unknown));
        outcomes.count("unknown " + alg);
        expectRejectedJwe({"RSA-OAEP", enc, rsa}, token, outcomes);
    } else if (!isCompact(vector)) {
        expectRejectedJwe({alg, enc, privateKeyOf(key)}, token, outcomes);
    } else {
        const JWEDecrypter decrypter(alg, enc, privateKeyOf(key));
        EXPECT_EQ(decrypter.decryptJWE(token), decoded(vector, "plaintext_b64u"));
        outcomes.count("decrypted");
    }
    const std::string cek = firstOf(vector, {"/cek_b64u", "/generated/cek", "/encrypting_key/cek"});
    if (!isCompact(vector) || cek.empty() || vector.contains("zip")) return;
    const auto iv = fromBase64(firstOf(vector, {"/iv_b64u", "/generated/iv"}));
    const auto jwe = parts(asBytes(token));
    EXPECT_EQ(
        encrypted(encryptionNamed(enc), fromBase64(cek), iv, asBytes(jwe.at(0)), decoded(vector, "plaintext_b64u")),
        Encrypted(fromBase64(jwe.at(3)), fromBase64(jwe.at(4))));
    outcomes.count("content encrypted again");
}

TEST(RfcVectors, AcceptsOnlySupportedTokens) {
    for (const auto* file : {"rfc7515_jws.json", "rfc7520_jws.json", "rfc7797_unencoded.json"}) {
        runRfcVectors(file, runJws);
    }
    runRfcVectors("rfc7520_jwe.json", runJwe);
}

TEST(RfcVectors, Rfc7516DecryptsOnlySupportedTokens) {
    const auto tokenOrSteps = [](const json& vector, Outcomes& outcomes) {
        if (vector.at("serialization") != "steps") return runJwe(vector, outcomes);
        auto key = decoded(vector, "mac_key_b64u");
        for (const auto byte : decoded(vector, "enc_key_b64u")) key.push_back(byte);
        EXPECT_EQ(encrypted(encryptionNamed(vector.at("enc")), key, decoded(vector, "iv_b64u"),
                            decoded(vector, "aad_b64u"), decoded(vector, "plaintext_b64u")),
                  Encrypted(decoded(vector, "ciphertext_b64u"), decoded(vector, "tag_b64u")));
        outcomes.count("steps made again");
    };
    runRfcVectors("rfc7516_jwe.json", tokenOrSteps);
}

TEST(RfcVectors, Rfc7517RejectsAPasswordAndReadsTheKeyInside) {
    const auto encryptedKey = [](const json& vector, Outcomes& outcomes) {
        runJwe(vector, outcomes);
        EXPECT_FALSE(privateKeyOf(json::parse(decoded(vector, "plaintext_b64u"))).isPublicKey());
    };
    runRfcVectors("rfc7517_C_encrypted_jwk.json", encryptedKey);
}

TEST(RfcVectors, Rfc7519RejectsUnsecuredAndRsa15Tokens) {
    const auto jwt = [](const json& vector, Outcomes& outcomes) {
        if (vector.at("kind") == "jws") return runJws(vector, outcomes);
        runJwe(vector, outcomes);
        if (vector.at("kind") != "nested") return;
        const JWSVerifier verifier(RS256, publicKeyOf(vector.at("sig_key")));
        EXPECT_EQ(json::parse(verifier.verifyJWS(decoded(vector, "plaintext_b64u"))), vector.at("claims"));
        outcomes.count("inner verified");
    };
    runRfcVectors("rfc7519_jwt.json", jwt);
}

TEST(RfcVectors, Rfc7520NestedOpensInCompactFormOnly) {
    const auto nested = [](const json& vector, Outcomes& outcomes) {
        const JWEDecrypter decrypter("RSA-OAEP", "A128GCM", privateKeyOf(vector.at("enc_key")));
        const auto jws = decrypter.decryptJWE(vector.at("token").get<std::string>());
        EXPECT_EQ(jws, bytesOf(vector.at("jws_token")));
        const JWSVerifier verifier(PS256, publicKeyOf(vector.at("sig_key")));
        EXPECT_EQ(verifier.verifyJWS(jws), decoded(vector, "payload_b64u"));
        outcomes.count("opened");
    };
    runRfcVectors("rfc7520_nested.json", nested);
}

TEST(RfcVectors, Es256kVerifiesWithRawKeysAndSignsByRfc6979) {
    const auto es256k = [](const json& vector, Outcomes& outcomes) {
        runJws(vector, outcomes);
        EXPECT_ERROR(privateKeyOf(vector.at("key")),
                     JOSESwiftError::unsupportedKey("The JWK's curve is not P-256, P-384 or P-521."));
        // One of the tokens was made with the nonce of RFC 6979 and the lower s.
        const auto scalar = decoded(vector.at("key"), "d");
        const auto signer = JOSE::Signer::create(ES256K, scalar).value();
        const auto jws = parts(bytesOf(vector.at("token")));
        const auto again = signer.sign(asBytes(jws.at(0) + "." + jws.at(1)));
        if (again == fromBase64(jws.at(2))) outcomes.count("signed again");
    };
    runRfcVectors("es256k.json", es256k);
}

void runCertificate(const json& vector, const json& chain, Outcomes& outcomes) {
    const auto der = fromBase64(chain.at(0));
    EXPECT_EQ(JOSE::certificateThumbprint(der), vector.at("x5t_sha256_b64u").get<std::string>());
    EXPECT_EQ(JOSE::certificateThumbprint(der, HashFunction::SHA1), vector.at("x5t_sha1_b64u").get<std::string>());
    EXPECT_EQ(JOSE::makeCertificateChain(std::vector<ByteBuffer>{der}),
              JSONValue::List::of(chain.at(0).get<std::string>()));
    outcomes.count("certificate");
}

void runKey(const JOSE::JWK& key, const json& members, const json& expected, Outcomes& outcomes) {
    for (const auto* name : {"kty", "crv", "kid", "use", "alg"}) {
        EXPECT_EQ(key[name].value_or("none"), expected.value(name, "none")) << name;
    }
    for (const auto* name : {"d", "p", "q", "dp", "dq", "qi", "k"}) EXPECT_EQ(key[name], std::nullopt) << name;
    if (expected.at("kty") == "oct") {
        EXPECT_ERROR(key.converted(), JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key."));
        return outcomes.count("no platform key");
    }
    const auto spki = SoftwareKeyStore::load(bytesOf(expected.at("spki_pem")));
    EXPECT_EQ(key.converted().publicComponents(), spki.publicComponents());
    EXPECT_TRUE(key.converted().isPublicKey());
    outcomes.count("public key");
    if (!expected.at("private")) return;
    const auto own = privateKeyOf(members);
    const auto pkcs8 = SoftwareKeyStore::load(bytesOf(expected.at("pkcs8_pem")));
    EXPECT_EQ(own.publicComponents(), pkcs8.publicComponents());
    outcomes.count("private key");
}

TEST(RfcVectors, Rfc7517AndRfc7520KeysEqualTheirPem) {
    const auto keyOrSet = [](const json& vector, Outcomes& outcomes) {
        const std::string text = vector.at("text");
        if (vector.contains("x5t_sha256_b64u")) runCertificate(vector, json::parse(text).at("x5c"), outcomes);
        const auto members = json::parse(text).value("keys", json::array({json::parse(text)}));
        const auto keys = vector.at("kind") == "jwks" ? JOSE::JWKSet::initFrom(asBytes(text)).keys()
                                                      : std::vector{JOSE::JWK::initFrom(asBytes(text))};
        ASSERT_EQ(keys.size(), vector.at("keys").size());
        for (std::size_t i = 0; i < keys.size(); ++i) {
            runKey(keys[i], members.at(i), vector.at("keys").at(i), outcomes);
        }
    };
    runRfcVectors("rfc7517_jwk.json", keyOrSet);
}

TEST(RfcVectors, Rfc7638ThumbprintsCoverOnlyTheRequiredMembers) {
    const auto thumbprint = [](const json& vector, Outcomes& outcomes) {
        const auto& jwk = vector.at("jwk");
        const std::string bits = vector.at("hash"), expected = vector.at("thumbprint_b64u");
        const auto hash = bits == "SHA-512"   ? HashFunction::SHA512
                          : bits == "SHA-384" ? HashFunction::SHA384
                                              : HashFunction::SHA256;
        const auto members = toStringMap(JSONSerialization::jsonObject(bytesOf(jwk.dump()))).value();
        if (jwk.at("kty") != "RSA" && jwk.at("kty") != "EC") {
            EXPECT_ERROR(JOSE::thumbprint(members, hash),
                         JOSESwiftError::unsupportedKey("The JWK is neither an RSA nor an EC key."));
            return outcomes.count("no key pair");
        }
        EXPECT_EQ(JOSE::thumbprint(members, hash), expected);
        outcomes.count("as published");
        if (jwk.value("crv", "") == "secp256k1") return;
        EXPECT_EQ(JOSE::JWK::initFrom(bytesOf(jwk.dump())).thumbprint(hash), expected);
        outcomes.count("of a JWK");
    };
    runRfcVectors("rfc7638_thumbprint.json", thumbprint);
}

ByteBuffer fromHexMember(const json& vector, const char* name) {
    return fromHex(vector.at(name));
}

void runContentEncryption(const json& vector) {
    const auto key = fromHexMember(vector, "key_hex"), iv = fromHexMember(vector, "iv_hex"),
               aad = fromHexMember(vector, "aad_hex"), plaintext = fromHexMember(vector, "plaintext_hex");
    const auto encryption = encryptionNamed(vector.at("enc"));
    const auto [ciphertext, tag] = encrypted(encryption, key, iv, aad, plaintext);
    EXPECT_EQ(ciphertext, fromHexMember(vector, "ciphertext_hex"));
    EXPECT_EQ(tag, fromHexMember(vector, "tag_hex"));
    const auto hash = parameters(encryption).macHash.value();
    auto buffer = ciphertext;
    EXPECT_TRUE(Crypto::decryptCbcHmac(hash, key, iv, aad, tag, buffer));
    EXPECT_EQ(buffer, plaintext);
}

void runKeyAgreement(const json& vector) {
    const auto ephemeral = privateKeyOf(vector.at("ephemeral_key")),
               recipient = privateKeyOf(vector.at("recipient_key"));
    const auto shared = ephemeral.agree(recipient.publicKey());
    EXPECT_EQ(ByteBuffer(shared.begin(), shared.end()), fromHexMember(vector, "z_hex"));
    const auto derived = Crypto::deriveKeyByConcatKdf(shared, fromHexMember(vector, "kdf_otherinfo_hex"), 16);
    EXPECT_EQ(ByteBuffer(derived.begin(), derived.end()), decoded(vector, "derived_b64u"));
    EXPECT_EQ(
        JOSE::agreeOnKey(recipient, ephemeral.publicKey(), JOSE::KeyManagementAlgorithm::ECDH_ES,
                         JOSE::ContentEncryptionAlgorithm::A128GCM, {decoded(vector, "apu"), decoded(vector, "apv")}),
        derived);
}

void runKeyWrap(const json& vector) {
    const auto key = fromHexMember(vector, "plaintext_hex"), wrappingKey = fromHexMember(vector, "kek_hex");
    const auto wrapped = fromHexMember(vector, "wrapped_hex");
    EXPECT_EQ(Crypto::wrapKey(wrappingKey, key), wrapped);
    EXPECT_EQ(Crypto::unwrapKey(wrappingKey, wrapped, key.size()), SecretBuffer(key.begin(), key.end()));
}

TEST(RfcVectors, Rfc7518PrimitivesGiveThePublishedBytes) {
    const std::map<std::string, void (*)(const json&)> kinds{
        {"aes_cbc_hmac_sha2", runContentEncryption}, {"ecdh_es", runKeyAgreement}, {"aes_key_wrap", runKeyWrap}};
    const auto primitive = [&](const json& vector, Outcomes& outcomes) {
        const std::string kind = vector.at("kind");
        kinds.at(kind)(vector);
        outcomes.count(kind);
    };
    runRfcVectors("rfc7518_primitives.json", primitive);
}

}  // namespace
