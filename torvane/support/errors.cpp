#include "torvane/support/errors.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Torvane {
namespace {

constexpr std::array<std::string_view, 15> joseCaseNames{
    "algorithmNotSupported", "invalidKeyFormat",  "missingKey",           "JWSSignerError",    "JWSVerificationError",
    "JWEEncrypterError",     "JWEDecrypterError", "cannotEncodeJWK",      "cannotDecodeJWK",   "cannotDecodeResponse",
    "claimNotFoundInJWT",    "malformedClaim",    "invalidJOSEComponent", "curveNotSupported", "initializationError"};
static_assert(joseCaseNames.size() == static_cast<std::size_t>(JOSEError::Case::initializationError) + 1);

constexpr std::array<std::string_view, 4> jsonCaseNames{"failedToParseJson", "missingRequiredInformationForKey",
                                                        "missingRequiredInit", "invalidJsonString"};
static_assert(jsonCaseNames.size() == static_cast<std::size_t>(JsonSerializeError::Case::invalidJsonString) + 1);

constexpr std::string_view missingKeyText = "Required key missing in the JSON: ";

std::string writeOptional(const std::optional<std::string>& debugForm) {
    return debugForm ? "Optional(" + *debugForm + ")" : "nil";
}

}  // namespace

JOSEError::JOSEError(std::shared_ptr<const State> state) : Error(describe(*state)), state_(std::move(state)) {}

JOSEError JOSEError::make(Case errorCase, std::exception_ptr underlying, std::optional<std::string> text) {
    return JOSEError(std::make_shared<const State>(State{errorCase, std::move(underlying), std::move(text)}));
}

std::string JOSEError::textualForm(const State& state) {
    std::string payload;
    switch (state.errorCase) {
        case Case::cannotEncodeJWK:
        case Case::cannotDecodeJWK: {
            using Form = std::optional<std::string>;
            const auto underlying = state.underlying ? Form(Torvane::debugDescription(state.underlying)) : Form();
            const auto text = state.text ? Form(debugQuoted(*state.text)) : Form();
            payload = writeOptional(underlying) + ", description: " + writeOptional(text);
            break;
        }
        default: payload = state.text ? debugQuoted(*state.text) : Torvane::debugDescription(state.underlying);
    }
    return std::string(joseCaseNames[static_cast<std::size_t>(state.errorCase)]) + "(" + payload + ")";
}

std::string JOSEError::describe(const State& state) {
    switch (state.errorCase) {
        case Case::algorithmNotSupported:
        case Case::invalidKeyFormat:
        case Case::missingKey:
        case Case::malformedClaim:
        case Case::invalidJOSEComponent:
        case Case::curveNotSupported: return *state.text;
        case Case::claimNotFoundInJWT: return "Claim with name " + *state.text + " not found in JWT";
        case Case::initializationError: return "Failed to initialize object: " + *state.text;
        case Case::cannotEncodeJWK:
        case Case::cannotDecodeJWK:
            if (!state.underlying) return textualForm(state) + ": " + state.text.value_or("");
            break;
        case Case::JWSSignerError:
        case Case::JWSVerificationError:
        case Case::JWEEncrypterError:
        case Case::JWEDecrypterError:
        case Case::cannotDecodeResponse: break;
    }
    return textualForm(state) + ": " + localizedDescription(state.underlying);
}

std::string JOSEError::debugDescription() const {
    return "JOSEError." + textualForm(*state_);
}

bool operator==(const JOSEError& a, const JOSEError& b) noexcept {
    return a.errorCase() == b.errorCase() &&
           (a.errorCase() != JOSEError::Case::claimNotFoundInJWT || a.state_->text == b.state_->text);
}

JOSEError JOSEError::algorithmNotSupported(std::string message) {
    return make(Case::algorithmNotSupported, nullptr, std::move(message));
}

JOSEError JOSEError::invalidKeyFormat(std::string message) {
    return make(Case::invalidKeyFormat, nullptr, std::move(message));
}

JOSEError JOSEError::missingKey(std::string message) {
    return make(Case::missingKey, nullptr, std::move(message));
}

JOSEError JOSEError::malformedClaim(std::string message) {
    return make(Case::malformedClaim, nullptr, std::move(message));
}

JOSEError JOSEError::invalidJOSEComponent(std::string message) {
    return make(Case::invalidJOSEComponent, nullptr, std::move(message));
}

JOSEError JOSEError::curveNotSupported(std::string message) {
    return make(Case::curveNotSupported, nullptr, std::move(message));
}

JOSEError JOSEError::claimNotFoundInJWT(std::string claimName) {
    return make(Case::claimNotFoundInJWT, nullptr, std::move(claimName));
}

JOSEError JOSEError::initializationError(std::string message) {
    return make(Case::initializationError, nullptr, std::move(message));
}

JOSEError JOSEError::JWSSignerError(std::exception_ptr underlying) {
    return make(Case::JWSSignerError, std::move(underlying), std::nullopt);
}

JOSEError JOSEError::JWSVerificationError(std::exception_ptr underlying) {
    return make(Case::JWSVerificationError, std::move(underlying), std::nullopt);
}

JOSEError JOSEError::JWEEncrypterError(std::exception_ptr underlying) {
    return make(Case::JWEEncrypterError, std::move(underlying), std::nullopt);
}

JOSEError JOSEError::JWEDecrypterError(std::exception_ptr underlying) {
    return make(Case::JWEDecrypterError, std::move(underlying), std::nullopt);
}

JOSEError JOSEError::cannotDecodeResponse(std::exception_ptr underlying) {
    return make(Case::cannotDecodeResponse, std::move(underlying), std::nullopt);
}

JOSEError JOSEError::cannotEncodeJWK(std::exception_ptr underlying, std::optional<std::string> description) {
    return make(Case::cannotEncodeJWK, std::move(underlying), std::move(description));
}

JOSEError JOSEError::cannotDecodeJWK(std::exception_ptr underlying, std::optional<std::string> description) {
    return make(Case::cannotDecodeJWK, std::move(underlying), std::move(description));
}

JsonSerializeError::JsonSerializeError(Case errorCase, std::string description)
    : Error(std::move(description)), case_(errorCase) {}

JsonSerializeError JsonSerializeError::failedToParseJson(std::string description) {
    return {Case::failedToParseJson, std::move(description)};
}

JsonSerializeError JsonSerializeError::missingRequiredInformationForKey(std::string key) {
    key.insert(0, missingKeyText);
    return {Case::missingRequiredInformationForKey, std::move(key)};
}

JsonSerializeError JsonSerializeError::missingRequiredInit() {
    return {Case::missingRequiredInit, "Must implement init(dict:)"};
}

JsonSerializeError JsonSerializeError::invalidJsonString() {
    return {Case::invalidJsonString, "Invalid format in the JSON String."};
}

std::string JsonSerializeError::debugDescription() const {
    std::string form = "JsonSerializeError." + std::string(jsonCaseNames[static_cast<std::size_t>(case_)]);
    switch (case_) {
        case Case::failedToParseJson: return form + "(description: " + debugQuoted(errorDescription()) + ")";
        case Case::missingRequiredInformationForKey:
            return form + "(" + debugQuoted(errorDescription().substr(missingKeyText.size())) + ")";
        case Case::missingRequiredInit:
        case Case::invalidJsonString: break;
    }
    return form;
}

bool operator==(const JsonSerializeError& a, const JsonSerializeError& b) noexcept {
    // Comparing the descriptions compares the keys: the rest of the text is the same.
    return a.case_ == b.case_ && (a.case_ != JsonSerializeError::Case::missingRequiredInformationForKey ||
                                  a.errorDescription() == b.errorDescription());
}

}  // namespace Torvane
