// A PKCS #11 driver, and a session with a token behind it: calls, their failures, and the search for objects.
#pragma once

#include <deque>
#include <exception>
#include <initializer_list>
#include <memory>
#include <optional>
#include <p11-kit/p11-kit.h>
#include <span>
#include <string>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane::Crypto {

/// What a PKCS #11 call has returned instead of CKR_OK. Becomes a KeyStoreError where the token's name is known.
struct Pkcs11Failure : std::exception {
    Pkcs11Failure(CK_RV why, const char* what) noexcept : reason(why), operation(what) {}

    /// Whether the token, or the session with it, is gone.
    bool isLoss() const noexcept;
    /// Whether the token does not know the mechanism, or not with these parameters.
    bool isLackOfMechanism() const noexcept;
    const char* what() const noexcept override { return operation; }
    std::string reasonText() const { return p11_kit_strerror(reason); }

    CK_RV reason;
    /// In the infinitive, for example "sign".
    const char* operation;
};

/// A driver that is loaded and initialised; finalised when the last handle goes. Other users of it in this process
/// are not disturbed.
using Pkcs11Driver = std::shared_ptr<CK_FUNCTION_LIST>;

/// Takes over a driver that p11-kit has loaded.
/// @throws Pkcs11Failure
Pkcs11Driver initialized(CK_FUNCTION_LIST* loaded);

/// Attributes for a search or a new object. Bytes are the caller's and outlive this.
class Pkcs11Template {
  public:
    explicit Pkcs11Template(CK_OBJECT_CLASS objectClass) { add(CKA_CLASS, objectClass); }
    Pkcs11Template(CK_OBJECT_CLASS objectClass, const KeyName& name);
    Pkcs11Template(CK_OBJECT_CLASS objectClass, KeyName&& name) = delete;
    Pkcs11Template(const Pkcs11Template&) = delete;
    Pkcs11Template& operator=(const Pkcs11Template&) = delete;

    Pkcs11Template& add(CK_ATTRIBUTE_TYPE type, ByteView value);
    Pkcs11Template& add(CK_ATTRIBUTE_TYPE type, CK_ULONG value);
    Pkcs11Template& setTrue(std::initializer_list<CK_ATTRIBUTE_TYPE> types);
    Pkcs11Template& setFalse(std::initializer_list<CK_ATTRIBUTE_TYPE> types);

    CK_ATTRIBUTE* data() noexcept { return attributes_.data(); }
    CK_ULONG size() const noexcept { return static_cast<CK_ULONG>(attributes_.size()); }

  private:
    std::vector<CK_ATTRIBUTE> attributes_;
    // Stay where they are when there are more.
    std::deque<CK_ULONG> numbers_;
};

/// An open session, closed at the end; for one thread at a time.
class Pkcs11Session {
  public:
    /// @throws Pkcs11Failure
    Pkcs11Session(Pkcs11Driver driver, CK_SLOT_ID slot, CK_FLAGS flags = 0);
    ~Pkcs11Session();
    Pkcs11Session(const Pkcs11Session&) = delete;
    Pkcs11Session& operator=(const Pkcs11Session&) = delete;

    /// Calls a function of the driver that takes the session first, for example
    /// call<&CK_FUNCTION_LIST::C_SignInit>("sign", &mechanism, key).
    /// @throws Pkcs11Failure
    template <auto Function, class... Arguments>
    void call(const char* operation, Arguments... arguments) {
        const CK_RV result = attempt<Function>(arguments...);
        if (result != CKR_OK) throw Pkcs11Failure(result, operation);
    }

    template <auto Function, class... Arguments>
    CK_RV attempt(Arguments... arguments) {
        return ((*driver_).*Function)(handle_, arguments...);
    }

    /// Says that the objects of this connection are not to be trusted any more, although the session stands.
    void distrust() noexcept { isDistrusted_ = true; }
    bool isDistrusted() const noexcept { return isDistrusted_; }

    bool isLoggedIn();
    /// Whether the driver still knows the session.
    bool stands();

    /// All objects that fit.
    std::vector<CK_OBJECT_HANDLE> find(Pkcs11Template& attributes);

    /// Nothing where the object has no such attribute, or does not show it.
    std::optional<SecretBuffer> attribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    ByteBuffer attributeOrEmpty(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);
    bool flag(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type);

  private:
    Pkcs11Driver driver_;
    CK_SESSION_HANDLE handle_{};
    bool isDistrusted_ = false;
};

}  // namespace Torvane::Crypto
