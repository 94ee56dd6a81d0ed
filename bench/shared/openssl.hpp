// Owning handles of OpenSSL objects, and checks that throw.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <openssl/err.h>
#include <openssl/evp.h>

namespace Bench {

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
using Digest = Handle<EVP_MD, EVP_MD_free>;
using DigestContext = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;
using Cipher = Handle<EVP_CIPHER, EVP_CIPHER_free>;
using CipherContext = Handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Mac = Handle<EVP_MAC, EVP_MAC_free>;
using MacContext = Handle<EVP_MAC_CTX, EVP_MAC_CTX_free>;

inline void check(bool succeeded, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (!succeeded) throw std::runtime_error("failed at " + std::string(file) + ":" + std::to_string(line));
}

/// Takes ownership of an object; throws if it is null.
template <class Owner>
Owner owned(typename Owner::pointer made, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    check(made != nullptr, file, line);
    return Owner(made);
}

/// Whether the call throws std::runtime_error. Clears OpenSSL's error queue.
template <class Call>
bool fails(Call call) {
    try {
        call();
    } catch (const std::runtime_error&) {
        ERR_clear_error();
        return true;
    }
    return false;
}

}  // namespace Bench
