#include "torvane/messaging/token_error.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Torvane {

TokenError::TokenError(Case errorCase, std::string description, std::exception_ptr underlying)
    : Error(std::move(description)), case_(errorCase), underlying_(std::move(underlying)) {}

TokenError TokenError::malformed(std::exception_ptr underlying) {
    auto description = "The token is malformed. " + localizedDescription(underlying);
    return {Case::malformed, std::move(description), std::move(underlying)};
}

TokenError TokenError::algorithmNotAllowed(std::string description) {
    return {Case::algorithmNotAllowed, std::move(description)};
}

TokenError TokenError::keyNotFound(std::string description) {
    return {Case::keyNotFound, std::move(description)};
}

TokenError TokenError::wrongSignature() {
    return {Case::wrongSignature, "The signature of the token does not verify."};
}

TokenError TokenError::decryptionFailed(std::exception_ptr underlying) {
    return {Case::decryptionFailed, "The token could not be decrypted.", std::move(underlying)};
}

std::string TokenError::debugDescription() const {
    constexpr std::array<std::string_view, 5> names{"malformed", "algorithmNotAllowed", "keyNotFound", "wrongSignature",
                                                    "decryptionFailed"};
    static_assert(names.size() == static_cast<std::size_t>(Case::decryptionFailed) + 1);
    return "TokenError." + std::string(names[static_cast<std::size_t>(case_)]) +
           "(description: " + debugQuoted(errorDescription()) + ")";
}

}  // namespace Torvane
