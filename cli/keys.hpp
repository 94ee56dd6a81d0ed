// Keys as the command line names them, and key sets as files hold them.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

/// A key and what it is for: "USE[/ALG][:KID]=URI", for example "sig:2026=sign.pem".
struct KeySpec {
    Torvane::JWKUse use;
    std::optional<std::string> algorithm;
    std::optional<std::string> keyId;
    std::string uri;
};

/// @throws Failure
KeySpec keySpecFrom(const std::string& text);

/// The key under its id, or under its thumbprint where it was given none.
Torvane::JsonWebKey asJsonWebKey(const Zennet::Key& key, const KeySpec& spec);

/// Opens the private keys of "USE[:KID]=URI".
/// @throws Failure, and what the library throws.
Torvane::JsonWebKeySet ownKeys(const std::vector<std::string>& specs, const Platform::SecretSource& secret);

/// Reads a JWK Set as the library does: one bad key refuses all.
Torvane::JsonWebKeySet keySetOf(const std::string& file);

/// One key of a set by itself.
struct SetEntry {
    Platform::JSONValue::Object members;
    std::optional<Torvane::JsonWebKey> key;
    /// Why there is no key.
    std::exception_ptr refusal;
};

/// Reads each key of a set that can be read, secp256k1 keys too; a lone JWK is a set of one.
/// @throws Failure for what is no set at all.
std::vector<SetEntry> entriesOf(const std::string& file);

/// "RSA 3072", "P-256", "secp256k1".
std::string kindOf(const Zennet::Key& key);

/// The names of the algorithms that the key fits, by its kind alone.
std::vector<std::string> signatureAlgorithmsOf(const Zennet::Key& key);
std::vector<std::string> keyManagementAlgorithmsOf(const Zennet::Key& key);
/// Those of both lists that the use allows.
std::vector<std::string> algorithmsOf(const Torvane::JsonWebKey& key);

/// The names of all algorithms of one kind.
template <class Algorithm>
std::vector<std::string> algorithmNames() {
    std::vector<std::string> names;
    for (const auto& entry : valueTable(Algorithm{})) names.emplace_back(entry.name);
    return names;
}

}  // namespace Command
