// An entry of a key set, readable or not.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

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
/// @param name of the set for errors, as from nameInput().
/// @throws Failure if the text is neither a JWK Set nor a JWK.
std::vector<SetEntry> readSetEntries(Torvane::ByteView text, const std::string& name);

}  // namespace Command
