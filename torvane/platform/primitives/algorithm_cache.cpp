#include "torvane/platform/primitives/algorithm_cache.hpp"

#include <array>
#include <cstdint>

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

// AES in one mode, for keys of 16, 24 and 32 bytes.
class AesCiphers {
  public:
    AesCiphers(const char* aes128, const char* aes192, const char* aes256)
        : aes128_(fetch(aes128)), aes192_(fetch(aes192)), aes256_(fetch(aes256)) {}

    [[nodiscard]] const EVP_CIPHER* forKeySize(std::size_t size) const {
        switch (size) {
            case 16: return aes128_;
            case 24: return aes192_;
            case 32: return aes256_;
            default: fail("find AES for a key of this size");
        }
    }

  private:
    static const EVP_CIPHER* fetch(const char* name) {
        return check(EVP_CIPHER_fetch(nullptr, name, nullptr), "find AES");
    }

    const EVP_CIPHER *aes128_, *aes192_, *aes256_;
};

// The context that makeHmacContext() copies. It has a meaningless key, since some releases of OpenSSL copy no context
// without one.
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
    static const AesCiphers ciphers("AES-128-GCM", "AES-192-GCM", "AES-256-GCM");
    return ciphers.forKeySize(keySize);
}

const EVP_CIPHER* fetchAesCbc(std::size_t keySize) {
    static const AesCiphers ciphers("AES-128-CBC", "AES-192-CBC", "AES-256-CBC");
    return ciphers.forKeySize(keySize);
}

const EVP_CIPHER* fetchAesWrap(std::size_t keySize) {
    static const AesCiphers ciphers("AES-128-WRAP", "AES-192-WRAP", "AES-256-WRAP");
    return ciphers.forKeySize(keySize);
}

EVP_KDF* fetchConcatKdf() {
    static auto* const kdf = check(EVP_KDF_fetch(nullptr, OSSL_KDF_NAME_SSKDF, nullptr), "find the key derivation");
    return kdf;
}

MacContext makeHmacContext(HashFunction hash) {
    const auto* const hmacTemplate = withHash(hash, []<HashFunction value>() {
        static const auto* const context = makeHmacTemplate(value);
        return context;
    });
    return MacContext(check(EVP_MAC_CTX_dup(hmacTemplate), "set up HMAC"));
}

}  // namespace Torvane::Crypto
