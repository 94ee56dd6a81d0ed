// The choice of an algorithm and of the key that fits it, with errors that say why a key does not.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/exit_code.hpp"
#include "cli/key_files.hpp"

namespace Command {

/// @{
/// The algorithm with this name, in upper or lower case.
/// @throws Failure that lists the known names.
Torvane::JOSE::SignatureAlgorithm findSignature(const std::string& name);
Torvane::JOSE::KeyManagementAlgorithm findKeyManagement(const std::string& name);
Torvane::JOSE::ContentEncryptionAlgorithm findContentEncryption(const std::string& name);
/// @}

/// @{
/// The algorithms that a key is used with unless an option names one, the preferred one first: that of its "alg", or
/// those of its kind. For RSA keys PS256 is preferred to RS256, whose padding has no proof of security, and
/// RSA-OAEP-256; for EC keys the only signature algorithm of the curve, and ECDH-ES+A256KW. At least one.
std::vector<Torvane::JOSE::SignatureAlgorithm> listSignatures(const GivenKey& key);
std::vector<Torvane::JOSE::KeyManagementAlgorithm> listKeyManagements(const GivenKey& key);
/// @}

/// @{
/// Why the key cannot be used with the algorithm, as "is for PS256 only"; empty if it can.
/// @param keyClass public keys verify and encrypt, private keys sign and decrypt.
std::string explainMisfit(const GivenKey& key, Torvane::JOSE::SignatureAlgorithm algorithm, Torvane::KeyClass keyClass);
std::string explainMisfit(const GivenKey& key, Torvane::JOSE::KeyManagementAlgorithm algorithm,
                          Torvane::KeyClass keyClass);
/// @}

/// Says why none of the keys fits.
/// @param misfits one for each key.
/// @throws Failure
[[noreturn]] void rejectMisfits(const std::vector<GivenKey>& keys, const std::vector<std::string>& misfits);
/// Says which keys fit.
/// @throws Failure
[[noreturn]] void rejectAmbiguity(const std::vector<const GivenKey*>& fitting, std::string_view option);

template <class Algorithm>
struct KeyChoice {
    const GivenKey* key;
    Algorithm algorithm;
};

/// The only key that fits: the named algorithm or, without a name, the first one that `list` returns for the key.
/// @param option that the keys were given to, for errors.
/// @throws Failure
template <class Algorithm>
KeyChoice<Algorithm> chooseKey(const std::vector<GivenKey>& keys, std::string_view option,
                               const std::optional<Algorithm>& named, Torvane::KeyClass keyClass,
                               std::vector<Algorithm> (*list)(const GivenKey&)) {
    std::vector<const GivenKey*> fitting;
    std::vector<std::string> misfits;
    const auto algorithmFor = [&](const GivenKey& key) { return named ? *named : list(key).front(); };
    for (const auto& key : keys) {
        misfits.push_back(explainMisfit(key, algorithmFor(key), keyClass));
        if (misfits.back().empty()) fitting.push_back(&key);
    }
    if (fitting.empty()) rejectMisfits(keys, misfits);
    if (fitting.size() > 1) rejectAmbiguity(fitting, option);
    return {fitting.front(), algorithmFor(*fitting.front())};
}

/// The keys that fit an algorithm, at least one.
/// @throws Failure that says why none of them fits.
template <class Algorithm>
std::vector<GivenKey> selectFitting(const std::vector<GivenKey>& keys, Algorithm algorithm,
                                    Torvane::KeyClass keyClass) {
    std::vector<GivenKey> fitting;
    std::vector<std::string> misfits;
    for (const auto& key : keys) {
        misfits.push_back(explainMisfit(key, algorithm, keyClass));
        if (misfits.back().empty()) fitting.push_back(key);
    }
    if (fitting.empty()) rejectMisfits(keys, misfits);
    return fitting;
}

/// The names of keys that were tried, for an error: "sign.pem", "any of a.pem, b.pem".
std::string nameAll(const std::vector<GivenKey>& keys);

/// A hint for a token that no key opened: the "kid" that it names, if no key that was tried has it; empty otherwise.
std::string hintAtKeyId(const std::vector<GivenKey>& tried, const Torvane::JSONValue::Object& header);

/// The keys that may open a token with this "kid": those that have it. If none has it, those that have no id of their
/// own, and those that "#KID" chose. All keys for a token without "kid".
/// @param header of the token.
/// @throws Failure if there is none, which names the ids.
std::vector<GivenKey> selectByKeyId(std::vector<GivenKey> keys, const Torvane::JSONValue::Object& header);

}  // namespace Command
