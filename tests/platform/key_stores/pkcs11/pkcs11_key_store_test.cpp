#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include "tests/platform/key_stores/pkcs11/device_testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

Pkcs11KeyStore storeOf(const SoftDevice& device) {
    return Pkcs11KeyStore(device.uri(), pin);
}

TEST(Pkcs11Key, SignsAndDecryptsLikeASoftwareKey) {
    const SoftDevice device;
    const auto store = storeOf(device);
    for (const std::size_t bits : {2048U, 3072U}) {
        SCOPED_TRACE(bits);
        const auto key = store.generateRSA(bits, {"rsa" + std::to_string(bits), {}});
        EXPECT_EQ(key.signatureSize(), bits / 8);
        for (const auto hash : {SHA1, SHA256, SHA384, SHA512}) {
            const ByteBuffer digest(digestSize(hash), 7);
            for (const auto scheme : {RSA_PKCS1, RSA_PSS}) {
                if (hash == SHA1) continue;
                EXPECT_TRUE(key.verify(scheme, hash, digest, key.sign(scheme, hash, digest)));
            }
            for (const std::size_t size : {0U, 16U, 64U}) {
                const ByteBuffer plaintext(size, 9);
                const auto decrypted = key.decrypt(hash, key.encrypt(hash, plaintext));
                ASSERT_TRUE(decrypted);
                EXPECT_EQ(ByteBuffer(decrypted->begin(), decrypted->end()), plaintext);
            }
        }
    }
    for (const auto& [peer, hash] :
         {std::pair{privateKey(ecEncP256), SHA256}, {privateKey(ecEncP384), SHA384}, {privateKey(ecEncP521), SHA512}}) {
        SCOPED_TRACE(digestSize(hash));
        const auto key = store.generateEC(peer.curve().value(), {"ec" + std::to_string(digestSize(hash)), {}});
        for (const auto other : {hash, SHA512}) {
            const ByteBuffer digest(digestSize(other), 7);
            EXPECT_TRUE(key.verify(ECDSA, other, digest, key.sign(ECDSA, other, digest)));
        }
        EXPECT_EQ(key.agree(peer.publicKey()), peer.agree(key.publicKey()));
    }
}

TEST(Pkcs11Key, ReturnsNothingForAWrongCiphertext) {
    const SoftDevice device;
    const auto key = storeOf(device).generateRSA(2048, {"decrypt", {}});
    const auto& modulus = std::get<RSAPublicComponents>(key.publicComponents()).modulus;
    const ByteBuffer plaintext(32, 9);
    for (const auto hash : {SHA1, SHA256}) {
        const auto good = key.encrypt(hash, plaintext);
        auto flipped = good;
        flipped.back() ^= 1;
        const auto longer = [&](ByteBuffer bytes) { return bytes.insert(bytes.begin(), 0), bytes; };
        const ByteBuffer shorter(good.begin() + 1, good.end()), zero(256);
        auto one = zero;
        one.back() = 1;
        for (const auto& bad :
             {flipped, longer(good), shorter, zero, one, modulus, ByteBuffer(256, 0xff), ByteBuffer()}) {
            EXPECT_EQ(key.decrypt(hash, bad), std::nullopt);
        }
        EXPECT_EQ(key.decrypt(hash == SHA1 ? SHA256 : SHA1, good), std::nullopt);
        EXPECT_TRUE(key.decrypt(hash, good)) << "after many failures";
    }
}

JsonWebKey wrapKey(const SecKey& key, KeyClass half, JWKUse use) {
    const auto type = key.curve() ? KeyType::EC256Key : KeyType::RSA2048Key;
    return {half == KeyClass::publicKey ? key.publicKey() : key, half, type, use, key.name().label};
}

// The keys rsaSig and rsaEnc on a device.
struct DeviceKeys {
    DeviceKeys() {
        device.import(rsaSig, rsaSig, "01");
        device.import(rsaEnc, rsaEnc, "02");
    }
    JsonWebKeySet set(KeyClass half) const {
        const auto store = storeOf(device);
        return {wrapKey(store.key({rsaSig, {}}, KeyClass::privateKey), half, JWK_SIG),
                wrapKey(store.key({rsaEnc, {}}, KeyClass::privateKey), half, JWK_ENC)};
    }
    SoftDevice device;
};

TEST(Pkcs11Key, HasTheJwkOfTheSoftwareKey) {
    const auto published = DeviceKeys().set(KeyClass::publicKey);
    EXPECT_EQ(json::parse(published.encodeToString()),
              json::parse(JsonWebKeySet{publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)}.encodeToString()));
}

TEST(Pkcs11Key, EncodesAndDecodesMessages) {
    const DeviceKeys keys;
    const auto helper = JOSEHelper::Builder()
                            .setSenderJwkSet(keys.set(KeyClass::privateKey), rsaSig)
                            .setRecipientJwkSet(keys.set(KeyClass::publicKey), rsaEnc)
                            .create();
    const auto outside = JOSEHelper::Builder()
                             .setSenderJwkSet({privateJwk(rsaSig, JWK_SIG), privateJwk(rsaEnc, JWK_ENC)}, rsaSig)
                             .setRecipientJwkSet({publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)}, rsaEnc)
                             .create();
    const auto message = bytesOf("from a device");
    EXPECT_EQ(outside.decodeMessage(helper.encodeMessage(message)), message);
    EXPECT_EQ(helper.decodeMessage(outside.encodeMessage(message)), message);
}

TEST(Pkcs11Key, DecryptsByKeyAgreement) {
    const SoftDevice device;
    const auto message = bytesOf("to a device");
    const auto agreeing = storeOf(device).generateEC(EllipticCurve::P384, {"agree", {}});
    for (const auto* algorithm : {"ECDH-ES", "ECDH-ES+A256KW"}) {
        const JWEEncrypter encrypter(algorithm, "A256GCM", agreeing.publicKey(), std::nullopt);
        const JWEDecrypter decrypter(algorithm, "A256GCM", agreeing);
        EXPECT_EQ(decrypter.decryptJWE(encrypter.encryptJWT(message)), message);
    }
}

TEST(Pkcs11Key, IsFoundByLabelOrId) {
    const SoftDevice device;
    device.import(rsaSig, "sign", "0a01");
    device.import(ecP256, "sign2", "0a02");
    const auto expected = publicKey(ecP256).publicComponents();
    for (const auto* name : {"object=sign2", "id=%0A%02", "object=sign2;id=%0A%02", "object=sign2;type=private"}) {
        for (const auto half : {KeyClass::privateKey, KeyClass::publicKey}) {
            const auto key = openKey(device.uri(name), half, pin);
            EXPECT_EQ(key.publicComponents(), expected) << name;
            EXPECT_EQ(key.isPublicKey(), half == KeyClass::publicKey);
            EXPECT_EQ(key.name(), (KeyName{"sign2", {0x0a, 0x02}}));
        }
    }
    EXPECT_EQ(openKey(device.uri("id=%0A%02;type=public"), KeyClass::publicKey).publicComponents(), expected)
        << "needs no PIN";
}

TEST(Pkcs11Key, NamesUnsupportedAlgorithms) {
    using namespace Torvane::PKCS11;
    const SoftDevice device;
    const KeyName name{"limited", {1}};
    const CK_MECHANISM_TYPE allowed = CKM_RSA_PKCS;
    const ByteBuffer exponent{1, 0, 1};
    Template publicTemplate(CKO_PUBLIC_KEY, name), privateTemplate(CKO_PRIVATE_KEY, name);
    publicTemplate.add(CKA_MODULUS_BITS, CK_ULONG{2048}).add(CKA_PUBLIC_EXPONENT, exponent).setTrue({CKA_TOKEN});
    privateTemplate.add(CKA_ALLOWED_MECHANISMS, {reinterpret_cast<const std::uint8_t*>(&allowed), sizeof(allowed)});
    privateTemplate.setTrue({CKA_TOKEN, CKA_PRIVATE, CKA_SIGN, CKA_DECRYPT});
    Token(URI(device.uri()), pin).runInWritableSession([&](Session& session, unsigned) {
        CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
        CK_OBJECT_HANDLE publicHandle{}, privateHandle{};
        session.call<&CK_FUNCTION_LIST::C_GenerateKeyPair>("make", &mechanism, publicTemplate.data(),
                                                           publicTemplate.size(), privateTemplate.data(),
                                                           privateTemplate.size(), &publicHandle, &privateHandle);
    });
    const auto key = storeOf(device).key(name, KeyClass::privateKey);
    EXPECT_TRUE(key.verify(RSA_PKCS1, SHA256, digest, key.sign(RSA_PKCS1, SHA256, digest)));
    EXPECT_ERROR(key.sign(RSA_PSS, SHA256, digest),
                 KeyStoreError::notSupported(
                     "RSA-PSS signatures with SHA-256 are not supported by the PKCS #11 token \"app\"."));
    EXPECT_ERROR(
        key.decrypt(SHA256, key.encrypt(SHA256, digest)),
        KeyStoreError::notSupported("RSA-OAEP with SHA-256 and RSA without padding are not supported by the PKCS #11 "
                                    "token \"app\"."));
}

TEST(Pkcs11KeyStore, SearchesRegisteredDrivers) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    for (const auto* uri : {"pkcs11:token=app;object=sign", "pkcs11:token=app;object=sign?module-name=softhsm2"}) {
        EXPECT_EQ(openKey(uri, KeyClass::privateKey, pin).publicComponents(), publicKey(ecP256).publicComponents())
            << uri;
    }
    EXPECT_ERROR(openKey("pkcs11:token=app?module-name=none", KeyClass::publicKey),
                 KeyStoreError::unavailable("No PKCS #11 token matches \"pkcs11:token=app\". Tokens present: none."));
}

TEST(Pkcs11KeyStore, ErrorsNameTheKeysButNeverThePin) {
    const SoftDevice device;
    device.import(rsaSig, "sign", "0a01");
    device.import(ecP256, "sign", "0a02");
    forEachRow("pkcs11_uri_rejections.json", "uris", 24, [&](const json& row) {
        std::string uri = row["uri"];
        if (const auto at = uri.find("DRIVER"); at != uri.npos) uri.replace(at, 6, device.driver());
        EXPECT_ERROR_TEXT(openKey(uri, row["class"] == "private" ? KeyClass::privateKey : KeyClass::publicKey, pin),
                          row["error"]);
    });
}

std::size_t signatureSizeOf(const SecKey& key) {
    return key.sign(ECDSA, SHA256, ByteBuffer(32)).size();
}

TEST(Pkcs11KeyStore, NeverChoosesAmongTokensThatMatch) {
    const SoftDevice device;
    for (const auto* label : {"app", "other"}) {
        run("softhsm2-util --init-token --free --pin 1234 --so-pin 12345678 --label " + std::string(label));
    }
    EXPECT_ERROR(openKey(device.uri(), KeyClass::publicKey),
                 KeyStoreError::unavailable("More than one PKCS #11 token matches \"pkcs11:token=app\": \"app\", "
                                            "\"app\". Other tokens present: \"other\"."));
}

TEST(Pkcs11KeyStore, TakesThePinFromTheUriOrAFile) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const auto file = device.folder().write("pin", asBytes("1234\n"));
    for (const auto& query : {std::string("&pin-value=1234"), "&pin-source=file:" + file, "&pin-source=" + file}) {
        EXPECT_EQ(signatureSizeOf(openKey(device.uri("object=sign") + query, KeyClass::privateKey, answering("9999"))),
                  64U)
            << query;
    }
}

TEST(Pkcs11KeyStore, ASpaceInALabelIsNotDropped) {
    const SoftDevice device;
    const auto store = storeOf(device);
    const auto spaced = store.generateEC(EllipticCurve::P256, {"my key", {}}),
               other = store.generateEC(EllipticCurve::P256, {"mykey", {}});
    const auto open = [&](const char* name) { return openKey(device.uri(name), KeyClass::publicKey); };
    EXPECT_EQ(open("object=my%20key").publicComponents(), spaced.publicComponents());
    EXPECT_EQ(open("object=mykey").publicComponents(), other.publicComponents());
    EXPECT_ERROR(open("object=my key"),
                 KeyStoreError::invalidURI("A PKCS #11 URI must not contain white space. Write a space as %20."));
}

TEST(Pkcs11KeyStore, RecoversFromAWrongPin) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    std::vector<std::string> asked;
    std::optional<std::string> answer;
    const Pkcs11KeyStore store(device.uri(), [&](std::string_view whose) -> std::optional<SecretBuffer> {
        asked.emplace_back(whose);
        return answer ? answering(*answer)(whose) : std::nullopt;
    });
    const auto open = [&] { return store.key({"sign", {}}, KeyClass::privateKey); };
    EXPECT_ERROR(open(), KeyStoreError::wrongSecret("A PIN is needed for the PKCS #11 token \"app\"."));
    for (const auto* wrong : {"4321", "12345678", ""}) {
        answer = wrong;
        EXPECT_ERROR(open(), KeyStoreError::wrongSecret("The PIN of the PKCS #11 token \"app\" is wrong."));
    }
    answer = "1234";
    const auto key = open();
    EXPECT_EQ(signatureSizeOf(key), 64U);
    EXPECT_ERROR(store.key({"none", {}}, KeyClass::privateKey),
                 KeyStoreError::keyNotFound(R"(There is no private key named "none" in the PKCS #11 token "app"; )"
                                            R"(private keys there: "sign" with id 01.)"));
    EXPECT_EQ(signatureSizeOf(key), 64U);
    EXPECT_EQ(asked, std::vector<std::string>(5, "the PIN of the PKCS #11 token \"app\""))
        << "one login serves all later uses";
}

TEST(Pkcs11KeyStore, GeneratesNoTwoKeysOfTheSameName) {
    const SoftDevice device;
    const auto store = storeOf(device);
    const KeyName first{"first", {1}};
    EXPECT_EQ(store.generateEC(EllipticCurve::P384, first).name(), first);
    EXPECT_EQ(store.generateEC(EllipticCurve::P256, {"second", {}}).name().id.size(), 16U);
    const std::pair<KeyName, std::string> takenNames[] = {
        {{"first", {}}, "label"}, {{"other", {1}}, "id"}, {{"second", {2}}, "label"}};
    for (const auto& taken : takenNames) {
        EXPECT_ERROR(store.generateEC(EllipticCurve::P256, taken.first),
                     KeyStoreError::operationFailed("A key or certificate with this " + taken.second +
                                                    " already exists in the PKCS #11 token \"app\"."));
    }
    for (const std::size_t bits : {1024U, 16385U}) {
        EXPECT_ERROR(store.generateRSA(bits, {"odd", {}}), SecurityError("A new RSA key has 2048 to 16384 bits."));
    }
}

TEST(Pkcs11KeyStore, GeneratesUnreadableKeys) {
    const SoftDevice device;
    const auto store = storeOf(device);
    EXPECT_EQ(store.generateRSA(2048, {"rsa", {}}).name().label, "rsa");
    EXPECT_EQ(store.generateEC(EllipticCurve::P256, {"ec", {}}).name().label, "ec");
    const auto made = generateECKeyAt(device.uri("object=by-uri;id=%07"), EllipticCurve::P384, pin);
    EXPECT_EQ(made.name(), (KeyName{"by-uri", {7}}));

    device.import(ecP384, "imported", "08");
    for (const auto* label : {"rsa", "ec", "by-uri", "imported"}) {
        EXPECT_EQ(device.protections()[label], "not extractable, sensitive") << label;
    }
}

}  // namespace
