#include "torvane/platform/primitives/algorithm_cache.hpp"

#include <array>

namespace Torvane::Crypto {
namespace {

// Calls use<hash>() with the hash as a template argument, so that each hash has static variables of its own.
template <class Use>
auto withHash(HashFunction hash, Use use) {
    switch (hash) {
        case HashFunction::SHA1: return use.template operator()<HashFunction::SHA1>();
        case HashFunction::SHA256: return use.template operator()<HashFunction::SHA256>();
        case HashFunction::SHA384: return use.template operator()<HashFunction::SHA384>();
        case HashFunction::SHA512: break;
    }
    return use.template operator()<HashFunction::SHA512>();
}

const EVP_CIPHER* fetchCipher(const char* name) {
    return check(EVP_CIPHER_fetch(nullptr, name, nullptr), "find AES");
}

// The context that makeHmac() copies. It has a meaningless key, since some releases of OpenSSL copy no context without
// one.
EVP_MAC_CTX* makeHmacTemplate(HashFunction hash) {
    const Mac mac(check(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), "find HMAC"));
    MacContext context(check(EVP_MAC_CTX_new(mac.get()), "set up HMAC"));
    const std::array params{OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST,
                                                             const_cast<char*>(EVP_MD_get0_name(fetchDigest(hash))), 0),
                            OSSL_PARAM_construct_end()};
    const std::uint8_t key = 0;
    check(EVP_MAC_init(context.get(), &key, sizeof key, params.data()), "set up HMAC");
    return context.release();
}

}  // namespace

const EVP_MD* fetchDigest(HashFunction hash) {
    return withHash(hash, []<HashFunction value>() {
        static const auto* const digest =
            check(EVP_MD_fetch(nullptr, EVP_MD_get0_name(evpDigest(value)), nullptr), "find a digest");
        return static_cast<const EVP_MD*>(digest);
    });
}

const EVP_CIPHER* fetchAesGcm(std::size_t keySize) {
    static const std::array ciphers{fetchCipher("AES-128-GCM"), fetchCipher("AES-192-GCM"), fetchCipher("AES-256-GCM")};
    return ciphers.at(keySize / 8 - 2);
}

const EVP_CIPHER* fetchAesCbc(std::size_t keySize) {
    static const std::array ciphers{fetchCipher("AES-128-CBC"), fetchCipher("AES-192-CBC"), fetchCipher("AES-256-CBC")};
    return ciphers.at(keySize / 8 - 2);
}

MacContext makeHmac(HashFunction hash) {
    const auto* const hmacTemplate = withHash(hash, []<HashFunction value>() {
        static const auto* const context = makeHmacTemplate(value);
        return context;
    });
    return MacContext(check(EVP_MAC_CTX_dup(hmacTemplate), "set up HMAC"));
}

}  // namespace Torvane::Crypto
