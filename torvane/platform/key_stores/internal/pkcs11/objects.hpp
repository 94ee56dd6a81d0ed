// Keys as objects of a PKCS #11 token: found by name, read as far as they are public, and generated.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"

namespace Torvane::PKCS11 {

/// A private key, valid within one connection to its token.
struct PrivateKey {
    CK_OBJECT_HANDLE handle{};
    /// Whether the token requires the PIN for each operation (CKA_ALWAYS_AUTHENTICATE).
    bool alwaysAuthenticate = false;
};

/// The one object of a class with this label and this id, where an empty one is not compared; nothing when there is
/// none.
/// @throws KeyStoreError keyNotFound when there are several; CallFailure.
std::optional<CK_OBJECT_HANDLE> findObject(Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name,
                                           const std::string& token);

/// Throws the error for an object that is not there; it lists the objects of that class, unless they cannot be
/// listed.
/// @throws KeyStoreError keyNotFound; CallFailure when the token is lost.
[[noreturn]] void throwNotFound(Session& session, CK_OBJECT_CLASS objectClass, const KeyName& name,
                                const std::string& token);

KeyName readName(Session& session, CK_OBJECT_HANDLE object);

/// The public components of a public key, of a certificate, or of a private key that reveals them; nothing where the
/// object does not reveal them.
/// @throws SecurityError for a key that is neither RSA nor EC on a curve of EllipticCurve, or EC with explicit
///         parameters or a point in hybrid form; CallFailure.
std::optional<PublicComponents> readPublicComponents(Session& session, CK_OBJECT_HANDLE object);

/// @{
/// Generates a key pair in the token. The private key is sensitive and not extractable. The session has to be writable.
/// @throws CallFailure
void generateRSA(Session& session, std::size_t modulusBits, const KeyName& name);
void generateEC(Session& session, EllipticCurve curve, const KeyName& name);
/// @}

}  // namespace Torvane::PKCS11
