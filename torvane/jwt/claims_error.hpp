// ClaimsError: why ClaimsPolicy rejects a token.
//
//     try {
//         const auto claims = policy.readClaims(payload, header);
//     } catch (const Torvane::ClaimsError& error) {
//         if (error.errorCase() == Torvane::ClaimsError::Case::expired) std::cerr << "Sign in again.\n";
//         std::clog << error << '\n';  // ClaimsError.expired(claim: "exp", expected: "a time after 1300819380")
//     }
#pragma once

#include <memory>
#include <string>

#include "torvane/platform/core/error.hpp"

namespace Torvane {

/// A token whose signature verifies, but whose claims or "typ" a policy does not accept. It names the claim and what
/// the policy expected, and contains nothing of the token.
class TORVANE_EXPORT ClaimsError final : public Error {
  public:
    /// Why the token is rejected.
    enum class Case {
        expired,        ///< The time is at or after "exp".
        notYetValid,    ///< The time is before "nbf", or before "iat" where the policy sets a maximum age.
        wrongIssuer,    ///< "iss" is not one of the policy's issuers.
        wrongAudience,  ///< "aud" has none of the policy's audiences.
        wrongSubject,   ///< "sub" is not the policy's subject.
        missingClaim,   ///< The policy needs a claim that is missing or, unless it is a time, null.
        tooOld,         ///< "iat" is the policy's maximum age ago, or more.
        wrongType,      ///< The header's "typ" is not the one that the policy expects.
        replayed,       ///< The policy's replay check has seen the token before.
        malformed,      ///< The payload is not a JSON object, a registered claim has the wrong type, or a time is
                        ///< 2^53 seconds or more from 1970.
    };

    /// errorDescription() says what is wrong, the claim's name, and what was expected.
    ClaimsError(Case errorCase, std::string claim, std::string expected);

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return state_->errorCase; }
    /// The name of the claim; "typ" for the header's parameter.
    [[nodiscard]] const std::string& claim() const noexcept { return state_->claim; }
    /// What the policy expected of the claim, for example "a time after 1300819380".
    [[nodiscard]] const std::string& expected() const noexcept { return state_->expected; }
    [[nodiscard]] std::string debugDescription() const override;

    /// Equal when the case, the claim and what was expected are the same.
    TORVANE_EXPORT friend bool operator==(const ClaimsError& a, const ClaimsError& b) noexcept;

  private:
    struct State {
        Case errorCase;
        std::string claim, expected;
    };

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
