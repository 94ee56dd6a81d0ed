// JsonWebStructure: a compact serialisation split into its decoded parts (RFC 7515, section 7.1; RFC 7516,
// section 7.1). Nothing is verified or decrypted: what it shows of a token is what somebody claims.
//
//     const Torvane::JsonWebStructure structure(token);
//     auto header = structure.getHeader();
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// A plain value whose members are free to be written; the getters bear with indices that fit no component. A
/// negative index stops the process.
class TORVANE_EXPORT JsonWebStructure {
  public:
    /// A place in components; nothing where the token has no such part.
    using Index = std::optional<std::ptrdiff_t>;

    /// The decoded parts, in their order.
    std::vector<ByteBuffer> components;
    /// Of the protected header, as JSON text.
    Index headerIndex;
    /// Of the payload in a JWS, of the ciphertext in a JWE.
    Index payloadIndex;
    /// Of the signature; in a JWS only.
    Index signatureIndex;
    /// Of the encrypted content key; in a JWE only.
    Index keyIndex;
    /// Of the initialization vector; in a JWE only.
    Index ivIndex;
    /// Of the authentication tag; in a JWE only.
    Index authTagIndex;

    /// Splits at every dot and decodes each piece; three pieces are a JWS, five a JWE, any other number is
    /// kept without indices.
    /// @throws JOSEError invalidJOSEComponent for a text without a dot, and for the first piece that is empty or not
    ///         canonical unpadded base64url.
    explicit JsonWebStructure(std::string_view compactSerialization);

    /// Takes decoded components, empty ones too.
    explicit JsonWebStructure(std::vector<ByteBuffer> components);

    /// The protected header of a compact serialisation, as getHeader() of the structure gives it. Every piece
    /// is checked as by the constructor, but the header alone is decoded; the payload of a JWS may be empty.
    /// @throws JOSEError as the constructor.
    static std::optional<JSONValue::Object> headerOf(std::string_view compactSerialization);

    /// The protected header; nothing when there is none, or when it is not a JSON object.
    std::optional<JSONValue::Object> getHeader() const;

    /// @{
    /// The part, copied; nothing when the token has none.
    std::optional<ByteBuffer> getRawPayload() const { return copyAt(payloadIndex); }
    std::optional<ByteBuffer> getSignature() const { return copyAt(signatureIndex); }
    std::optional<ByteBuffer> getEncryptedKey() const { return copyAt(keyIndex); }
    std::optional<ByteBuffer> getInitializationVector() const { return copyAt(ivIndex); }
    std::optional<ByteBuffer> getAuthenticationTag() const { return copyAt(authTagIndex); }
    /// @}

  private:
    const ByteBuffer* at(const Index& index) const noexcept;
    std::optional<ByteBuffer> copyAt(const Index& index) const;
};

}  // namespace Torvane
