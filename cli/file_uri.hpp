// "file" URIs (RFC 8089) of the command line.
#pragma once

#include <string>
#include <string_view>

namespace Command {

/// The path of a "file" URI of this computer; any other text as it is.
std::string readPath(std::string_view uri);

}  // namespace Command
