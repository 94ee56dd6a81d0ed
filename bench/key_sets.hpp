// JWK Sets of many keys.
#pragma once

#include <cstddef>
#include <string>

namespace Bench {

/// The JSON text of a set of RSA keys to sign with, all with the same numbers: of the decryption key, so that none of
/// them verifies anything. Without an id each has its own, "k0" onwards.
std::string setOfKeys(std::size_t count, const std::string& id = "");

}  // namespace Bench
