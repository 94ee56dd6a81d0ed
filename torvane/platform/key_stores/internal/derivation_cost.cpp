#include "torvane/platform/key_stores/internal/derivation_cost.hpp"

#include <limits>

#include <openssl/objects.h>

namespace Torvane::Crypto {
namespace {

using Pbes1 = Handle<PBEPARAM, PBEPARAM_free>;
using Pbes2 = Handle<PBE2PARAM, PBE2PARAM_free>;
using Pbkdf2 = Handle<PBKDF2PARAM, PBKDF2PARAM_free>;
using Scrypt = Handle<SCRYPT_PARAMS, SCRYPT_PARAMS_free>;

constexpr auto tooMany = std::numeric_limits<std::uint64_t>::max();

std::uint64_t multiply(std::uint64_t a, std::uint64_t b) noexcept {
    return b != 0 && a > tooMany / b ? tooMany : a * b;
}

template <class Parameters>
Parameters readParameters(const X509_ALGOR* algorithm, const ASN1_ITEM* type) {
    return Parameters(static_cast<typename Parameters::pointer>(ASN1_TYPE_unpack_sequence(type, algorithm->parameter)));
}

std::uint64_t readNumber(const ASN1_INTEGER* number) {
    std::uint64_t value = 0;
    return ASN1_INTEGER_get_uint64(&value, number) == 1 ? value : tooMany;
}

}  // namespace

void DerivationCost::add(std::uint64_t iterations) noexcept {
    total_ = iterations > tooMany - total_ ? tooMany : total_ + iterations;
}

void DerivationCost::add(const ASN1_INTEGER* iterations) {
    add(readNumber(iterations));
}

// Parameters that cannot be read add nothing: OpenSSL reads them in the same way, and derives no key from them.
void DerivationCost::add(const X509_ALGOR* algorithm) {
    const auto type = OBJ_obj2nid(algorithm->algorithm);
    if (type == NID_pbes2 || type == NID_pbmac1) {  // PBMAC1 (RFC 9579): its parameters begin like those of PBES2
        if (const auto pbes2 = readParameters<Pbes2>(algorithm, ASN1_ITEM_rptr(PBE2PARAM))) addFunction(pbes2->keyfunc);
    } else if (const auto pbes1 = readParameters<Pbes1>(algorithm, ASN1_ITEM_rptr(PBEPARAM))) {
        add(pbes1->iter);
    }
}

// PBES2 is no key derivation function, so it cannot be nested.
void DerivationCost::addFunction(const X509_ALGOR* algorithm) {
    const auto type = OBJ_obj2nid(algorithm->algorithm);
    if (type == NID_id_pbkdf2) {
        if (const auto pbkdf2 = readParameters<Pbkdf2>(algorithm, ASN1_ITEM_rptr(PBKDF2PARAM))) add(pbkdf2->iter);
    } else if (type == NID_id_scrypt) {
        if (const auto scrypt = readParameters<Scrypt>(algorithm, ASN1_ITEM_rptr(SCRYPT_PARAMS))) {
            const auto memory = multiply(readNumber(scrypt->costParameter), readNumber(scrypt->blockSize));
            add(multiply(memory, readNumber(scrypt->parallelizationParameter)));
        }
    }
}

void DerivationCost::add(const X509_SIG* encryptedKey) {
    const X509_ALGOR* algorithm = nullptr;
    X509_SIG_get0(encryptedKey, &algorithm, nullptr);
    add(algorithm);
}

void DerivationCost::add(const STACK_OF(PKCS12_SAFEBAG) * bags) {
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
        const auto* bag = sk_PKCS12_SAFEBAG_value(bags, i);
        if (const auto* encryptedKey = PKCS12_SAFEBAG_get0_pkcs8(bag)) add(encryptedKey);
        if (const auto* inner = PKCS12_SAFEBAG_get0_safes(bag)) add(inner);
    }
}

void DerivationCost::add(const PKCS12* file, const STACK_OF(PKCS7) * parts) {
    const X509_ALGOR* digest = nullptr;
    const ASN1_INTEGER* iterations = nullptr;
    PKCS12_get0_mac(nullptr, &digest, nullptr, &iterations, file);
    if (iterations != nullptr) add(iterations);
    if (digest != nullptr) add(digest);
    for (int i = 0; i < sk_PKCS7_num(parts); ++i) {
        auto* part = sk_PKCS7_value(parts, i);
        if (PKCS7_type_is_data(part)) {
            const Bags bags(PKCS12_unpack_p7data(part));
            if (bags) add(bags.get());
        } else if (PKCS7_type_is_encrypted(part) && part->d.encrypted != nullptr) {
            add(part->d.encrypted->enc_data->algorithm);
        }
    }
}

}  // namespace Torvane::Crypto
