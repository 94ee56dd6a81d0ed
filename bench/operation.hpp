// What is measured, ready to be called over and over.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "bench/party.hpp"

namespace Bench {

/// One call; returns the size of its result, which is gone then.
using Operation = std::function<std::size_t()>;

/// The same bytes for each run, of all values.
Bytes messageOf(std::size_t size);

/// The parties for an enc, with their keys loaded once in a process.
const std::vector<std::unique_ptr<Party>>& parties(const std::string& enc);
Party& partyNamed(const std::string& who, const std::string& enc);

/// Who exchanges tokens with a party: torvane with its key management or, where torvane refuses that, itself.
Party& partnerOf(Party& party, const std::string& enc);

/// who: "floor" or a party's name. what: "encode"; "decode", of a token that the partner made; "verify_encrypt", which
/// only the floor and torvane do. Throws std::invalid_argument for what there is not.
Operation makeOperation(const std::string& who, const std::string& what, const std::string& enc, std::size_t size);

}  // namespace Bench
