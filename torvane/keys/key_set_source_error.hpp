// KeySetSourceError: why KeySetSource returns no key set.
//
//     try {
//         const auto keys = source.keys();
//     } catch (const Torvane::KeySetSourceError& error) {
//         std::clog << error << '\n';
//         if (const auto* cause = error.underlying<std::runtime_error>()) std::clog << cause->what() << '\n';
//     }
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/lifetimebound.hpp"

namespace Torvane {

/// A KeySetSource has no key set, or rejected what was fetched.
class TORVANE_EXPORT KeySetSourceError final : public Error {
  public:
    /// Why there is no set.
    enum class Case {
        unavailable,    ///< The last fetch failed, and there is no older set that may still be used. The underlying
                        ///< error says why it failed.
        timedOut,       ///< Another thread is still fetching the first set, or one to replace a set that may not be
                        ///< used any more.
        calledByFetch,  ///< The function that fetches the set called the source, which has no set yet.
        rejected,       ///< The answer is too long, or has too many keys, or none that the library knows. Only as an
                        ///< underlying error, and in a KeySetEvent.
    };

    /// errorDescription() is "No key set is available: " and the underlying error's description.
    [[nodiscard]] static KeySetSourceError unavailable(std::exception_ptr underlying);
    /// errorDescription() is "No key set is available: another thread is still fetching it."
    [[nodiscard]] static KeySetSourceError timedOut();
    /// errorDescription() is "The function that fetches the key set asked the source for it."
    [[nodiscard]] static KeySetSourceError calledByFetch();
    /// errorDescription() is the message.
    [[nodiscard]] static KeySetSourceError rejected(std::string message);

    /// The case; branch on this.
    [[nodiscard]] Case errorCase() const noexcept { return state_->errorCase; }

    /// What the failed fetch threw, or why its answer was not accepted; null unless the case is unavailable.
    [[nodiscard]] const std::exception_ptr& underlyingError() const noexcept { return state_->underlying; }

    /// The underlying error when it is an E or derived from E, else null. Valid as long as any copy of this error.
    template <class E>
    [[nodiscard]] const E* underlying() const& noexcept TORVANE_LIFETIMEBOUND {
        return findError<E>(underlyingError());
    }
    /// Does not compile: the pointer would outlive the error.
    template <class E>
    const E* underlying() const&& = delete;

    [[nodiscard]] std::string debugDescription() const override;

    /// Equal when the case and the description are the same.
    TORVANE_EXPORT friend bool operator==(const KeySetSourceError& a, const KeySetSourceError& b) noexcept;

  private:
    struct State {
        Case errorCase;
        std::exception_ptr underlying;
    };

    KeySetSourceError(Case errorCase, std::string description, std::exception_ptr underlying = nullptr);

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
