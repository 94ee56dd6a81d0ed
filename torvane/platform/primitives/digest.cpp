#include "torvane/platform/primitives/digest.hpp"

#include <openssl/crypto.h>

#include "torvane/platform/primitives/algorithm_cache.hpp"
#include "torvane/platform/primitives/declassify.hpp"

namespace Torvane::Crypto {

ByteBuffer digest(HashFunction hash, ByteView data) {
    const ErrorScope scope;
    ByteBuffer result(digestSize(hash));
    check(EVP_Digest(data.data(), data.size(), result.data(), nullptr, fetchDigest(hash), nullptr), "compute a digest");
    return result;
}

Digest::Digest(HashFunction hash) : context_(check(EVP_MD_CTX_new(), "set up a digest")), size_(digestSize(hash)) {
    check(EVP_DigestInit_ex2(context_.get(), fetchDigest(hash), nullptr), "set up a digest");
}

void Digest::update(ByteView data) {
    check(EVP_DigestUpdate(context_.get(), data.data(), data.size()), "compute a digest");
}

ByteBuffer Digest::finish() {
    ByteBuffer result(size_);
    check(EVP_DigestFinal_ex(context_.get(), result.data(), nullptr), "compute a digest");
    return result;
}

Hmac::Hmac(HashFunction hash, ByteView key) : context_(makeHmacContext(hash)), size_(digestSize(hash)) {
    check(EVP_MAC_init(context_.get(), key.data(), key.size(), nullptr), "set up HMAC");
}

void Hmac::update(ByteView data) {
    check(EVP_MAC_update(context_.get(), data.data(), data.size()), "compute HMAC");
}

SecretBuffer Hmac::finish() {
    SecretBuffer result(size_);
    std::size_t written = 0;
    check(EVP_MAC_final(context_.get(), result.data(), &written, result.size()), "compute HMAC");
    return result;
}

bool equalInConstantTime(ByteView a, ByteView b) noexcept {
    return a.size() == b.size() && declassify(CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0);
}

}  // namespace Torvane::Crypto
