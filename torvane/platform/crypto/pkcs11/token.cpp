#include "torvane/platform/crypto/pkcs11/token.hpp"

#include <cstdlib>

namespace Platform::Crypto {
namespace {

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
}

Pkcs11Token::~Pkcs11Token() {
    disconnect();
}

std::unique_ptr<Pkcs11Session> Pkcs11Token::lend(Login login) {
    std::unique_lock lock(mutex_);
    std::unique_ptr<Pkcs11Session> session;
    for (bool isSecond = false; !session;) {
        // A driver looks for its tokens when it starts, so the old connection has to be over before there is a new one.
        changed_.wait(lock, [&] { return !isLost_ || lent_ == 0; });
        if (isLost_) disconnect();
        if (!driver_) connect();
        try {
            if (idle_.empty()) idle_.push_back(std::make_unique<Pkcs11Session>(driver_, slot_));
            if (login == Login::needed) logIn(*idle_.back(), CKU_USER);
            session = std::move(idle_.back());
            idle_.pop_back();
        } catch (const Pkcs11Failure& failure) {
            if (failure.reason == CKR_SESSION_COUNT && lent_ != 0) {
                changed_.wait(lock);  // for one of those that the token allows
                continue;
            }
            isLost_ = failure.isLoss();
            if (!isLost_ || std::exchange(isSecond, true)) throw asError(failure);
        }
    }
    ++lent_;
    return session;
}

void Pkcs11Token::takeBack(std::unique_ptr<Pkcs11Session> session, State state) noexcept {
    const std::lock_guard lock(mutex_);
    --lent_;
    isLost_ = isLost_ || state == State::lost;
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
    changed_.notify_all();
}

void Pkcs11Token::connect() {
    auto found = tokenOf(uri_);
    name_ = "the token " + labelOf(found.info);
    driver_ = std::move(found.driver);
    slot_ = found.slot;
    flags_ = found.info.flags;
    ++connection_;
}

void Pkcs11Token::disconnect() noexcept {
    idle_.clear();
    driver_.reset();
    isLost_ = false;
}

void Pkcs11Token::logIn(Pkcs11Session& session, CK_USER_TYPE user) {
    const bool isForOneOperation = user == CKU_CONTEXT_SPECIFIC;
    if (!isForOneOperation && ((flags_ & CKF_LOGIN_REQUIRED) == 0 || session.isLoggedIn())) return;
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
        case CKR_PIN_LOCKED: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " is locked.");
        case CKR_PIN_EXPIRED: throw KeyStoreError::wrongSecret("The PIN of " + name_ + " has expired.");
        case CKR_USER_PIN_NOT_INITIALIZED: throw KeyStoreError::wrongSecret("There is no PIN yet for " + name_ + ".");
        default: throw Pkcs11Failure(result, "log in");
    }
}

void Pkcs11Token::authenticate(Pkcs11Session& session) {
    const std::lock_guard lock(mutex_);
    logIn(session, CKU_CONTEXT_SPECIFIC);
}

KeyStoreError Pkcs11Token::asError(const Pkcs11Failure& failure) const {
    auto text = "Failed to " + std::string(failure.operation) + " with " + name_ + ": " + failure.reasonText() + ".";
    if (failure.isLoss()) return KeyStoreError::unavailable(std::move(text));
    if (failure.isLackOfMechanism()) return KeyStoreError::notSupported(std::move(text));
    return KeyStoreError::operationFailed(std::move(text));
}

}  // namespace Platform::Crypto
