// JWK Sets in files, with errors that name the bad key and the good ones.
#pragma once

#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

/// Reads the text of a JWK Set, which is not checked.
/// @throws Failure if the file is a PEM file, a DER file or a token.
Torvane::ByteBuffer readSetText(const std::string& path);

/// Parses that text as the library does. The path is for errors.
/// @throws Failure that names the first bad key and the good ones.
Torvane::JsonWebKeySet parseSet(const std::string& path, Torvane::ByteView text);

/// The ids of keys, in order.
std::vector<std::string> listIds(const std::vector<Torvane::JsonWebKey>& keys);

/// Why no key of a peer's set has the id and the use, for example `No key "ec0" in "set"; it has a, b.`
/// @param set names the set, as nameInput() does.
std::string explainMissingKey(const std::string& set, const std::vector<Torvane::JsonWebKey>& keys,
                              const std::string& keyId, Torvane::JWKUse use);

}  // namespace Command
