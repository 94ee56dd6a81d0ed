// Constant-time check, run under valgrind: secrets are marked as undefined, so that valgrind reports each branch and
// each address that depends on one. `constant_time leak` compares with a loop that stops early, and must be reported.
#include <cstdio>
#include <cstring>
#include <valgrind/memcheck.h>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/internal/key_agreement.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/pad_to_length.hpp"
#include "torvane/platform/key_stores/software_key_store.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"
#include "torvane/platform/primitives/digest.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

namespace {

using namespace Torvane;
using enum HashFunction;

// Marks the bytes as secret.
template <class Bytes>
Bytes hide(Bytes bytes) {
    static_cast<void>(VALGRIND_MAKE_MEM_UNDEFINED(bytes.data(), bytes.size()));
    return bytes;
}

// Marks the bytes as public: they go to the peer, or have been accepted.
template <class Bytes>
Bytes reveal(Bytes bytes) {
    static_cast<void>(VALGRIND_MAKE_MEM_DEFINED(bytes.data(), bytes.size()));
    return bytes;
}

const ByteBuffer iv(16, 1), gcmIv(12, 1), aad(20, 2), plaintext(100, 3);

bool canEncrypt(Crypto::ContentEncrypter& encrypter) {
    ByteBuffer ciphertext(plaintext.size() + 32);
    auto size = encrypter.update(hide(plaintext), ciphertext);
    size += encrypter.finish(std::span(ciphertext).subspan(size));
    return size >= plaintext.size() && reveal(ciphertext) != plaintext && !reveal(encrypter.tag()).empty();
}

std::size_t hide(std::size_t number) {
    static_cast<void>(VALGRIND_MAKE_MEM_UNDEFINED(&number, sizeof(number)));
    return number;
}

// Pads decrypted blocks without the leading zero bytes, which some PKCS #11 tokens drop.
bool canPadToLength() {
    bool works = true;
    constexpr std::size_t length = 256;
    for (const std::size_t dropped : {0U, 1U, 2U, 37U, 128U, 255U, 256U}) {
        SecretBuffer block(length - dropped, 9), padded(dropped, 0);
        padded.insert(padded.end(), block.begin(), block.end());
        block.resize(length, 5);
        works = works && reveal(PKCS11::padToLength(hide(std::move(block)), hide(length - dropped), length)) == padded;
    }
    return works;
}

// A key whose store, as that of PKCS #11 does, pads the secret that a software key has agreed on.
class HidingKey final : public StoreKey {
  public:
    explicit HidingKey(SecKey own) noexcept : own_(std::move(own)) {}

    PublicComponents publicComponents() const override { return own_.publicComponents(); }

    SecretBuffer agree(const SecKey& peer) const override {
        const auto secret = hide(own_.agree(peer));
        return PKCS11::padToLength(secret, hide(secret.size()), coordinateSize(*own_.curve()));
    }

  private:
    SecKey own_;
};

// From the agreed secret to the content encryption key, or to the key that wraps it.
bool canAgreeOnKey() {
    using enum JOSE::KeyManagementAlgorithm;
    using enum JOSE::ContentEncryptionAlgorithm;
    bool works = true;
    for (const auto curve : {EllipticCurve::P256, EllipticCurve::P384, EllipticCurve::P521}) {
        const auto own = SoftwareKeyStore::generateEC(curve), peer = SoftwareKeyStore::generateEC(curve);
        const SecKey hidden(std::make_shared<HidingKey>(own));
        for (const auto& [management, encryption] : {std::pair{ECDH_ES, A128CBC_HS256},
                                                     {ECDH_ES, A256CBC_HS512},
                                                     {ECDH_ES, A128GCM},
                                                     {ECDH_ES, A256GCM},
                                                     {ECDH_ES_A128KW, A128GCM},
                                                     {ECDH_ES_A256KW, A128GCM}}) {
            const auto key = JOSE::agreeOnKey(hidden, peer.publicKey(), management, encryption, {});
            works = works && reveal(key) == JOSE::agreeOnKey(peer, own.publicKey(), management, encryption, {});
        }
    }
    return works;
}

// Does not cover what OpenSSL and libsecp256k1 decide inside: OpenSSL branches on whether a GCM tag is correct, and on
// the padding of a plaintext with a correct tag, and its AES key wrap reads tables. libsecp256k1 has a test of its own.
bool runClean() {
    bool works = canPadToLength() && canAgreeOnKey();
    for (const auto& [hash, size] : {std::pair{SHA256, 32U}, {SHA384, 48U}, {SHA512, 64U}}) {
        const auto key = hide(SecretBuffer(size, 4));
        ByteBuffer forged(112, 5);
        works = works && canEncrypt(*Crypto::makeCbcHmacEncrypter(hash, key, iv, aad)) &&
                !Crypto::decryptCbcHmac(hash, key, iv, aad, ByteBuffer(size / 2, 6), forged);
    }
    for (const std::size_t size : {16U, 24U, 32U}) {
        const auto key = hide(SecretBuffer(size, 4));
        works = works && canEncrypt(*Crypto::makeGcmEncrypter(key, gcmIv, aad)) &&
                reveal(Crypto::deriveKeyByConcatKdf(key, aad, 32)).size() == 32;
    }
    for (const std::size_t size : {31U, 32U, 33U}) {
        ByteBuffer text;
        appendSecretBase64url(text, hide(SecretBuffer(size, 7)));
        works = works && reveal(decodeSecretBase64url(asText(text)).value()) == SecretBuffer(size, 7);
    }
    return works;
}

// Leaks on purpose: the loop ends at the first difference. Without the output, a compiler may compare without a branch.
bool runLeaking() {
    const auto secret = hide(ByteBuffer(32, 8));
    for (const auto byte : secret) {
        if (byte != 8) return std::puts("different") < 0;
    }
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (RUNNING_ON_VALGRIND == 0) return std::fputs("needs valgrind\n", stderr), 2;
    if (count == 2 && std::strcmp(arguments[1], "leak") == 0) return runLeaking() ? 0 : 1;
    return runClean() ? 0 : 1;
}
