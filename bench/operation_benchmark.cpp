// Benchmark of signatures, key agreement, keys and key sets, beside the floor.
#include <benchmark/benchmark.h>
#include <latch>
#include <string>
#include <thread>

#include <openssl/pem.h>

#include "torvane/torvane.hpp"

#include "bench/shared/agreement_floor.hpp"
#include "bench/shared/floor.hpp"
#include "bench/shared/key_sets.hpp"
#include "bench/shared/operation.hpp"

namespace {

using namespace Torvane;
using Bench::check, Bench::owned;
using Zennet::KeyClass, Zennet::KeyType;
using enum JWKUse;

constexpr std::size_t messageSize = 1024;

template <class Work>
benchmark::internal::Benchmark* add(const std::string& name, Work work) {
    const auto run = [work](benchmark::State& state) {
        try {
            work(state);
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
        }
    };
    return benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMicrosecond);
}

struct Signing {
    JOSE::SignatureAlgorithm algorithm;
    JsonWebKey privateKey, publicKey;
    // For OpenSSL: the same RSA key, or another key on the same curve.
    std::shared_ptr<EVP_PKEY> floorKey;
};

std::shared_ptr<EVP_PKEY> generateKey(const char* curve) {
    return {owned<Bench::Pkey>(EVP_EC_gen(curve)).release(), EVP_PKEY_free};
}

JsonWebKey makeKey(const SecKey& key, KeyType type) {
    return {key, key.isPublicKey() ? KeyClass::publicKey : KeyClass::privateKey, type, JWK_SIG, "k"};
}

Signing makeSigning(const std::string& name) {
    using enum JOSE::SignatureAlgorithm;
    if (name == "RS256") {
        const auto pem = Bench::readKeys().signing;
        const auto key = SoftwareKeyStore::load(asBytes(pem));
        return {RS256,
                makeKey(key, KeyType::RSA2048Key),
                makeKey(key.publicKey(), KeyType::RSA2048Key),
                {Bench::readKey(pem).release(), EVP_PKEY_free}};
    }
    if (name == "ES256") {
        const auto key = SoftwareKeyStore::generateEC(EllipticCurve::P256);
        return {ES256, makeKey(key, KeyType::EC256Key), makeKey(key.publicKey(), KeyType::EC256Key),
                generateKey("P-256")};
    }
    const auto pair = Zennet::Secp256k1Utils::generateKeyPair();
    return {ES256K,
            {pair.privateKey, JWK_SIG, "k", pair.publicKey},
            {pair.publicKey, JWK_SIG, "k"},
            generateKey("secp256k1")};
}

// The floor and the signing input of the library's JWS. Checks that the floor signs this input.
std::pair<Bench::SignatureFloor, ByteBuffer> makeSignatureFloor(const Signing& signing, const ByteBuffer& jws) {
    Bench::SignatureFloor floor(signing.floorKey.get());
    const auto dot = asText(jws).rfind('.');
    ByteBuffer input(jws.begin(), jws.begin() + static_cast<std::ptrdiff_t>(dot));
    if (signing.algorithm == JOSE::SignatureAlgorithm::RS256) {
        floor.setSignature(decodeBase64url(asText(jws).substr(dot + 1)).value());
        floor.verify(input);
    }
    floor.sign(input);
    floor.verify(input);
    ++input.back();
    check(Bench::fails([&] { floor.verify(input); }));
    --input.back();
    return {std::move(floor), std::move(input)};
}

void addSignatures(const std::string& name) {
    const auto signing = makeSigning(name);
    const auto payload = Bench::makeMessage(messageSize);
    const JWSSigner signer(signing.algorithm, signing.privateKey);
    const JWSVerifier verifier(signing.algorithm, signing.publicKey);
    const auto jws = signer.signJWT(payload);
    const auto rest = '/' + name + '/' + std::to_string(messageSize);
    add("sign/floor" + rest, [=](benchmark::State& state) {
        auto [floor, input] = makeSignatureFloor(signing, jws);
        for (auto _ : state) floor.sign(input);
    });
    add("sign/torvane" + rest, [=](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(signer.signJWT(payload));
    });
    add("verify/floor" + rest, [=](benchmark::State& state) {
        auto [floor, input] = makeSignatureFloor(signing, jws);
        for (auto _ : state) floor.verify(input);
    });
    add("verify/torvane" + rest, [=](benchmark::State& state) {
        if (verifier.verifyJWS(jws) != payload) throw std::runtime_error("different payload");
        for (auto _ : state) benchmark::DoNotOptimize(verifier.verifyJWS(jws));
    });
}

// A new key on P-256, as PKCS #8 PEM.
std::string generateAgreementKey() {
    using Bio = Bench::Handle<BIO, BIO_free>;
    const auto key = owned<Bench::Pkey>(EVP_EC_gen("P-256"));
    const auto text = owned<Bio>(BIO_new(BIO_s_mem()));
    check(PEM_write_bio_PKCS8PrivateKey(text.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    char* data = nullptr;
    const auto size = BIO_get_mem_data(text.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

void addAgreement() {
    const auto pem = generateAgreementKey();
    const auto key = SoftwareKeyStore::load(asBytes(pem));
    const auto payload = Bench::makeMessage(messageSize);
    const JWEEncrypter encrypter("ECDH-ES", "A128CBC-HS256", key.publicKey(), "k");
    const JWEDecrypter decrypter("ECDH-ES", "A128CBC-HS256", key);
    const auto token = encrypter.encryptJWT(payload);
    const auto rest = "/ECDH-ES/" + std::to_string(messageSize);
    add("encrypt/floor" + rest, [=](benchmark::State& state) {
        Bench::AgreementFloor floor(pem, token);
        for (auto _ : state) floor.encrypt();
    });
    add("encrypt/torvane" + rest, [=](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(encrypter.encryptJWT(payload));
    });
    add("decrypt/floor" + rest, [=](benchmark::State& state) {
        Bench::AgreementFloor floor(pem, token);
        for (auto _ : state) floor.decrypt();
    });
    add("decrypt/torvane" + rest, [=](benchmark::State& state) {
        if (decrypter.decryptJWE(token) != payload) throw std::runtime_error("different payload");
        for (auto _ : state) benchmark::DoNotOptimize(decrypter.decryptJWE(token));
    });
}

void addKeys() {
    for (const std::string kind : {"RS256", "ES256"}) {
        const auto key = makeSigning(kind).publicKey;
        add("jwk_parse/torvane/" + kind,
            [text = key.encode().value(), type = key.key().keyType().value()](benchmark::State& state) {
                for (auto _ : state) benchmark::DoNotOptimize(JsonWebKey(text, type));
            });
    }
    // secp256k1 keys can be read from the JSON object of a set only.
    const auto text = R"({"keys":[)" + makeSigning("ES256K").publicKey.encodeToString().value() + "]}";
    add("jwk_parse/torvane/ES256K", [text](benchmark::State& state) {
        for (auto _ : state) {
            const auto set = JSONSerialization::jsonObject(asBytes(text));
            benchmark::DoNotOptimize(JsonWebKeySet(*set.as<JSONValue::Object>()));
        }
    });
    for (const std::size_t count : {1U, 10U, 1000U}) {
        add("set_parse/torvane/" + std::to_string(count), [text = Bench::makeKeySet(count)](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(JsonWebKeySet(asBytes(text)));
        });
        add("set_find/torvane/" + std::to_string(count), [count](benchmark::State& state) {
            const JsonWebKeySet set(asBytes(Bench::makeKeySet(count)));
            const JSONValue::Object last{{"kid", "k" + std::to_string(count - 1)},
                                         {"use", JSONValue::opaque(JWK_SIG)},
                                         {"kty", JSONValue::opaque(KeyType::RSA2048Key)}};
            if (set.findKeysFor(last, KeyClass::publicKey).size() != 1) {
                throw std::runtime_error("the key was not found");
            }
            for (auto _ : state) benchmark::DoNotOptimize(set.findKeysFor(last, KeyClass::publicKey));
        });
    }
}

// A policy and a lookup among ten keys, beside the signature and the parsing of the claims alone.
void addVerifiedTokens() {
    std::vector<JsonWebKey> keys;
    for (int i = 0; i < 10; ++i) {
        keys.emplace_back(SoftwareKeyStore::generateEC(EllipticCurve::P256), JWK_SIG, "k" + std::to_string(i));
    }
    const auto set = JsonWebKeySet(keys).publicSet();
    const auto policy = ClaimsPolicy().requireIssuer("https://id.example").requireAudience("https://api.example");
    JWTClaims claims;
    claims.setIssuer("https://id.example").setAudience("https://api.example").setSubject("ada").setIssuedAtToNow();
    claims.setExpirationTimeInTheFuture(std::chrono::hours(24)).setGeneratedJwtId().setClaim("scope", "read write");
    const auto token = JWSSigner("ES256", keys.back()).signJWTToString(claims.toJsonString(), {{"typ", "JWT"}});
    add("verify_token/jws_and_json/ES256",
        [=, verifier = JWSVerifier("ES256", set.jwks.back())](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(JSONSerialization::jsonObject(verifier.verifyJWS(token)));
        });
    add("verify_token/torvane/ES256/10",
        [=, verifier = TokenVerifier(set, {"ES256", "PS256"}, policy)](benchmark::State& state) {
            for (auto _ : state) benchmark::DoNotOptimize(verifier.verify(token));
        });
}

// The keys of a provider. Threads share one source, and each times its own calls.
void addProvider() {
    for (const std::string kind : {"RS256", "ES256", "ES256K"}) {
        std::string keys = makeSigning(kind).publicKey.encodeToString().value();
        for (int i = 1; i < 10; ++i) keys += "," + makeSigning(kind).publicKey.encodeToString().value();
        add("set_read_known/torvane/" + kind + "/10", [text = R"({"keys":[)" + keys + "]}"](benchmark::State& state) {
            if (JsonWebKeySet::readKnown(text).set.size() != 10) throw std::runtime_error("a key was left out");
            for (auto _ : state) benchmark::DoNotOptimize(JsonWebKeySet::readKnown(text));
        });
    }
    const KeySetSource source([] { return FetchedKeySet{Bench::makeKeySet(10), std::chrono::hours(1)}; });
    static_cast<void>(source.keys());
    const auto addHit = [](const std::string& name, auto hit) {
        for (const int threads : {1, 2}) {
            add(name + "/torvane/" + std::to_string(threads) + (threads == 1 ? " thread" : " threads"),
                [hit](benchmark::State& state) {
                    // In a process with one thread the standard library leaves out atomic operations.
                    std::latch done(1);
                    std::jthread other([&] { done.wait(); });
                    for (auto _ : state) benchmark::DoNotOptimize(hit());
                    done.count_down();
                })
                ->Threads(threads)
                ->UseRealTime();
        }
    };
    addHit("source_hit", [source] { return source.keys(); });
    addHit("source_hit_by_id", [source] { return source.keysFor("k9"); });
}

}  // namespace

int main(int count, char** arguments) {
    for (const auto* name : {"RS256", "ES256", "ES256K"}) addSignatures(name);
    addAgreement();
    addKeys();
    addVerifiedTokens();
    addProvider();
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
