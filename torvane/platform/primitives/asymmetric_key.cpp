#include "torvane/platform/primitives/asymmetric_key.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

#include <openssl/rsa.h>

#include "torvane/platform/primitives/algorithm_cache.hpp"
#include "torvane/platform/primitives/rsa_consistency.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Crypto {
namespace {

constexpr const char* secp256k1 = "secp256k1";

// Collects the components of a key. OSSL_PARAM_BLD keeps pointers, so the big numbers live as long as the builder.
// Secret ones come from BN_secure_new, which makes OSSL_PARAM_BLD wipe its own copy too.
class KeyBuilder {
  public:
    KeyBuilder() : builder_(check(OSSL_PARAM_BLD_new(), "set up a key")) {}

    void push(const char* name, ByteView value) { pushNumber(name, value, BN_new()); }
    void pushSecret(const char* name, ByteView value) { pushNumber(name, value, BN_secure_new()); }

    void pushCurve(const char* curve) {
        check(OSSL_PARAM_BLD_push_utf8_string(builder_.get(), OSSL_PKEY_PARAM_GROUP_NAME, curve, 0), "set up a key");
    }
    void pushPoint(const char* curve, ByteBuffer point) {
        point_ = std::move(point);
        pushCurve(curve);
        check(OSSL_PARAM_BLD_push_octet_string(builder_.get(), OSSL_PKEY_PARAM_PUB_KEY, point_.data(), point_.size()),
              "set up a key");
    }

    Pkey build(const char* family, int selection) const {
        const Params params(check(OSSL_PARAM_BLD_to_param(builder_.get()), "set up a key"));
        const PkeyContext context(check(EVP_PKEY_CTX_new_from_name(nullptr, family, nullptr), "find a type of key"));
        EVP_PKEY* key = nullptr;
        check(EVP_PKEY_fromdata_init(context.get()), "set up a key");
        check(EVP_PKEY_fromdata(context.get(), &key, selection, params.get()), "build a key from its components");
        return Pkey(key);
    }

  private:
    void pushNumber(const char* name, ByteView bytes, BIGNUM* allocated) {
        Bignum number(check(allocated, "set up a key"));
        check(BN_bin2bn(bytes.data(), toInt(bytes.size(), "read a number"), number.get()), "read a number");
        check(OSSL_PARAM_BLD_push_BN(builder_.get(), name, number.get()), "set up a key");
        numbers_.push_back(std::move(number));
    }

    std::vector<Bignum> numbers_;
    ByteBuffer point_;
    ParamBuilder builder_;
};

bool isOdd(const ByteBuffer& number) noexcept {
    return !number.empty() && (number.back() & 1) == 1;
}

void requireOdd(const RSAPublicComponents& key) {
    if (!isOdd(key.modulus) || !isOdd(key.exponent)) {
        throw SecurityError("An RSA key has an odd modulus and an odd exponent.");
    }
}

void push(KeyBuilder& builder, const RSAPublicComponents& key) {
    requireOdd(key);
    builder.push(OSSL_PKEY_PARAM_RSA_N, key.modulus);
    builder.push(OSSL_PKEY_PARAM_RSA_E, key.exponent);
}

void push(KeyBuilder& builder, const ECPublicComponents& key) {
    builder.pushPoint(openSSLCurveName(key.curve), encodePoint(key.x, key.y));
}

// A key that has a curve and no point.
EVP_PKEY* findCurveTemplate(EllipticCurve curve) {
    static std::array<Shared<EVP_PKEY>, static_cast<std::size_t>(EllipticCurve::P521) + 1> templates{};
    return findOrMake(templates[static_cast<std::size_t>(curve)], [curve] {
        KeyBuilder builder;
        builder.pushCurve(openSSLCurveName(curve));
        return builder.build("EC", EVP_PKEY_KEY_PARAMETERS);
    });
}

// OpenSSL takes four times as long to set up a curve as to copy one.
Pkey makePublicECKey(const ECPublicComponents& components) {
    Pkey key(check(EVP_PKEY_dup(findCurveTemplate(components.curve)), "set up a key"));
    const auto point = encodePoint(components.x, components.y);
    check(EVP_PKEY_set1_encoded_public_key(key.get(), point.data(), point.size()), "build a key from its components");
    return key;
}

[[noreturn]] void rejectPair() {
    throw SecurityError("The private key does not match its public key.");
}

[[noreturn]] void rejectSize() {
    throw SecurityError("An RSA key has at most 16384 bits.");
}

// The length of a big-endian number.
std::size_t bitLength(ByteView number) noexcept {
    const auto first = std::ranges::find_if(number, [](std::uint8_t byte) { return byte != 0; });
    return first == number.end() ? 0
                                 : static_cast<std::size_t>(number.end() - first) * 8 -
                                       static_cast<std::size_t>(std::countl_zero(*first));
}

bool hasMorePrimes(const EVP_PKEY* key) {
    BIGNUM* third = nullptr;
    return EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_RSA_FACTOR3, &third) == 1 && Bignum(third);
}

// Reads one component, big-endian: `size` bytes, or as many as it needs when that is 0.
template <class Buffer = ByteBuffer>
Buffer readComponent(const EVP_PKEY* key, const char* name, std::size_t size = 0) {
    BIGNUM* raw = nullptr;
    check(EVP_PKEY_get_bn_param(key, name, &raw), "read a key's components");
    const Bignum value(raw);
    Buffer bytes(size == 0 ? static_cast<std::size_t>(BN_num_bytes(value.get())) : size);
    if (BN_bn2binpad(value.get(), bytes.data(), toInt(bytes.size(), "read a key's components")) < 0) {
        fail("read a key's components");
    }
    return bytes;
}

// OpenSSL's name of an EC key's curve; empty for other keys.
using CurveName = std::array<char, 64>;
CurveName readCurveName(const EVP_PKEY* key) noexcept {
    CurveName name{};
    if (EVP_PKEY_is_a(key, "EC") != 1 ||
        EVP_PKEY_get_utf8_string_param(key, OSSL_PKEY_PARAM_GROUP_NAME, name.data(), name.size(), nullptr) != 1) {
        return {};
    }
    return name;
}

struct EncodedPoint {
    std::array<std::uint8_t, 256> bytes{};
    std::size_t size = 0;
};

// The point of an EC key in the form in which it was read; empty if it has none. Rejects what OpenSSL reads although
// RFC 5480 forbids it. OpenSSL gives explicit parameters the name of a curve even if their cofactor is wrong.
EncodedPoint readPoint(const EVP_PKEY* key) {
    int isExplicit = 0;
    if (EVP_PKEY_get_int_param(key, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS, &isExplicit) == 1 &&
        isExplicit != 0) {
        throw explicitCurveError();
    }
    EncodedPoint point;
    EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_PUB_KEY, point.bytes.data(), point.bytes.size(), &point.size);
    rejectHybridPoint(point.bytes);
    return point;
}

// OpenSSL computes both coordinates anew for each one that it is asked for, so they are cut out of the encoded point.
ECPublicComponents readCoordinates(const EVP_PKEY* key, EllipticCurve curve, const EncodedPoint& point) {
    const auto size = coordinateSize(curve);
    if (point.size != 1 + 2 * size || point.bytes.front() != POINT_CONVERSION_UNCOMPRESSED) {
        return {curve, readComponent(key, OSSL_PKEY_PARAM_EC_PUB_X, size),
                readComponent(key, OSSL_PKEY_PARAM_EC_PUB_Y, size)};
    }
    const auto* const x = point.bytes.data() + 1;
    return {curve, {x, x + size}, {x + size, x + 2 * size}};
}

std::optional<EllipticCurve> readCurve(const EVP_PKEY* key) noexcept {
    const auto buffer = readCurveName(key);
    const std::string_view name(buffer.data());
    if (name == "P-256" || name == "prime256v1") return EllipticCurve::P256;
    if (name == "P-384" || name == "secp384r1") return EllipticCurve::P384;
    if (name == "P-521" || name == "secp521r1") return EllipticCurve::P521;
    return std::nullopt;
}

}  // namespace

ByteBuffer encodePoint(ByteView x, ByteView y) {
    ByteBuffer point(1 + x.size() + y.size());
    point.front() = POINT_CONVERSION_UNCOMPRESSED;
    std::ranges::copy(y, std::ranges::copy(x, point.begin() + 1).out);
    return point;
}

const char* openSSLCurveName(EllipticCurve curve) noexcept {
    switch (curve) {
        case EllipticCurve::P256: return "P-256";
        case EllipticCurve::P384: return "P-384";
        case EllipticCurve::P521: return "P-521";
    }
    return "";
}

Pkey makePublicKey(const PublicComponents& components) {
    const ErrorScope scope;
    if (const auto* point = std::get_if<ECPublicComponents>(&components)) return makePublicECKey(*point);
    KeyBuilder builder;
    push(builder, std::get<RSAPublicComponents>(components));
    return builder.build("RSA", EVP_PKEY_PUBLIC_KEY);
}

Pkey makePrivateKey(const RSAPrivateComponents& components) {
    const ErrorScope scope;
    requireOdd(components.publicHalf);
    const auto modulusBits = bitLength(components.publicHalf.modulus);
    if (std::cmp_greater(modulusBits, maximumModulusBits)) rejectSize();
    // OpenSSL 3.5 builds no key with a number longer than the modulus; earlier releases do.
    for (const auto* number :
         {&components.d, &components.p, &components.q, &components.dp, &components.dq, &components.qi}) {
        if (bitLength(*number) > modulusBits) rejectPair();
    }
    KeyBuilder builder;
    push(builder, components.publicHalf);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_D, components.d);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_FACTOR1, components.p);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_FACTOR2, components.q);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_EXPONENT1, components.dp);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_EXPONENT2, components.dq);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_COEFFICIENT1, components.qi);
    return requireConsistentPair(builder.build("RSA", EVP_PKEY_KEYPAIR));
}

Pkey makePrivateKey(const ECPrivateComponents& components) {
    const ErrorScope scope;
    KeyBuilder builder;
    push(builder, components.publicHalf);
    builder.pushSecret(OSSL_PKEY_PARAM_PRIV_KEY, components.d);
    return requireConsistentPair(builder.build("EC", EVP_PKEY_KEYPAIR));
}

Pkey makeSecp256k1PublicKey(ByteView point) {
    const ErrorScope scope;
    KeyBuilder builder;
    builder.pushPoint(secp256k1, {point.begin(), point.end()});
    return builder.build("EC", EVP_PKEY_PUBLIC_KEY);
}

SecurityError unsupportedKeyError() {
    return SecurityError("A platform key is an RSA key or an EC key on P-256, P-384 or P-521.");
}

SecurityError explicitCurveError() {
    return SecurityError("The curve of an EC key is described by explicit parameters, not named.");
}

void rejectHybridPoint(ByteView point) {
    constexpr std::uint8_t hybrid = POINT_CONVERSION_HYBRID;
    if (!point.empty() && (point.front() == hybrid || point.front() == hybrid + 1)) {
        throw SecurityError("The point of an EC key is in hybrid form.");
    }
}

void requireModulusSize(const PublicComponents& components) {
    const auto* rsa = std::get_if<RSAPublicComponents>(&components);
    if (rsa == nullptr) return;
    if (std::cmp_greater(bitLength(rsa->modulus), maximumModulusBits)) rejectSize();
}

PublicComponents readPublicComponents(const EVP_PKEY* key) {
    const ErrorScope scope;
    if (EVP_PKEY_is_a(key, "RSA") == 1) {
        return RSAPublicComponents{readComponent(key, OSSL_PKEY_PARAM_RSA_N),
                                   readComponent(key, OSSL_PKEY_PARAM_RSA_E)};
    }
    if (EVP_PKEY_is_a(key, "EC") != 1) throw unsupportedKeyError();
    const auto point = readPoint(key);
    const auto curve = readCurve(key);
    if (!curve) throw unsupportedKeyError();
    return readCoordinates(key, *curve, point);
}

void requireNewModulusSize(std::size_t bits) {
    constexpr std::size_t minimumModulusBits = 2048;
    if (bits < minimumModulusBits || std::cmp_greater(bits, maximumModulusBits)) {
        throw SecurityError("A new RSA key has 2048 to 16384 bits.");
    }
}

Pkey generateRSA(std::size_t modulusBits) {
    requireNewModulusSize(modulusBits);
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", modulusBits), "generate an RSA key"));
}

Pkey generateEC(EllipticCurve curve) {
    const ErrorScope scope;
    const PkeyContext context(
        check(EVP_PKEY_CTX_new_from_pkey(nullptr, findCurveTemplate(curve), nullptr), "generate an EC key"));
    EVP_PKEY* key = nullptr;
    check(EVP_PKEY_keygen_init(context.get()), "generate an EC key");
    check(EVP_PKEY_generate(context.get(), &key), "generate an EC key");
    return Pkey(key);
}

Pkey generateSecp256k1() {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", secp256k1), "generate an EC key"));
}

bool isSecp256k1(const EVP_PKEY* key) noexcept {
    const ErrorScope scope;
    return std::string_view(readCurveName(key).data()) == secp256k1;
}

SecretBuffer readSecp256k1Scalar(const EVP_PKEY* key) {
    const ErrorScope scope;
    return readComponent<SecretBuffer>(key, OSSL_PKEY_PARAM_PRIV_KEY, Secp256k1::scalarSize);
}

ByteBuffer readSecp256k1Point(const EVP_PKEY* key) {
    const ErrorScope scope;
    readPoint(key);
    return encodePoint(readComponent(key, OSSL_PKEY_PARAM_EC_PUB_X, Secp256k1::coordinateSize),
                       readComponent(key, OSSL_PKEY_PARAM_EC_PUB_Y, Secp256k1::coordinateSize));
}

Pkey requireConsistentPair(Pkey key) {
    const ErrorScope scope;
    if (EVP_PKEY_is_a(key.get(), "RSA") == 1) {
        if (EVP_PKEY_get_bits(key.get()) > maximumModulusBits) rejectSize();
        if (hasMorePrimes(key.get())) {
            throw SecurityError("An RSA key of more than two primes is not supported.");
        }
        if (!isConsistentRSA(key.get())) rejectPair();
        return key;
    }
    if (EVP_PKEY_is_a(key.get(), "EC") != 1) throw unsupportedKeyError();
    readPoint(key.get());
    const PkeyContext context(check(EVP_PKEY_CTX_new_from_pkey(nullptr, key.get(), nullptr), "set up a key check"));
    if (EVP_PKEY_pairwise_check(context.get()) != 1) rejectPair();
    return key;
}

Pkey copyKey(EVP_PKEY* key) {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_dup(key), "copy a key"));
}

}  // namespace Torvane::Crypto
