// Runs under valgrind with the secrets marked undefined: a branch or an address that depends on one is an error
// there. `constant_time leak` compares with a loop that stops early, and has to be caught.
#include <cstdio>
#include <cstring>
#include <valgrind/memcheck.h>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"
#include "torvane/platform/primitives/digest.hpp"
#include "torvane/platform/primitives/key_derivation.hpp"

namespace {

using namespace Torvane;
using enum HashFunction;

// Returns the bytes as a secret.
template <class Bytes>
Bytes hidden(Bytes bytes) {
    static_cast<void>(VALGRIND_MAKE_MEM_UNDEFINED(bytes.data(), bytes.size()));
    return bytes;
}

// What goes to the peer, or has been accepted, is no secret any more.
template <class Bytes>
Bytes shown(Bytes bytes) {
    static_cast<void>(VALGRIND_MAKE_MEM_DEFINED(bytes.data(), bytes.size()));
    return bytes;
}

const ByteBuffer iv(16, 1), gcmIv(12, 1), aad(20, 2), plaintext(100, 3);

bool encrypts(Crypto::ContentEncryptor& encryptor) {
    ByteBuffer ciphertext(plaintext.size() + 32);
    auto size = encryptor.update(hidden(plaintext), ciphertext);
    size += encryptor.finish(std::span(ciphertext).subspan(size));
    return size >= plaintext.size() && shown(ciphertext) != plaintext && !shown(encryptor.tag()).empty();
}

// Not here: what the primitives decide themselves. OpenSSL branches on whether a GCM tag is right and on the padding of
// a plaintext whose tag was, and its AES key wrap reads tables; libsecp256k1 has such a test of its own.
bool runClean() {
    bool works = true;
    for (const auto& [hash, size] : {std::pair{SHA256, 32U}, {SHA384, 48U}, {SHA512, 64U}}) {
        const auto key = hidden(SecretBuffer(size, 4));
        ByteBuffer forged(112, 5);
        works = works && encrypts(*Crypto::makeCbcHmacEncryptor(hash, key, iv, aad)) &&
                !Crypto::decryptCbcHmac(hash, key, iv, aad, ByteBuffer(size / 2, 6), forged);
    }
    for (const std::size_t size : {16U, 24U, 32U}) {
        const auto key = hidden(SecretBuffer(size, 4));
        works = works && encrypts(*Crypto::makeGcmEncryptor(key, gcmIv, aad)) &&
                shown(Crypto::deriveKeyByConcatKdf(key, aad, 32)).size() == 32;
    }
    for (const std::size_t size : {31U, 32U, 33U}) {
        ByteBuffer text;
        appendSecretBase64url(text, hidden(SecretBuffer(size, 7)));
        works = works && shown(decodeSecretBase64url(asText(text)).value()) == SecretBuffer(size, 7);
    }
    return works;
}

// What must be caught: the loop ends where the bytes differ.
bool runLeaking() {
    const auto secret = hidden(ByteBuffer(32, 8));
    for (const auto byte : secret)
        if (byte != 8) return false;
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (RUNNING_ON_VALGRIND == 0) return std::fputs("needs valgrind\n", stderr), 2;
    if (count == 2 && std::strcmp(arguments[1], "leak") == 0) return runLeaking() ? 0 : 1;
    return runClean() ? 0 : 1;
}
