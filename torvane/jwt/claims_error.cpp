#include "torvane/jwt/claims_error.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Torvane {
namespace {

struct Words {
    std::string_view name, text;
};

constexpr std::array<Words, 10> words{{{"expired", "The token has expired"},
                                       {"notYetValid", "The token is not valid yet"},
                                       {"wrongIssuer", "The token is from another issuer"},
                                       {"wrongAudience", "The token is for another audience"},
                                       {"wrongSubject", "The token is about another subject"},
                                       {"missingClaim", "The token lacks a claim"},
                                       {"tooOld", "The token is too old"},
                                       {"wrongType", "The token is of another type"},
                                       {"replayed", "The token was used before"},
                                       {"malformed", "A claim is malformed"}}};
static_assert(words.size() == static_cast<std::size_t>(ClaimsError::Case::malformed) + 1);

const Words& wordsOf(ClaimsError::Case errorCase) {
    return words[static_cast<std::size_t>(errorCase)];
}

}  // namespace

ClaimsError::ClaimsError(Case errorCase, std::string claim, std::string expected)
    : Error(std::string(wordsOf(errorCase).text) + ": " + (claim.empty() ? "the payload" : debugQuoted(claim)) +
            " must be " + expected + "."),
      state_(std::make_shared<const State>(State{errorCase, std::move(claim), std::move(expected)})) {}

std::string ClaimsError::debugDescription() const {
    return "ClaimsError." + std::string(wordsOf(errorCase()).name) + "(claim: " + debugQuoted(claim()) +
           ", expected: " + debugQuoted(expected()) + ")";
}

bool operator==(const ClaimsError& a, const ClaimsError& b) noexcept {
    return a.errorCase() == b.errorCase() && a.claim() == b.claim() && a.expected() == b.expected();
}

}  // namespace Torvane
