// Which algorithms take which keys.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

/// Family and size, or the curve: "RSA 3072", "P-256", "secp256k1".
std::string describeKind(const Torvane::Zennet::Key& key);

/// Whether this is an RSA key.
bool isRSA(const Torvane::Zennet::Key& key) noexcept;

/// Whether this is the name of a signature or key management algorithm.
bool isAlgorithm(std::string_view name) noexcept;

/// The algorithm with this name in any case, as it is written; a name that is unknown stays as it is.
std::string spellAlgorithm(const std::string& name);

/// Names of the algorithms that take the key and suit the use.
std::vector<std::string> listAlgorithms(const Torvane::Zennet::Key& key, Torvane::JWKUse use);

/// Why a key does not fit the signature or key management algorithm of this name, for example "is an RSA key; ES256
/// needs one on P-256". Nothing if it fits, or if the algorithm is unknown.
std::optional<std::string> explainMisfit(const Torvane::Zennet::Key& key, std::string_view algorithm);

/// The hint for an RSA key that is too short.
inline constexpr auto makeLongerKey = "`torvane key new RSA-3072 FILE` makes a key that is long enough.";

}  // namespace Command
