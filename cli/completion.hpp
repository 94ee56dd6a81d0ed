// What a shell may offer next. The scripts in completions/ ask for it with `torvane complete -- WORDS`.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace Command {

struct Candidate {
    std::string word, description;
};

/// For the last of the words, which may be empty; none where a file name is wanted.
std::vector<Candidate> candidatesFor(const CLI::App& root, const std::vector<std::string>& words);

}  // namespace Command
