// Root of the library's errors, and descriptions of any exception.
//
//     try {
//         const auto key = Torvane::openKey("missing.pem", Torvane::KeyClass::privateKey);
//     } catch (const Torvane::Error& error) {
//         std::cerr << error.errorDescription() << '\n';  // for people: what went wrong
//         std::clog << error << '\n';                     // for a log: type and case too
//     }
#pragma once

#include <exception>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "torvane/platform/core/export.hpp"

namespace Torvane {

/// The root of every error that the library throws; only the standard library's own exceptions (above all
/// std::bad_alloc) and those of the application's code are of other types.
class TORVANE_EXPORT Error : public std::exception {
  public:
    /// Keeps the text as it is, NUL bytes included.
    explicit Error(std::string description);
    /// @{
    /// Copies share the text, so copying never fails. A move is a copy, so an error keeps everything when it is moved.
    Error(const Error&) noexcept = default;
    Error& operator=(const Error&) noexcept = default;
    /// @}
    ~Error() override = default;

    /// The description up to its first NUL byte.
    [[nodiscard]] const char* what() const noexcept override;
    /// The whole description: what went wrong, for people. Valid as long as any copy of the error.
    [[nodiscard]] const std::string& errorDescription() const noexcept { return *description_; }

    /// The textual form: type, case, and in parentheses the arguments of its factory, for example
    /// `JOSEError.missingKey("...")`. The textual form of an error that wraps another contains the textual form of the
    /// wrapped error.
    [[nodiscard]] virtual std::string debugDescription() const = 0;

    /// Writes debugDescription().
    TORVANE_EXPORT friend std::ostream& operator<<(std::ostream& out, const Error& error);

  private:
    std::shared_ptr<const std::string> description_;
};

/// A key, a key store or a cryptographic primitive could not do what was asked of it.
class TORVANE_EXPORT SecurityError : public Error {
  public:
    using Error::Error;
    [[nodiscard]] std::string debugDescription() const override;
};

/// A key store could not provide a key or perform an operation. The text says what was looked for and what was found,
/// and never contains a passphrase or PIN.
class TORVANE_EXPORT KeyStoreError final : public SecurityError {
  public:
    /// Why the store failed. There is one case for each thing that a caller can do about it.
    enum class Case {
        invalidURI,       ///< The URI is malformed, or asks for something impossible.
        unavailable,      ///< The file, driver or PKCS #11 token is missing, removed, ambiguous or unusable, or the
                          ///< new file exists already. Retrying may help if it was missing.
        keyNotFound,      ///< The store is there, but no key fits, or more than one key fits.
        wrongSecret,      ///< The passphrase or PIN is missing, wrong, locked, or not sent: it was rejected before, or
                          ///< would spend the last try.
        notSupported,     ///< The store does not support this operation, algorithm or kind of key, the build lacks the
                          ///< store, or decrypting a file would take too many iterations.
        operationFailed,  ///< The store rejected the operation, or failed for another reason.
    };

    /// @{
    /// errorDescription() is the given text.
    [[nodiscard]] static KeyStoreError invalidURI(std::string description);
    [[nodiscard]] static KeyStoreError unavailable(std::string description);
    [[nodiscard]] static KeyStoreError keyNotFound(std::string description);
    [[nodiscard]] static KeyStoreError wrongSecret(std::string description);
    [[nodiscard]] static KeyStoreError notSupported(std::string description);
    [[nodiscard]] static KeyStoreError operationFailed(std::string description);
    /// @}

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    [[nodiscard]] std::string debugDescription() const override;

  private:
    TORVANE_NO_EXPORT KeyStoreError(Case errorCase, std::string description);

    Case case_;
};

/// The exception when it is an E or derived from E, else null, as for a null pointer. Valid as long as the pointer.
template <class E>
[[nodiscard]] const E* findError(const std::exception_ptr& thrown) noexcept {
    if (!thrown) return nullptr;
    try {
        std::rethrow_exception(thrown);
    } catch (const E& error) {
        return &error;  // the exception itself, which rethrowing does not copy
    } catch (...) {
        return nullptr;
    }
}

/// The description of any exception: errorDescription() of an Error, what() of another std::exception, and "unknown
/// error" for anything else: a null pointer, another type, or an exception whose what() is null.
[[nodiscard]] TORVANE_EXPORT std::string localizedDescription(const std::exception_ptr& error);

/// The textual form of any exception: debugDescription() of an Error, what() in quotes of another std::exception, and
/// "unknown error" for anything else, as above.
[[nodiscard]] TORVANE_EXPORT std::string debugDescription(const std::exception_ptr& error);

/// The text in double quotes. Quotes and backslashes get a backslash; what makePrintable() escapes becomes "\u{1B}",
/// and a byte that is not UTF-8 "\x9B". The text is not cut.
[[nodiscard]] TORVANE_EXPORT std::string debugQuoted(std::string_view text);

}  // namespace Torvane
