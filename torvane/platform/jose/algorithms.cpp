#include "torvane/platform/jose/algorithms.hpp"

#include <variant>

namespace Torvane::JOSE {
namespace {

constexpr std::size_t minimumModulusBits = 2048;
constexpr std::size_t maximumModulusBits = 16384;
constexpr std::size_t maximumExponentBits = 64;

bool isUsableRSA(const SecKey& key) noexcept {
    const auto* rsa = std::get_if<RSAPublicComponents>(&key.publicComponents());
    if (rsa == nullptr) return false;
    const auto modulusBits = countBits(rsa->modulus);
    const auto exponentBits = countBits(rsa->exponent);
    const bool isOdd = exponentBits > 0 && (rsa->exponent.back() & 1) == 1;
    return modulusBits >= minimumModulusBits && modulusBits <= maximumModulusBits && isOdd && exponentBits >= 2 &&
           exponentBits <= maximumExponentBits;
}

}  // namespace

bool fits(SignatureAlgorithm algorithm, const SecKey& key) noexcept {
    const auto [name, scheme, hash, curve] = parameters(algorithm);
    if (scheme != SignatureScheme::ECDSA) return isUsableRSA(key);
    return curve && key.curve() == curve;
}

bool fits(KeyManagementAlgorithm algorithm, const SecKey& key) noexcept {
    return parameters(algorithm).isKeyAgreement() ? key.curve().has_value() : isUsableRSA(key);
}

}  // namespace Torvane::JOSE
