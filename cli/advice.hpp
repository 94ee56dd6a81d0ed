// Looks at keys, sets and files before or after a call of the library, and says in its errors what to do.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/commands.hpp"

namespace Command {

/// Names for an error: "a, b"; of more than five, the first five and "7 more"; "none" of none.
std::string listNames(const std::vector<std::string>& names);

/// The ids of keys, in order.
std::vector<std::string> listIds(const std::vector<Torvane::JsonWebKey>& keys);

/// A text for an error, in double quotes.
std::string inQuotes(std::string_view text);

bool isRSA(const Torvane::Zennet::Key& key) noexcept;

/// The hint for an RSA key that is too short.
inline constexpr auto makeLongerKey = "`torvane key new RSA-3072 FILE` makes a key that is long enough.";

/// The hint for a token that was encrypted with the line break after it.
inline constexpr auto removeSpace =
    "There is a token between white space: the sender must encrypt it without a line break.";

/// Why a key does not fit the signature or key management algorithm of this name, for example "is an RSA key; ES256
/// needs one on P-256". Nothing if it fits, or if the algorithm is unknown.
std::optional<std::string> explainMisfit(const Torvane::Zennet::Key& key, std::string_view algorithm);

/// Why no key of a peer's set has the id and the use, for example `No key "ec0" in "set"; it has a, b.`
/// @param set names the set, as nameInput() does.
std::string explainMissingKey(const std::string& set, const std::vector<Torvane::JsonWebKey>& keys,
                              const std::string& keyId, Torvane::JWKUse use);

/// Reads the text of a JWK Set, which is not checked.
/// @throws Failure if the file is a PEM file, a DER file or a token.
Torvane::ByteBuffer readSetText(const std::string& path);

/// Parses that text as the library does. The path is for errors.
/// @throws Failure that names the first bad key and the good ones.
Torvane::JsonWebKeySet parseSet(const std::string& path, Torvane::ByteView text);

/// What the library opens for a key URI of the command line: for "-" the file of standard input, for a "pkcs11:" URI
/// the one with its driver, as by chooseDriver().
/// @throws Failure
std::string findKeyFile(const std::string& uri);

/// Rethrows the exception that is handled, which concerns that key, as a Failure with a hint or shorter lists of names
/// where that is possible.
/// @throws Failure if the file is a JWK or a JWK Set.
[[noreturn]] void rethrowForKey(const std::string& uri);

/// Torvane::Zennet::openKey() of findKeyFile(), with the errors of rethrowForKey().
Torvane::Zennet::Key openKeyFrom(const std::string& uri, Torvane::KeyClass keyClass,
                                 const Torvane::SecretSource& askForSecret, Torvane::LastPinTry lastPinTry);

}  // namespace Command
