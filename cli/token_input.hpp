// Tokens as people pass them on: in a file or an argument, after "Bearer", with line breaks around them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {

/// The one token in a text, without white space around it and without "Authorization:" and "Bearer" before it. Any
/// other text is returned without the white space.
/// @throws Failure if several lines hold a token each.
std::string_view findToken(std::string_view text);

/// The token on a line of a text, by number from 1; by findToken() for 0.
/// @throws Failure if the line has no token, and as findToken(), with a hint that names the option for the line.
std::string_view findToken(std::string_view text, std::size_t line);

/// Reads a file, or standard input if the path is empty or "-". A path that begins like a token, of which there is no
/// file, is the token itself.
/// @throws Failure
Torvane::ByteBuffer readTokenOrArgument(const std::string& path);

}  // namespace Command
