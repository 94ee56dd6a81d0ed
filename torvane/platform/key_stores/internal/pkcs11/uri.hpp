// PKCS #11 URIs (RFC 7512): the names of a driver, a token and a key.
#pragma once

#include <optional>
#include <p11-kit/p11-kit.h>
#include <p11-kit/uri.h>
#include <string>
#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::PKCS11 {

/// A parsed "pkcs11:" URI.
class URI {
  public:
    /// @throws KeyStoreError invalidURI for a malformed URI, one that contains white space, an unknown attribute, or
    ///         both pin-source and pin-value.
    explicit URI(std::string_view text);

    /// The path part, normalised: it names library, slot, token and key, and contains no PIN. For errors.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

    // Query attributes; null where the URI does not have them.
    [[nodiscard]] const char* modulePath() const noexcept { return p11_kit_uri_get_module_path(uri_.get()); }
    [[nodiscard]] const char* moduleName() const noexcept { return p11_kit_uri_get_module_name(uri_.get()); }
    [[nodiscard]] const char* pinSource() const noexcept { return p11_kit_uri_get_pin_source(uri_.get()); }
    [[nodiscard]] const char* pinValue() const noexcept { return p11_kit_uri_get_pin_value(uri_.get()); }

    [[nodiscard]] bool matches(const CK_INFO& driver) const noexcept;
    [[nodiscard]] bool matches(CK_SLOT_ID slot, const CK_SLOT_INFO& info) const noexcept;
    [[nodiscard]] bool matches(const CK_TOKEN_INFO& token) const noexcept;

    /// The label and id in "object" and "id"; empty where the URI does not have them.
    [[nodiscard]] KeyName keyName() const;
    /// The object class in "type"; nothing where the URI does not have it.
    [[nodiscard]] std::optional<CK_OBJECT_CLASS> type() const;

  private:
    [[nodiscard]] ByteView findAttribute(CK_ATTRIBUTE_TYPE type) const;

    Crypto::Handle<P11KitUri, p11_kit_uri_free> uri_;
    std::string path_;
};

}  // namespace Torvane::PKCS11
