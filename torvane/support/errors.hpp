// JOSEError for keys, signing, encryption and tokens, and JsonSerializeError for conversion between objects and JSON.
//
//     try {
//         const Torvane::JsonWebKeySet set(Torvane::asBytes("not a key set"));
//     } catch (const Torvane::JOSEError& error) {
//         const bool isMalformed = error.errorCase() == Torvane::JOSEError::Case::cannotDecodeJWK;
//         std::cerr << (isMalformed ? "Not a key set: " : "") << error.errorDescription() << '\n';
//         if (const auto* cause = error.underlying<Torvane::JOSE::JOSESwiftError>()) std::clog << *cause << '\n';
//     }
//
// Errors are values: cheap to copy, comparable, and safe to pass to another thread.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/lifetimebound.hpp"

namespace Torvane {

/// Failure that concerns a key, a signature, an encryption, a token or a claim.
class TORVANE_EXPORT JOSEError final : public Error {
  public:
    /// What failed; the message or the underlying error says why.
    enum class Case {
        algorithmNotSupported,  ///< The algorithm's name is unknown, or not for keys of this kind, or not in this
                                ///< build.
        invalidKeyFormat,       ///< The key does not fit its algorithm, or a secp256k1 JWK is incomplete or invalid.
        missingKey,      ///< A key set was not given, no key fits, several fit where one is needed, or the key has no
                         ///< platform key or no raw bytes where the operation needs them.
        JWSSignerError,  ///< Signing failed; the underlying error says why.
        JWSVerificationError,  ///< The JWS is malformed, names another algorithm, or does not verify; or the key does
                               ///< not fit the algorithm.
        JWEEncrypterError,     ///< Encryption failed; the underlying error says why.
        JWEDecrypterError,  ///< The JWE is malformed, names other algorithms, or does not decrypt; or the store failed.
        cannotEncodeJWK,    ///< The key or key set cannot be written as JSON (a private key, for example).
        cannotDecodeJWK,    ///< The text is not a JWK or JWK Set, or its numbers are not a valid key.
        cannotDecodeResponse,  ///< For an application's own CoderEncryptProtocol; the library never throws it.
        claimNotFoundInJWT,    ///< The claim is missing. An "aud" that is neither a string nor a list of strings counts
                               ///< as missing.
        malformedClaim,        ///< The claim has another type than the one asked for.
        invalidJOSEComponent,  ///< The text is not a compact token: it has no dot, or a part is empty or not base64url.
        curveNotSupported,  ///< A secp256k1 key for a JWEEncrypter or JWEDecrypter that is made from a key alone, or a
                            ///< JWK of an unknown "kty".
        initializationError,  ///< For an application's own classes; the library never throws it.
    };

    /// @{
    /// errorDescription() is the message.
    [[nodiscard]] static JOSEError algorithmNotSupported(std::string message);
    [[nodiscard]] static JOSEError invalidKeyFormat(std::string message);
    [[nodiscard]] static JOSEError missingKey(std::string message);
    [[nodiscard]] static JOSEError malformedClaim(std::string message);
    [[nodiscard]] static JOSEError invalidJOSEComponent(std::string message);
    [[nodiscard]] static JOSEError curveNotSupported(std::string message);
    /// @}

    /// errorDescription() is "Claim with name " + claimName + " not found in JWT".
    [[nodiscard]] static JOSEError claimNotFoundInJWT(std::string claimName);
    /// errorDescription() is "Failed to initialize object: " + message.
    [[nodiscard]] static JOSEError initializationError(std::string message);

    /// @{
    /// errorDescription() is the textual form without "JOSEError.", then ": " and the underlying error's description.
    [[nodiscard]] static JOSEError JWSSignerError(std::exception_ptr underlying);
    [[nodiscard]] static JOSEError JWSVerificationError(std::exception_ptr underlying);
    [[nodiscard]] static JOSEError JWEEncrypterError(std::exception_ptr underlying);
    [[nodiscard]] static JOSEError JWEDecrypterError(std::exception_ptr underlying);
    [[nodiscard]] static JOSEError cannotDecodeResponse(std::exception_ptr underlying);
    /// @}

    /// @{
    /// errorDescription() is the textual form without "JOSEError.", then ": " and the underlying error's description,
    /// or the given description if there is no underlying error.
    [[nodiscard]] static JOSEError cannotEncodeJWK(std::exception_ptr underlying,
                                                   std::optional<std::string> description = {});
    [[nodiscard]] static JOSEError cannotDecodeJWK(std::exception_ptr underlying,
                                                   std::optional<std::string> description = {});
    /// @}

    /// @{
    /// Copies share what the error holds, so copying never fails. A move is a copy.
    JOSEError(const JOSEError&) noexcept = default;
    JOSEError& operator=(const JOSEError&) noexcept = default;
    /// @}
    ~JOSEError() override = default;

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return state_->errorCase; }

    /// The error that this one wraps; null when there is none.
    [[nodiscard]] const std::exception_ptr& underlyingError() const noexcept { return state_->underlying; }

    /// The error that this one wraps when it is an E or derived from E, else null: `error.underlying<KeyStoreError>()`.
    /// Errors inside the wrapped error are not searched. Valid as long as any copy of this error.
    template <class E>
    [[nodiscard]] const E* underlying() const& noexcept TORVANE_LIFETIMEBOUND {
        return findError<E>(underlyingError());
    }
    /// Does not compile: the pointer would outlive the error.
    template <class E>
    const E* underlying() const&& = delete;

    /// The message, claim name or description that the error was made with; nothing when there is none.
    [[nodiscard]] const std::optional<std::string>& message() const noexcept { return state_->text; }

    /// The textual form: "JOSEError.", the case's name, and in parentheses the arguments of its factory. A wrapped
    /// error has its textual form there.
    [[nodiscard]] std::string debugDescription() const override;

    /// Equal when the case is the same, and for claimNotFoundInJWT also the claim name. Nothing else is compared.
    TORVANE_EXPORT friend bool operator==(const JOSEError& a, const JOSEError& b) noexcept;

  private:
    struct State {
        Case errorCase;
        std::exception_ptr underlying;
        std::optional<std::string> text;
    };

    TORVANE_NO_EXPORT explicit JOSEError(std::shared_ptr<const State> state);
    TORVANE_NO_EXPORT static JOSEError make(Case errorCase, std::exception_ptr underlying,
                                            std::optional<std::string> text);
    TORVANE_NO_EXPORT static std::string textualForm(const State& state);
    TORVANE_NO_EXPORT static std::string describe(const State& state);

    std::shared_ptr<const State> state_;
};

/// Failure of a conversion between objects and JSON.
class TORVANE_EXPORT JsonSerializeError final : public Error {
  public:
    /// What failed; the description says where.
    enum class Case {
        failedToParseJson,                 ///< Text is not valid JSON, or a value cannot be serialised.
        missingRequiredInformationForKey,  ///< A required member is missing, or has another type.
        missingRequiredInit,               ///< The class has no constructor that reads a JSON object.
        invalidJsonString,                 ///< The text is JSON, but not a JSON object.
    };

    /// errorDescription() is the given text.
    [[nodiscard]] static JsonSerializeError failedToParseJson(std::string description);
    /// errorDescription() is "Required key missing in the JSON: " + key.
    [[nodiscard]] static JsonSerializeError missingRequiredInformationForKey(std::string key);
    /// errorDescription() is "Must implement init(dict:)".
    [[nodiscard]] static JsonSerializeError missingRequiredInit();
    /// errorDescription() is "Invalid format in the JSON String."
    [[nodiscard]] static JsonSerializeError invalidJsonString();

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    [[nodiscard]] std::string debugDescription() const override;

    /// Equal when the case is the same, and for missingRequiredInformationForKey also the key.
    TORVANE_EXPORT friend bool operator==(const JsonSerializeError& a, const JsonSerializeError& b) noexcept;

  private:
    TORVANE_NO_EXPORT JsonSerializeError(Case errorCase, std::string description);

    Case case_;
};

}  // namespace Torvane
