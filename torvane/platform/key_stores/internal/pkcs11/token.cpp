#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "torvane/platform/key_stores/internal/pkcs11/process_state.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/token_search.hpp"
#include "torvane/platform/primitives/digest.hpp"
#include "torvane/platform/primitives/openssl.hpp"
#include "torvane/platform/primitives/secret_random.hpp"
#include "torvane/platform/system/process.hpp"

namespace Torvane::PKCS11 {
namespace {

// All tokens of this process. A driver belongs to the whole process: before it is restarted, all tokens behind it must
// disconnect.
struct Registry {
    std::mutex mutex;
    std::set<Token*> tokens;
};

// Never destroyed, since keys with static storage duration may outlive any static variable.
Registry& registry() {
    static auto& registry = *new Registry;
    return registry;
}

}  // namespace

Token::Token(URI uri, SecretSource askForPin) : uri_(std::move(uri)), askForPin_(std::move(askForPin)), pinSalt_(32) {
    Crypto::fillWithRandomSecret(pinSalt_);
    connect();
    const std::lock_guard lock(registry().mutex);
    registry().tokens.insert(this);
}

Token::~Token() {
    // Another thread may hold the lock and never run again.
    if (isExiting()) return;
    const std::lock_guard lock(registry().mutex);
    registry().tokens.erase(this);
}

std::unique_ptr<Session> Token::acquireSession(CK_FLAGS flags) {
    if (isExiting()) throw KeyStoreError::unavailable("A PKCS #11 token cannot be used while the process exits.");
    std::unique_lock lock(mutex_);
    leaveConnectionOfParent();
    for (bool isRetry = false;;) {
        // The lost connection has to end before there is a new one.
        changed_.wait(lock, [&] { return !isLost_ || leaseCount_ == 0; });
        disconnectIfUnused();
        if (!driver_) connect();
        std::unique_ptr<Session> session;
        if (flags == 0 && !idle_.empty()) {
            session = std::move(idle_.back());
            idle_.pop_back();
            ++leaseCount_;
            return session;
        }
        try {
            session = std::make_unique<Session>(driver_, slot_, flags);
            if (!idle_.empty()) idle_.pop_back();  // this session takes its place
            ++leaseCount_;
            return session;
        } catch (const CallFailure& failure) {
            if (failure.reason == CKR_SESSION_COUNT && !idle_.empty()) {
                idle_.clear();
            } else if (failure.reason == CKR_SESSION_COUNT && leaseCount_ != 0) {
                changed_.wait(lock);  // until another thread returns a session
            } else if (failure.isTokenLost() && !std::exchange(isRetry, true)) {
                const auto file = driverFile_;
                lock.unlock();
                markLost(file);
                lock.lock();
            } else {
                throw toKeyStoreError(failure);
            }
        }
    }
}

void Token::releaseSession(std::unique_ptr<Session> session, Condition condition) noexcept {
    // Without the lock: driverFile_ does not change before this lease ends.
    if (condition == Condition::lost) markLost(driverFile_);
    const std::lock_guard lock(mutex_);
    if (!isLost_ && !isExiting()) {
        try {
            // The replacement is opened before the old session is closed: the login ends with the last session.
            if (condition == Condition::unusable) std::make_unique<Session>(driver_, slot_).swap(session);
            idle_.push_back(std::move(session));
        } catch (const std::exception&) {
            // The pool shrinks by one.
        }
    }
    session.reset();
    --leaseCount_;
    disconnectIfUnused();
    changed_.notify_all();
}

void Token::connect() {
    auto found = findToken(uri_);
    description_ = "the PKCS #11 token " + quoteLabel(found.info);
    serialNumber_.assign(std::begin(found.info.serialNumber), std::end(found.info.serialNumber));
    const std::unique_ptr<char, Crypto::Deleter<std::free>> file(p11_kit_module_get_filename(found.driver.get()));
    driverFile_ = file ? file.get() : "";
    driver_ = std::move(found.driver);
    slot_ = found.slot;
    flags_ = found.info.flags;
    processId_ = System::readProcessId();
    ++connection_;
}

void Token::leaveConnectionOfParent() noexcept {
    if (processId_ == System::readProcessId()) return;
    idle_.clear();
    driver_.reset();
    leaseCount_ = 0;
    isLost_ = false;
}

void Token::disconnectIfUnused() noexcept {
    if (!isLost_ || leaseCount_ != 0) return;
    idle_.clear();
    driver_.reset();
    isLost_ = false;
}

void Token::markLost(const std::string& driverFile) noexcept {
    if (isExiting()) return;
    const std::lock_guard lock(registry().mutex);
    for (auto* token : registry().tokens) {
        const std::lock_guard tokenLock(token->mutex_);
        if (token->driverFile_ != driverFile || !token->driver_) continue;
        token->isLost_ = true;
        token->disconnectIfUnused();
    }
}

void Token::logIn(Session& session) {
    const auto isDone = [&] { return (flags_ & CKF_LOGIN_REQUIRED) == 0 || session.isLoggedIn(); };
    if (isDone()) return;
    const std::lock_guard lock(promptMutex_);
    if (!isDone()) logIn(session, CKU_USER);
}

void Token::requireTries() const {
    CK_TOKEN_INFO info{};
    const auto result = driver_->C_GetTokenInfo(slot_, &info);
    if (result != CKR_OK) throw CallFailure(result, "read the state of the PIN");
    if ((info.flags & CKF_USER_PIN_FINAL_TRY) == 0 || mayUseLastTry_) return;
    throw KeyStoreError::wrongSecret("One wrong PIN would lock " + description_ +
                                     ": only the last try is left, which is not used without permission.");
}

SecretBuffer Token::digestPin(ByteView pin) const {
    const Crypto::ErrorScope scope;
    Crypto::Hmac digest(HashFunction::SHA256, pinSalt_);
    digest.update(asBytes(serialNumber_));  // of fixed size
    digest.update(pin);
    return digest.finish();
}

void Token::logIn(Session& session, CK_USER_TYPE user) {
    requireTries();
    std::optional<SecretBuffer> pin;
    // A token with a protected authentication path asks for the PIN itself, for example on its keypad.
    if ((flags_ & CKF_PROTECTED_AUTHENTICATION_PATH) == 0) {
        if (askForPin_) pin = askForPin_("the PIN of " + description_);
        if (!pin) throw KeyStoreError::wrongSecret("A PIN is needed for " + description_ + ".");
    }
    const auto digest = pin ? digestPin(*pin) : SecretBuffer();
    auto& rejectedPins = rejectedPins_[user];
    if (std::ranges::find(rejectedPins, digest) != rejectedPins.end()) {
        throw KeyStoreError::wrongSecret("The PIN of " + description_ +
                                         " is the one that was rejected before. It was not sent again.");
    }
    requireTries();  // some may have been used up during the prompt
    mayUseLastTry_ = false;
    const auto size = toULong(pin ? pin->size() : 0);
    if (pin) pin->push_back('\0');  // gives an empty PIN an address: a null pointer would mean the keypad
    const auto result = session.attempt<&CK_FUNCTION_LIST::C_Login>(user, pin ? pin->data() : nullptr, size);
    switch (result) {
        case CKR_OK: rejectedPins.clear(); return;
        case CKR_USER_ALREADY_LOGGED_IN: return;
        case CKR_PIN_INCORRECT:
        case CKR_PIN_INVALID:
        case CKR_PIN_LEN_RANGE:
            if (pin) rejectedPins.push_back(digest);
            throw KeyStoreError::wrongSecret("The PIN of " + description_ + " is wrong.");
        case CKR_FUNCTION_CANCELED: throw KeyStoreError::wrongSecret("No PIN was entered for " + description_ + ".");
        case CKR_PIN_LOCKED: throw KeyStoreError::wrongSecret("The PIN of " + description_ + " is locked.");
        case CKR_PIN_EXPIRED: throw KeyStoreError::wrongSecret("The PIN of " + description_ + " has expired.");
        case CKR_USER_PIN_NOT_INITIALIZED:
            throw KeyStoreError::wrongSecret("No PIN has been set for " + description_ + " yet.");
        default: throw CallFailure(result, "log in");
    }
}

void Token::logInForOperation(Session& session) {
    const std::lock_guard lock(promptMutex_);
    logIn(session, CKU_CONTEXT_SPECIFIC);
}

KeyStoreError Token::toKeyStoreError(const CallFailure& failure) const {
    auto text =
        "Failed to " + std::string(failure.operation) + " with " + description_ + ": " + failure.reasonText() + ".";
    if (failure.isTokenLost()) return KeyStoreError::unavailable(std::move(text));
    if (failure.isUnsupportedMechanism()) return KeyStoreError::notSupported(std::move(text));
    return KeyStoreError::operationFailed(std::move(text));
}

}  // namespace Torvane::PKCS11
