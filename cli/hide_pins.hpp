// Errors without the PINs of the command line.
#pragma once

#include <string>
#include <vector>

namespace Command {

/// An error text in which "..." stands for each part of an argument that may hold a PIN: a PKCS #11 URI from its first
/// ";" or "?" on, what follows "pin-value=" and the like, and an argument that follows an option such as "--pin", in
/// upper or lower case.
std::string hidePins(std::string text, const std::vector<std::string>& arguments);

}  // namespace Command
