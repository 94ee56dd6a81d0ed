// PKCS #11 URIs of the command line: which driver they mean, and the names in the library's errors.
#pragma once

#include <string>

namespace Command {

/// The URI with the name of the registered driver that has the PKCS #11 token. Without it, the library would ask every
/// driver, also the one that shows the certificates that the system trusts as keys. A URI that names a driver, or is
/// malformed, is returned as it is.
/// @throws Failure if no PKCS #11 token fits, or more than one.
std::string chooseDriver(const std::string& uri);

/// Whether the URI names an object, by label or id.
bool namesObject(const std::string& uri);

/// A key URI without its query, which may hold a PIN. The path of a file is returned as it is.
std::string withoutQuery(const std::string& uri);

/// The same without any PIN, also a misplaced one, as by Torvane::cutPin().
std::string withoutPin(const std::string& uri);

/// An error text in which each list of names after ": " has five names at most, and says how many more there were.
std::string shortenLists(const std::string& text);

}  // namespace Command
