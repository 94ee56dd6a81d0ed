#include "cli/key_choice.hpp"

#include <array>
#include <iterator>

#include "cli/key_algorithms.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;
using enum JOSE::SignatureAlgorithm;
using enum JOSE::KeyManagementAlgorithm;

std::string toLower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

template <class Algorithm>
Algorithm findAlgorithm(const std::string& name) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < valueTable(Algorithm{}).size(); ++i) {
        const auto algorithm = static_cast<Algorithm>(i);
        if (toLower(JOSE::rawValue(algorithm)) == toLower(name)) return algorithm;
        names.emplace_back(JOSE::rawValue(algorithm));
    }
    throw Failure(ExitCode::usage, "The algorithm \"" + name + "\" is not one of " + join(names) + '.');
}

// What an algorithm is for, as its JWK says it.
struct Purpose {
    JWKUse use;
    std::string_view name;
    // Any one of these "key_ops" is enough.
    std::array<std::string_view, 2> operations;
};

Purpose describe(JOSE::SignatureAlgorithm algorithm, KeyClass keyClass) {
    const std::string_view operation = keyClass == KeyClass::publicKey ? "verify" : "sign";
    return {JWKUse::JWK_SIG, JOSE::rawValue(algorithm), {operation, operation}};
}

Purpose describe(JOSE::KeyManagementAlgorithm algorithm, KeyClass keyClass) {
    const auto name = JOSE::rawValue(algorithm);
    if (parameters(algorithm).isKeyAgreement()) return {JWKUse::JWK_ENC, name, {"deriveKey", "deriveBits"}};
    if (keyClass == KeyClass::publicKey) return {JWKUse::JWK_ENC, name, {"wrapKey", "encrypt"}};
    return {JWKUse::JWK_ENC, name, {"unwrapKey", "decrypt"}};
}

// Whether the JWK permits the purpose (RFC 7517, sections 4.2 to 4.4); the reason if not.
std::string explainProhibition(const GivenKey& key, const Purpose& purpose) {
    if (key.use != JWKUse::JWK_SIG_ENC && key.use != purpose.use) {
        return std::string(key.use == JWKUse::JWK_ENC ? "is for encryption" : "is for signatures") +
               " only, by its \"use\"";
    }
    if (key.algorithm && *key.algorithm != purpose.name) {
        return "is for " + *key.algorithm + " only, by its \"alg\", not for " + std::string(purpose.name);
    }
    if (!key.operations) return {};
    // A public key to agree with does nothing itself, so its list is often empty.
    if (key.operations->empty() && key.key.isPublicKey() && purpose.operations.front() == "deriveKey") return {};
    const bool isPermitted = std::ranges::any_of(*key.operations, [&](const auto& operation) {
        return std::ranges::find(purpose.operations, operation) != purpose.operations.end();
    });
    return isPermitted ? "" : "lacks \"" + std::string(purpose.operations.front()) + "\" in its \"key_ops\"";
}

bool fitsKind(JOSE::SignatureAlgorithm algorithm, const GivenKey& key) {
    if (!key.key.keyRef()) return algorithm == ES256K;
    return JOSE::fits(algorithm, *key.key.keyRef());
}

bool fitsKind(JOSE::KeyManagementAlgorithm algorithm, const GivenKey& key) {
    return key.key.keyRef() && JOSE::fits(algorithm, *key.key.keyRef());
}

template <class Algorithm>
std::string explain(const GivenKey& key, Algorithm algorithm, KeyClass keyClass) {
    if (fitsKind(algorithm, key)) return explainProhibition(key, describe(algorithm, keyClass));
    return explainMisfit(key.key, JOSE::rawValue(algorithm))
        .value_or("has a size or an exponent that is not supported");
}

std::optional<std::string> findKeyId(const JSONValue::Object& header) {
    const auto* text = stringMember(header, "kid");
    return text == nullptr ? std::nullopt : std::optional(*text);
}

}  // namespace

JOSE::SignatureAlgorithm findSignature(const std::string& name) {
    return findAlgorithm<JOSE::SignatureAlgorithm>(name);
}

JOSE::KeyManagementAlgorithm findKeyManagement(const std::string& name) {
    return findAlgorithm<JOSE::KeyManagementAlgorithm>(name);
}

JOSE::ContentEncryptionAlgorithm findContentEncryption(const std::string& name) {
    return findAlgorithm<JOSE::ContentEncryptionAlgorithm>(name);
}

std::vector<JOSE::SignatureAlgorithm> listSignatures(const GivenKey& key) {
    if (const auto named = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(key.algorithm.value_or(""))) return {*named};
    if (!key.key.keyRef()) return {ES256K};
    if (isRSA(key.key)) return {PS256, PS384, PS512, RS256, RS384, RS512};
    switch (std::get<ECPublicComponents>(key.key.keyRef()->publicComponents()).curve) {
        case EllipticCurve::P256: return {ES256};
        case EllipticCurve::P384: return {ES384};
        case EllipticCurve::P521: break;
    }
    return {ES512};
}

std::vector<JOSE::KeyManagementAlgorithm> listKeyManagements(const GivenKey& key) {
    const auto named = JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(key.algorithm.value_or(""));
    if (named) return {*named};
    if (isRSA(key.key)) return {RSA_OAEP_256, RSA_OAEP, RSA_OAEP_384, RSA_OAEP_512};
    return {ECDH_ES_A256KW, ECDH_ES_A192KW, ECDH_ES_A128KW, ECDH_ES};
}

std::string explainMisfit(const GivenKey& key, JOSE::SignatureAlgorithm algorithm, KeyClass keyClass) {
    return explain(key, algorithm, keyClass);
}

std::string explainMisfit(const GivenKey& key, JOSE::KeyManagementAlgorithm algorithm, KeyClass keyClass) {
    return explain(key, algorithm, keyClass);
}

void rejectMisfits(const std::vector<GivenKey>& keys, const std::vector<std::string>& misfits) {
    const auto* const hint = misfits.front().ends_with("\"key_ops\"")
                                 ? "Its owner corrects \"key_ops\", which lists what the key is for, or leaves it out."
                                 : "";
    if (keys.size() == 1) throw Failure(ExitCode::key, keys.front().name + ' ' + misfits.front() + '.', hint);
    std::vector<std::string> reasons;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        reasons.push_back(keys[i].name + ' ' + misfits[i]);
    }
    throw Failure(ExitCode::key,
                  "None of the " + std::to_string(keys.size()) + " keys fits: " + listNames(reasons) + '.');
}

void rejectAmbiguity(const std::vector<const GivenKey*>& fitting, std::string_view option) {
    std::vector<std::string> names;
    std::ranges::transform(fitting, std::back_inserter(names), &GivenKey::name);
    throw Failure(ExitCode::key, formatCount(fitting.size(), "key") + " fit: " + listNames(names) +
                                     "; choose one, as in " + std::string(option) + ' ' + names.front() + '.');
}

std::vector<GivenKey> selectByKeyId(std::vector<GivenKey> keys, const JSONValue::Object& header) {
    const auto id = findKeyId(header);
    if (!id) return keys;
    std::vector<GivenKey> found;
    std::ranges::copy_if(keys, std::back_inserter(found), [&](const auto& key) { return key.hasId(*id); });
    if (found.empty()) {
        std::ranges::copy_if(keys, std::back_inserter(found), [&](const auto& key) { return key.mayHaveId(*id); });
    }
    if (!found.empty()) return found;
    std::vector<std::string> ids;
    for (const auto& key : keys) ids.push_back('"' + key.tokenKeyId() + '"');
    const bool isEncrypted = header.contains("enc");
    throw Failure(ExitCode::key, std::string(isEncrypted ? "The token is for \"" : "The token names the key \"") + *id +
                                     "\"; you gave " + listNames(ids) + '.');
}

std::string hintAtKeyId(const std::vector<GivenKey>& tried, const JSONValue::Object& header) {
    const auto id = findKeyId(header);
    if (!id || std::ranges::any_of(tried, [&](const auto& key) { return key.hasId(*id); })) return {};
    return "The token names the key \"" + *id + "\", which may be another one.";
}

std::string nameAll(const std::vector<GivenKey>& keys) {
    std::vector<std::string> names;
    std::ranges::transform(keys, std::back_inserter(names), &GivenKey::name);
    return (keys.size() > 1 ? "any of " : "") + listNames(names);
}

}  // namespace Command
