// The PKCS #11 key store: keys in a smart card, an HSM or a software token, behind the token's own driver.
//
//     const Torvane::Pkcs11KeyStore store("pkcs11:token=app?module-path=/usr/lib/opensc-pkcs11.so", askForPin);
//     auto signing = store.generateRSA(3072, {"sign-2026", {}});
//     auto decrypting = store.key({"decrypt-2026", {}}, Torvane::KeyHalf::privateHalf);
//
// The private numbers stay in the token. Where a driver is a token itself, as software tokens are, that is this
// process.
#pragma once

#include <memory>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// One token. Sessions are opened once and lent to one operation after the other, as many as there are operations at a
/// time. Copies share all that, and so do the keys, which may outlive the store; all may be used from several threads
/// at once.
///
/// The PIN is asked for when a private key is needed and nobody in this process is logged in to the token, and not
/// kept: PKCS #11 has one login for a token and a process. The source may be asked by any thread that uses a key, and
/// may not use keys of the token itself.
///
/// When the token goes away an operation throws KeyStoreError unavailable; a later one connects anew, asks for the PIN
/// again, and works on with the key if it is the same one. For that all stores of this process that use the driver let
/// go of it, since it is started anew. A driver that speaks over a socket may raise SIGPIPE when its other side is
/// gone: ignore that signal, as a program does that uses the network.
///
/// That the private key belongs to the public key or certificate beside it is the token's word; a signature that does
/// not verify shows when it is not so.
class TORVANE_EXPORT Pkcs11KeyStore {
  public:
    /// Connects to the one token that a "pkcs11:" URI names; see openKey() for what the URI may say.
    /// @throws KeyStoreError invalidURI; unavailable when there is no such driver or token, or more than one token
    ///         fits; notSupported when the library is built without PKCS #11.
    explicit Pkcs11KeyStore(std::string_view uri, SecretSource pin = {});

    /// The label and id in the URI's "object" and "id"; empty where it has none.
    const KeyName& keyName() const noexcept;

    /// The key that the URI names.
    /// @throws as the other one; KeyStoreError invalidURI when its "type" names something else.
    SecKey key(KeyHalf half) const;

    /// A key by its label, its id, or both. The public numbers come from the token's public key, its certificate or its
    /// private key.
    /// @throws KeyStoreError keyNotFound when no key has the name, or more than one; wrongSecret when the PIN is
    ///         missing, wrong or locked; SecurityError for a key that is neither RSA nor EC on P-256, P-384 or P-521.
    SecKey key(const KeyName& name, KeyHalf half) const;

    /// Makes a key pair in the token, for signing and decrypting. The private key can never be read or leave the token
    /// (CKA_SENSITIVE, and CKA_EXTRACTABLE false). Without an id it is given a random one of 16 bytes.
    /// @throws KeyStoreError operationFailed when a key or certificate has that label or id already, and as above. Only
    ///         this store is kept from making two at once: other stores and processes are not.
    SecKey generateRSA(std::size_t modulusBits, const KeyName& name) const;

    /// The same, for signing and key agreement.
    SecKey generateEC(EllipticCurve curve, const KeyName& name) const;

  private:
    class State;
    std::shared_ptr<State> state_;
};

}  // namespace Torvane
