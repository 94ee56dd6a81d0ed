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
    /// All before "=", for errors: the URI may hold a PIN.
    std::string name;
    Torvane::JWKUse use;
    std::optional<std::string> algorithm;
    std::optional<std::string> keyId;
    std::string uri;
};

/// @throws Failure
KeySpec keySpecFrom(const std::string& text);

/// The key for a use, under its id, or under its thumbprint where it was given none.
Torvane::JsonWebKey asJsonWebKey(const Torvane::Zennet::Key& key, Torvane::JWKUse use,
                                 const std::optional<std::string>& keyId);

/// Opens the private keys of "USE[:KID]=URI"; one for both uses is there for each.
/// @throws Failure, and what the library throws.
Torvane::JsonWebKeySet ownKeys(const std::vector<std::string>& specs, const Torvane::SecretSource& secret);

/// One key of a set by itself.
struct SetEntry {
    Torvane::JSONValue::Object members;
    /// Under its thumbprint where it has no id.
    std::optional<Torvane::JsonWebKey> key;
    /// Of a key that can be read.
    std::string thumbprint;
    /// Why there is no key.
    std::exception_ptr refusal;
};

/// Reads each key of a set that can be read, secp256k1 keys too; a lone JWK is a set of one.
/// @throws Failure for what is no set at all.
std::vector<SetEntry> entriesFrom(Torvane::ByteView text);

/// "RSA 3072", "P-256", "secp256k1".
std::string kindOf(const Torvane::Zennet::Key& key);

/// The names of the algorithms that the key fits and the use allows.
std::vector<std::string> algorithmsOf(const Torvane::Zennet::Key& key, Torvane::JWKUse use);

/// Whether some algorithm has that name.
bool isAlgorithm(std::string_view name) noexcept;

}  // namespace Command
