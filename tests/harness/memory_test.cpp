// What is left in memory that was given back, and what happens when there is none to be had.
#include <functional>

#include "tests/harness/heap.hpp"
#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using Secrets = std::vector<ByteBuffer>;
using Harness::Quarantine;
using Platform::HashFunction;

// Every number of a private key, as bytes and as text; halves, since a reader may have seen only a part.
Secrets secretsOf(const std::string& kid) {
    Secrets secrets;
    const auto jwk = json::parse(keyText(kid, "jwk_private"));
    for (const auto* name : {"d", "p", "q", "dp", "dq", "qi"}) {
        if (!jwk.contains(name)) continue;
        const std::string text = jwk[name];
        for (const auto& whole : {bytesOf(text), fromBase64(text)}) {
            const auto half = static_cast<std::ptrdiff_t>(whole.size() / 2);
            secrets.emplace_back(whole.begin(), whole.begin() + half);
            secrets.emplace_back(whole.begin() + half, whole.end());
        }
    }
    return secrets;
}

// Runs the code and looks for secrets, which may be known only afterwards, in what it gave back.
template <class GetSecrets>
void expectNothingLeft(const std::string& name, const std::function<void()>& code, const GetSecrets& secrets,
                       bool inOpenSSLToo = true) {
    SCOPED_TRACE(name);
    code();  // once before, so that what is made at first use has been made
    Quarantine quarantine;
    code();
    quarantine.close();
    EXPECT_GT(quarantine.blocks(), 0U);
    for (const auto& secret : secrets()) {
        EXPECT_GE(secret.size(), 16U);
        EXPECT_FALSE(quarantine.holds(secret, inOpenSSLToo)) << Platform::encodeBase64url(secret);
    }
}

const ByteBuffer message = bytesOf("attack at dawn, and bring the good biscuits");

JOSEHelper helperOf(const std::string& sig, const std::string& enc, const std::string& peerSig,
                    const std::string& peerEnc) {
    return JOSEHelper::Builder()
        .setSenderJwkSet({privateJwk(sig, JWK_SIG), privateJwk(enc, JWK_ENC)}, sig)
        .setRecipientJwkSet({publicJwk(peerSig, JWK_SIG), publicJwk(peerEnc, JWK_ENC)}, peerEnc)
        .create();
}

const JOSEHelper& sender() {
    static const auto helper = helperOf(rsaSig, rsaEnc, rsaSig2, rsaEnc2);
    return helper;
}

const JOSEHelper& recipient() {
    static const auto helper = helperOf(rsaSig2, rsaEnc2, rsaSig, rsaEnc);
    return helper;
}

Secrets operator+(Secrets a, const Secrets& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The two keys that the content key of a token for this recipient is made of.
Secrets contentKeysOf(ByteView token, const std::string& kid) {
    const auto key = privateKey(kid).decrypt(HashFunction::SHA256, fromBase64(parts(token).at(1))).value();
    return {{key.begin(), key.begin() + 16}, {key.begin() + 16, key.end()}};
}

TEST(FreedMemory, ShowsASecretThatWasNotWiped) {
    Quarantine quarantine;
    std::string(Platform::asText(message));
    { const ByteBuffer backwards(message.rbegin(), message.rend()); }
    EXPECT_TRUE(quarantine.holds(message));
    EXPECT_FALSE(quarantine.holds(bytesOf("another text of some length")));
}

TEST(FreedMemory, HoldsNoKeyAfterAMessageIsEncodedOrDecoded) {
    ByteBuffer token;
    const auto keys = [&] { return contentKeysOf(token, rsaEnc2); };
    expectNothingLeft(
        "encode", [&] { token = sender().encodeMessage(message); }, [&] { return keys() + secretsOf(rsaSig); });
    expectNothingLeft(
        "decode", [&] { EXPECT_EQ(recipient().decodeMessage(token), message); },
        [&] { return keys() + secretsOf(rsaEnc2); });
}

TEST(FreedMemory, HoldsNoPlaintextAfterAFailedDecryption) {
    const auto inner = JWSSigner(JOSE::SignatureAlgorithm::RS256, privateJwk(rsaSig, JWK_SIG)).signJWT(message);
    const auto text = Platform::asText(inner);
    const auto secrets = [&] { return Secrets{message, bytesOf(parts(inner).at(1))}; };
    for (const auto* encryption : {"A128CBC-HS256", "A256GCM"}) {
        const JWEEncrypter encrypter("RSA-OAEP-256", encryption, publicKey(rsaEnc2), std::nullopt);
        const JWEDecrypter decrypter("RSA-OAEP-256", encryption, privateKey(rsaEnc2));
        const auto token = withFlippedBit(encrypter.encryptJWT(inner), 4);
        expectNothingLeft(
            encryption, [&] { EXPECT_THROW(decrypter.decryptJWE(token), JOSEError); }, secrets);
    }
    ForgedJWE padded(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256, R"({"alg":"RSA-OAEP-256","enc":"A128CBC-HS256"})",
                     publicKey(rsaEnc2), HashFunction::SHA256,
                     std::string(text) + std::string(16 - text.size() % 16, '!'));
    padded.ciphertext.resize(padded.ciphertext.size() - 16);  // the block that was only padding
    padded.authenticate();
    const JWEDecrypter decrypter("RSA-OAEP-256", "A128CBC-HS256", privateKey(rsaEnc2));
    const auto token = padded.token();
    expectNothingLeft(
        "bad padding under a right tag", [&] { EXPECT_THROW(decrypter.decryptJWE(token), JOSEError); }, secrets);
    const auto unsignedToken =
        JWEEncrypter(publicJwk(rsaEnc2, JWK_ENC)).encryptJWT(withFlippedBit(inner, 2), std::nullopt, true);
    expectNothingLeft(
        "a signature that is off", [&] { EXPECT_THROW(recipient().decodeMessage(unsignedToken), JOSEError); }, secrets);
}

TEST(FreedMemory, HoldsNoPrivateNumberAfterAPrivateKeyIsRead) {
    for (const auto& kid : {rsaEnc, ecEncP256, ecEncP521}) {
        const auto text = keyText(kid, "jwk_private");
        const auto set = "{\"keys\":[" + text + "]}", broken = text.substr(0, text.size() - 1) + ",}";
        const auto secrets = [&] { return secretsOf(kid); };
        // OpenSSL's own check of an RSA key leaves "dq" and "qi" behind.
        const bool everywhere = kid != rsaEnc;
        expectNothingLeft(
            kid, [&] { JsonWebKey::fromPrivateJwk(asBytes(text), JWK_ENC, kid); }, secrets, everywhere);
        expectNothingLeft(
            kid + ", public", [&] { JOSE::JWK::initFrom(asBytes(text)); }, secrets);
        expectNothingLeft(
            kid + ", set", [&] { JsonWebKeySet{asBytes(set)}; }, secrets);
        const auto fails = [&] { EXPECT_THROW(JOSE::JWK::initPrivateFrom(asBytes(broken)), JOSESwiftError); };
        expectNothingLeft(kid + ", broken", fails, secrets);
    }
}

TEST(FreedMemory, HoldsNoPrivateNumberAfterAPrivateKeyIsUsed) {
    for (const auto& kid : {ecEncP256, ecEncP384, ecEncP521}) {
        const auto token = JWEEncrypter("ECDH-ES", "A256GCM", publicKey(kid), std::nullopt).encryptJWT(message);
        const JWEDecrypter decrypter("ECDH-ES", "A256GCM", privateKey(kid));
        // OpenSSL's multiplication on P-256 and P-521 leaves the scalar behind.
        const bool everywhere = kid == ecEncP384;
        expectNothingLeft(
            kid, [&] { EXPECT_EQ(decrypter.decryptJWE(token), message); }, [&] { return secretsOf(kid); }, everywhere);
    }
    const auto signer = JOSE::Signer::create(JOSE::SignatureAlgorithm::ES256, privateKey(ecP256)).value();
    expectNothingLeft(
        "ES256", [&] { signer.sign(message); }, [] { return secretsOf(ecP256); });
    const auto scalar = *secp256k1KeyPair().privateKey.keyData();
    const auto sign = [&] { JOSE::Signer::create(JOSE::SignatureAlgorithm::ES256K, scalar).value().sign(message); };
    expectNothingLeft("ES256K", sign, [&] { return Secrets{ByteBuffer(scalar.begin(), scalar.end())}; });
    const auto key = keyInWords("private secp256k1 sig");
    ByteBuffer text;
    expectNothingLeft(
        "written as JWK",
        [&] {
            text = key.encode().value();
            text = {};
        },
        [&] { return Secrets{ByteBuffer(scalar.begin(), scalar.end())}; });
}

// Lets each allocation of the code fail in turn, until it gets through. Each time it throws an error of its own, or
// gives what `accept` finds right, and no block stays out.
void sweepAllocations(const std::string& name, const std::function<ByteBuffer()>& code,
                      const std::function<bool(const ByteBuffer&)>& accept) {
    SCOPED_TRACE(name);
    ByteBuffer result;
    const auto round = [&](std::size_t n) {
        result = {};
        Harness::failAllocation(n);
        try {
            result = code();
            Harness::hasFailed();
            EXPECT_TRUE(accept(result)) << n;
        } catch (const std::bad_alloc&) {
        } catch (const Platform::Error&) {
        }
        return Harness::hasFailed();
    };
    std::size_t points = 0;
    for (const bool isCounted : {false, true}) {  // the first time OpenSSL keeps what its error queue needs
        for (points = 1;; ++points) {
            const auto before = Harness::liveBlocks();
            if (!round(points)) break;
            result = {};
            EXPECT_TRUE(!isCounted || Harness::liveBlocks() == before) << "failure of allocation " << points;
        }
    }
    std::printf("COUNT allocations that failed %zu\n", points - 1);
}

TEST(FailingAllocations, EndInAnErrorOrTheRightResultAndLoseNothing) {
    const auto token = sender().encodeMessage(message);
    sweepAllocations(
        "encode", [] { return sender().encodeMessage(message); },
        [](const ByteBuffer& made) { return recipient().decodeMessage(made) == message; });
    sweepAllocations(
        "decode", [&] { return recipient().decodeMessage(token); },
        [](const ByteBuffer& read) { return read == message; });
}

}  // namespace
