// TokenError: why TokenVerifier or NestedToken rejects a token, or cannot make one.
//
//     try {
//         const auto token = tokens.decode(theirToken);
//     } catch (const Torvane::TokenError& error) {
//         std::clog << error << '\n';  // TokenError.wrongSignature(description: "...")
//     }
#pragma once

#include <exception>
#include <string>

#include "torvane/platform/core/error.hpp"

namespace Torvane {

/// A token that is rejected before its claims are looked at, or a key that is missing. The text contains nothing of the
/// token.
class TORVANE_EXPORT TokenError final : public Error {
  public:
    /// What was wrong; the description says more.
    enum class Case {
        malformed,            ///< The token is not a compact serialisation, is beyond the limits, or has a header that
                              ///< is rejected.
        algorithmNotAllowed,  ///< The header names an algorithm that the application does not allow, or a profile has
                              ///< none to encrypt with.
        keyNotFound,          ///< No key has the header's "kid" and fits the algorithm, or more than one key fits where
                              ///< only one can be used.
        wrongSignature,       ///< The signature does not verify.
        decryptionFailed,     ///< The token does not decrypt, or our key store failed: then underlyingError() is that
                              ///< SecurityError. The text is the same for every reason.
    };

    /// @{
    /// errorDescription() is the given text.
    [[nodiscard]] static TokenError algorithmNotAllowed(std::string description);
    [[nodiscard]] static TokenError keyNotFound(std::string description);
    /// @}
    /// errorDescription() is "The token is malformed. " and that of the underlying error.
    [[nodiscard]] static TokenError malformed(std::exception_ptr underlying);
    /// errorDescription() is "The signature of the token does not verify."
    [[nodiscard]] static TokenError wrongSignature();
    /// errorDescription() is "The token could not be decrypted."
    [[nodiscard]] static TokenError decryptionFailed(std::exception_ptr underlying);

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    /// What the JOSE layer threw, for malformed and decryptionFailed; null otherwise.
    [[nodiscard]] const std::exception_ptr& underlyingError() const noexcept { return underlying_; }
    [[nodiscard]] std::string debugDescription() const override;

  private:
    TORVANE_NO_EXPORT TokenError(Case errorCase, std::string description, std::exception_ptr underlying = nullptr);

    Case case_;
    std::exception_ptr underlying_;
};

}  // namespace Torvane
