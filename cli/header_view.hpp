// Header parameters of an inspected token, for people.
#pragma once

#include <string>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

/// What to print beside a header parameter: the text of "apu" and "apv", the key of "epk" and "jwk", the first
/// certificate of "x5c", and times in words. Empty for any other.
std::string describeParameter(const std::string& name, const Torvane::JSONValue& value, double now);

/// The header with only the beginning of each certificate of "x5c".
Torvane::JSONValue::Object shortenCertificates(Torvane::JSONValue::Object header);

/// What is wrong with "x5c", "x5t" and "x5t#S256". Nobody checks whether the certificates can be trusted.
std::vector<std::string> findCertificateWarnings(const Torvane::JSONValue::Object& header, double now);

}  // namespace Command
