// Key URIs that name a file: their scheme and path, and how errors quote them.
#pragma once

#include <string>
#include <string_view>

namespace Torvane {

/// Whether a text is a URI of that scheme, which is given in lower case (RFC 3986, section 3.1).
bool hasScheme(std::string_view text, std::string_view scheme) noexcept;

/// The path of a "file" URI (RFC 8089). Any other text is returned unchanged, as a path.
/// @throws KeyStoreError invalidURI for a NUL byte, a "file" URI of another host, with a query or a fragment, with
///         wrong percent-encoding, or without a path.
std::string readPath(std::string_view uri);

/// A path or URI in quotes for an error, without anything that may be a PIN: it is cut as by cutPin(), and "..." stands
/// for the rest.
std::string quoteWithoutPin(std::string_view uri);

}  // namespace Torvane
