// JOSESwiftError: what the JOSE primitives refuse.
#pragma once

#include <string>

#include "torvane/platform/core/error.hpp"

namespace Torvane::JOSE {

/// The error below the library's own: mostly found as JOSEError::underlyingError().
class TORVANE_EXPORT JOSESwiftError final : public Error {
  public:
    /// What was refused; the description says why.
    enum class Case {
        parsingFailed,         ///< A compact serialisation, header or JWK is malformed.
        verifyingFailed,       ///< A signature does not verify.
        decryptingFailed,      ///< A JWE does not decrypt; one text, whatever the reason.
        unsupportedAlgorithm,  ///< A header names another algorithm than the one that was asked for.
        unsupportedKey,        ///< A key of a kind that the operation does not know.
    };

    /// @{
    /// The description.
    static JOSESwiftError parsingFailed(std::string description);
    static JOSESwiftError verifyingFailed(std::string description);
    static JOSESwiftError unsupportedAlgorithm(std::string description);
    static JOSESwiftError unsupportedKey(std::string description);
    /// @}
    /// "The JWE could not be decrypted."
    static JOSESwiftError decryptingFailed();

    /// What to decide by.
    Case errorCase() const noexcept { return case_; }

    /// For example `JOSESwiftError.verifyingFailed(description: "...")`.
    std::string debugDescription() const override;

    /// The same case, whatever the description.
    friend bool operator==(const JOSESwiftError& a, const JOSESwiftError& b) noexcept { return a.case_ == b.case_; }

  private:
    JOSESwiftError(Case errorCase, std::string description);

    Case case_;
};

}  // namespace Torvane::JOSE
