// The protected headers of a JWS (RFC 7515, section 4) and of a JWE (RFC 7516, section 4).
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/header_parameters.hpp"

namespace Torvane::JOSE {

/// What the two headers have in common. Both reject an "alg" that is missing or not a string; a "kid", "typ", "cty",
/// "jku", "x5u", "x5t" or "x5t#S256" that is not a string; any "crit" (no extension is supported); a "b64" other than
/// true (RFC 7797); any "zip" (nothing is decompressed); and a value that is not JSON. A moved-from header has no
/// members.
class TORVANE_EXPORT Header {
  public:
    /// @{
    /// All members, including those that the library does not know.
    [[nodiscard]] const JSONValue::Object& parameters() const& noexcept { return parameters_; }
    [[nodiscard]] JSONValue::Object parameters() && noexcept { return std::move(parameters_); }
    /// @}
    /// The value of "alg", known to the library or not.
    /// @throws JOSESwiftError parsingFailed for a moved-from header.
    [[nodiscard]] const std::string& algorithm() const { return requireString("alg"); }
    /// The header as JSON text.
    [[nodiscard]] ByteBuffer jsonData() const;

  protected:
    /// @{
    /// @throws JOSESwiftError parsingFailed for a header that is rejected.
    explicit Header(JSONValue::Object parameters);
    Header(ByteView json, const Limits& limits);
    /// @}

    /// Inserts or replaces a member without checking it.
    void set(const char* name, JSONValue value) { parameters_[name] = std::move(value); }
    /// The member's value.
    /// @throws JOSESwiftError parsingFailed when the member is missing or not a string.
    const std::string& requireString(const char* name) const {
        const auto* value = stringMember(parameters_, name);
        return value ? *value : rejectMember(name);
    }

  private:
    TORVANE_NO_EXPORT void check() const;
    [[noreturn]] static const std::string& rejectMember(const char* name);

    JSONValue::Object parameters_;
};

/// The header of a JWS.
class TORVANE_EXPORT JWSHeader final : public Header {
  public:
    /// From members of any kind.
    /// @throws JOSESwiftError parsingFailed when the members are not a valid JWS header.
    explicit JWSHeader(JSONValue::Object parameters) : Header(std::move(parameters)) {}

    /// From JSON text. Applies the limits headerBytes, jsonDepth and jsonMembers.
    /// @throws JOSESwiftError parsingFailed when the text is beyond the limits, not a JSON object, or not a valid JWS
    ///         header.
    explicit JWSHeader(ByteView json, const Limits& limits = {}) : Header(json, limits) {}

    /// The additional members, with "alg" set to the algorithm's name and, when there is a key id, "kid" set to it;
    /// both replace an additional member of that name.
    /// @throws JOSESwiftError parsingFailed when the result is not a valid JWS header.
    JWSHeader(SignatureAlgorithm algorithm, const HeaderParameters& additionalHeaderParams,
              std::optional<std::string> keyId);
};

/// The header of a JWE. Also rejects an "enc" that is missing or not a string.
class TORVANE_EXPORT JWEHeader final : public Header {
  public:
    /// @{
    /// From members of any kind, or from JSON text. Applies the limits headerBytes, jsonDepth and jsonMembers.
    /// @throws JOSESwiftError parsingFailed when they are beyond the limits, or not a valid JWE header.
    explicit JWEHeader(JSONValue::Object parameters);
    explicit JWEHeader(ByteView json, const Limits& limits = {});
    /// @}

    /// The additional members, with "alg" and "enc" set to the algorithms' names and, when there is a key id, "kid" set
    /// to it; all three replace an additional member of that name.
    /// @throws JOSESwiftError parsingFailed when the result is not a valid JWE header.
    JWEHeader(KeyManagementAlgorithm keyManagementAlgorithm, ContentEncryptionAlgorithm contentEncryptionAlgorithm,
              const HeaderParameters& additionalHeaderParams, std::optional<std::string> keyId);

    /// The value of "enc", known to the library or not.
    /// @throws JOSESwiftError parsingFailed for a moved-from header.
    [[nodiscard]] const std::string& encryptionAlgorithm() const { return requireString("enc"); }
    /// Sets "cty"; it is "JWT" when the plaintext is itself a token (RFC 7519, section 5.2).
    void setContentType(std::string contentType) { set("cty", std::move(contentType)); }
    /// Sets "epk", the sender's public key of a key agreement, as a JWK (RFC 7518, section 4.6.1.1).
    void setEphemeralPublicKey(JSONValue::Object jwk) { set("epk", std::move(jwk)); }

    /// @{
    /// The decoded "apu" and "apv", which say who the sender and the recipient of a key agreement are (RFC 7518,
    /// sections 4.6.1.2 and 4.6.1.3). Nothing when the header has none.
    /// @throws JOSESwiftError parsingFailed for a value that is not base64url.
    [[nodiscard]] std::optional<ByteBuffer> agreementPartyUInfo() const { return readBytes("apu"); }
    [[nodiscard]] std::optional<ByteBuffer> agreementPartyVInfo() const { return readBytes("apv"); }
    /// @}
    /// @{
    /// Sets "apu" or "apv" to the bytes in base64url. Under ECDH-ES the key is derived from them, so the recipient
    /// reads them from the header; the other algorithms do not use them.
    void setAgreementPartyUInfo(ByteView info) { set("apu", encodeBase64url(info)); }
    void setAgreementPartyVInfo(ByteView info) { set("apv", encodeBase64url(info)); }
    /// @}

  private:
    [[nodiscard]] std::optional<ByteBuffer> readBytes(const char* name) const;
};

}  // namespace Torvane::JOSE
