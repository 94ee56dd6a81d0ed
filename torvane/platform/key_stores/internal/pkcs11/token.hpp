// A PKCS #11 token: found by its URI, connected to, logged in to, lost and found again.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"

namespace Torvane::Crypto {

/// The one token that a URI names, for any number of threads. Each use of it has a session of its own, from those that
/// have been opened before where one is free.
class Pkcs11Token {
  public:
    enum class Login { needed, notNeeded };

    /// @throws KeyStoreError unavailable when no driver has such a token, or more than one.
    Pkcs11Token(Pkcs11URI uri, SecretSource pin);
    ~Pkcs11Token();

    /// The result of use(session, connection), where the connection is a number that changes when the token is
    /// connected to anew: object handles are good within one connection. When the token turns out to be lost, the use
    /// is tried once more over a new connection.
    /// @throws KeyStoreError; what the use throws, a Pkcs11Failure as a KeyStoreError.
    template <class Use>
    auto with(Login login, Use use, CK_FLAGS flags = 0) -> decltype(use(std::declval<Pkcs11Session&>(), 0U)) {
        for (bool isSecond = false;; isSecond = true) {
            Lease lease(*this, flags);
            try {
                if (login == Login::needed) logIn(lease.session());
                return use(lease.session(), lease.connection());
            } catch (const Pkcs11Failure& failure) {
                lease.spoil(failure.isLoss());
                if (isSecond || !failure.isLoss()) throw asError(failure);
            } catch (...) {
                lease.spoil(lease.session().isDistrusted());
                throw;
            }
        }
    }

    /// As above, with a session that may make objects.
    template <class Use>
    auto withWritable(Use use) {
        return with(Login::needed, std::move(use), CKF_RW_SESSION);
    }

    /// Logs in for the one operation that has just been begun with a key that asks for the PIN each time.
    void authenticate(Pkcs11Session& session);

    // While it is used:

    /// In words, for example `the token "app"`.
    const std::string& name() const noexcept { return name_; }
    /// What tells it from others that are called so.
    const std::string& serialNumber() const noexcept { return serialNumber_; }

  private:
    // Of a session that comes back: it may be in the middle of an operation, or have no token any more.
    enum class State { good, spoilt, lost };

    class Lease {
      public:
        Lease(Pkcs11Token& token, CK_FLAGS flags)
            : token_(token), session_(token.lend(flags)), connection_(token.connection_) {}
        ~Lease() { token_.takeBack(std::move(session_), state_); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        Pkcs11Session& session() noexcept { return *session_; }
        unsigned connection() const noexcept { return connection_; }
        void spoil(bool isLost) noexcept { state_ = isLost ? State::lost : State::spoilt; }

      private:
        Pkcs11Token& token_;
        std::unique_ptr<Pkcs11Session> session_;
        unsigned connection_;
        State state_ = State::good;
    };

    std::unique_ptr<Pkcs11Session> lend(CK_FLAGS flags);
    void takeBack(std::unique_ptr<Pkcs11Session> session, State state) noexcept;
    void connect();
    void disconnectWhenUnused() noexcept;
    /// Tells all tokens of the driver: it looks for what is there only when it is started, and it is so once nobody
    /// uses it.
    static void lose(const std::string& driverFile) noexcept;
    void logIn(Pkcs11Session& session);
    void logIn(Pkcs11Session& session, CK_USER_TYPE user);
    KeyStoreError asError(const Pkcs11Failure& failure) const;

    const Pkcs11URI uri_;
    const SecretSource pin_;
    // One PIN is asked for at a time.
    std::mutex prompt_;

    // What follows is guarded by the mutex. While sessions are lent out nobody changes what describes the connection.
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string name_;
    std::string serialNumber_;
    std::string driverFile_;
    Pkcs11Driver driver_;
    CK_SLOT_ID slot_{};
    CK_FLAGS flags_{};
    unsigned connection_ = 0;
    bool isLost_ = false;
    std::size_t lent_ = 0;
    std::vector<std::unique_ptr<Pkcs11Session>> idle_;
};

}  // namespace Torvane::Crypto
