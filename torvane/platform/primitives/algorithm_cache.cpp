#include "torvane/platform/primitives/algorithm_cache.hpp"

#include <array>
#include <cstdint>

namespace Torvane::Crypto {
namespace {

using Algorithm = Handle<EVP_CIPHER, EVP_CIPHER_free>;
using DigestAlgorithm = Handle<EVP_MD, EVP_MD_free>;
using KdfAlgorithm = Handle<EVP_KDF, EVP_KDF_free>;

constexpr std::size_t hashCount = static_cast<std::size_t>(HashFunction::SHA512) + 1;

// The context that makeHmacContext() copies. It has a meaningless key, since some releases of OpenSSL copy no context
// without one.
MacContext makeHmacTemplate(HashFunction hash) {
    const Mac mac(check(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr), "find HMAC"));
    MacContext context(check(EVP_MAC_CTX_new(mac.get()), "set up HMAC"));
    const std::array params{OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST,
                                                             const_cast<char*>(EVP_MD_get0_name(fetchDigest(hash))), 0),
                            OSSL_PARAM_construct_end()};
    const std::uint8_t key = 0;
    check(EVP_MAC_init(context.get(), &key, sizeof key, params.data()), "set up HMAC");
    return context;
}

}  // namespace

const EVP_MD* fetchDigest(HashFunction hash) {
    static std::array<Shared<EVP_MD>, hashCount> digests{};
    return findOrMake(digests[static_cast<std::size_t>(hash)], [hash] {
        return DigestAlgorithm(
            check(EVP_MD_fetch(nullptr, EVP_MD_get0_name(evpDigest(hash)), nullptr), "find a digest"));
    });
}

const EVP_CIPHER* fetchAes(AesMode mode, std::size_t keySize) {
    constexpr std::size_t sizesPerMode = 3;
    static constexpr std::array<std::array<char, 13>, 3 * sizesPerMode> names{{{"AES-128-GCM"},
                                                                               {"AES-192-GCM"},
                                                                               {"AES-256-GCM"},
                                                                               {"AES-128-CBC"},
                                                                               {"AES-192-CBC"},
                                                                               {"AES-256-CBC"},
                                                                               {"AES-128-WRAP"},
                                                                               {"AES-192-WRAP"},
                                                                               {"AES-256-WRAP"}}};
    static std::array<Shared<EVP_CIPHER>, names.size()> ciphers{};
    if (keySize != 16 && keySize != 24 && keySize != 32) fail("find AES for a key of this size");
    const auto index = static_cast<std::size_t>(mode) * sizesPerMode + keySize / 8 - 2;
    return findOrMake(ciphers[index], [index] {
        return Algorithm(check(EVP_CIPHER_fetch(nullptr, names[index].data(), nullptr), "find AES"));
    });
}

EVP_KDF* fetchConcatKdf() {
    static Shared<EVP_KDF> kdf;
    return findOrMake(
        kdf, [] { return KdfAlgorithm(check(EVP_KDF_fetch(nullptr, OSSL_KDF_NAME_SSKDF, nullptr), "derive a key")); });
}

MacContext makeHmacContext(HashFunction hash) {
    static std::array<Shared<EVP_MAC_CTX>, hashCount> templates{};
    const auto* const hmacTemplate =
        findOrMake(templates[static_cast<std::size_t>(hash)], [hash] { return makeHmacTemplate(hash); });
    return MacContext(check(EVP_MAC_CTX_dup(hmacTemplate), "set up HMAC"));
}

}  // namespace Torvane::Crypto
