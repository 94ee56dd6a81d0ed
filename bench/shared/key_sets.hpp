// Large JWK Sets.
#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// The JSON text of a set of RSA signature keys. All have the modulus of the decryption key, so none verifies a token.
/// All have the given id or, if that is empty, ids from "k0" on.
std::string makeKeySet(std::size_t count, const std::string& id = "");

}  // namespace Bench
