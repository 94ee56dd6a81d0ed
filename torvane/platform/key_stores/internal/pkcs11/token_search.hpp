// The search for a PKCS #11 token: drivers are loaded, and the tokens in their slots compared with a URI.
#pragma once

#include <string>

#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"

namespace Torvane::PKCS11 {

/// A token, its slot, and its running driver.
struct FoundToken {
    Driver driver;
    CK_SLOT_ID slot;
    CK_TOKEN_INFO info;
};

/// The one token that a URI names, behind the driver that it names or else any that is registered on the machine.
/// @throws KeyStoreError unavailable when there is no such driver or token, or more than one token matches.
FoundToken findToken(const URI& uri);

/// The token's label, in quotes.
std::string quoteLabel(const CK_TOKEN_INFO& token);

}  // namespace Torvane::PKCS11
