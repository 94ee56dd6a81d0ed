#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

#include <cstdlib>
#include <set>

namespace Torvane::Crypto {
namespace {

// The tokens in use. A driver belongs to the whole process, so when it has to be started anew, all who use it must let
// go.
struct Users {
    std::mutex mutex;
    std::set<Pkcs11Token*> tokens;
};

// Stays to the end, since keys may be the last to go.
Users& users() {
    static auto& users = *new Users;
    return users;
}

struct Found {
    Pkcs11Driver driver;
    CK_SLOT_ID slot;
    CK_TOKEN_INFO info;
};

std::string labelOf(const CK_TOKEN_INFO& token) {
    const auto size = p11_kit_space_strlen(token.label, sizeof(token.label));
    return debugQuoted({reinterpret_cast<const char*>(token.label), size});
}

std::string listed(const std::vector<Found>& tokens) {
    std::string list;
    for (const auto& token : tokens) list += (list.empty() ? "" : ", ") + labelOf(token.info);
    return list.empty() ? "none" : list;
}

// p11-kit gives the text of its last failure, and nothing when it has none.
std::string whyNotLoaded() {
    const char* message = p11_kit_message();
    return message == nullptr ? "It is no PKCS #11 driver" : message;
}

Pkcs11Driver driverAt(const char* path) {
    const auto name = "The PKCS #11 driver " + debugQuoted(path);
    CK_FUNCTION_LIST* loaded = p11_kit_module_load(path, 0);
    if (loaded == nullptr) throw KeyStoreError::unavailable(name + " cannot be loaded: " + whyNotLoaded() + ".");
    try {
        return initialized(loaded);
    } catch (const Pkcs11Failure& failure) {
        throw KeyStoreError::unavailable(name + " cannot be started: " + failure.reasonText() + ".");
    }
}

// Those that are registered on the machine, and start.
std::vector<Pkcs11Driver> registeredDrivers(const Pkcs11URI& uri) {
    std::vector<Pkcs11Driver> drivers;
    CK_FUNCTION_LIST** registered = p11_kit_modules_load(nullptr, 0);
    if (registered == nullptr) {
        throw KeyStoreError::unavailable("The PKCS #11 drivers cannot be loaded: " + whyNotLoaded() + ".");
    }
    for (auto** loaded = registered; *loaded != nullptr; ++loaded) {
        const std::unique_ptr<char, Deleter<std::free>> name(p11_kit_module_get_name(*loaded));
        if (uri.moduleName() != nullptr && (!name || std::string_view(name.get()) != uri.moduleName())) {
            p11_kit_module_release(*loaded);
            continue;
        }
        try {
            drivers.push_back(initialized(*loaded));
        } catch (const Pkcs11Failure&) {
            // One that does not start has no token.
        }
    }
    std::free(registered);
    return drivers;
}

void addTokens(const Pkcs11URI& uri, const Pkcs11Driver& driver, std::vector<Found>& fitting,
               std::vector<Found>& others) {
    CK_INFO driverInfo{};
    CK_ULONG count = 0;
    if (driver->C_GetInfo(&driverInfo) != CKR_OK || driver->C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK) return;
    std::vector<CK_SLOT_ID> slots(count);
    if (driver->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) return;
    slots.resize(count);
    for (const auto slot : slots) {
        CK_SLOT_INFO slotInfo{};
        CK_TOKEN_INFO token{};
        if (driver->C_GetSlotInfo(slot, &slotInfo) != CKR_OK || driver->C_GetTokenInfo(slot, &token) != CKR_OK)
            continue;
        if ((token.flags & CKF_TOKEN_INITIALIZED) == 0) continue;
        const bool fits = uri.matches(driverInfo) && uri.matches(slot, slotInfo) && uri.matches(token);
        (fits ? fitting : others).push_back({driver, slot, token});
    }
}

Found tokenOf(const Pkcs11URI& uri) {
    std::vector<Found> fitting, others;
    const char* path = uri.modulePath();
    for (const auto& driver : path ? std::vector{driverAt(path)} : registeredDrivers(uri))
        addTokens(uri, driver, fitting, others);
    if (fitting.size() == 1) return std::move(fitting.front());
    throw KeyStoreError::unavailable("One token was looked for with " + debugQuoted(uri.path()) +
                                     "; these fit: " + listed(fitting) + "; these do not: " + listed(others) + ".");
}

}  // namespace

Pkcs11Token::Pkcs11Token(Pkcs11URI uri, SecretSource pin) : uri_(std::move(uri)), pin_(std::move(pin)) {
    connect();
    const std::lock_guard lock(users().mutex);
    users().tokens.insert(this);
}

Pkcs11Token::~Pkcs11Token() {
    const std::lock_guard lock(users().mutex);
    users().tokens.erase(this);
}

std::unique_ptr<Pkcs11Session> Pkcs11Token::lend(CK_FLAGS flags) {
    std::unique_lock lock(mutex_);
    for (bool isSecond = false;;) {
        // The old connection has to be over before there is a new one.
        changed_.wait(lock, [&] { return !isLost_ || lent_ == 0; });
        disconnectWhenUnused();
        if (!driver_) connect();
        std::unique_ptr<Pkcs11Session> session;
        if (flags == 0 && !idle_.empty()) {
            session = std::move(idle_.back());
            idle_.pop_back();
            ++lent_;
            return session;
        }
        try {
            session = std::make_unique<Pkcs11Session>(driver_, slot_, flags);
            ++lent_;
            return session;
        } catch (const Pkcs11Failure& failure) {
            if (failure.reason == CKR_SESSION_COUNT && !idle_.empty()) {
                idle_.clear();
            } else if (failure.reason == CKR_SESSION_COUNT && lent_ != 0) {
                changed_.wait(lock);  // for one of those that the token allows
            } else if (failure.isLoss() && !std::exchange(isSecond, true)) {
                const auto file = driverFile_;
                lock.unlock();
                lose(file);
                lock.lock();
            } else {
                throw asError(failure);
            }
        }
    }
}

void Pkcs11Token::takeBack(std::unique_ptr<Pkcs11Session> session, State state) noexcept {
    if (state == State::lost) lose(driverFile_);
    const std::lock_guard lock(mutex_);
    if (!isLost_) {
        try {
            // Another one in its place, and before it is closed: with the last session goes the login.
            if (state == State::spoilt) std::make_unique<Pkcs11Session>(driver_, slot_).swap(session);
            idle_.push_back(std::move(session));
        } catch (const std::exception&) {
            // Then there is one fewer.
        }
    }
    session.reset();
    --lent_;
    disconnectWhenUnused();
    changed_.notify_all();
}

void Pkcs11Token::connect() {
    auto found = tokenOf(uri_);
    name_ = "the token " + labelOf(found.info);
    serialNumber_.assign(std::begin(found.info.serialNumber), std::end(found.info.serialNumber));
    const std::unique_ptr<char, Deleter<std::free>> file(p11_kit_module_get_filename(found.driver.get()));
    driverFile_ = file ? file.get() : "";
    driver_ = std::move(found.driver);
    slot_ = found.slot;
    flags_ = found.info.flags;
    ++connection_;
}

void Pkcs11Token::disconnectWhenUnused() noexcept {
    if (!isLost_ || lent_ != 0) return;
    idle_.clear();
    driver_.reset();
    isLost_ = false;
}

void Pkcs11Token::lose(const std::string& driverFile) noexcept {
    const std::lock_guard lock(users().mutex);
    for (auto* token : users().tokens) {
        const std::lock_guard tokenLock(token->mutex_);
        if (token->driverFile_ != driverFile || !token->driver_) continue;
        token->isLost_ = true;
        token->disconnectWhenUnused();
    }
}

void Pkcs11Token::logIn(Pkcs11Session& session) {
    const auto isDone = [&] { return (flags_ & CKF_LOGIN_REQUIRED) == 0 || session.isLoggedIn(); };
    if (isDone()) return;
    const std::lock_guard lock(prompt_);
    if (!isDone()) logIn(session, CKU_USER);
}

void Pkcs11Token::logIn(Pkcs11Session& session, CK_USER_TYPE user) {
    std::optional<SecretBuffer> pin;
    // Else the token asks by itself, on a keypad of its own.
    if ((flags_ & CKF_PROTECTED_AUTHENTICATION_PATH) == 0) {
        if (pin_) pin = pin_("the PIN of " + name_);
        if (!pin) throw KeyStoreError::wrongSecret("A PIN is needed for " + name_ + ".");
    }
    const auto size = static_cast<CK_ULONG>(pin ? pin->size() : 0);
    if (pin) pin->push_back('\0');  // so that an empty PIN has an address: no address means the keypad
    const auto result = session.attempt<&CK_FUNCTION_LIST::C_Login>(user, pin ? pin->data() : nullptr, size);
    switch (result) {
        case CKR_OK:
        case CKR_USER_ALREADY_LOGGED_IN: return;
        case CKR_PIN_INCORRECT:
        case CKR_PIN_INVALID:
        case CKR_PIN_LEN_RANGE: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " is wrong.");
        case CKR_FUNCTION_CANCELED: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " was not given.");
        case CKR_PIN_LOCKED: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " is locked.");
        case CKR_PIN_EXPIRED: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " has expired.");
        case CKR_USER_PIN_NOT_INITIALIZED: throw KeyStoreError::wrongSecret("There is no PIN yet for " + name_ + ".");
        default: throw Pkcs11Failure(result, "log in");
    }
}

void Pkcs11Token::authenticate(Pkcs11Session& session) {
    const std::lock_guard lock(prompt_);
    logIn(session, CKU_CONTEXT_SPECIFIC);
}

KeyStoreError Pkcs11Token::asError(const Pkcs11Failure& failure) const {
    auto text = "Failed to " + std::string(failure.operation) + " with " + name_ + ": " + failure.reasonText() + ".";
    if (failure.isLoss()) return KeyStoreError::unavailable(std::move(text));
    if (failure.isLackOfMechanism()) return KeyStoreError::notSupported(std::move(text));
    return KeyStoreError::operationFailed(std::move(text));
}

}  // namespace Torvane::Crypto
