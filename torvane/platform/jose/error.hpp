// The error of the JOSE primitives.
#pragma once

#include <string>

#include "torvane/platform/core/error.hpp"

namespace Torvane::JOSE {

/// Mostly met as the underlying error of a JOSEError.
class TORVANE_EXPORT JOSESwiftError final : public Error {
  public:
    /// What failed; the description says why.
    enum class Case {
        parsingFailed,         ///< A compact serialisation, header or JWK is malformed.
        verifyingFailed,       ///< A signature does not verify.
        decryptingFailed,      ///< A JWE does not decrypt; the text is always the same.
        unsupportedAlgorithm,  ///< A header names another algorithm than the one that is expected.
        unsupportedKey,        ///< A key of a kind that the operation does not support.
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

    /// The case; branch on this.
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
