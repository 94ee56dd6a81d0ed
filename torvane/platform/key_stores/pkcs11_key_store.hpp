// The PKCS #11 key store: keys in a smart card, an HSM or a software token, used through the device's own driver.
//
//     const Torvane::Pkcs11KeyStore store("pkcs11:token=app?module-path=/usr/lib/opensc-pkcs11.so", askForPin);
//     auto signing = store.generateRSA(3072, {"sign-2026", {}});
//     auto decrypting = store.key({"decrypt-2026", {}}, Torvane::KeyClass::privateKey);
//
// The private values stay in the PKCS #11 token. With a software token, whose driver keeps the keys itself, that means
// in this process.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One PKCS #11 token. Operations that run at the same time use different sessions, which stay open for later
/// operations. Copies share the connection, and so do the keys, which may outlive the store. All of them may be used
/// from several threads at once.
///
/// The PIN is asked for when a private key is needed and this process is not logged in to the PKCS #11 token, which has
/// one login per process. A PIN from the callback or a pin-source is not kept, a pin-value of the URI is. The callback
/// `askForPin` may be called from any thread that uses a key, and must not use keys of the same PKCS #11 token.
///
/// PKCS #11 tokens lock after a few wrong PINs. So the store never sends a PIN again that its PKCS #11 token has
/// rejected, until a login succeeds: it keeps a salted digest of such a PIN. It does not spend the last try either: see
/// allowLastTry(). Another store for the same PKCS #11 token knows nothing of these PINs.
///
/// While the PKCS #11 token is gone, operations throw KeyStoreError unavailable. Once it is back, the next operation
/// connects again, asks for the PIN again, and goes on with the key if it is still the same key. All stores of this
/// process that use the same driver disconnect for that, since the driver has to be restarted. A driver that talks over
/// a socket may raise SIGPIPE when the other side is gone: ignore that signal, as other network programs do.
///
/// Stores and keys may have static storage duration. Once the exit handlers of the process have begun to run,
/// operations throw KeyStoreError unavailable. A child process that fork() made may use the stores and keys of its
/// parent, over a connection of its own, unless another thread was using them at that moment.
///
/// The store does not check that a private key belongs to the public key or certificate beside it in the PKCS #11
/// token. If it does not, signatures of the key do not verify.
class TORVANE_EXPORT Pkcs11KeyStore {
  public:
    /// Connects to the one PKCS #11 token that a "pkcs11:" URI names; openKey() lists what the URI may contain.
    /// @throws KeyStoreError invalidURI; unavailable when there is no such driver or PKCS #11 token, or more than one
    ///         matches; notSupported when the library is built without PKCS #11.
    explicit Pkcs11KeyStore(std::string_view uri, SecretSource askForPin = {});

    /// @{
    /// A move is a copy, so a moved-from store still works.
    Pkcs11KeyStore(const Pkcs11KeyStore&) = default;
    Pkcs11KeyStore& operator=(const Pkcs11KeyStore&) = default;
    /// @}

    /// The label and id in "object" and "id" of the URI; empty where the URI does not have them.
    [[nodiscard]] const KeyName& keyName() const noexcept;

    /// The key that the URI names.
    /// @throws as key(name, keyClass); KeyStoreError invalidURI when the "type" of the URI rules out that key. A public
    ///         key may also come from "type=private".
    [[nodiscard]] SecKey key(KeyClass keyClass) const;

    /// The key with this label and this id; an empty one is not compared. Its public components come from the public
    /// key, the certificate or the private key in the PKCS #11 token.
    /// @throws KeyStoreError keyNotFound when no key has the name, or more than one; wrongSecret when the PIN is
    ///         missing, wrong, rejected before or locked, or only its last try is left; SecurityError for a key that is
    ///         neither RSA nor EC on P-256, P-384 or P-521, or EC with explicit parameters or a point in hybrid form.
    [[nodiscard]] SecKey key(const KeyName& name, KeyClass keyClass) const;

    /// Generates a key pair in the PKCS #11 token, for signing and decrypting. The private key cannot be read or
    /// exported (CKA_SENSITIVE is true, CKA_EXTRACTABLE false). If the name has no id, a random one of 16 bytes is
    /// used.
    /// @param modulusBits size of the modulus in bits, 2048 to 16384.
    /// @param name the label and the id.
    /// @throws SecurityError for another size; KeyStoreError operationFailed when a key or certificate with that label
    ///         or id exists, and as key(). Two calls on the same store never create the same name; other stores and
    ///         processes may.
    [[nodiscard]] SecKey generateRSA(std::size_t modulusBits, const KeyName& name) const;

    /// Generates a key pair as generateRSA() does, for signing and key agreement.
    [[nodiscard]] SecKey generateEC(EllipticCurve curve, const KeyName& name) const;

    /// Lets the next login of this store and its keys spend the last try of the PIN (CKF_USER_PIN_FINAL_TRY). If that
    /// PIN is wrong, the PKCS #11 token locks, so ask the user before. Without this call, an operation that has to log
    /// in throws wrongSecret when the PKCS #11 token reports that one try is left. The permission ends with the next
    /// PIN that is sent, right or wrong. May be called from `askForPin`.
    void allowLastTry() const noexcept;

  private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Torvane
