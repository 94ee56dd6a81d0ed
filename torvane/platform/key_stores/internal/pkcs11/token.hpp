// A PKCS #11 token in use: connection, login and a pool of sessions, for any number of threads.
//
// A token that is taken away and put back is connected to again. PKCS #11 drivers see such changes only when they are
// started, so all tokens behind the same driver of this process disconnect first.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"

namespace Torvane::PKCS11 {

/// The one token that a URI names. May be used from several threads at once; each use has a session of its own, taken
/// from a pool and returned to it.
class Token {
  public:
    enum class Login { needed, notNeeded };

    /// Connects.
    /// @throws KeyStoreError unavailable when no driver has such a token, or more than one matches.
    Token(URI uri, SecretSource askForPin);
    ~Token();

    /// Runs action(session, connection) and returns its result. `connection` is a number that changes with each new
    /// connection to the token: object handles are valid within one connection. When the token turns out to be lost,
    /// the action runs once more over a new connection.
    /// @throws KeyStoreError for a CallFailure of the action, for a token that is not there and for a login that fails;
    ///         anything else that the action throws.
    template <class Action>
    auto runInSession(Login login, Action action, CK_FLAGS flags = 0)
        -> decltype(action(std::declval<Session&>(), 0U)) {
        for (bool isRetry = false;; isRetry = true) {
            Lease lease(*this, flags);
            try {
                if (login == Login::needed) logIn(lease.session());
                return action(lease.session(), lease.connection());
            } catch (const CallFailure& failure) {
                lease.markUnusable(failure.isTokenLost());
                if (isRetry || !failure.isTokenLost()) throw toKeyStoreError(failure);
            } catch (...) {
                lease.markUnusable(lease.session().needsReconnect());
                throw;
            }
        }
    }

    /// The same, logged in and in a session that may create objects.
    template <class Action>
    auto runInWritableSession(Action action) {
        return runInSession(Login::needed, std::move(action), CKF_RW_SESSION);
    }

    /// Logs in for the operation that was just begun in the session, with a key that asks for the PIN each time.
    void logInForOperation(Session& session);

    /// Lets the next PIN that is sent spend the last try.
    void allowLastTry() noexcept { mayUseLastTry_ = true; }

    // Only while an action runs:

    /// For errors and prompts, for example `the PKCS #11 token "app"`.
    [[nodiscard]] const std::string& description() const noexcept { return description_; }
    /// Tells apart tokens of the same label.
    [[nodiscard]] const std::string& serialNumber() const noexcept { return serialNumber_; }

  private:
    // The condition in which a session is returned.
    enum class Condition {
        reusable,
        unusable,  // an operation may have been left unfinished
        lost,      // the token is gone
    };

    // Takes a session from the pool, and returns it at the end of the scope.
    class Lease {
      public:
        Lease(Token& token, CK_FLAGS flags)
            : token_(token), session_(token.acquireSession(flags)), connection_(token.connection_) {}
        ~Lease() { token_.releaseSession(std::move(session_), condition_); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        Session& session() noexcept { return *session_; }
        [[nodiscard]] unsigned connection() const noexcept { return connection_; }
        void markUnusable(bool isLost) noexcept { condition_ = isLost ? Condition::lost : Condition::unusable; }

      private:
        Token& token_;
        std::unique_ptr<Session> session_;
        unsigned connection_;
        Condition condition_ = Condition::reusable;
    };

    // Waits while the token allows no more sessions, and connects when there is no connection. Throws KeyStoreError
    // unavailable while the process exits.
    std::unique_ptr<Session> acquireSession(CK_FLAGS flags);
    void releaseSession(std::unique_ptr<Session> session, Condition condition) noexcept;
    void connect();
    // Leaves the connection of the parent process to that process: a child has to start the driver itself.
    void leaveConnectionOfParent() noexcept;
    // Ends a lost connection as soon as no session of it is leased.
    void disconnectIfUnused() noexcept;
    // Marks all tokens behind the driver as lost, so that it is stopped once none of them uses it.
    static void markLost(const std::string& driverFile) noexcept;
    void logIn(Session& session);
    void logIn(Session& session, CK_USER_TYPE user);
    // Asks the driver each time: other processes use up tries too.
    void requireTries() const;
    // Of a PIN for the token that is in the slot.
    [[nodiscard]] SecretBuffer digestPin(ByteView pin) const;
    [[nodiscard]] KeyStoreError toKeyStoreError(const CallFailure& failure) const;

    const URI uri_;
    const SecretSource askForPin_;
    // Held while a PIN is asked for and sent, so that there is one prompt at a time.
    std::mutex promptMutex_;
    // Digests of the PINs that were rejected since the last login as this user; guarded by promptMutex_. A token may
    // have another PIN for single operations.
    std::map<CK_USER_TYPE, std::vector<SecretBuffer>> rejectedPins_;
    SecretBuffer pinSalt_;
    std::atomic<bool> mayUseLastTry_ = false;

    // Guards all that follows, and is locked after the registry's mutex where both are held. From description_ to
    // connection_ nothing changes while a session is leased, so leases read those without locking it.
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string description_;
    std::string serialNumber_;
    std::string driverFile_;
    Driver driver_;
    CK_SLOT_ID slot_{};
    CK_FLAGS flags_{};
    unsigned connection_ = 0;
    int processId_ = 0;
    bool isLost_ = false;
    std::size_t leaseCount_ = 0;
    std::vector<std::unique_ptr<Session>> idle_;
};

}  // namespace Torvane::PKCS11
