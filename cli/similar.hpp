// The known word that a misspelt one may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Command {

/// The candidate that needs the fewest changes to become the word, without regard to case: one change in a word of up
/// to 4 characters, and two in a longer one. A change adds, drops or replaces a character, or swaps two neighbours.
/// Empty if no candidate is that near.
std::string findSimilar(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace Command
