// PKCS #11 URIs (RFC 7512): which driver, which token, which key.
#pragma once

#include <optional>
#include <p11-kit/p11-kit.h>
#include <p11-kit/uri.h>
#include <string>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

class Pkcs11URI {
  public:
    /// @throws KeyStoreError invalidURI for a text that is none, for an attribute that is not known, and for two PINs.
    explicit Pkcs11URI(std::string_view text);

    /// What names the driver's library, the token and the key, written anew and without a PIN; for errors.
    const std::string& path() const noexcept { return path_; }

    // Where the query has none of these: null.
    const char* modulePath() const noexcept { return p11_kit_uri_get_module_path(uri_.get()); }
    const char* moduleName() const noexcept { return p11_kit_uri_get_module_name(uri_.get()); }
    const char* pinSource() const noexcept { return p11_kit_uri_get_pin_source(uri_.get()); }
    const char* pinValue() const noexcept { return p11_kit_uri_get_pin_value(uri_.get()); }

    bool matches(const CK_INFO& driver) const noexcept;
    bool matches(CK_SLOT_ID slot, const CK_SLOT_INFO& info) const noexcept;
    bool matches(const CK_TOKEN_INFO& token) const noexcept;

    /// The "object" and "id".
    KeyName keyName() const;
    /// The "type"; nothing where there is none.
    std::optional<CK_OBJECT_CLASS> type() const;

  private:
    ByteView attribute(CK_ATTRIBUTE_TYPE type) const;

    Handle<P11KitUri, p11_kit_uri_free> uri_;
    std::string path_;
};

}  // namespace Torvane::Crypto
