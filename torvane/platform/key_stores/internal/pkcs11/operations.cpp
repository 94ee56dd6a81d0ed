#include "torvane/platform/key_stores/internal/pkcs11/operations.hpp"

#include <algorithm>
#include <string>

#include <openssl/x509.h>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/pad_to_length.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/asymmetric_operations.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::PKCS11 {
namespace {

using DigestInfo = Crypto::Handle<X509_SIG, X509_SIG_free>;

struct HashConstants {
    CK_MECHANISM_TYPE mechanism;
    CK_RSA_PKCS_MGF_TYPE mask;
    const char* name;
};

HashConstants findConstants(HashFunction hash) noexcept {
    switch (hash) {
        case HashFunction::SHA1: return {CKM_SHA_1, CKG_MGF1_SHA1, "SHA-1"};
        case HashFunction::SHA256: return {CKM_SHA256, CKG_MGF1_SHA256, "SHA-256"};
        case HashFunction::SHA384: return {CKM_SHA384, CKG_MGF1_SHA384, "SHA-384"};
        case HashFunction::SHA512: return {CKM_SHA512, CKG_MGF1_SHA512, "SHA-512"};
    }
    return {};
}

CK_BYTE_PTR asInput(ByteView bytes) noexcept {
    return const_cast<CK_BYTE_PTR>(bytes.data());
}

// Begins an operation with the key. Returns false when the token does not support the mechanism.
template <auto Init>
bool beginOperation(const KeyInSession& key, const char* operation, CK_MECHANISM mechanism) {
    const auto result = key.session.attempt<Init>(&mechanism, key.object.handle);
    // SoftHSM returns CKR_ARGUMENTS_BAD for a hash function that it does not support in OAEP.
    if (result == CKR_ARGUMENTS_BAD || CallFailure(result, operation).isUnsupportedMechanism()) return false;
    if (result != CKR_OK) throw CallFailure(result, operation);
    if (key.object.alwaysAuthenticate) key.token.logInForOperation(key.session);
    return true;
}

// The subject includes its verb, for example "RSA-PSS signatures with SHA-256 are".
[[noreturn]] void throwNotSupported(const KeyInSession& key, const std::string& subject) {
    throw KeyStoreError::notSupported(subject + " not supported by " + key.token.description() + ".");
}

// The DER encoding of a DigestInfo, which RSASSA-PKCS1-v1_5 signs: the hash function and the digest (RFC 8017, section
// 9.2, step 2).
ByteBuffer encodeDigestInfo(HashFunction hash, ByteView digest) {
    const DigestInfo info(Crypto::check(X509_SIG_new(), "write a digest"));
    X509_ALGOR* algorithm = nullptr;
    ASN1_OCTET_STRING* value = nullptr;
    X509_SIG_getm(info.get(), &algorithm, &value);
    Crypto::check(
        X509_ALGOR_set0(algorithm, OBJ_nid2obj(EVP_MD_get_type(Crypto::evpDigest(hash))), V_ASN1_NULL, nullptr),
        "write a digest");
    Crypto::check(ASN1_OCTET_STRING_set(value, digest.data(), Crypto::toInt(digest.size(), "write a digest")),
                  "write a digest");
    ByteBuffer der(static_cast<std::size_t>(std::max(0, i2d_X509_SIG(info.get(), nullptr))));
    auto* out = der.data();
    if (der.empty() || i2d_X509_SIG(info.get(), &out) <= 0) Crypto::fail("write a digest");
    return der;
}

ByteBuffer signWith(const KeyInSession& key, CK_MECHANISM mechanism, ByteView data, std::size_t length,
                    const char* what, HashFunction hash) {
    constexpr const char* operation = "sign";
    if (!beginOperation<&CK_FUNCTION_LIST::C_SignInit>(key, operation, mechanism)) {
        throwNotSupported(key, std::string(what) + " signatures with " + findConstants(hash).name + " are");
    }
    ByteBuffer signature(length);
    auto written = toULong(signature.size());
    key.session.call<&CK_FUNCTION_LIST::C_Sign>(operation, asInput(data), toULong(data.size()), signature.data(),
                                                &written);
    if (mechanism.mechanism != CKM_ECDSA) return padToLength(signature, written, length);
    // A short ECDSA signature cannot be padded: it is unknown whether r or s was shortened.
    signature.resize(std::min<std::size_t>(written, length));
    return signature;
}

// Whether a failure to decrypt concerns the state of the token. All other failures are reported alike, since they may
// reveal how the ciphertext was padded.
bool concernsToken(Session& session, const CallFailure& failure) {
    switch (failure.reason) {
        case CKR_HOST_MEMORY:
        case CKR_DEVICE_MEMORY:
        case CKR_FUNCTION_CANCELED: return true;
        case CKR_DEVICE_ERROR: return !session.isOpen();
        default: return failure.isTokenLost() || failure.isUnsupportedMechanism();
    }
}

// Plaintext buffer and used length.
struct Decrypted {
    SecretBuffer buffer;
    std::size_t size;
};

// Finishes a decryption that has begun. Returns nothing when the ciphertext does not decrypt.
std::optional<Decrypted> finishDecryption(const KeyInSession& key, const char* operation, ByteView ciphertext) {
    Decrypted decrypted{SecretBuffer(ciphertext.size()), 0};
    auto written = toULong(decrypted.buffer.size());
    const auto result = key.session.attempt<&CK_FUNCTION_LIST::C_Decrypt>(
        asInput(ciphertext), toULong(ciphertext.size()), decrypted.buffer.data(), &written);
    decrypted.size = std::min<std::size_t>(written, decrypted.buffer.size());
    if (result == CKR_OK) return decrypted;
    const CallFailure failure(result, operation);
    if (concernsToken(key.session, failure)) throw CallFailure(failure);
    return std::nullopt;
}

}  // namespace

ByteBuffer sign(const KeyInSession& key, SignatureScheme scheme, HashFunction hash, ByteView digest,
                std::size_t length) {
    const Crypto::ErrorScope scope;
    const auto constants = findConstants(hash);
    switch (scheme) {
        case SignatureScheme::RSA_PKCS1:
            return signWith(key, {CKM_RSA_PKCS, nullptr, 0}, encodeDigestInfo(hash, digest), length, "RSA-PKCS1", hash);
        case SignatureScheme::RSA_PSS: {
            CK_RSA_PKCS_PSS_PARAMS pss{constants.mechanism, constants.mask, toULong(digest.size())};
            return signWith(key, {CKM_RSA_PKCS_PSS, &pss, sizeof(pss)}, digest, length, "RSA-PSS", hash);
        }
        case SignatureScheme::ECDSA:
            // Not all tokens truncate a digest to the size of the order (FIPS 186-4, section 6.4).
            return signWith(key, {CKM_ECDSA, nullptr, 0}, digest.first(std::min(digest.size(), length / 2)), length,
                            "ECDSA", hash);
    }
    return {};
}

std::optional<SecretBuffer> decrypt(const KeyInSession& key, HashFunction hash, ByteView ciphertext) {
    constexpr const char* operation = "decrypt";
    constexpr auto init = &CK_FUNCTION_LIST::C_DecryptInit;
    const auto constants = findConstants(hash);
    CK_RSA_PKCS_OAEP_PARAMS oaep{constants.mechanism, constants.mask, CKZ_DATA_SPECIFIED, nullptr, 0};
    try {
        if (beginOperation<init>(key, operation, {CKM_RSA_PKCS_OAEP, &oaep, sizeof(oaep)})) {
            auto decrypted = finishDecryption(key, operation, ciphertext);
            if (!decrypted) return std::nullopt;
            decrypted->buffer.resize(decrypted->size);
            return std::move(decrypted->buffer);
        }
    } catch (const CallFailure& failure) {
        // Some tokens report only here that they do not support the mechanism.
        if (!failure.isUnsupportedMechanism()) throw;
    }
    if (beginOperation<init>(key, operation, {CKM_RSA_X_509, nullptr, 0})) {
        const auto decrypted = finishDecryption(key, operation, ciphertext);
        if (!decrypted) return std::nullopt;
        return Crypto::removeOaepPadding(hash, padToLength(decrypted->buffer, decrypted->size, ciphertext.size()));
    }
    throwNotSupported(key, std::string("RSA-OAEP with ") + constants.name + " and RSA without padding are");
}

SecretBuffer agree(const KeyInSession& key, const ECPublicComponents& peer) {
    const auto length = coordinateSize(peer.curve);
    auto point = Crypto::encodePoint(peer.x, peer.y);
    CK_ECDH1_DERIVE_PARAMS parameters{CKD_NULL, 0, nullptr, toULong(point.size()), point.data()};
    CK_MECHANISM mechanism{CKM_ECDH1_DERIVE, &parameters, sizeof(parameters)};
    Template secret(CKO_SECRET_KEY);
    secret.add(CKA_KEY_TYPE, CK_ULONG{CKK_GENERIC_SECRET}).add(CKA_VALUE_LEN, toULong(length));
    secret.setTrue({CKA_EXTRACTABLE}).setFalse({CKA_TOKEN, CKA_SENSITIVE});
    CK_OBJECT_HANDLE derived{};
    key.session.call<&CK_FUNCTION_LIST::C_DeriveKey>("agree on a secret", &mechanism, key.object.handle, secret.data(),
                                                     secret.size(), &derived);
    auto value = key.session.readAttribute(derived, CKA_VALUE);
    key.session.attempt<&CK_FUNCTION_LIST::C_DestroyObject>(derived);
    if (!value) throwNotSupported(key, "Reading an agreed secret is");
    return padToLength(*value, value->size(), length);
}

}  // namespace Torvane::PKCS11
