// Fuzz target of key files: PEM, DER and PKCS #12 as SoftwareKeyStore::load() reads them. The first byte of the input
// selects the key of the pair and the answer of the source of the passphrase. A private key fits its public key, which
// survives a round trip; the source is asked at most once; OpenSSL's error queue stays empty.
#include <openssl/err.h>

#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

// Those of the corpus.
const std::string longPassphrase = "open sesame, said Ali Baba to the door", shortPassphrase = "open sesame";

void checkPublicKey(const SecKey& key, const PublicComponents& expected) {
    require(key.isPublicKey() && key.publicComponents() == expected, "a public key survives a round trip");
}

// Keys of other sizes take too long, or have no room for the digest.
bool canSign(const SecKey& key) {
    return key.curve() || (key.signatureSize() >= 128 && key.signatureSize() <= 512);
}

void checkKey(const SecKey& key) {
    const auto& components = key.publicComponents();
    checkPublicKey(key.publicKey(), components);
    checkPublicKey(SoftwareKeyStore::load(key.publicKeyPem()), components);
    if (key.isPublicKey() || !canSign(key)) return;
    const ByteBuffer digest(32, 1);
    const auto scheme = key.curve() ? SignatureScheme::ECDSA : SignatureScheme::RSA_PKCS1;
    const auto signature = key.sign(scheme, HashFunction::SHA256, digest);
    require(key.publicKey().verify(scheme, HashFunction::SHA256, digest, signature),
            "a private key fits its public key");
}

// Returns nothing for a key that the library rejects; other exceptions pass through.
template <class Load>
std::optional<SecKey> load(Load&& loadKey) {
    std::optional<SecKey> key;
    const auto rejection = errorTextOf([&] { key.emplace(loadKey()); });
    require(rejection.find(shortPassphrase) == rejection.npos, "no error contains the passphrase");
    return key;
}

void checkUnencrypted(ByteView text) {
    const auto first = load([&] { return SoftwareKeyStore::load(text); });
    const auto own = load([&] { return SoftwareKeyStore::load(text, KeyClass::privateKey, {}); });
    const auto theirs = load([&] { return SoftwareKeyStore::load(text, KeyClass::publicKey, {}); });
    require(!theirs || theirs->isPublicKey(), "only a public key is returned as one");
    // Each load takes milliseconds, so one of equal keys is checked.
    if (const auto& key = first ? first : theirs) checkKey(*key);
    if (!own) return;
    require(!own->isPublicKey() && first && !first->isPublicKey() && theirs, "a private key is found by every load()");
    require(first->publicComponents() == own->publicComponents(), "every load() finds the same private key");
    require(theirs->publicComponents() == own->publicComponents(), "a private key has the same public key");
}

void checkEncrypted(ByteView text, KeyClass keyClass, const std::optional<std::string>& passphrase) {
    int asked = 0;
    const auto ask = [&](std::string_view) -> std::optional<SecretBuffer> {
        ++asked;
        if (!passphrase) return std::nullopt;
        return SecretBuffer(passphrase->begin(), passphrase->end());
    };
    const auto key = load([&] { return SoftwareKeyStore::load(text, keyClass, ask); });
    require(asked <= 1, "the source is asked at most once");
    if (key) checkKey(*key);
    require(!key || key->isPublicKey() == (keyClass == KeyClass::publicKey), "the key is of the requested class");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const ByteView text(data + 1, size - 1);
    // One load for each input with a passphrase, because a derivation may take seconds.
    const auto keyClass = (data[0] & 4) != 0 ? KeyClass::publicKey : KeyClass::privateKey;
    switch (data[0] % 4) {
        case 0: checkUnencrypted(text); break;
        case 1: checkEncrypted(text, keyClass, longPassphrase); break;
        case 2: checkEncrypted(text, keyClass, shortPassphrase); break;
        default: checkEncrypted(text, keyClass, std::nullopt);
    }
    require(ERR_peek_error() == 0, "OpenSSL's error queue stays empty");
    return 0;
}
