// The two error types of the library: JOSEError for keys, signing, encryption and tokens, JsonSerializeError
// for the conversion between objects and JSON.
//
//     try {
//         auto message = helper.decodeMessage(token);
//     } catch (const Torvane::JOSEError& error) {
//         if (error.errorCase() == Torvane::JOSEError::Case::missingKey) ...
//         std::cerr << error.errorDescription() << '\n';
//     }
//
// Errors are values: cheap to copy, comparable, safe to hand to another thread.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "torvane/platform/error.hpp"

namespace Torvane {

class TORVANE_EXPORT JOSEError final : public Platform::Error {
  public:
    enum class Case {
        algorithmNotSupported,
        invalidKeyFormat,
        missingKey,
        JWSSignerError,
        JWSVerificationError,
        JWEEncrypterError,
        JWEDecrypterError,
        cannotEncodeJWK,
        cannotDecodeJWK,
        cannotDecodeResponse,
        claimNotFoundInJWT,
        malformedClaim,
        invalidJOSEComponent,
        curveNotSupported,
        initializationError,
    };

    // The message is the description.
    static JOSEError algorithmNotSupported(std::string message);
    static JOSEError invalidKeyFormat(std::string message);
    static JOSEError missingKey(std::string message);
    static JOSEError malformedClaim(std::string message);
    static JOSEError invalidJOSEComponent(std::string message);
    static JOSEError curveNotSupported(std::string message);

    // "Claim with name " + claimName + " not found in JWT", and "Failed to initialize object: " + message.
    static JOSEError claimNotFoundInJWT(std::string claimName);
    static JOSEError initializationError(std::string message);

    // The textual form of the error itself, ": ", and the underlying error's description.
    static JOSEError JWSSignerError(std::exception_ptr underlying);
    static JOSEError JWSVerificationError(std::exception_ptr underlying);
    static JOSEError JWEEncrypterError(std::exception_ptr underlying);
    static JOSEError JWEDecrypterError(std::exception_ptr underlying);
    static JOSEError cannotDecodeResponse(std::exception_ptr underlying);

    // The same; the description counts only where there is no underlying error.
    static JOSEError cannotEncodeJWK(std::exception_ptr underlying, std::optional<std::string> description = {});
    static JOSEError cannotDecodeJWK(std::exception_ptr underlying, std::optional<std::string> description = {});

    Case errorCase() const noexcept { return state_->errorCase; }

    /// The error that this one wraps; null where there is none.
    const std::exception_ptr& underlyingError() const noexcept { return state_->underlying; }

    /// The message, claim name or description that the error was made with; nothing where there is none.
    const std::optional<std::string>& message() const noexcept { return state_->text; }

    /// The textual form: the case's name, and its payload in parentheses.
    std::string debugDescription() const override;

    /// The same case, whatever the payload; for claimNotFoundInJWT also the same claim name.
    TORVANE_EXPORT friend bool operator==(const JOSEError& a, const JOSEError& b) noexcept;

  private:
    struct State {
        Case errorCase;
        std::exception_ptr underlying;
        std::optional<std::string> text;
    };

    explicit JOSEError(std::shared_ptr<const State> state);
    static JOSEError make(Case errorCase, std::exception_ptr underlying, std::optional<std::string> text);
    static std::string textualForm(const State& state);
    static std::string describe(const State& state);

    std::shared_ptr<const State> state_;
};

class TORVANE_EXPORT JsonSerializeError final : public Platform::Error {
  public:
    enum class Case { failedToParseJson, missingRequiredInformationForKey, missingRequiredInit, invalidJsonString };

    /// Describes itself with the description.
    static JsonSerializeError failedToParseJson(std::string description);
    /// "Required key missing in the JSON: " + key
    static JsonSerializeError missingRequiredInformationForKey(std::string key);
    /// "Must implement init(dict:)"
    static JsonSerializeError missingRequiredInit();
    /// "Invalid format in the JSON String."
    static JsonSerializeError invalidJsonString();

    Case errorCase() const noexcept { return case_; }
    std::string debugDescription() const override;

    /// The same case; for missingRequiredInformationForKey also the same key.
    TORVANE_EXPORT friend bool operator==(const JsonSerializeError& a, const JsonSerializeError& b) noexcept;

  private:
    JsonSerializeError(Case errorCase, std::string description);

    Case case_;
};

/// The exception in flight, if it is a JOSEError, else `wrap` around it: for throwing on what must not be
/// wrapped twice. To be called in a catch block.
template <class Wrap>
[[noreturn]] void rethrowAsJOSEError(Wrap wrap) {
    try {
        throw;
    } catch (const JOSEError&) {
        throw;
    } catch (...) {
        throw wrap(std::current_exception());
    }
}

}  // namespace Torvane
