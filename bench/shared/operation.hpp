// Operations to measure, with their parties and messages.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "bench/shared/party.hpp"

namespace Bench {

/// Runs the operation once, frees the result and returns the result's size in bytes.
using Operation = std::function<std::size_t()>;

/// Pseudo-random bytes, the same in each run.
Bytes makeMessage(std::size_t size);

/// The parties for a content encryption algorithm. Loads their keys once in a process.
const std::vector<std::unique_ptr<Party>>& loadParties(const std::string& enc);
Party& findParty(const std::string& who, const std::string& enc);

/// The partner that exchanges tokens with a party: torvane with the same key management algorithm or, if torvane does
/// not support that, the party itself.
Party& findPartner(Party& party, const std::string& enc);

/// Prepares an operation. who: "floor" or a party's name. what: "encode"; "decode", of a token by the partner; or
/// "verify_encrypt", for the floor and torvane only. Throws std::invalid_argument for an unknown party or operation.
Operation makeOperation(const std::string& who, const std::string& what, const std::string& enc, std::size_t size);

}  // namespace Bench
