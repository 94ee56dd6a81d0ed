#include "torvane/platform/key_stores/internal/pkcs11/operations.hpp"

#include <algorithm>
#include <string>

#include <openssl/x509.h>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/primitives/asymmetric_operations.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {
namespace {

using DigestInfo = Handle<X509_SIG, X509_SIG_free>;

struct HashWords {
    CK_MECHANISM_TYPE mechanism;
    CK_RSA_PKCS_MGF_TYPE mask;
    const char* name;
};

HashWords wordsOf(HashFunction hash) noexcept {
    switch (hash) {
        case HashFunction::SHA1: return {CKM_SHA_1, CKG_MGF1_SHA1, "SHA-1"};
        case HashFunction::SHA256: return {CKM_SHA256, CKG_MGF1_SHA256, "SHA-256"};
        case HashFunction::SHA384: return {CKM_SHA384, CKG_MGF1_SHA384, "SHA-384"};
        case HashFunction::SHA512: return {CKM_SHA512, CKG_MGF1_SHA512, "SHA-512"};
    }
    return {};
}

CK_BYTE_PTR in(ByteView bytes) noexcept {
    return const_cast<CK_BYTE_PTR>(bytes.data());
}

CK_ULONG size(ByteView bytes) noexcept {
    return static_cast<CK_ULONG>(bytes.size());
}

// Begins an operation; false when the token does not do it in this way.
template <auto Init>
bool begins(const Pkcs11Use& use, const char* operation, CK_MECHANISM mechanism) {
    const auto result = use.session.attempt<Init>(&mechanism, use.key.handle);
    // SoftHSM says CKR_ARGUMENTS_BAD to a hash function that it does not do OAEP with.
    if (result == CKR_ARGUMENTS_BAD || Pkcs11Failure(result, operation).isLackOfMechanism()) return false;
    if (result != CKR_OK) throw Pkcs11Failure(result, operation);
    if (use.key.asksEachTime) use.token.authenticate(use.session);
    return true;
}

[[noreturn]] void refuse(const Pkcs11Use& use, const std::string& what) {
    throw KeyStoreError::notSupported("This is not done by " + use.token.name() + ": " + what + ".");
}

// What RSASSA-PKCS1-v1_5 signs: the digest with the name of its hash function (RFC 8017, section 9.2, step 2).
ByteBuffer digestInfo(HashFunction hash, ByteView digest) {
    const DigestInfo info(check(X509_SIG_new(), "write a digest"));
    X509_ALGOR* algorithm = nullptr;
    ASN1_OCTET_STRING* value = nullptr;
    X509_SIG_getm(info.get(), &algorithm, &value);
    check(X509_ALGOR_set0(algorithm, OBJ_nid2obj(EVP_MD_get_type(evpDigest(hash))), V_ASN1_NULL, nullptr),
          "write a digest");
    check(ASN1_OCTET_STRING_set(value, digest.data(), static_cast<int>(digest.size())), "write a digest");
    ByteBuffer der(static_cast<std::size_t>(std::max(0, i2d_X509_SIG(info.get(), nullptr))));
    auto* out = der.data();
    if (der.empty() || i2d_X509_SIG(info.get(), &out) <= 0) fail("write a digest");
    return der;
}

// Tokens may drop leading zero bytes of a number. How many there were decides neither a branch nor an address.
template <class Buffer>
Buffer padded(const Buffer& number, std::size_t written, std::size_t length) {
    Buffer moved(length);
    std::copy_n(number.begin(), std::min(number.size(), length), moved.begin());
    const auto missing = length - std::min(written, length);
    for (std::size_t step = 1; step < length; step *= 2) {
        const auto moves = static_cast<std::uint8_t>(0 - (missing / step & 1));
        for (std::size_t i = length; i-- > 0;) {
            const std::uint8_t from = i < step ? 0 : moved[i - step];
            moved[i] = static_cast<std::uint8_t>((moved[i] & ~moves) | (from & moves));
        }
    }
    return moved;
}

ByteBuffer signedBy(const Pkcs11Use& use, CK_MECHANISM mechanism, ByteView data, std::size_t length, const char* what,
                    HashFunction hash) {
    constexpr const char* operation = "sign";
    if (!begins<&CK_FUNCTION_LIST::C_SignInit>(use, operation, mechanism)) {
        refuse(use, std::string("a signature by ") + what + " with " + wordsOf(hash).name);
    }
    ByteBuffer signature(length);
    auto written = size(signature);
    use.session.call<&CK_FUNCTION_LIST::C_Sign>(operation, in(data), size(data), signature.data(), &written);
    if (mechanism.mechanism != CKM_ECDSA) return padded(signature, written, length);
    signature.resize(std::min<std::size_t>(written, length));  // two numbers: what is missing of which nobody knows
    return signature;
}

// Whether a refusal to decrypt has to do with the state of the token. What else a token says may tell how a ciphertext
// was padded, in words that differ from token to token: none of that is repeated.
bool tellsOfTheToken(Pkcs11Session& session, const Pkcs11Failure& failure) {
    switch (failure.reason) {
        case CKR_HOST_MEMORY:
        case CKR_DEVICE_MEMORY:
        case CKR_FUNCTION_CANCELED: return true;
        case CKR_DEVICE_ERROR: return !session.stands();
        default: return failure.isLoss() || failure.isLackOfMechanism();
    }
}

// A plaintext and what of the buffer it fills.
struct Decrypted {
    SecretBuffer buffer;
    std::size_t size;
};

// Ends a decryption that has begun; nothing when the ciphertext is not one.
std::optional<Decrypted> finishDecryption(const Pkcs11Use& use, const char* operation, ByteView ciphertext) {
    Decrypted decrypted{SecretBuffer(ciphertext.size()), 0};
    auto written = size(decrypted.buffer);
    const auto result = use.session.attempt<&CK_FUNCTION_LIST::C_Decrypt>(in(ciphertext), size(ciphertext),
                                                                          decrypted.buffer.data(), &written);
    decrypted.size = std::min<std::size_t>(written, decrypted.buffer.size());
    if (result == CKR_OK) return decrypted;
    const Pkcs11Failure failure(result, operation);
    if (tellsOfTheToken(use.session, failure)) throw Pkcs11Failure(failure);
    return std::nullopt;
}

}  // namespace

ByteBuffer sign(const Pkcs11Use& use, SignatureScheme scheme, HashFunction hash, ByteView digest, std::size_t length) {
    const ErrorScope scope;
    const auto words = wordsOf(hash);
    switch (scheme) {
        case SignatureScheme::RSA_PKCS1:
            return signedBy(use, {CKM_RSA_PKCS, nullptr, 0}, digestInfo(hash, digest), length, "RSA-PKCS1", hash);
        case SignatureScheme::RSA_PSS: {
            CK_RSA_PKCS_PSS_PARAMS pss{words.mechanism, words.mask, size(digest)};
            return signedBy(use, {CKM_RSA_PKCS_PSS, &pss, sizeof(pss)}, digest, length, "RSA-PSS", hash);
        }
        case SignatureScheme::ECDSA:
            // Not all tokens cut a digest to the size of the order (FIPS 186-4, section 6.4).
            return signedBy(use, {CKM_ECDSA, nullptr, 0}, digest.first(std::min(digest.size(), length / 2)), length,
                            "ECDSA", hash);
    }
    return {};
}

std::optional<SecretBuffer> decrypt(const Pkcs11Use& use, HashFunction hash, ByteView ciphertext) {
    constexpr const char* operation = "decrypt";
    constexpr auto init = &CK_FUNCTION_LIST::C_DecryptInit;
    const auto words = wordsOf(hash);
    CK_RSA_PKCS_OAEP_PARAMS oaep{words.mechanism, words.mask, CKZ_DATA_SPECIFIED, nullptr, 0};
    try {
        if (begins<init>(use, operation, {CKM_RSA_PKCS_OAEP, &oaep, sizeof(oaep)})) {
            auto decrypted = finishDecryption(use, operation, ciphertext);
            if (!decrypted) return std::nullopt;
            decrypted->buffer.resize(decrypted->size);
            return std::move(decrypted->buffer);
        }
    } catch (const Pkcs11Failure& failure) {
        // Some tokens find out late that they do not do it in this way.
        if (!failure.isLackOfMechanism()) throw;
    }
    if (begins<init>(use, operation, {CKM_RSA_X_509, nullptr, 0})) {
        const auto decrypted = finishDecryption(use, operation, ciphertext);
        if (!decrypted) return std::nullopt;
        return removeOaepPadding(hash, padded(decrypted->buffer, decrypted->size, ciphertext.size()));
    }
    refuse(use, std::string("decryption by RSA-OAEP with ") + words.name + ", and RSA without padding");
}

SecretBuffer agree(const Pkcs11Use& use, const ECPublicComponents& peer) {
    const auto length = coordinateSize(peer.curve);
    ByteBuffer point{POINT_CONVERSION_UNCOMPRESSED};
    point.insert(point.end(), peer.x.begin(), peer.x.end());
    point.insert(point.end(), peer.y.begin(), peer.y.end());
    CK_ECDH1_DERIVE_PARAMS parameters{CKD_NULL, 0, nullptr, size(point), point.data()};
    CK_MECHANISM mechanism{CKM_ECDH1_DERIVE, &parameters, sizeof(parameters)};
    Pkcs11Template secret(CKO_SECRET_KEY);
    secret.add(CKA_KEY_TYPE, CK_ULONG{CKK_GENERIC_SECRET}).add(CKA_VALUE_LEN, CK_ULONG{length});
    secret.setTrue({CKA_EXTRACTABLE}).setFalse({CKA_TOKEN, CKA_SENSITIVE});
    CK_OBJECT_HANDLE derived{};
    use.session.call<&CK_FUNCTION_LIST::C_DeriveKey>("agree on a secret", &mechanism, use.key.handle, secret.data(),
                                                     secret.size(), &derived);
    auto value = use.session.attribute(derived, CKA_VALUE);
    use.session.attempt<&CK_FUNCTION_LIST::C_DestroyObject>(derived);
    if (!value) refuse(use, "to give away a secret that was agreed on");
    return padded(*value, value->size(), length);
}

}  // namespace Torvane::Crypto
