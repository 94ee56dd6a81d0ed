#include "torvane/platform/primitives/asymmetric_key.hpp"

#include <array>
#include <optional>
#include <utility>

#include <openssl/rsa.h>

#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Crypto {
namespace {

constexpr const char* secp256k1 = "secp256k1";

// Numbers on their way into a key. OSSL_PARAM_BLD keeps pointers, so the numbers live as long as the builder,
// and secret ones come from BN_secure_new, which makes the builder wipe its own copy too.
class KeyBuilder {
  public:
    KeyBuilder() : builder_(check(OSSL_PARAM_BLD_new(), "set up a key")) {}

    void push(const char* name, ByteView number) { pushNumber(name, number, BN_new()); }
    void pushSecret(const char* name, ByteView number) { pushNumber(name, number, BN_secure_new()); }

    void pushPoint(const ECPublicComponents& point) {
        check(OSSL_PARAM_BLD_push_utf8_string(builder_.get(), OSSL_PKEY_PARAM_GROUP_NAME, groupName(point.curve), 0),
              "set up a key");
        point_.push_back(POINT_CONVERSION_UNCOMPRESSED);
        point_.insert(point_.end(), point.x.begin(), point.x.end());
        point_.insert(point_.end(), point.y.begin(), point.y.end());
        check(OSSL_PARAM_BLD_push_octet_string(builder_.get(), OSSL_PKEY_PARAM_PUB_KEY, point_.data(), point_.size()),
              "set up a key");
    }

    Pkey build(const char* family, int selection) const {
        const Params params(check(OSSL_PARAM_BLD_to_param(builder_.get()), "set up a key"));
        const PkeyContext context(check(EVP_PKEY_CTX_new_from_name(nullptr, family, nullptr), "find a key management"));
        EVP_PKEY* key = nullptr;
        check(EVP_PKEY_fromdata_init(context.get()), "set up a key");
        check(EVP_PKEY_fromdata(context.get(), &key, selection, params.get()), "build a key from its numbers");
        return Pkey(key);
    }

  private:
    void pushNumber(const char* name, ByteView bytes, BIGNUM* allocated) {
        Bignum number(check(allocated, "set up a key"));
        check(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), number.get()), "read a number");
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

constexpr const char* mismatch = "match the private key with its public half";

// Longer factors belong to no key, be there a zero byte before each, and to try whether they are prime could take days.
void requireCheckableSizes(const RSAPrivateComponents& key) {
    constexpr std::size_t longest = OPENSSL_RSA_MAX_MODULUS_BITS / 8;
    const auto size = key.publicHalf.modulus.size();
    if (size > longest || key.p.size() + key.q.size() > size + 2) fail(mismatch);
}

template <class Buffer = ByteBuffer>
Buffer number(const EVP_PKEY* key, const char* name, std::size_t size = 0) {
    BIGNUM* raw = nullptr;
    check(EVP_PKEY_get_bn_param(key, name, &raw), "read a key's numbers");
    const Bignum value(raw);
    Buffer bytes(size == 0 ? static_cast<std::size_t>(BN_num_bytes(value.get())) : size);
    if (BN_bn2binpad(value.get(), bytes.data(), static_cast<int>(bytes.size())) < 0) fail("read a key's numbers");
    return bytes;
}

// Empty for what is no EC key.
using GroupName = std::array<char, 64>;
GroupName groupNameOf(const EVP_PKEY* key) noexcept {
    GroupName name{};
    if (EVP_PKEY_is_a(key, "EC") != 1 ||
        EVP_PKEY_get_utf8_string_param(key, OSSL_PKEY_PARAM_GROUP_NAME, name.data(), name.size(), nullptr) != 1) {
        return {};
    }
    return name;
}

std::optional<EllipticCurve> curveOf(const EVP_PKEY* key) noexcept {
    const auto name = groupNameOf(key);
    const std::string_view group(name.data());
    if (group == "P-256" || group == "prime256v1") return EllipticCurve::P256;
    if (group == "P-384" || group == "secp384r1") return EllipticCurve::P384;
    if (group == "P-521" || group == "secp521r1") return EllipticCurve::P521;
    return std::nullopt;
}

}  // namespace

const char* groupName(EllipticCurve curve) noexcept {
    switch (curve) {
        case EllipticCurve::P256: return "P-256";
        case EllipticCurve::P384: return "P-384";
        case EllipticCurve::P521: return "P-521";
    }
    return "";
}

Pkey publicKey(const PublicComponents& components) {
    const ErrorScope scope;
    KeyBuilder builder;
    if (const auto* rsa = std::get_if<RSAPublicComponents>(&components)) {
        push(builder, *rsa);
        return builder.build("RSA", EVP_PKEY_PUBLIC_KEY);
    }
    builder.pushPoint(std::get<ECPublicComponents>(components));
    return builder.build("EC", EVP_PKEY_PUBLIC_KEY);
}

Pkey privateKey(const RSAPrivateComponents& components) {
    const ErrorScope scope;
    requireCheckableSizes(components);
    KeyBuilder builder;
    push(builder, components.publicHalf);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_D, components.d);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_FACTOR1, components.p);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_FACTOR2, components.q);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_EXPONENT1, components.dp);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_EXPONENT2, components.dq);
    builder.pushSecret(OSSL_PKEY_PARAM_RSA_COEFFICIENT1, components.qi);
    return checkedPair(builder.build("RSA", EVP_PKEY_KEYPAIR));
}

Pkey privateKey(const ECPrivateComponents& components) {
    const ErrorScope scope;
    KeyBuilder builder;
    builder.pushPoint(components.publicHalf);
    builder.pushSecret(OSSL_PKEY_PARAM_PRIV_KEY, components.d);
    return checkedPair(builder.build("EC", EVP_PKEY_KEYPAIR));
}

SecurityError unsupportedKey() {
    return SecurityError("A platform key is an RSA key or an EC key on P-256, P-384 or P-521.");
}

PublicComponents publicComponents(const EVP_PKEY* key) {
    const ErrorScope scope;
    if (EVP_PKEY_is_a(key, "RSA") == 1) {
        return RSAPublicComponents{number(key, OSSL_PKEY_PARAM_RSA_N), number(key, OSSL_PKEY_PARAM_RSA_E)};
    }
    const auto curve = curveOf(key);
    if (!curve) throw unsupportedKey();
    return ECPublicComponents{*curve, number(key, OSSL_PKEY_PARAM_EC_PUB_X, coordinateSize(*curve)),
                              number(key, OSSL_PKEY_PARAM_EC_PUB_Y, coordinateSize(*curve))};
}

Pkey generateRSA(std::size_t modulusBits) {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", modulusBits), "generate an RSA key"));
}

Pkey generateEC(EllipticCurve curve) {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", groupName(curve)), "generate an EC key"));
}

Pkey generateSecp256k1() {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", secp256k1), "generate an EC key"));
}

bool isSecp256k1(const EVP_PKEY* key) noexcept {
    const ErrorScope scope;
    return std::string_view(groupNameOf(key).data()) == secp256k1;
}

SecretBuffer secp256k1Scalar(const EVP_PKEY* key) {
    const ErrorScope scope;
    return number<SecretBuffer>(key, OSSL_PKEY_PARAM_PRIV_KEY, Secp256k1::scalarSize);
}

ByteBuffer secp256k1Point(const EVP_PKEY* key) {
    const ErrorScope scope;
    ByteBuffer point{POINT_CONVERSION_UNCOMPRESSED};
    for (const char* coordinate : {OSSL_PKEY_PARAM_EC_PUB_X, OSSL_PKEY_PARAM_EC_PUB_Y}) {
        const auto bytes = number(key, coordinate, Secp256k1::scalarSize);
        point.insert(point.end(), bytes.begin(), bytes.end());
    }
    return point;
}

Pkey checkedPair(Pkey key) {
    const ErrorScope scope;
    const PkeyContext context(check(EVP_PKEY_CTX_new_from_pkey(nullptr, key.get(), nullptr), "set up a key check"));
    check(EVP_PKEY_pairwise_check(context.get()), mismatch);
    return key;
}

Pkey copyOf(EVP_PKEY* key) {
    const ErrorScope scope;
    return Pkey(check(EVP_PKEY_dup(key), "copy a key"));
}

}  // namespace Torvane::Crypto
