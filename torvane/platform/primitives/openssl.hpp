// Owning handles for OpenSSL 3 objects, and the conversion of OpenSSL's failures to SecurityError.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/error_scope.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane::Crypto {

/// Deleter of a Handle: calls the function that OpenSSL has for that type.
template <auto Free>
struct Deleter {
    template <class T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};

template <class T, auto Free>
using Handle = std::unique_ptr<T, Deleter<Free>>;

using Pkey = Handle<EVP_PKEY, EVP_PKEY_free>;
using PkeyContext = Handle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using CipherContext = Handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using DigestContext = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;
using Mac = Handle<EVP_MAC, EVP_MAC_free>;
using MacContext = Handle<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using KdfContext = Handle<EVP_KDF_CTX, EVP_KDF_CTX_free>;
using Bignum = Handle<BIGNUM, BN_clear_free>;
using EcdsaSignature = Handle<ECDSA_SIG, ECDSA_SIG_free>;
using ParamBuilder = Handle<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Params = Handle<OSSL_PARAM, OSSL_PARAM_free>;

/// Throws a SecurityError "Failed to " + what + ".". OpenSSL's own reason is left out: it differs between patch
/// releases, and may belong to an earlier failure of other code.
[[noreturn]] inline void fail(std::string_view what) {
    throw SecurityError("Failed to " + std::string(what) + ".");
}

/// Calls fail() for every result other than 1.
inline void check(int result, std::string_view what) {
    if (result != 1) fail(what);
}

/// Returns the pointer, or calls fail() when it is null.
template <class T>
T* check(T* result, std::string_view what) {
    if (result == nullptr) fail(what);
    return result;
}

/// A size as the int that OpenSSL takes.
/// @throws SecurityError as fail(what) for a size that an int cannot hold.
inline int toInt(std::size_t size, std::string_view what) {
    if (!std::in_range<int>(size)) fail(what);
    return static_cast<int>(size);
}

/// Size of the chunks in which long input is passed to OpenSSL's ciphers, which count bytes in an int.
inline constexpr std::size_t cipherChunkSize = std::size_t{1} << 30;

/// Calls use(chunk) for consecutive chunks of at most cipherChunkSize bytes.
template <class Use>
void forEachCipherChunk(ByteView bytes, Use use) {
    while (!bytes.empty()) {
        const auto chunk = bytes.first(std::min(bytes.size(), cipherChunkSize));
        use(chunk);
        bytes = bytes.subspan(chunk.size());
    }
}

/// OpenSSL's constant for a hash function; for computing digests, fetchDigest() is faster.
inline const EVP_MD* evpDigest(HashFunction hash) noexcept {
    switch (hash) {
        case HashFunction::SHA1: return EVP_sha1();
        case HashFunction::SHA256: return EVP_sha256();
        case HashFunction::SHA384: return EVP_sha384();
        case HashFunction::SHA512: return EVP_sha512();
    }
    return nullptr;
}

}  // namespace Torvane::Crypto
