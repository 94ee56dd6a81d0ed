#include "torvane/platform/key_stores/internal/pkcs11/pad_to_length.hpp"
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

void importObject(const SoftDevice& device, Torvane::PKCS11::Template& object) {
    using namespace Torvane::PKCS11;
    Token(URI(device.uri()), pin).runInWritableSession([&](Session& session, unsigned) {
        CK_OBJECT_HANDLE made{};
        session.call<&CK_FUNCTION_LIST::C_CreateObject>("import", object.data(), object.size(), &made);
    });
}

// As on a signature card: a certificate but no public key, and a private key that asks for the PIN each time.
TEST(Pkcs11Key, WorksOnASignatureCard) {
    using namespace Torvane::PKCS11;
    const SoftDevice device;
    const KeyName name{"card", {1}};
    const auto curve = fromHex("06082a8648ce3d030107"),
               scalar = fromBase64(json::parse(keyText(ecP256, "jwk_private"))["d"]);
    const auto certificate = fromBase64(rowNamed("key_files.json", "files", "a certificate")["file"]);
    Template key(CKO_PRIVATE_KEY, name), beside(CKO_CERTIFICATE, name);
    key.add(CKA_KEY_TYPE, CK_ULONG{CKK_EC}).add(CKA_EC_PARAMS, curve).add(CKA_VALUE, scalar);
    key.setTrue({CKA_TOKEN, CKA_PRIVATE, CKA_SENSITIVE, CKA_SIGN, CKA_ALWAYS_AUTHENTICATE}).setFalse({CKA_EXTRACTABLE});
    beside.add(CKA_CERTIFICATE_TYPE, CK_ULONG{CKC_X_509}).add(CKA_SUBJECT, asBytes("app")).add(CKA_VALUE, certificate);
    beside.setTrue({CKA_TOKEN}).setFalse({CKA_PRIVATE});
    importObject(device, key);
    EXPECT_ERROR(openKey(device.uri("object=card"), KeyClass::privateKey, pin),
                 KeyStoreError::keyNotFound("There is no public key with id 01 in the PKCS #11 token \"app\"; "
                                            "public keys there: none."));
    importObject(device, beside);

    int asked = 0;
    std::string answer = "1234";
    const Pkcs11KeyStore store(device.uri(), [&](std::string_view whose) { return ++asked, answering(answer)(whose); });
    EXPECT_EQ(store.key(name, KeyClass::publicKey).publicComponents(), publicKey(ecP256).publicComponents());
    const auto card = store.key(name, KeyClass::privateKey);
    for (int signature = 0; signature < 2; ++signature) {
        EXPECT_TRUE(publicKey(ecP256).verify(ECDSA, SHA256, digest, card.sign(ECDSA, SHA256, digest)));
    }
    EXPECT_EQ(asked, 3);
    answer = "4321";
    EXPECT_ERROR(card.sign(ECDSA, SHA256, digest),
                 KeyStoreError::wrongSecret("The PIN of the PKCS #11 token \"app\" is wrong."));
    EXPECT_ERROR(
        card.sign(ECDSA, SHA256, digest),
        KeyStoreError::wrongSecret("The PIN of the PKCS #11 token \"app\" is the one that was rejected before. "
                                   "It was not sent again."));
    answer = "1234";
    EXPECT_TRUE(card.verify(ECDSA, SHA256, digest, card.sign(ECDSA, SHA256, digest)));

    importObject(device, beside);
    EXPECT_ERROR(store.key(name, KeyClass::privateKey),
                 KeyStoreError::keyNotFound("There is more than one certificate with id 01 in the PKCS #11 token "
                                            "\"app\": \"card\" with id 01, \"card\" with id 01."));
}

// Stores an object in the device, and opens it as a public key.
SecKey importPublic(const SoftDevice& device, Torvane::PKCS11::Template& object) {
    static int count = 0;
    const auto label = "imported" + std::to_string(++count);
    object.add(CKA_LABEL, asBytes(label)).setTrue({CKA_TOKEN}).setFalse({CKA_PRIVATE});
    importObject(device, object);
    return openKey(device.uri("object=" + label), KeyClass::publicKey);
}

TEST(Pkcs11Key, RejectsAnRSAModulusOfMoreThan16384Bits) {
    const SoftDevice device;
    const auto import = [&](ByteBuffer modulus) {
        const std::array<std::uint8_t, 3> exponent{1, 0, 1};
        Torvane::PKCS11::Template key(CKO_PUBLIC_KEY);
        key.add(CKA_KEY_TYPE, CK_ULONG{CKK_RSA}).add(CKA_MODULUS, modulus).add(CKA_PUBLIC_EXPONENT, exponent);
        return importPublic(device, key);
    };
    ByteBuffer longest(2049, 0xff);
    longest.front() = 0;
    EXPECT_EQ(std::get<RSAPublicComponents>(import(longest).publicComponents()).modulus.size(), 2048U);
    EXPECT_ERROR(import(ByteBuffer(2049, 0xff)), SecurityError("An RSA key has at most 16384 bits."));
}

TEST(Pkcs11Key, RejectsExplicitParametersAndHybridPoints) {
    const SoftDevice device;
    const std::string isExplicit =
        R"(SecurityError("The curve of an EC key is described by explicit parameters, not named."))";
    const std::string isHybrid = R"(SecurityError("The point of an EC key is in hybrid form."))";
    const auto components = std::get<ECPublicComponents>(publicKey(ecP256).publicComponents());
    const auto point = [&](std::uint8_t first, ByteBuffer start = {4, 65}) {
        start.push_back(first);
        for (const auto* coordinate : {&components.x, &components.y}) {
            start.insert(start.end(), coordinate->begin(), coordinate->end());
        }
        return start;
    };
    const auto hybrid = static_cast<std::uint8_t>(6 + (components.y.back() & 1));
    const Torvane::Crypto::Handle<EC_GROUP, EC_GROUP_free> group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
    const auto parameters = [&](int form) {
        EC_GROUP_set_asn1_flag(group.get(), form);
        ByteBuffer der(static_cast<std::size_t>(i2d_ECPKParameters(group.get(), nullptr)));
        auto* out = der.data();
        i2d_ECPKParameters(group.get(), &out);
        return der;
    };
    const auto named = parameters(OPENSSL_EC_NAMED_CURVE), described = parameters(OPENSSL_EC_EXPLICIT_CURVE);
    auto otherCofactor = described;
    otherCofactor.back() = 2;
    const std::string opens = "nothing was thrown";
    for (const auto& [name, curve, encodedPoint, expected] : {
             std::tuple{"named curve, uncompressed point", named, point(4), opens},
             {"explicit parameters", described, point(4), isExplicit},
             {"explicit parameters with another cofactor", otherCofactor, point(4), isExplicit},
             {"hybrid point", named, point(hybrid), isHybrid},
             {"hybrid point with the other sign", named, point(hybrid ^ 1), isHybrid},
             {"hybrid point that is not wrapped", named, point(hybrid, {}), isHybrid},
         }) {
        SCOPED_TRACE(name);
        Torvane::PKCS11::Template key(CKO_PUBLIC_KEY);
        key.add(CKA_KEY_TYPE, CK_ULONG{CKK_EC}).add(CKA_EC_PARAMS, curve).add(CKA_EC_POINT, encodedPoint);
        EXPECT_ERROR_TEXT(importPublic(device, key), expected);
    }
    for (const auto& [name, expected] :
         {std::pair{"explicit parameters, certificate", isExplicit}, {"a hybrid point, certificate", isHybrid}}) {
        SCOPED_TRACE(name);
        const auto pem = fromBase64(rowNamed("key_files.json", "files", name)["file"]);
        Torvane::PKCS11::Template certificate(CKO_CERTIFICATE);
        certificate.add(CKA_CERTIFICATE_TYPE, CK_ULONG{CKC_X_509}).add(CKA_SUBJECT, asBytes("app")).add(CKA_VALUE, pem);
        EXPECT_ERROR_TEXT(importPublic(device, certificate), expected);
    }
}

// A bare point whose x begins with 63 is also a valid OCTET STRING of 63 bytes.
TEST(Pkcs11Key, ReadsABarePointThatLooksWrapped) {
    std::optional<ECPublicComponents> made;
    do {
        made = std::get<ECPublicComponents>(SoftwareKeyStore::generateEC(EllipticCurve::P256).publicComponents());
    } while (made->x.front() != 63);
    ByteBuffer point{4};
    for (const auto* coordinate : {&made->x, &made->y}) {
        point.insert(point.end(), coordinate->begin(), coordinate->end());
    }
    const auto curve = fromHex("06082a8648ce3d030107");
    Torvane::PKCS11::Template key(CKO_PUBLIC_KEY);
    key.add(CKA_KEY_TYPE, CK_ULONG{CKK_EC}).add(CKA_EC_PARAMS, curve).add(CKA_EC_POINT, point);
    EXPECT_EQ(importPublic(SoftDevice(), key).publicComponents(), PublicComponents(*made));
}

TEST(PadToLength, MovesWhatWasWrittenToTheEnd) {
    for (std::size_t length = 1; length <= 70; ++length) {
        for (std::size_t written = 0; written <= length; ++written) {
            ByteBuffer value(length, 0), expected(length, 0);
            std::fill_n(value.begin(), written, std::uint8_t{7});
            std::fill_n(expected.rbegin(), written, std::uint8_t{7});
            EXPECT_EQ(Torvane::PKCS11::padToLength(value, written, length), expected) << written << " of " << length;
        }
    }
}

TEST(Pkcs11Key, RejectsKeysOfOtherFamilies) {
    Torvane::PKCS11::Template key(CKO_PUBLIC_KEY);
    key.add(CKA_KEY_TYPE, CK_ULONG{CKK_DSA});
    const auto number = ByteBuffer(32, 7);
    for (const auto name : {CKA_PRIME, CKA_SUBPRIME, CKA_BASE, CKA_VALUE}) key.add(name, number);
    EXPECT_ERROR(importPublic(SoftDevice(), key),
                 SecurityError("A platform key is an RSA key or an EC key on P-256, P-384 or P-521."));
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

TEST(Pkcs11KeyStore, ErrorsListKeysWithoutANameToo) {
    const SoftDevice device;
    const auto components = std::get<RSAPublicComponents>(publicKey(rsaSig).publicComponents());
    Torvane::PKCS11::Template key(CKO_PUBLIC_KEY);
    key.add(CKA_KEY_TYPE, CK_ULONG{CKK_RSA}).setTrue({CKA_TOKEN}).setFalse({CKA_PRIVATE});
    key.add(CKA_MODULUS, components.modulus).add(CKA_PUBLIC_EXPONENT, components.exponent);
    importObject(device, key);
    EXPECT_ERROR(openKey(device.uri("object=none"), KeyClass::publicKey),
                 KeyStoreError::keyNotFound("There is no public key named \"none\" in the PKCS #11 token \"app\"; "
                                            "public keys there: unnamed."));
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
