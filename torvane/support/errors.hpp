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

#include "torvane/platform/core/error.hpp"

namespace Torvane {

/// What went wrong with a key, a signature, an encryption or a token.
class TORVANE_EXPORT JOSEError final : public Error {
  public:
    /// What failed; the message, or the underlying error, says why.
    enum class Case {
        algorithmNotSupported,  ///< An algorithm's name is not known, or not one for keys of this kind.
        invalidKeyFormat,       ///< A key does not fit its algorithm, or a secp256k1 JWK lacks a member.
        missingKey,             ///< No key is found, or more than one where one is chosen; or a key set is not given.
        JWSSignerError,         ///< Signing failed, for the underlying reason.
        JWSVerificationError,   ///< A JWS is malformed, names another algorithm or does not verify.
        JWEEncrypterError,      ///< Encrypting failed, for the underlying reason.
        JWEDecrypterError,     ///< A JWE is malformed, names other algorithms or does not decrypt, or the store failed.
        cannotEncodeJWK,       ///< A key or a key set has no JSON text, a private key for one.
        cannotDecodeJWK,       ///< A text is no JWK or JWK Set, or its numbers are no key.
        cannotDecodeResponse,  ///< For a CoderEncryptProtocol of the application's; the library never throws it.
        claimNotFoundInJWT,    ///< A claim is not there; an "aud" that is neither text nor a list of texts counts as
                               ///< none.
        malformedClaim,        ///< A claim is of another type than the one asked for.
        invalidJOSEComponent,  ///< A text is no compact serialisation: no dot, or a piece that is not base64url.
        curveNotSupported,     ///< A secp256k1 key, or a JWK of an unknown type, where an RSA or EC key is due.
        initializationError,   ///< For classes of the application's; the library never throws it.
    };

    /// @{
    /// The message.
    static JOSEError algorithmNotSupported(std::string message);
    static JOSEError invalidKeyFormat(std::string message);
    static JOSEError missingKey(std::string message);
    static JOSEError malformedClaim(std::string message);
    static JOSEError invalidJOSEComponent(std::string message);
    static JOSEError curveNotSupported(std::string message);
    /// @}

    /// "Claim with name " + claimName + " not found in JWT".
    static JOSEError claimNotFoundInJWT(std::string claimName);
    /// "Failed to initialize object: " + message.
    static JOSEError initializationError(std::string message);

    /// @{
    /// The textual form, ": ", and the underlying error's description.
    static JOSEError JWSSignerError(std::exception_ptr underlying);
    static JOSEError JWSVerificationError(std::exception_ptr underlying);
    static JOSEError JWEEncrypterError(std::exception_ptr underlying);
    static JOSEError JWEDecrypterError(std::exception_ptr underlying);
    static JOSEError cannotDecodeResponse(std::exception_ptr underlying);
    /// @}

    /// @{
    /// The textual form, ": ", and the underlying error's description; where there is none, the given one.
    static JOSEError cannotEncodeJWK(std::exception_ptr underlying, std::optional<std::string> description = {});
    static JOSEError cannotDecodeJWK(std::exception_ptr underlying, std::optional<std::string> description = {});
    /// @}

    /// What to decide by.
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

/// What went wrong between objects and JSON.
class TORVANE_EXPORT JsonSerializeError final : public Error {
  public:
    /// What failed; the description says where.
    enum class Case {
        failedToParseJson,                 ///< A text is not JSON, or a value is not and has no text.
        missingRequiredInformationForKey,  ///< A member that has to be there is missing, or of another kind.
        missingRequiredInit,               ///< An object is read whose class has no constructor for that.
        invalidJsonString,                 ///< A text is JSON, but no object.
    };

    /// The description.
    static JsonSerializeError failedToParseJson(std::string description);
    /// "Required key missing in the JSON: " + key
    static JsonSerializeError missingRequiredInformationForKey(std::string key);
    /// "Must implement init(dict:)"
    static JsonSerializeError missingRequiredInit();
    /// "Invalid format in the JSON String."
    static JsonSerializeError invalidJsonString();

    /// What to decide by.
    Case errorCase() const noexcept { return case_; }
    std::string debugDescription() const override;

    /// The same case; for missingRequiredInformationForKey also the same key.
    TORVANE_EXPORT friend bool operator==(const JsonSerializeError& a, const JsonSerializeError& b) noexcept;

  private:
    JsonSerializeError(Case errorCase, std::string description);

    Case case_;
};

}  // namespace Torvane
