// Keys of the command line with a use, and perhaps an algorithm and an id.
#pragma once

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

/// @throws Failure
KeySpec parseKeySpec(const std::string& text);

/// The key with a use and an id; without an id, its RFC 7638 thumbprint is the id.
Torvane::JsonWebKey makeJsonWebKey(const Torvane::Zennet::Key& key, Torvane::JWKUse use,
                                   const std::optional<std::string>& keyId);

/// Opens private keys given as "USE[:KID]=URI". A key for both uses becomes two entries, one for each use.
/// @throws Failure, and the errors of Torvane::Zennet::openKey().
Torvane::JsonWebKeySet openOwnKeys(const std::vector<std::string>& specs, const SecretOptions& secret);

}  // namespace Command
