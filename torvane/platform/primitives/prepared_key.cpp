#include "torvane/platform/primitives/prepared_key.hpp"

#include <algorithm>

#include <openssl/rsa.h>

namespace Torvane::Crypto {
namespace {

void setScheme(EVP_PKEY_CTX* context, SignatureScheme scheme, HashFunction hash) {
    check(EVP_PKEY_CTX_set_signature_md(context, evpDigest(hash)), "choose a hash function");
    if (scheme == SignatureScheme::ECDSA) return;
    const bool pss = scheme == SignatureScheme::RSA_PSS;
    check(EVP_PKEY_CTX_set_rsa_padding(context, pss ? RSA_PKCS1_PSS_PADDING : RSA_PKCS1_PADDING), "choose a padding");
    if (pss) check(EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_DIGEST), "choose a salt length");
}

void setOaep(EVP_PKEY_CTX* context, HashFunction hash) {
    check(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_OAEP_PADDING), "choose a padding");
    check(EVP_PKEY_CTX_set_rsa_oaep_md(context, evpDigest(hash)), "choose a hash function");
    check(EVP_PKEY_CTX_set_rsa_mgf1_md(context, evpDigest(hash)), "choose a hash function");
}

void setUp(EVP_PKEY_CTX* context, const Purpose& purpose) {
    switch (purpose.operation) {
        case Purpose::Operation::sign:
            check(EVP_PKEY_sign_init(context), "set up signing");
            return setScheme(context, purpose.scheme, purpose.hash);
        case Purpose::Operation::verify:
            check(EVP_PKEY_verify_init(context), "set up verifying");
            return setScheme(context, purpose.scheme, purpose.hash);
        case Purpose::Operation::encrypt:
            check(EVP_PKEY_encrypt_init(context), "set up encryption");
            return setOaep(context, purpose.hash);
        case Purpose::Operation::decrypt:
            check(EVP_PKEY_decrypt_init(context), "set up decryption");
            return setOaep(context, purpose.hash);
        case Purpose::Operation::agree: check(EVP_PKEY_derive_init(context), "set up key agreement");
    }
}

}  // namespace

PkeyContext PreparedKey::makeContext(const Purpose& purpose) const {
    // Needs no lock: a prepared context is never moved or changed.
    return PkeyContext(check(EVP_PKEY_CTX_dup(findOrPrepare(purpose)), "set up a key operation"));
}

const EVP_PKEY_CTX* PreparedKey::findOrPrepare(const Purpose& purpose) const {
    const std::lock_guard lock(mutex_);
    const auto known = std::find_if(contexts_.begin(), contexts_.end(),
                                    [&purpose](const auto& entry) { return entry.first == purpose; });
    if (known != contexts_.end()) return known->second.get();
    PkeyContext context(check(EVP_PKEY_CTX_new_from_pkey(nullptr, key_.get(), nullptr), "set up a key operation"));
    setUp(context.get(), purpose);
    return contexts_.emplace_back(purpose, std::move(context)).second.get();
}

}  // namespace Torvane::Crypto
