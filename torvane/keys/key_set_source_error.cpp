#include "torvane/keys/key_set_source_error.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Torvane {
namespace {

constexpr std::array<std::string_view, 4> caseNames{"unavailable", "timedOut", "calledByFetch", "rejected"};
static_assert(caseNames.size() == static_cast<std::size_t>(KeySetSourceError::Case::rejected) + 1);

std::string describeMissingSet(std::string_view reason) {
    return "No key set is available: " + std::string(reason);
}

}  // namespace

KeySetSourceError::KeySetSourceError(Case errorCase, std::string description, std::exception_ptr underlying)
    : Error(std::move(description)), state_(std::make_shared<const State>(State{errorCase, std::move(underlying)})) {}

KeySetSourceError KeySetSourceError::unavailable(std::exception_ptr underlying) {
    auto description = describeMissingSet(localizedDescription(underlying));
    return {Case::unavailable, std::move(description), std::move(underlying)};
}

KeySetSourceError KeySetSourceError::timedOut() {
    return {Case::timedOut, describeMissingSet("another thread is still fetching it.")};
}

KeySetSourceError KeySetSourceError::calledByFetch() {
    return {Case::calledByFetch, "The function that fetches the key set asked the source for it."};
}

KeySetSourceError KeySetSourceError::rejected(std::string message) {
    return {Case::rejected, std::move(message)};
}

std::string KeySetSourceError::debugDescription() const {
    auto form = "KeySetSourceError." + std::string(caseNames[static_cast<std::size_t>(errorCase())]);
    switch (errorCase()) {
        case Case::unavailable: return form + "(" + Torvane::debugDescription(underlyingError()) + ")";
        case Case::rejected: return form + "(" + debugQuoted(errorDescription()) + ")";
        case Case::timedOut:
        case Case::calledByFetch: break;
    }
    return form;
}

bool operator==(const KeySetSourceError& a, const KeySetSourceError& b) noexcept {
    return a.errorCase() == b.errorCase() && a.errorDescription() == b.errorDescription();
}

}  // namespace Torvane
