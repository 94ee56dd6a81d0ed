#include "cli/similar.hpp"

#include <algorithm>

namespace Command {
namespace {

char toLower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The number of changes, by dynamic programming over the prefixes of both words.
std::size_t countChanges(std::string_view from, std::string_view to) {
    std::vector<std::vector<std::size_t>> changes(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                changes[i][j] = i + j;
                continue;
            }
            const auto same = [&](std::size_t a, std::size_t b) { return toLower(from[a]) == toLower(to[b]); };
            changes[i][j] = std::min(
                {changes[i - 1][j] + 1, changes[i][j - 1] + 1, changes[i - 1][j - 1] + (same(i - 1, j - 1) ? 0 : 1)});
            if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
                changes[i][j] = std::min(changes[i][j], changes[i - 2][j - 2] + 1);
            }
        }
    }
    return changes[from.size()][to.size()];
}

}  // namespace

std::string findSimilar(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr std::size_t longestWord = 64, shortWord = 4;
    if (word.size() > longestWord) return {};
    std::string nearest;
    std::size_t most = word.size() > shortWord ? 2 : 1;
    for (const auto& candidate : candidates) {
        const auto changes = countChanges(word, candidate);
        if (changes > most || (changes == most && !nearest.empty())) continue;
        nearest = candidate;
        most = changes;
    }
    return nearest;
}

}  // namespace Command
