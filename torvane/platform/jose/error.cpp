#include "torvane/platform/jose/error.hpp"

#include <array>
#include <string_view>
#include <utility>

namespace Torvane::JOSE {

JOSESwiftError::JOSESwiftError(Case errorCase, std::string description)
    : Error(std::move(description)), case_(errorCase) {}

JOSESwiftError JOSESwiftError::parsingFailed(std::string description) {
    return {Case::parsingFailed, std::move(description)};
}

JOSESwiftError JOSESwiftError::verifyingFailed(std::string description) {
    return {Case::verifyingFailed, std::move(description)};
}

JOSESwiftError JOSESwiftError::decryptingFailed() {
    return {Case::decryptingFailed, "The JWE could not be decrypted."};
}

JOSESwiftError JOSESwiftError::unsupportedAlgorithm(std::string description) {
    return {Case::unsupportedAlgorithm, std::move(description)};
}

JOSESwiftError JOSESwiftError::unsupportedKey(std::string description) {
    return {Case::unsupportedKey, std::move(description)};
}

std::string JOSESwiftError::debugDescription() const {
    constexpr std::array<std::string_view, 5> names{"parsingFailed", "verifyingFailed", "decryptingFailed",
                                                    "unsupportedAlgorithm", "unsupportedKey"};
    static_assert(names.size() == static_cast<std::size_t>(Case::unsupportedKey) + 1);
    return "JOSESwiftError." + std::string(names[static_cast<std::size_t>(case_)]) +
           "(description: " + debugQuoted(errorDescription()) + ")";
}

}  // namespace Torvane::JOSE
