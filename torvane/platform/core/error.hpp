// The root of every error that the library throws, and the words that errors are made of.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "torvane/platform/core/export.hpp"

namespace Torvane {

/// An error with a description. Copies share the text and cannot fail.
class TORVANE_EXPORT Error : public std::exception {
  public:
    /// Keeps the text as it is, NUL bytes too.
    explicit Error(std::string description);

    /// The description up to its first NUL byte; errorDescription() has the whole of it.
    const char* what() const noexcept override;
    /// What went wrong, for people. Valid as long as some copy of the error lives.
    const std::string& errorDescription() const noexcept { return *description_; }

    /// How the error shows inside the textual form of an error that wraps it, for example
    /// `JOSEError.missingKey("...")`.
    virtual std::string debugDescription() const = 0;

  private:
    std::shared_ptr<const std::string> description_;
};

/// A key, a key store or a cryptographic primitive could not do what it was asked.
class TORVANE_EXPORT SecurityError : public Error {
  public:
    using Error::Error;
    std::string debugDescription() const override;
};

/// A key store or a key URI could not give what was asked of it. The text says what was looked for and what was found,
/// and never a passphrase or PIN.
class TORVANE_EXPORT KeyStoreError final : public SecurityError {
  public:
    /// Why the store could not, as far as a caller can do something about it.
    enum class Case {
        invalidURI,       ///< The URI is none, or asks for what cannot be.
        unavailable,      ///< The file, the driver or the token is not there, or no longer; later it may be.
        keyNotFound,      ///< The store is there and the key is not, or more than one key fits.
        wrongSecret,      ///< The passphrase or PIN is missing, wrong or locked.
        notSupported,     ///< The store cannot do this operation with this algorithm.
        operationFailed,  ///< The store has refused, or failed, for another reason.
    };

    /// @{
    /// The description.
    static KeyStoreError invalidURI(std::string description);
    static KeyStoreError unavailable(std::string description);
    static KeyStoreError keyNotFound(std::string description);
    static KeyStoreError wrongSecret(std::string description);
    static KeyStoreError notSupported(std::string description);
    static KeyStoreError operationFailed(std::string description);
    /// @}

    /// What to decide by.
    Case errorCase() const noexcept { return case_; }
    std::string debugDescription() const override;

  private:
    KeyStoreError(Case errorCase, std::string description);

    Case case_;
};

/// The description of any exception: errorDescription() of an Error, what() of another std::exception.
TORVANE_EXPORT std::string localizedDescription(const std::exception_ptr& error);

/// The debug form of any exception; another std::exception shows as its quoted what().
TORVANE_EXPORT std::string debugDescription(const std::exception_ptr& error);

/// The text in double quotes, with quotes, backslashes and control characters escaped.
TORVANE_EXPORT std::string debugQuoted(std::string_view text);

/// Prints why to stderr and aborts: for broken preconditions, and for a random source that fails.
[[noreturn]] TORVANE_EXPORT void stopProcess(std::string_view why) noexcept;

}  // namespace Torvane
