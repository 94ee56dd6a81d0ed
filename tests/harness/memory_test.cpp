// Tests of memory: secrets in released blocks, the amount that hostile input allocates, and allocations that fail.
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

#include "tests/harness/heap.hpp"
#include "tests/testing/forge.hpp"
#include "tests/testing/temporary_folder.hpp"
#include "tests/testing/vector_cases.hpp"

namespace {

using namespace Testing;
using enum Harness::Owner;
using Harness::Quarantine;
using Secrets = std::vector<ByteBuffer>;

// Adds both halves of a secret, since a growing buffer may leave only a part of it behind.
void addHalves(Secrets& secrets, ByteView whole) {
    const auto half = whole.size() / 2;
    for (const auto part : {whole.first(half), whole.subspan(half)}) secrets.emplace_back(part.begin(), part.end());
}

// The private values of a key, as bytes and as base64url.
Secrets secretsOf(const std::string& kid) {
    Secrets secrets;
    const auto jwk = json::parse(keyText(kid, "jwk_private"));
    for (const auto* name : {"d", "p", "q", "dp", "dq", "qi"}) {
        if (!jwk.contains(name)) continue;
        addHalves(secrets, bytesOf(jwk[name]));
        addHalves(secrets, decoded(jwk, name));
    }
    return secrets;
}

using Owners = std::initializer_list<Harness::Owner>;
constexpr Owners everywhere{library, openSSL};

// Runs the code and searches the blocks that it released for secrets. getSecrets() is called afterwards, since the code
// may determine them.
template <class GetSecrets, class Code>
void expectNothingLeft(const std::string& name, Owners owners, const GetSecrets& getSecrets, Code code) {
    SCOPED_TRACE(name);
    code();  // initialises what is created at the first use
    Quarantine quarantine;
    code();
    quarantine.close();
    const Secrets searched = getSecrets();
    EXPECT_FALSE(searched.empty());
    for (const auto& secret : searched) {
        EXPECT_GE(secret.size(), 16U);
        for (const auto owner : owners) EXPECT_FALSE(quarantine.holds(secret, owner)) << encodeBase64url(secret);
    }
}

const ByteBuffer message = bytesOf("attack at dawn, and bring the good biscuits");

// A helper whose peer is itself.
const JOSEHelper& helper() {
    static const auto made = JOSEHelper::Builder()
                                 .setSenderJwkSet({privateJwk(rsaSig, JWK_SIG), privateJwk(rsaEnc, JWK_ENC)}, rsaSig)
                                 .setRecipientJwkSet({publicJwk(rsaSig, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)}, rsaEnc)
                                 .create();
    return made;
}

TEST(FreedMemory, ShowsASecretThatWasNotWiped) {
    ASSERT_TRUE(Harness::watchesOpenSSL);
    Quarantine quarantine;
    std::string(asText(message));
    OPENSSL_free(OPENSSL_memdup(message.data() + 1, message.size() - 1));
    { const ByteBuffer backwards(message.rbegin(), message.rend() - 1); }
    EXPECT_TRUE(quarantine.holds(message, library));
    EXPECT_FALSE(quarantine.holds(message, openSSL));
    EXPECT_TRUE(quarantine.holds(ByteView(message).subspan(1), openSSL));
}

TEST(FreedMemory, HoldsNoKeyAfterAMessageIsEncodedOrDecoded) {
    ByteBuffer token;
    const auto secrets = [&] {
        auto keys = secretsOf(rsaSig), others = secretsOf(rsaEnc);
        keys.insert(keys.end(), others.begin(), others.end());
        addHalves(keys, privateKey(rsaEnc).decrypt(HashFunction::SHA256, fromBase64(parts(token).at(1))).value());
        return keys;
    };
    expectNothingLeft("encode", everywhere, secrets, [&] { token = helper().encodeMessage(message); });
    expectNothingLeft("decode", everywhere, secrets, [&] { EXPECT_EQ(helper().decodeMessage(token), message); });
}

TEST(FreedMemory, HoldsNoPlaintextAfterAFailedDecryption) {
    const auto inner = JWSSigner(JOSE::SignatureAlgorithm::RS256, privateJwk(rsaSig, JWK_SIG)).signJWT(message);
    const auto secrets = [&] {
        Secrets both;
        for (const auto& whole : {message, bytesOf(parts(inner).at(1))}) addHalves(both, whole);
        return both;
    };
    const auto undecryptable = JOSEError::JWEDecrypterError(wrapped(JOSESwiftError::decryptingFailed()));
    const auto rejected = [&](const std::string& name, const std::string& encryption, const ByteBuffer& token) {
        const JWEDecrypter decrypter("RSA-OAEP-256", encryption, privateKey(rsaEnc));
        expectNothingLeft(name, everywhere, secrets, [&] { EXPECT_ERROR(decrypter.decryptJWE(token), undecryptable); });
    };
    const auto encrypted = [&](const std::string& encryption) {
        return JWEEncrypter("RSA-OAEP-256", encryption, publicKey(rsaEnc), std::nullopt).encryptJWT(inner);
    };
    for (const auto* encryption : {"A128CBC-HS256", "A256GCM"}) {
        rejected(encryption, encryption, withFlippedBit(encrypted(encryption), 4));
    }
    const auto* const header = R"({"alg":"RSA-OAEP-256","enc":"A128CBC-HS256"})";
    ForgedJWE padded(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256, header, publicKey(rsaEnc), HashFunction::SHA256,
                     std::string(asText(inner)) + std::string(16 - inner.size() % 16, '!'));
    padded.ciphertext.resize(padded.ciphertext.size() - 16);  // the block that was only padding
    padded.authenticate();
    rejected("wrong padding under a correct tag", "A128CBC-HS256", padded.token());
    const auto expectNothingOf = [&](const std::string& name, const ByteBuffer& jws, const JOSEError& error) {
        const auto token = JWEEncrypter(publicJwk(rsaEnc, JWK_ENC)).encryptJWT(jws);
        expectNothingLeft(name, everywhere, secrets, [&] { EXPECT_ERROR(helper().decodeMessage(token), error); });
    };
    expectNothingOf(
        "a wrong signature", withFlippedBit(inner, 2),
        JOSEError::JWSVerificationError(wrapped(JOSESwiftError::verifyingFailed("The signature does not verify."))));
    expectNothingOf("a malformed signature", bytesOf(std::string(asText(inner)) + "="),
                    JOSEError::invalidJOSEComponent("Component is not valid base64: " + parts(inner).at(2) + "="));
    expectNothingOf("an unknown key", withHeader(inner, R"({"alg":"RS256","kid":"?"})"),
                    JOSEError::missingKey("Must provide recipient's public key to verify JWT signatures."));
}

TEST(FreedMemory, HoldsNoClaimsOfAnEncryptedMessage) {
    const std::string secret = "attack at dawn, and bring the good biscuits, please";
    const auto claims = R"({"iss":"us","aud":"them","text":")" + secret + "\"}";
    const auto secrets = [&] {
        Secrets halves;
        addHalves(halves, asBytes(secret));
        return halves;
    };
    const auto token = helper().encodeMessage(claims);
    const auto policy = ClaimsPolicy().allowAnyAudience().allowNoExpiry();
    const JsonWebKeySet ours{privateJwk(rsaEnc, JWK_ENC)}, theirs{publicJwk(rsaSig, JWK_SIG)};
    const auto with = [&](auto change) {
        JOSEHelper::Builder builder;
        change(builder.setSenderJwkSet(ours).setRecipientJwkSet(theirs));
        return builder.create();
    };
    std::vector<ByteBuffer> messages;  // kept alive: these belong to the caller
    messages.reserve(10);
    const auto expectNothing = [&](const char* name, const auto& reader, bool isAccepted) {
        expectNothingLeft(name, everywhere, secrets, [&] {
            try {
                messages.push_back(reader.decode(token).payload);
            } catch (const ClaimsError&) {
                messages.emplace_back();
            }
        });
        EXPECT_EQ(asText(messages.back()), isAccepted ? claims : "") << name;
    };
    const auto accepting = ClaimsPolicy(policy).requireIssuer("us"),
               rejecting = ClaimsPolicy(policy).requireIssuer("x");
    expectNothing("accepted", with([&](auto& builder) { builder.setClaimsPolicy(accepting); }), true);
    expectNothing("rejected", with([&](auto& builder) { builder.setClaimsPolicy(rejecting); }), false);
    expectNothing("for others", with([&](auto& builder) { builder.bindRecipient({"somebody else"}); }), false);
    const NestedTokenProfile profile{
        {JOSE::SignatureAlgorithm::RS256},
        {{JOSE::KeyManagementAlgorithm::RSA_OAEP_256}, {JOSE::ContentEncryptionAlgorithm::A128CBC_HS256}}};
    expectNothing("nested", NestedToken(ours, theirs, profile).setClaimsPolicy(rejecting), false);
}

TEST(FreedMemory, HoldsNoPrivateValueAfterAPrivateKeyIsRead) {
    for (const auto& kid : {rsaEnc, ecEncP256, ecEncP384, ecEncP521}) {
        const auto text = keyText(kid, "jwk_private");
        const auto set = "{\"keys\":[" + text + "]}", broken = text.substr(0, text.size() - 1) + ",}";
        const auto malformed =
            JOSESwiftError::parsingFailed("The JWK cannot be read. The text is not JSON: syntax error at byte " +
                                          std::to_string(broken.size()) + ".");
        const auto secrets = [&] { return secretsOf(kid); };
        expectNothingLeft(kid + ", broken", everywhere, secrets,
                          [&] { EXPECT_ERROR(JOSE::JWK::initPrivateFrom(asBytes(broken)), malformed); });
        expectNothingLeft(kid + ", public", everywhere, secrets,
                          [&] { static_cast<void>(JOSE::JWK::initFrom(asBytes(text))); });
        expectNothingLeft(kid + ", set", everywhere, secrets, [&] { JsonWebKeySet{asBytes(set)}; });
        expectNothingLeft(kid + ", private set", everywhere, secrets,
                          [&] { EXPECT_EQ(JsonWebKeySet::readPrivate(set).set.size(), 1U); });
        const auto read = [&] { static_cast<void>(JsonWebKey::fromPrivateJwk(asBytes(text), JWK_ENC, kid)); };
        expectNothingLeft(kid, everywhere, secrets, read);
    }
}

TEST(FreedMemory, HoldsNoKeyOrPassphraseAfterUsingAFile) {
    const TemporaryFolder folder;
    const std::string passphrase = rowNamed("key_files.json", "files", "encrypted PEM")["passphrase"];
    const auto source = [&](std::string_view) {
        return std::optional(SecretBuffer(passphrase.begin(), passphrase.end()));
    };
    const auto passphraseHalves = [&] {
        Secrets halves;
        addHalves(halves, asBytes(passphrase));
        return halves;
    };
    for (const auto* name : {"PKCS #8, nobody asks", "encrypted PEM", "encrypted DER", "encrypted by scrypt",
                             "encrypted SEC 1, the old way", "PKCS #12 with a chain"}) {
        const auto path = folder.write("key", fromBase64(rowNamed("key_files.json", "files", name)["file"]));
        const auto open = [&] { static_cast<void>(openKey(path, KeyClass::privateKey, source)); };
        expectNothingLeft(name, everywhere, passphraseHalves, open);
        // OpenSSL's decoders leave the private values behind.
        expectNothingLeft(
            name, {library}, [] { return secretsOf(ecP256); }, open);
    }
    const auto made = folder / "made.pem";
    const auto make = [&] {
        std::filesystem::remove(made);
        generateECKeyAt(made, EllipticCurve::P256);
    };
    const auto writtenHalves = [&] {
        std::ostringstream text;
        text << std::ifstream(made).rdbuf();
        Secrets halves;
        addHalves(halves, asBytes(text.str().substr(30, 100)));
        return halves;
    };
    expectNothingLeft("made", everywhere, writtenHalves, make);
}

TEST(FreedMemory, HoldsNothingOfAKeyAgreementAfterDecryption) {
    constexpr auto management = JOSE::KeyManagementAlgorithm::ECDH_ES_A128KW;
    constexpr auto encryption = JOSE::ContentEncryptionAlgorithm::A256GCM;
    for (const auto& kid : {ecEncP256, ecEncP384, ecEncP521}) {
        const auto& own = privateKey(kid);
        const auto token = JWEEncrypter("ECDH-ES+A128KW", "A256GCM", publicKey(kid), std::nullopt).encryptJWT(message);
        const JWEDecrypter decrypter("ECDH-ES+A128KW", "A256GCM", own);
        const auto decrypt = [&] { EXPECT_EQ(decrypter.decryptJWE(token), message); };
        const auto keys = [&] {
            Secrets secrets;
            const auto wrapping = agreedKeyOf(token, own, management, encryption);
            secrets.emplace_back(wrapping.begin(), wrapping.end());
            addHalves(secrets, own.agree(ephemeralKeyOf(token)));
            addHalves(secrets, Crypto::unwrapKey(wrapping, fromBase64(parts(token).at(1)), 32).value());
            return secrets;
        };
        const auto privateValues = [&] { return secretsOf(kid); };
        expectNothingLeft(kid, everywhere, keys, decrypt);
        // Whether OpenSSL leaves the scalar behind when it multiplies depends on the curve and the release.
        expectNothingLeft(kid, {library}, privateValues, decrypt);
    }
}

TEST(FreedMemory, HoldsNoScalarAfterSigningOrWritingAKey) {
    const auto signer = JOSE::Signer::create(JOSE::SignatureAlgorithm::ES256, privateKey(ecP256)).value();
    expectNothingLeft(
        "ES256", everywhere, [] { return secretsOf(ecP256); }, [&] { static_cast<void>(signer.sign(message)); });
    const auto key = keyInWords("private secp256k1 sig");
    const auto scalar = *key.key().keyData();
    const auto secrets = [&] {
        Secrets both;
        addHalves(both, scalar);
        addHalves(both, asBytes(encodeBase64url(scalar)));
        return both;
    };
    const auto sign = [&] { static_cast<void>(JWSSigner(JOSE::SignatureAlgorithm::ES256K, key).sign(message)); };
    expectNothingLeft("ES256K", everywhere, secrets, sign);
    std::vector<std::string> texts;  // kept alive: these copies belong to the caller, as do the maps
    std::vector<StringMap> maps;
    const auto write = [&] {
        texts.push_back(key.encodeToString().value());
        maps.push_back(key.encodeToDictionary());
    };
    expectNothingLeft("written", everywhere, secrets, write);
}

TEST(Allocations, AreFewForLongMalformedTokens) {
    const auto tenMillion = [](char c) { return std::string(10'000'000, c); };
    const auto dots = bytesOf(tenMillion('.')), fourParts = bytesOf(tenMillion('A') + ".e30.e30.e30");
    const auto notBase64url =
        bytesOf(parts(helper().encodeMessage(message)).front() + "." + tenMillion('=') + ".e30.e30.e30");
    const auto malformed = JOSESwiftError::parsingFailed;
    const auto before = Harness::allocatedBytes;
    for (const auto* token : {&dots, &fourParts}) {
        EXPECT_ERROR(JOSE::ReceivedJWS{*token}, malformed("The compact serialisation does not have 3 parts."));
        EXPECT_ERROR(JOSE::ReceivedJWE{*token}, malformed("The compact serialisation does not have 5 parts."));
    }
    EXPECT_ERROR(JOSE::ReceivedJWE{notBase64url}, malformed("The encrypted key is not valid base64url."));
    EXPECT_ERROR(helper().decodeMessage(dots), JOSEError::invalidJOSEComponent("Component is not valid base64: "));
    EXPECT_LT(Harness::allocatedBytes - before, 20'000U) << "for the texts of all errors";
}

// Makes each allocation of the code fail in turn, until the code completes. Each time it must throw an error or return
// the right result, and release all blocks, except for those that OpenSSL keeps for its next use.
template <class Code, class IsRight>
void sweepAllocations(Code code, IsRight isRight) {
    const auto keepsBlocks = [&](std::size_t n) {
        const auto before = Harness::liveBlocks;
        Harness::hasFailed = false;
        Harness::untilFailure = n;
        std::optional<ByteBuffer> result;
        try {
            result = code();
        } catch (const std::bad_alloc&) {
        } catch (const JOSEError& error) {
            EXPECT_EQ(error.underlying<std::bad_alloc>(), nullptr) << "allocation " << n;
        } catch (const Error&) {
        }
        Harness::untilFailure = 0;
        EXPECT_TRUE(result ? isRight(*result) : Harness::hasFailed) << "allocation " << n;
        EXPECT_EQ(ERR_peek_error(), 0U) << "allocation " << n;
        result.reset();
        return Harness::liveBlocks != before;
    };
    std::size_t n = 0;
    do {
        ++n;
        EXPECT_FALSE(keepsBlocks(n) && keepsBlocks(n) && keepsBlocks(n)) << "allocation " << n;
    } while (Harness::hasFailed);
    std::cout << "COUNT allocations that failed " << n - 1 << std::endl;
}

TEST(FailingAllocations, CauseNoWrongSignature) {
    const auto pem = keyText(rsaSig, "pkcs8_pem");
    const auto digest = Crypto::digest(HashFunction::SHA256, message);
    const auto sign = [&](const SecKey& key) {
        return key.sign(SignatureScheme::RSA_PKCS1, HashFunction::SHA256, digest);
    };
    const auto right = sign(privateKey(rsaSig));
    Harness::hasFailed = true;
    for (std::size_t n = 1; Harness::hasFailed; ++n) {
        const auto key = SoftwareKeyStore::load(asBytes(pem));
        for (int i = 0; i < 31; ++i) EXPECT_EQ(sign(key), right);
        Harness::hasFailed = false;
        Harness::untilFailure = n;  // the 32nd signature makes OpenSSL renew the blinding
        for (int i = 0; i < 3; ++i) {
            const bool mayThrow = !Harness::hasFailed;
            try {
                EXPECT_EQ(sign(key), right) << n;
            } catch (const std::exception&) {
                EXPECT_TRUE(mayThrow && Harness::hasFailed) << n;
            }
        }
        Harness::untilFailure = 0;
    }
}

// Whether the code throws std::bad_alloc when its n-th allocation fails.
template <class Code>
bool runsOutOfMemory(std::size_t n, Code code) {
    Harness::untilFailure = n;
    bool isThrown = false;
    try {
        code();
    } catch (const std::bad_alloc&) {
        isThrown = true;
    }
    Harness::untilFailure = 0;
    return isThrown;
}

TEST(FailingAllocations, AreNotReportedAsMalformedTokens) {
    const auto token = helper().encodeMessage(message);
    std::size_t n = 1;
    for (; runsOutOfMemory(n, [&] { JOSE::ReceivedJWE{token}; }); ++n) {
        EXPECT_TRUE(runsOutOfMemory(n, [&] { static_cast<void>(helper().decodeMessage(token)); }))
            << "allocation " << n;
    }
    EXPECT_GT(n, 10U);
}

TEST(FailingAllocations, LeakNothing) {
    const auto token = helper().encodeMessage(message);
    sweepAllocations([] { return helper().encodeMessage(message); },
                     [](const ByteBuffer& made) { return helper().decodeMessage(made) == message; });
    sweepAllocations([&] { return helper().decodeMessage(token); },
                     [](const ByteBuffer& read) { return read == message; });
    // With RSA: OpenSSL 3.0 crashes when an allocation of its key derivation fails.
    const NestedToken nested({privateJwk(ecP256, JWK_SIG), privateJwk(rsaEnc, JWK_ENC)},
                             {publicJwk(ecP256, JWK_SIG), publicJwk(rsaEnc, JWK_ENC)}, Profiles::fapi2MessageSigning());
    const auto nestedToken = nested.encode(message);
    sweepAllocations([&] { return nested.decode(nestedToken).payload; },
                     [](const ByteBuffer& read) { return read == message; });
    const auto policy = ClaimsPolicy().allowAnyIssuer().allowAnyAudience().allowNoExpiry();
    const TokenVerifier verifier({publicJwk(ecP256, JWK_SIG)}, {"ES256"}, policy);
    const auto jws = JWSSigner("ES256", privateJwk(ecP256, JWK_SIG)).signJWT(R"({"sub":"ada"})");
    sweepAllocations([&] { return verifier.verify(jws).payload; },
                     [](const ByteBuffer& read) { return asText(read) == R"({"sub":"ada"})"; });
    const auto jwk = keyText(ecEncP256, "jwk_private");
    const auto read = [&] { return JsonWebKey::fromPrivateJwk(asBytes(jwk), JWK_ENC, "k").jwk()->jsonData().value(); };
    sweepAllocations(read, [right = read()](const ByteBuffer& again) { return again == right; });
}

}  // namespace
