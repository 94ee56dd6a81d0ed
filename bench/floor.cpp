#include "bench/floor.hpp"

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

namespace Bench {
namespace {

void check(bool succeeded) {
    if (!succeeded) throw std::runtime_error("OpenSSL failed");
}

using Bytes = std::vector<unsigned char>;

constexpr std::size_t rsaSize = 256;
constexpr std::size_t headerSize = 40;

std::size_t base64Size(std::size_t size) {
    return (size + 2) / 3 * 4;
}

struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_PKEY_CTX, KeyFree>;

}  // namespace

struct Floor::State {
    std::unique_ptr<EVP_PKEY, KeyFree> key{EVP_RSA_gen(2048)};
    std::unique_ptr<EVP_CIPHER_CTX, KeyFree> cipher{EVP_CIPHER_CTX_new()};
    Context signing = context(EVP_PKEY_sign_init, false), verifying = context(EVP_PKEY_verify_init, false);
    Context encrypting = context(EVP_PKEY_encrypt_init, true), decrypting = context(EVP_PKEY_decrypt_init, true);
    Bytes message, jws, ciphertext, token, signature = Bytes(rsaSize), encryptedKey = Bytes(rsaSize);
    std::array<unsigned char, 32> contentKey{}, digest{}, tag{};
    std::array<unsigned char, 16> iv{};

    Context context(int (*initialize)(EVP_PKEY_CTX*), bool oaep) const {
        Context made(EVP_PKEY_CTX_new(key.get(), nullptr));
        check(initialize(made.get()) == 1);
        check(EVP_PKEY_CTX_set_rsa_padding(made.get(), oaep ? RSA_PKCS1_OAEP_PADDING : RSA_PKCS1_PADDING) == 1);
        check((oaep ? EVP_PKEY_CTX_set_rsa_oaep_md(made.get(), EVP_sha256())
                    : EVP_PKEY_CTX_set_signature_md(made.get(), EVP_sha256())) == 1);
        return made;
    }

    void hash() { check(EVP_Digest(jws.data(), jws.size(), digest.data(), nullptr, EVP_sha256(), nullptr) == 1); }

    void authenticate() {
        check(HMAC(EVP_sha256(), contentKey.data(), 16, ciphertext.data(), ciphertext.size(), tag.data(), nullptr) !=
              nullptr);
    }

    void crypt(const Bytes& in, Bytes& out, bool encrypt) {
        int written = 0, last = 0;
        check(EVP_CipherInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, contentKey.data() + 16, iv.data(),
                                encrypt ? 1 : 0) == 1);
        check(EVP_CipherUpdate(cipher.get(), out.data(), &written, in.data(), static_cast<int>(in.size())) == 1);
        check(EVP_CipherFinal_ex(cipher.get(), out.data() + written, &last) == 1);
    }
};

Floor::Floor(std::size_t messageSize) : state_(std::make_unique<State>()) {
    auto& s = *state_;
    s.message.assign(messageSize, 7);
    s.jws.assign(headerSize + base64Size(messageSize) + base64Size(rsaSize), 'A');
    s.ciphertext.resize((s.jws.size() / 16 + 1) * 16);
    s.token.resize(base64Size(s.ciphertext.size()) + 1);
    encode();
}

Floor::~Floor() = default;

void Floor::encode() {
    auto& s = *state_;
    std::size_t size = rsaSize;
    EVP_EncodeBlock(s.jws.data() + headerSize, s.message.data(), static_cast<int>(s.message.size()));
    s.hash();
    check(EVP_PKEY_sign(s.signing.get(), s.signature.data(), &size, s.digest.data(), s.digest.size()) == 1);
    check(RAND_bytes(s.contentKey.data(), 32) == 1 && RAND_bytes(s.iv.data(), 16) == 1);
    check(EVP_PKEY_encrypt(s.encrypting.get(), s.encryptedKey.data(), &size, s.contentKey.data(), 32) == 1);
    s.crypt(s.jws, s.ciphertext, true);
    s.authenticate();
    EVP_EncodeBlock(s.token.data(), s.ciphertext.data(), static_cast<int>(s.ciphertext.size()));
}

void Floor::decode() {
    auto& s = *state_;
    std::array<unsigned char, rsaSize> unwrapped{};
    std::size_t size = unwrapped.size();
    Bytes decoded(s.token.size()), jws(s.ciphertext.size() + 16), message(s.jws.size());
    EVP_DecodeBlock(decoded.data(), s.token.data(), static_cast<int>(s.token.size() - 1));
    check(EVP_PKEY_decrypt(s.decrypting.get(), unwrapped.data(), &size, s.encryptedKey.data(), rsaSize) == 1);
    s.authenticate();
    s.crypt(s.ciphertext, jws, false);
    s.hash();
    check(EVP_PKEY_verify(s.verifying.get(), s.signature.data(), rsaSize, s.digest.data(), s.digest.size()) == 1);
    EVP_DecodeBlock(message.data(), s.jws.data() + headerSize, static_cast<int>(base64Size(s.message.size())));
}

}  // namespace Bench
