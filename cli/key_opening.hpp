// Opens the keys that key URIs name, with errors that say what to do.
#pragma once

#include <string>
#include <torvane/torvane.hpp>

namespace Command {

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
