// KeyQuery: the criteria by which JsonWebKeySet::find() chooses keys.
//
//     const Torvane::KeyQuery query{.use = Torvane::JWKUse::JWK_SIG, .keyClass = Torvane::KeyClass::publicKey};
#pragma once

#include <optional>
#include <string>

#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane {

/// Criteria for keys of a set. A key is found when it fits every criterion that has a value, so a query without values
/// finds every key.
struct KeyQuery {
    /// The key's id is exactly this one.
    std::optional<std::string> keyId = std::nullopt;
    /// The key's use is exactly this one: a query for JWK_SIG does not find a key for JWK_SIG_ENC.
    std::optional<JWKUse> use = std::nullopt;
    /// A key for both uses (JWK_SIG_ENC: a JWK without "use") fits a query for either.
    bool acceptBothUses = false;
    /// The key has this type. JsonWebKey says which type a key gets.
    std::optional<Zennet::KeyType> keyType = std::nullopt;
    /// The "alg" of the key's JWK, if it has one, is exactly this one. A key without a JWK, or without "alg" in it,
    /// fits every algorithm.
    std::optional<std::string> algorithm = std::nullopt;
    /// The key is a public key, or a private one.
    std::optional<KeyClass> keyClass = std::nullopt;
};

}  // namespace Torvane
