// Shell completion. The scripts in completions/ call it as `torvane complete -- WORDS`.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace Command {

struct Candidate {
    std::string word, description;
};

/// Completions of the last word, which may be empty. Returns none where a file name is expected: the shell completes
/// that. Key ids may contain any printable text, which the shell has to quote.
std::vector<Candidate> findCandidates(const CLI::App& root, const std::vector<std::string>& words);

}  // namespace Command
