// Error of the JOSE primitives: malformed tokens and keys, signatures that do not verify, failed decryption.
#pragma once

#include <string>

#include "torvane/platform/core/error.hpp"

namespace Torvane::JOSE {

/// Error of the JOSE primitives. Callers of the library mostly meet it inside a JOSEError: see JOSEError::underlying().
class TORVANE_EXPORT JOSESwiftError final : public Error {
  public:
    /// What was rejected; the description says why.
    enum class Case {
        parsingFailed,         ///< A token, header or JWK is malformed.
        verifyingFailed,       ///< A signature does not verify.
        decryptingFailed,      ///< A JWE does not decrypt; the text is the same for every reason.
        unsupportedAlgorithm,  ///< A header names another algorithm than the one asked for, or a hash
                               ///< function has no name in thumbprint URIs.
        unsupportedKey,        ///< The operation does not support keys of this kind.
    };

    /// @{
    /// errorDescription() is the given text.
    [[nodiscard]] static JOSESwiftError parsingFailed(std::string description);
    [[nodiscard]] static JOSESwiftError verifyingFailed(std::string description);
    [[nodiscard]] static JOSESwiftError unsupportedAlgorithm(std::string description);
    [[nodiscard]] static JOSESwiftError unsupportedKey(std::string description);
    /// @}
    /// errorDescription() is "The JWE could not be decrypted."
    [[nodiscard]] static JOSESwiftError decryptingFailed();

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return case_; }

    /// For example `JOSESwiftError.verifyingFailed(description: "...")`.
    [[nodiscard]] std::string debugDescription() const override;

    /// Equal when the case is the same; the description is not compared.
    friend bool operator==(const JOSESwiftError& a, const JOSESwiftError& b) noexcept { return a.case_ == b.case_; }

  private:
    TORVANE_NO_EXPORT JOSESwiftError(Case errorCase, std::string description);

    Case case_;
};

}  // namespace Torvane::JOSE
