#include "cli/key_algorithms.hpp"

#include <algorithm>
#include <utility>

#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

constexpr std::size_t minimumBits = 2048;

bool isSecp256k1(const Zennet::Key& key) noexcept {
    return Zennet::Secp256k1Utils::isSecp256k1Key(key);
}

char toLowerASCII(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

template <class Algorithm>
std::vector<std::string_view> listNamesOf() {
    std::vector<std::string_view> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        names.push_back(JOSE::rawValue(static_cast<Algorithm>(i)));
    }
    return names;
}

template <class Algorithm>
std::vector<std::string> listFitting(const SecKey& key) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        const auto algorithm = static_cast<Algorithm>(i);
        if (JOSE::fits(algorithm, key)) names.emplace_back(JOSE::rawValue(algorithm));
    }
    return names;
}

// What a signature or key management algorithm needs: a curve, several of them, or an RSA key.
std::optional<std::string> describeNeed(std::string_view algorithm) {
    if (const auto known = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(algorithm)) {
        const auto row = JOSE::parameters(*known);
        if (row.scheme != SignatureScheme::ECDSA) return "an RSA key";
        if (!row.curve) return "one on secp256k1";
        return row.curve == EllipticCurve::P256   ? "one on P-256"
               : row.curve == EllipticCurve::P384 ? "one on P-384"
                                                  : "one on P-521";
    }
    if (const auto known = JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(algorithm)) {
        const auto row = JOSE::parameters(*known);
        return row.isKeyAgreement() ? "one on P-256, P-384 or P-521" : "an RSA key";
    }
    return std::nullopt;
}

std::size_t countModulusBits(const Zennet::Key& key) {
    return countBits(std::get<RSAPublicComponents>(key.keyRef().value().publicComponents()).modulus);
}

}  // namespace

std::string describeKind(const Zennet::Key& key) {
    if (isSecp256k1(key)) return std::string(Zennet::Secp256k1Utils::SECP256K1CURVE);
    const auto& components = key.keyRef().value().publicComponents();
    if (const auto* rsa = std::get_if<RSAPublicComponents>(&components)) {
        return "RSA " + std::to_string(countBits(rsa->modulus));
    }
    switch (std::get<ECPublicComponents>(components).curve) {
        case EllipticCurve::P256: return "P-256";
        case EllipticCurve::P384: return "P-384";
        case EllipticCurve::P521: return "P-521";
    }
    return {};
}

bool isRSA(const Zennet::Key& key) noexcept {
    return key.keyRef() && std::holds_alternative<RSAPublicComponents>(key.keyRef()->publicComponents());
}

bool isAlgorithm(std::string_view name) noexcept {
    return JOSE::fromRawValue<JOSE::SignatureAlgorithm>(name) || JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(name);
}

std::string spellAlgorithm(const std::string& name) {
    std::string found = name;
    const auto search = [&](auto algorithm) {
        for (const auto known : listNamesOf<decltype(algorithm)>()) {
            if (std::ranges::equal(known, name, {}, toLowerASCII, toLowerASCII)) found = known;
        }
    };
    search(JOSE::SignatureAlgorithm{});
    search(JOSE::KeyManagementAlgorithm{});
    search(JOSE::ContentEncryptionAlgorithm{});
    return found;
}

std::vector<std::string> listAlgorithms(const Zennet::Key& key, JWKUse use) {
    if (isSecp256k1(key)) {
        if (use == JWKUse::JWK_ENC) return {};
        return {std::string(JOSE::rawValue(JOSE::SignatureAlgorithm::ES256K))};
    }
    std::vector<std::string> names;
    if (use != JWKUse::JWK_ENC) names = listFitting<JOSE::SignatureAlgorithm>(key.keyRef().value());
    if (use != JWKUse::JWK_SIG) {
        for (auto& name : listFitting<JOSE::KeyManagementAlgorithm>(key.keyRef().value())) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

std::optional<std::string> explainMisfit(const Zennet::Key& key, std::string_view algorithm) {
    const auto need = describeNeed(algorithm);
    if (!need) return std::nullopt;
    const bool needsRSA = *need == "an RSA key";
    if (isRSA(key) && needsRSA) {
        const auto bits = countModulusBits(key);
        if (bits >= minimumBits) return std::nullopt;
        return "has " + formatCount(bits, "bit") + ", which are too few; at least " + std::to_string(minimumBits) +
               " are needed";
    }
    const auto fitting = listAlgorithms(key, JWKUse::JWK_SIG_ENC);
    if (std::ranges::find(fitting, algorithm) != fitting.end()) return std::nullopt;
    return (isRSA(key) ? "is an RSA key" : "is on " + describeKind(key)) + "; " + std::string(algorithm) + " needs " +
           *need;
}

}  // namespace Command
