// Keys as objects of a PKCS #11 token: found by name, read as far as they are public, made.
#pragma once

#include <optional>
#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"

namespace Torvane::Crypto {

/// A private key within one connection to its token.
struct Pkcs11PrivateKey {
    CK_OBJECT_HANDLE handle{};
    /// Whether the token wants the PIN for each operation (CKA_ALWAYS_AUTHENTICATE).
    bool asksEachTime = false;
};

/// The one object of a class with the label and id, as far as they are not empty; nothing when there is none.
/// @throws KeyStoreError keyNotFound when there are several.
std::optional<CK_OBJECT_HANDLE> findOne(Pkcs11Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name,
                                        const std::string& tokenName);

/// Says which object was looked for, and which there are.
/// @throws KeyStoreError keyNotFound
[[noreturn]] void refuseMissing(Pkcs11Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name,
                                const std::string& tokenName);

KeyName nameOf(Pkcs11Session& session, CK_OBJECT_HANDLE object);

/// The public numbers of a public key, a certificate, or a private key that shows them; nothing where it does not.
/// @throws SecurityError for a key that is neither RSA nor EC on a curve of EllipticCurve.
std::optional<PublicComponents> publicComponents(Pkcs11Session& session, CK_OBJECT_HANDLE object);

/// A key pair that stays in the token, its private half sensitive and not extractable. The session is a writable one.
/// @throws Pkcs11Failure
void generateRSA(Pkcs11Session& session, std::size_t modulusBits, const KeyName& name);
void generateEC(Pkcs11Session& session, EllipticCurve curve, const KeyName& name);

}  // namespace Torvane::Crypto
