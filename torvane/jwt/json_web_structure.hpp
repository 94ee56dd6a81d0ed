// JsonWebStructure: a compact token split into its decoded components (RFC 7515, section 7.1; RFC 7516, section 7.1).
// Nothing is verified or decrypted, so all that it shows is what the sender claims.
//
//     const Torvane::JsonWebStructure structure(token);
//     auto header = structure.getHeader();
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// A plain value whose members may be changed freely. An index beyond the components counts as absent; a negative one
/// aborts the process. A moved-from structure has no components.
class TORVANE_EXPORT JsonWebStructure {
  public:
    /// An index into components; nothing when the token has no such component.
    using Index = std::optional<std::ptrdiff_t>;

    /// The decoded components, in their order.
    std::vector<ByteBuffer> components;
    /// Index of the protected header, which is JSON text.
    Index headerIndex;
    /// Index of the payload of a JWS, or of the ciphertext of a JWE.
    Index payloadIndex;
    /// Index of the signature; in a JWS only.
    Index signatureIndex;
    /// Index of the encrypted content encryption key; in a JWE only.
    Index keyIndex;
    /// Index of the initialization vector; in a JWE only.
    Index ivIndex;
    /// Index of the authentication tag; in a JWE only.
    Index authTagIndex;

    /// @{
    /// Splits a token at every dot and decodes each part. Three parts are a JWS and five a JWE; with any other number
    /// all indices are absent.
    /// @throws JOSEError invalidJOSEComponent for a text without a dot, and for the first part that is empty or not
    ///         canonical unpadded base64url, which the error's text quotes.
    explicit JsonWebStructure(std::string_view compactSerialization);
    explicit JsonWebStructure(ByteView compactSerialization) : JsonWebStructure(asText(compactSerialization)) {}
    /// @}

    /// Takes components that are decoded already, which may be empty.
    explicit JsonWebStructure(std::vector<ByteBuffer> components);

    /// @{
    /// The protected header of a token, as getHeader() returns it. Every part is checked as by the constructor, but
    /// only the header is decoded, and the payload of a JWS may be empty. Applies the limits headerBytes, jsonDepth and
    /// jsonMembers.
    /// @throws JOSEError as the constructor.
    [[nodiscard]] static std::optional<JSONValue::Object> readHeader(std::string_view compactSerialization,
                                                                     const Limits& limits = {});
    [[nodiscard]] static std::optional<JSONValue::Object> readHeader(ByteView compactSerialization,
                                                                     const Limits& limits = {}) {
        return readHeader(asText(compactSerialization), limits);
    }
    /// @}

    /// The protected header; nothing when the token has none, or when it is not a JSON object or beyond the limits.
    /// Applies the limits headerBytes, jsonDepth and jsonMembers. The constructors have no limits.
    [[nodiscard]] std::optional<JSONValue::Object> getHeader(const Limits& limits = {}) const;

    /// @{
    /// A copy of the component; nothing when the token has none.
    [[nodiscard]] std::optional<ByteBuffer> getRawPayload() const { return copyAt(payloadIndex); }
    [[nodiscard]] std::optional<ByteBuffer> getSignature() const { return copyAt(signatureIndex); }
    [[nodiscard]] std::optional<ByteBuffer> getEncryptedKey() const { return copyAt(keyIndex); }
    [[nodiscard]] std::optional<ByteBuffer> getInitializationVector() const { return copyAt(ivIndex); }
    [[nodiscard]] std::optional<ByteBuffer> getAuthenticationTag() const { return copyAt(authTagIndex); }
    /// @}

  private:
    [[nodiscard]] TORVANE_NO_EXPORT const ByteBuffer* at(const Index& index) const noexcept;
    [[nodiscard]] std::optional<ByteBuffer> copyAt(const Index& index) const;
};

}  // namespace Torvane
