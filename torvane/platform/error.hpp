// The root of every error that the library throws, and the words that errors are made of.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "torvane/platform/export.hpp"

namespace Platform {

/// An error with a description. Copies share the text and cannot fail.
class TORVANE_EXPORT Error : public std::exception {
  public:
    explicit Error(std::string description);

    /// The description up to its first NUL byte; errorDescription() has the whole of it.
    const char* what() const noexcept override;
    const std::string& errorDescription() const noexcept { return *description_; }

    /// How the error shows inside the textual form of an error that wraps it, for example
    /// `JOSEError.missingKey("...")`.
    virtual std::string debugDescription() const = 0;

  private:
    std::shared_ptr<const std::string> description_;
};

/// A key, a key store or a cryptographic primitive could not do what it was asked.
class TORVANE_EXPORT SecurityError final : public Error {
  public:
    using Error::Error;
    std::string debugDescription() const override;
};

/// The description of any exception: errorDescription() of an Error, what() of another std::exception.
TORVANE_EXPORT std::string localizedDescription(const std::exception_ptr& error);

/// The debug form of any exception; another std::exception shows as its quoted what().
TORVANE_EXPORT std::string debugDescription(const std::exception_ptr& error);

/// The text in double quotes, with quotes, backslashes and control characters escaped.
TORVANE_EXPORT std::string debugQuoted(std::string_view text);

/// Prints why to stderr and aborts: for broken preconditions, and for a random source that fails.
[[noreturn]] TORVANE_EXPORT void stopProcess(std::string_view why) noexcept;

}  // namespace Platform
