#include "torvane/platform/primitives/key_derivation.hpp"

#include <array>

#include "torvane/platform/primitives/algorithm_cache.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {
namespace {

constexpr std::size_t wrapOverhead = 8;

CipherContext makeWrapContext(ByteView wrappingKey, bool encrypt) {
    const auto* cipher = fetchAes(AesMode::wrap, wrappingKey.size());
    CipherContext context(check(EVP_CIPHER_CTX_new(), "set up key wrap"));
    EVP_CIPHER_CTX_set_flags(context.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
    check(EVP_CipherInit_ex(context.get(), cipher, nullptr, wrappingKey.data(), nullptr, encrypt ? 1 : 0),
          "set up key wrap");
    return context;
}

}  // namespace

SecretBuffer deriveKeyByConcatKdf(ByteView sharedSecret, ByteView otherInfo, std::size_t size) {
    const ErrorScope scope;
    const KdfContext context(check(EVP_KDF_CTX_new(fetchConcatKdf()), "derive a key"));
    std::array params{OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, const_cast<char*>("SHA256"), 0),
                      OSSL_PARAM_construct_octet_string(
                          OSSL_KDF_PARAM_KEY, const_cast<std::uint8_t*>(sharedSecret.data()), sharedSecret.size()),
                      OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO,
                                                        const_cast<std::uint8_t*>(otherInfo.data()), otherInfo.size()),
                      OSSL_PARAM_construct_end()};
    SecretBuffer key(size);
    check(EVP_KDF_derive(context.get(), key.data(), key.size(), params.data()), "derive a key");
    return key;
}

ByteBuffer wrapKey(ByteView wrappingKey, ByteView key) {
    const ErrorScope scope;
    const auto context = makeWrapContext(wrappingKey, true);
    ByteBuffer wrapped(key.size() + 2 * wrapOverhead);
    int written = 0;
    check(EVP_CipherUpdate(context.get(), wrapped.data(), &written, key.data(), toInt(key.size(), "wrap a key")),
          "wrap a key");
    wrapped.resize(static_cast<std::size_t>(written));
    return wrapped;
}

std::optional<SecretBuffer> unwrapKey(ByteView wrappingKey, ByteView wrapped, std::size_t size) {
    const ErrorScope scope;
    if (wrapped.size() != size + wrapOverhead) return std::nullopt;
    const auto context = makeWrapContext(wrappingKey, false);
    SecretBuffer key(wrapped.size() + wrapOverhead);
    int written = 0;
    if (EVP_CipherUpdate(context.get(), key.data(), &written, wrapped.data(), toInt(wrapped.size(), "unwrap a key")) !=
            1 ||
        static_cast<std::size_t>(written) != size) {
        return std::nullopt;
    }
    key.resize(size);
    return key;
}

}  // namespace Torvane::Crypto
