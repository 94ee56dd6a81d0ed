#include "torvane/platform/key_stores/software_key_store.hpp"

#include <openssl/ui.h>

#include "torvane/platform/core/internal/error_scope.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/asymmetric_operations.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum HashFunction;
using enum SignatureScheme;

const SecurityError noKey("No unencrypted key was found in the PEM or DER text.");
const ByteBuffer digest(32, 1);

TEST(SoftwareKeyStore, LoadsOnlyWholeDer) {
    forEachRow("key_texts.json", "der", 6, [](const json& row) {
        auto encoded = fromBase64(row["der"]);
        const auto key = SoftwareKeyStore::load(encoded);
        EXPECT_EQ(key.publicComponents(), publicKey(row["kid"]).publicComponents());
        EXPECT_EQ(!key.isPublicKey(), row["private"].get<bool>());
        for (encoded.pop_back(); !encoded.empty(); encoded.resize(encoded.size() / 2)) {
            EXPECT_ERROR(SoftwareKeyStore::load(encoded), noKey);
        }
    });
}

TEST(SoftwareKeyStore, ReadsTheFirst64Objects) {
    for (const bool isDer : {false, true}) {
        const auto encode = [&](const std::string& pem) {
            auto body = pem.substr(pem.find('\n'), pem.find("-----END") - pem.find('\n'));
            std::erase(body, '\n');
            return isDer ? fromBase64(body) : bytesOf(pem);
        };
        const auto theirs = encode(keyText(rsaSig, "spki_pem")), own = encode(keyText(ecP256, "pkcs8_pem"));
        for (const int before : {63, 64}) {
            ByteBuffer text;
            for (int i = 0; i < before; ++i) text.insert(text.end(), theirs.begin(), theirs.end());
            text.insert(text.end(), own.begin(), own.end());
            EXPECT_EQ(SoftwareKeyStore::load(text).publicComponents(),
                      publicKey(before < 64 ? ecP256 : rsaSig).publicComponents())
                << isDer << before;
        }
    }
}

bool asked = false;

TEST(SoftwareKeyStore, RejectsBadKeysWithoutAPassphrasePrompt) {
    auto* const method = UI_create_method("test");
    UI_method_set_opener(method, [](UI*) { return asked = true, 0; });
    UI_set_default_method(method);
    const auto file = readVectors("key_texts.json");
    forEachRow("key_texts.json", "rejected", 13,
               [](const json& row) { EXPECT_ERROR_TEXT(SoftwareKeyStore::load(bytesOf(row["text"])), row["error"]); });
    EXPECT_ERROR(SoftwareKeyStore::load(fromBase64(file.at("encryptedDer"))), noKey);
    EXPECT_FALSE(asked);
    EXPECT_FALSE(SoftwareKeyStore::load(bytesOf(file.at("behindEightBlocks"))).isPublicKey());
    UI_set_default_method(UI_OpenSSL());
    UI_destroy_method(method);
}

TEST(SoftwareKeyStore, LeavesTheErrorsOfTheApplicationInOpenSSLsQueue) {
    std::string brokenBlocks;
    for (int i = 0; i < 20; ++i) brokenBlocks += "-----BEGIN PUBLIC KEY-----\n*\n-----END PUBLIC KEY-----\n";
    for (const auto& text : {std::string("no key"), brokenBlocks}) {
        ERR_clear_error();
        ERR_raise(ERR_LIB_USER, 123);
        EXPECT_ERROR(SoftwareKeyStore::load(bytesOf(text)), noKey);
        EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 123);
        EXPECT_EQ(ERR_get_error(), 0U);
    }
}

TEST(ErrorScope, TellsALackOfMemoryFromAnEarlierOne) {
    for (const bool isFirst : {true, false}) {
        ERR_clear_error();
        if (!isFirst) ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
        const Crypto::ErrorScope scope;
        EXPECT_FALSE(scope.ranOutOfMemory());
        ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
        EXPECT_EQ(scope.ranOutOfMemory(), isFirst);
    }
    ERR_clear_error();
}

TEST(SoftwareKeyStore, MakesNoRSAKeyOfAnUnsafeOrCutSize) {
    for (const auto bits : {std::size_t{0}, std::size_t{1024}, std::size_t{2047}, std::size_t{16385},
                            std::size_t{2048} | ~(~std::size_t{0} >> 1)}) {
        EXPECT_ERROR(SoftwareKeyStore::generateRSA(bits), SecurityError("A new RSA key has 2048 to 16384 bits."));
    }
}

TEST(SecKey, RejectsSignaturesWithSHA1) {
    const ByteBuffer shortDigest(20, 1);
    const auto expectRejected = [&](const Crypto::Pkey& pair, const SecKey& key, SignatureScheme scheme) {
        EXPECT_ERROR(key.sign(scheme, SHA1, shortDigest), SecurityError("Signatures with SHA-1 are not supported."));
        const Crypto::PreparedKey prepared(Crypto::copyKey(pair.get()));
        const auto signature = Crypto::sign(prepared, scheme, SHA1, shortDigest);
        EXPECT_TRUE(Crypto::verify(prepared, scheme, SHA1, shortDigest, signature));
        EXPECT_FALSE(SecKey(Crypto::readPublicComponents(pair.get())).verify(scheme, SHA1, shortDigest, signature));
    };
    const auto rsa = Crypto::generateRSA(2048);
    for (const auto scheme : {RSA_PKCS1, RSA_PSS}) expectRejected(rsa, privateKey(rsaSig), scheme);
    expectRejected(Crypto::generateEC(EllipticCurve::P256), privateKey(ecP256), ECDSA);
}

TEST(SecKey, PublicHalfKeepsTheName) {
    const KeyName name{"sign-2026", {1, 2}};
    EXPECT_EQ(SoftwareKeyStore::generateRSA(2048, name).publicKey().name(), name);
    EXPECT_EQ(SoftwareKeyStore::generateEC(EllipticCurve::P256, name).publicKey().name(), name);
}

TEST(SecKey, RejectsOperationsOfAnotherHalfFamilyOrCurve) {
    const SecurityError needsPrivate("This operation needs a private key.");
    const SecurityError otherCurve("Key agreement needs two EC keys on one curve.");
    const auto &rsa = privateKey(rsaSig), &p256 = privateKey(ecP256), &p384 = privateKey(ecP384);
    const SecurityError otherDigest(
        "The scheme does not belong to the family of the key, or the digest does not have the size of the hash.");
    for (const auto& key : {rsa, p256}) {
        EXPECT_ERROR(key.sign(key.curve() ? RSA_PSS : ECDSA, SHA256, digest), otherDigest);
        EXPECT_ERROR(key.sign(key.curve() ? ECDSA : RSA_PSS, SHA384, digest), otherDigest);
        const auto scheme = key.curve() ? ECDSA : RSA_PSS;
        EXPECT_TRUE(key.publicKey().verify(scheme, SHA256, digest, key.sign(scheme, SHA256, digest)));
        EXPECT_ERROR(key.publicKey().sign(scheme, SHA256, digest), needsPrivate);
        EXPECT_ERROR(key.publicKey().decrypt(SHA256, ByteBuffer(256)), needsPrivate);
        EXPECT_ERROR(key.agree(p384), otherCurve);
        EXPECT_ERROR(p384.agree(key), otherCurve);
    }
    EXPECT_ERROR(p256.publicKey().agree(p256), needsPrivate);
    EXPECT_ERROR(rsa.agree(rsa), otherCurve);
    EXPECT_ERROR(p256.decrypt(SHA256, ByteBuffer(64)), SecurityError("Decryption needs an RSA key."));
    EXPECT_ERROR(p256.encrypt(SHA256, digest), SecurityError("Failed to set up encryption."));
}

TEST(SecKey, EncryptsUpToTheLongestPlaintext) {
    const auto& rsa = privateKey(rsaEnc);
    for (const auto hash : {SHA1, SHA256, SHA384, SHA512}) {
        const SecretBuffer longest(256 - 2 * digestSize(hash) - 2, 7);
        EXPECT_EQ(rsa.decrypt(hash, rsa.encrypt(hash, longest)), longest);
        EXPECT_ERROR(rsa.encrypt(hash, ByteBuffer(longest.size() + 1)), SecurityError("Failed to encrypt."));
    }
}

// A key store of an application that gives the same answer to everything.
struct AnsweringStoreKey final : StoreKey {
    AnsweringStoreKey(PublicComponents components, ByteBuffer bytes)
        : numbers(std::move(components)), answer(std::move(bytes)) {}
    PublicComponents publicComponents() const override { return numbers; }
    ByteBuffer sign(SignatureScheme, HashFunction, ByteView) const override { return answer; }
    SecretBuffer agree(const SecKey&) const override { return {answer.begin(), answer.end()}; }
    PublicComponents numbers;
    ByteBuffer answer;
};

TEST(StoreKey, RejectsAnswersOfTheWrongLength) {
    const auto form = [](bool isRight, const std::string& what) {
        return isRight ? "nothing was thrown"
                       : "SecurityError(\"The key store gave a " + what + " of the wrong length.\")";
    };
    for (const auto& [kid, size] : {std::pair{rsaSig, 256U}, {ecP256, 64U}, {ecP521, 132U}}) {
        for (const auto answer : {0U, size / 2 - 1, size / 2, size / 2 + 1, size - 1, size, size + 1}) {
            SCOPED_TRACE(kid + " " + std::to_string(answer));
            const auto peer = publicKey(kid);
            const SecKey key(std::make_shared<AnsweringStoreKey>(peer.publicComponents(), ByteBuffer(answer)));
            EXPECT_ERROR_TEXT(key.sign(key.curve() ? ECDSA : RSA_PKCS1, SHA256, digest),
                              form(answer == size, "signature"));
            if (!key.curve()) continue;
            EXPECT_ERROR_TEXT(key.agree(peer), form(answer == size / 2, "shared secret"));
        }
    }
}

TEST(StoreKey, LeadingZerosMakeNoOtherRSAKey) {
    auto padded = std::get<RSAPublicComponents>(publicKey(rsaSig).publicComponents());
    for (auto* number : {&padded.modulus, &padded.exponent}) number->insert(number->begin(), 2, 0);
    const auto signature = privateKey(rsaSig).sign(RSA_PSS, SHA256, digest);
    const SecKey key(std::make_shared<AnsweringStoreKey>(padded, signature));
    EXPECT_TRUE(key.verify(RSA_PSS, SHA256, digest, key.sign(RSA_PSS, SHA256, digest)));
    EXPECT_EQ(JOSE::RSAPublicKey(key.publicKey(), {}).parameters(),
              JOSE::RSAPublicKey(publicKey(rsaSig), {}).parameters());
}

TEST(SecKey, RejectsAShortECCoordinate) {
    auto point = std::get<ECPublicComponents>(publicKey(ecP256).publicComponents());
    point.x.pop_back();
    EXPECT_ERROR(SecKey(point), SecurityError("An EC coordinate does not have the length of its curve."));
}

}  // namespace
