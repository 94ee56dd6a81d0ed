#include "torvane/platform/crypto/digest.hpp"

#include <array>

#include <openssl/crypto.h>

#include "torvane/platform/crypto/declassified.hpp"

namespace Platform::Crypto {

ByteBuffer digest(HashFunction hash, ByteView data) {
    const ErrorScope scope;
    ByteBuffer result(digestSize(hash));
    check(EVP_Digest(data.data(), data.size(), result.data(), nullptr, evpDigest(hash), nullptr), "compute a digest");
    return result;
}

Digest::Digest(HashFunction hash) : size_(digestSize(hash)) {
    const ErrorScope scope;
    context_.reset(check(EVP_MD_CTX_new(), "set up a digest"));
    check(EVP_DigestInit_ex2(context_.get(), evpDigest(hash), nullptr), "set up a digest");
}

void Digest::update(ByteView data) {
    const ErrorScope scope;
    check(EVP_DigestUpdate(context_.get(), data.data(), data.size()), "compute a digest");
}

ByteBuffer Digest::finish() {
    const ErrorScope scope;
    ByteBuffer result(size_);
    check(EVP_DigestFinal_ex(context_.get(), result.data(), nullptr), "compute a digest");
    return result;
}

Hmac::Hmac(HashFunction hash, ByteView key) : size_(digestSize(hash)) {
    const ErrorScope scope;
    const Mac mac(check(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), "find HMAC"));
    context_.reset(check(EVP_MAC_CTX_new(mac.get()), "set up HMAC"));
    std::array params{OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST,
                                                       const_cast<char*>(EVP_MD_get0_name(evpDigest(hash))), 0),
                      OSSL_PARAM_construct_end()};
    check(EVP_MAC_init(context_.get(), key.data(), key.size(), params.data()), "set up HMAC");
}

void Hmac::update(ByteView data) {
    const ErrorScope scope;
    check(EVP_MAC_update(context_.get(), data.data(), data.size()), "compute HMAC");
}

SecretBuffer Hmac::finish() {
    const ErrorScope scope;
    SecretBuffer result(size_);
    std::size_t written = 0;
    check(EVP_MAC_final(context_.get(), result.data(), &written, result.size()), "compute HMAC");
    return result;
}

bool equalInConstantTime(ByteView a, ByteView b) noexcept {
    return a.size() == b.size() && declassified(CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0);
}

}  // namespace Platform::Crypto
