// Tests with objects that other programs put into a device.
#include "torvane/platform/key_stores/internal/pkcs11/pad_to_length.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include "tests/platform/key_stores/pkcs11/device_testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

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

}  // namespace
