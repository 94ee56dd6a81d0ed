// A session with a PKCS #11 token: calls to its driver, their failures, and the search for objects.
#pragma once

#include <cstddef>
#include <deque>
#include <exception>
#include <initializer_list>
#include <memory>
#include <optional>
#include <p11-kit/p11-kit.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

/// The PKCS #11 side of Pkcs11KeyStore. "Token" means a PKCS #11 token everywhere in it.
namespace Torvane::PKCS11 {

/// A PKCS #11 call that returned something other than CKR_OK, or a result that no driver may return. Token turns it
/// into a KeyStoreError that names the token.
struct CallFailure : std::exception {
    CallFailure(CK_RV why, const char* what) noexcept : reason(why), operation(what) {}
    /// For an impossible result; `mistake` says what the driver did, without a full stop, and is not copied.
    CallFailure(const char* mistake, const char* what) noexcept
        : reason(CKR_GENERAL_ERROR), operation(what), driverMistake(mistake) {}

    /// Whether the token, or the session with it, is gone.
    [[nodiscard]] bool isTokenLost() const noexcept;
    /// Whether the token does not support the mechanism, or not with these parameters.
    [[nodiscard]] bool isUnsupportedMechanism() const noexcept;
    [[nodiscard]] std::string reasonText() const {
        return driverMistake != nullptr ? driverMistake : p11_kit_strerror(reason);
    }

    CK_RV reason;
    /// In the infinitive, for example "sign".
    const char* operation;
    /// Null where the driver reported the failure itself.
    const char* driverMistake = nullptr;
};

/// A size as PKCS #11 counts, in 32 bits on some systems.
/// @throws std::length_error when it does not fit.
inline CK_ULONG toULong(std::size_t size) {
    if (!std::in_range<CK_ULONG>(size)) throw std::length_error("More than PKCS #11 can count.");
    return static_cast<CK_ULONG>(size);
}

/// A driver that is loaded and started. It is stopped when the last copy of the pointer goes, unless other code of this
/// process uses it through p11-kit, or the process exits.
using Driver = std::shared_ptr<CK_FUNCTION_LIST>;

/// Attributes of the objects to search for, or of a new object. Byte values are not copied: they have to outlive the
/// template.
class Template {
  public:
    explicit Template(CK_OBJECT_CLASS objectClass) { add(CKA_CLASS, objectClass); }
    /// With the label and the id of the name, unless they are empty.
    Template(CK_OBJECT_CLASS objectClass, const KeyName& name);
    Template(CK_OBJECT_CLASS objectClass, KeyName&& name) = delete;
    Template(const Template&) = delete;
    Template& operator=(const Template&) = delete;

    Template& add(CK_ATTRIBUTE_TYPE type, ByteView value);
    Template& add(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    Template& setTrue(std::initializer_list<CK_ATTRIBUTE_TYPE> types);
    Template& setFalse(std::initializer_list<CK_ATTRIBUTE_TYPE> types);

    CK_ATTRIBUTE* data() noexcept { return attributes_.data(); }
    [[nodiscard]] CK_ULONG size() const { return toULong(attributes_.size()); }

  private:
    std::vector<CK_ATTRIBUTE> attributes_;
    // A deque, since the attributes point to its elements.
    std::deque<CK_ULONG> numbers_;
};

/// An open session, closed by the destructor unless the process exits or is a child of the one that opened the session.
/// For one thread at a time.
class Session {
  public:
    /// @throws CallFailure
    Session(Driver driver, CK_SLOT_ID slot, CK_FLAGS flags = 0);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Calls a driver function whose first argument is the session, for example
    /// call<&CK_FUNCTION_LIST::C_SignInit>("sign", &mechanism, key).
    /// @throws CallFailure
    template <auto Function, class... Arguments>
    void call(const char* operation, Arguments... arguments) {
        const CK_RV result = attempt<Function>(arguments...);
        if (result != CKR_OK) throw CallFailure(result, operation);
    }

    /// As call(), but returns the result.
    template <auto Function, class... Arguments>
    CK_RV attempt(Arguments... arguments) {
        return ((*driver_).*Function)(handle_, arguments...);
    }

    /// Asks for a new connection although this session works: another token is in the slot.
    void requestReconnect() noexcept { needsReconnect_ = true; }
    [[nodiscard]] bool needsReconnect() const noexcept { return needsReconnect_; }

    bool isLoggedIn();
    /// Whether the driver still knows the session.
    bool isOpen();

    /// All objects that match the template, at most 10,000.
    /// @throws CallFailure, also when there are more: a broken driver may never end the search.
    std::vector<CK_OBJECT_HANDLE> find(Template& attributes);

    /// The value of an attribute, at most 1 MiB; nothing where the object does not have it or does not reveal it.
    /// @throws CallFailure, also for a longer value.
    std::optional<SecretBuffer> readAttribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    ByteBuffer readAttributeOrEmpty(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    bool readFlag(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);

  private:
    Driver driver_;
    CK_SESSION_HANDLE handle_{};
    int processId_;
    bool needsReconnect_ = false;
};

}  // namespace Torvane::PKCS11
