// Keys from the command line, and key sets from files.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/commands.hpp"

namespace Command {

/// A key argument, "USE[/ALG][:KID]=URI", for example "sig:2026=sign.pem".
struct KeySpec {
    /// The text before "=". Errors quote this part only, since the URI may hold a PIN.
    std::string name;
    Torvane::JWKUse use;
    std::optional<std::string> algorithm;
    std::optional<std::string> keyId;
    std::string uri;
};

/// The size of "USE[/ALG][:KID]=" at the front of such an argument; 0 if the text begins otherwise.
std::size_t measureKeyPurpose(std::string_view text);

/// The algorithm with this name in any case, as it is written; a name that is unknown stays as it is.
std::string spellAlgorithm(const std::string& name);

/// @throws Failure
KeySpec parseKeySpec(const std::string& text);

/// The key with a use and an id; without an id, its RFC 7638 thumbprint is the id.
Torvane::JsonWebKey makeJsonWebKey(const Torvane::Zennet::Key& key, Torvane::JWKUse use,
                                   const std::optional<std::string>& keyId);

/// Opens private keys given as "USE[:KID]=URI". A key for both uses becomes two entries, one for each use.
/// @throws Failure, and the errors of Torvane::Zennet::openKey().
Torvane::JsonWebKeySet openOwnKeys(const std::vector<std::string>& specs, const SecretOptions& secret);

/// One entry of a key set, readable or not.
struct SetEntry {
    /// The entry as it stands in the set, of any JSON type.
    Torvane::JSONValue content;
    /// Its members; empty if the entry is not an object.
    Torvane::JSONValue::Object members;
    /// Nothing if the entry cannot be read. Without a "kid", the thumbprint is the key's id.
    std::optional<Torvane::JsonWebKey> key;
    /// RFC 7638; empty if the entry cannot be read.
    std::string thumbprint;
    /// Why the entry cannot be read.
    std::exception_ptr error;
};

/// An element of a set's "keys", of any JSON type, secp256k1 keys included.
SetEntry readSetEntry(const Torvane::JSONValue& element);

/// Reads each entry of a JWK Set by itself, secp256k1 keys included. A single JWK is read as a set of one.
/// @throws Failure if the text is neither a JWK Set nor a JWK.
std::vector<SetEntry> readSetEntries(Torvane::ByteView text);

/// Family and size, or the curve: "RSA 3072", "P-256", "secp256k1".
std::string describeKind(const Torvane::Zennet::Key& key);

/// Names of the algorithms that take the key and suit the use.
std::vector<std::string> listAlgorithms(const Torvane::Zennet::Key& key, Torvane::JWKUse use);

/// Whether this is the name of a signature or key management algorithm.
bool isAlgorithm(std::string_view name) noexcept;

}  // namespace Command
