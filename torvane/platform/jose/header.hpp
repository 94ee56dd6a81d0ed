// The protected headers of JWS (RFC 7515, section 4) and JWE (RFC 7516, section 4).
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"

namespace Torvane::JOSE {

/// What both headers share. Refused in either: "alg" missing or not a string, any "crit" (no extension is
/// understood), "b64" other than true (RFC 7797), any "zip" (no decompression), and a value
/// that is not JSON.
class TORVANE_EXPORT Header {
  public:
    /// All members, those that the library does not know among them.
    const JSONValue::Object& parameters() const noexcept { return parameters_; }
    /// The value of "alg", known to the library or not.
    const std::string& algorithm() const noexcept { return *stringMember(parameters_, "alg"); }
    /// The header as JSON text.
    ByteBuffer jsonData() const;

  protected:
    /// @{
    /// @throws JOSESwiftError parsingFailed for what is refused.
    explicit Header(JSONValue::Object parameters);
    explicit Header(ByteView json);
    /// @}

    /// Inserts or replaces; nothing is checked.
    void set(const char* name, JSONValue value) { parameters_[name] = std::move(value); }
    /// @throws JOSESwiftError parsingFailed.
    void requireString(const char* name) const;

  private:
    void check() const;

    JSONValue::Object parameters_;
};

/// The header of a signature; what a JWSSigner makes has "alg" and "kid".
class TORVANE_EXPORT JWSHeader final : public Header {
  public:
    /// @throws JOSESwiftError parsingFailed when the members are no valid JWS header.
    explicit JWSHeader(JSONValue::Object parameters) : Header(std::move(parameters)) {}

    /// Reads a header from its JSON text.
    /// @throws JOSESwiftError parsingFailed when it is no JSON object, or as above.
    explicit JWSHeader(ByteView json) : Header(json) {}

    /// The additional members, then "alg", then "kid" when there is a key id, each overwriting what was there.
    JWSHeader(SignatureAlgorithm algorithm, std::optional<StringMap> additionalHeaderParams,
              std::optional<std::string> keyId);
};

/// The header of an encryption. Refused besides: "enc" missing or not a string.
class TORVANE_EXPORT JWEHeader final : public Header {
  public:
    /// @{
    /// From members, or from their JSON text.
    /// @throws JOSESwiftError parsingFailed for what is refused.
    explicit JWEHeader(JSONValue::Object parameters);
    explicit JWEHeader(ByteView json);
    /// @}

    /// The additional members, then "alg" and "enc", then "kid" when there is a key id.
    JWEHeader(KeyManagementAlgorithm keyManagementAlgorithm, ContentEncryptionAlgorithm contentEncryptionAlgorithm,
              StringMap additionalHeaderParams, std::optional<std::string> keyId);

    /// The value of "enc", known to the library or not.
    const std::string& encryptionAlgorithm() const noexcept { return *stringMember(parameters(), "enc"); }
    /// Sets "cty": "JWT" where the content is a token itself (RFC 7519, section 5.2).
    void setContentType(std::string contentType) { set("cty", std::move(contentType)); }
    /// Sets "epk", the sender's half of a key agreement (RFC 7518, section 4.6.1.1).
    void setEphemeralPublicKey(JSONValue::Object jwk) { set("epk", std::move(jwk)); }
};

}  // namespace Torvane::JOSE
