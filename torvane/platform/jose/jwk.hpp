// JSON Web Keys of any "kty" (RFC 7517). RSA keys and EC keys on P-256, P-384 and P-521 (RFC 7518, section 6) convert
// to platform keys.
//
// A JWK never holds a private value as text: reading one as a public key drops the private members, and reading it as a
// private key turns them into a platform key at once. Either way its JSON text is that of the public key.
//
//     const auto key = Torvane::SoftwareKeyStore::generateEC(Torvane::EllipticCurve::P256);
//     const Torvane::JOSE::ECPublicKey jwk(key.publicKey(), {{"kid", "2026"}});
//     const auto same = Torvane::JOSE::JWK::initFrom(jwk.jsonString().value());
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/jwk_type.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// Whether a member of a JWK is private, or part of a shared secret: "d", "p", "q", "dp", "dq", "qi", "oth" or "k" (RFC
/// 7518, sections 6.2.2, 6.3.2 and 6.4.1).
[[nodiscard]] TORVANE_EXPORT bool isPrivateMember(std::string_view name) noexcept;

/// A key as its public members, of any "kty".
///
/// Immutable, cheap to copy, and safe to use from several threads at once. It has no move operations, so no JWK is ever
/// left empty.
class TORVANE_EXPORT JWK {
  public:
    /// @{
    /// Reads the public members from JSON. Members that are not strings ("key_ops", "x5c", "ext") become
    /// otherMembers(). Applies the limits jsonDepth and jsonMembers of the text, and rsaBits.
    /// @throws JOSESwiftError parsingFailed for input that is not a JWK: "kty" missing; for RSA, "n" or "e" missing,
    ///         not base64url or with a leading zero byte; for EC, "crv", "x" or "y" missing, "x" or "y" not base64url
    ///         or not as long as a coordinate of the curve. unsupportedKey for an EC "crv" other than P-256, P-384 and
    ///         P-521, and for an RSA modulus of more than rsaBits.
    [[nodiscard]] static JWK initFrom(ByteView json, const Limits& limits = {});
    [[nodiscard]] static JWK initFrom(const TextLike auto& json, const Limits& limits = {}) {
        return initFrom(asBytes(json), limits);
    }
    [[nodiscard]] static JWK initFrom(const JSONValue::Object& members, const Limits& limits = {});
    /// @}

    /// @{
    /// Reads a private RSA or EC key from JSON. Besides the public members RSA needs "d", "p", "q", "dp", "dq" and
    /// "qi", without "oth" (RFC 7518, section 6.3.2), and EC needs a "d" as long as a coordinate (section 6.2.2).
    /// Applies the limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSESwiftError as initFrom(), and unsupportedKey for another "kty" or an "oth"; SecurityError when the
    ///         members do not belong together.
    [[nodiscard]] static JWK initPrivateFrom(ByteView json, const Limits& limits = {});
    [[nodiscard]] static JWK initPrivateFrom(const TextLike auto& json, const Limits& limits = {}) {
        return initPrivateFrom(asBytes(json), limits);
    }
    /// The caller wipes the members.
    [[nodiscard]] static JWK initPrivateFrom(const JSONValue::Object& members, const Limits& limits = {});
    /// @}

    /// @{
    /// A copy shares the members.
    JWK(const JWK&) noexcept = default;
    JWK& operator=(const JWK&) noexcept = default;
    ~JWK() = default;
    /// @}

    /// The members that are strings, none of them private.
    [[nodiscard]] const StringMap& parameters() const noexcept { return state_->parameters; }
    /// The members that are not strings, none of them private. They are never written.
    [[nodiscard]] const JSONValue::Object& otherMembers() const noexcept { return state_->otherMembers; }
    /// The value of one member; nothing when it is missing.
    [[nodiscard]] std::optional<std::string> operator[](std::string_view name) const;
    /// The key family that "kty" names; nothing for any other than "RSA" and "EC".
    [[nodiscard]] std::optional<JWKType> keyType() const noexcept;

    /// The platform key: the private key of a JWK that was read as one, else the public key.
    /// @throws SecurityError when the members are not a key (a point that is not on its curve, an even modulus);
    ///         JOSESwiftError unsupportedKey for another "kty" than "RSA" and "EC".
    [[nodiscard]] SecKey converted() const;

    /// The same JWK without its private key: as if it had been read as a public key.
    [[nodiscard]] JWK publicHalf() const;

    /// The thumbprint (RFC 7638), as JOSE::thumbprint() computes it from the members.
    /// @throws JOSESwiftError unsupportedKey for a key that is neither RSA nor EC.
    [[nodiscard]] std::string thumbprint(HashFunction hash = HashFunction::SHA256) const;
    /// The thumbprint as a URI (RFC 9278), as JOSE::thumbprintURI() makes it.
    /// @throws JOSESwiftError unsupportedAlgorithm for SHA-1; unsupportedKey for a key that is neither RSA nor EC.
    [[nodiscard]] std::string thumbprintURI(HashFunction hash = HashFunction::SHA256) const;

    /// @{
    /// The public members as JSON text; nothing when a member is not UTF-8.
    [[nodiscard]] std::optional<ByteBuffer> jsonData() const;
    [[nodiscard]] std::optional<std::string> jsonString() const;
    /// @}

    /// Whether both have the same public key and so the same thumbprint (RFC 7638, section 3.2); other members, and
    /// whether a JWK was read as a private key, do not matter. JWKs of a "kty" other than "RSA" and "EC" are equal when
    /// all their parameters() are.
    friend TORVANE_EXPORT bool operator==(const JWK& a, const JWK& b);

  protected:
    /// std::monostate for a "kty" other than "RSA" and "EC"; otherwise the components of a public key, or a handle to a
    /// public or private key.
    using Key = std::variant<std::monostate, PublicComponents, SecKey>;

    /// Nothing is checked.
    TORVANE_NO_EXPORT JWK(StringMap parameters, Key key, JSONValue::Object otherMembers = {});
    /// @throws JOSESwiftError unsupportedKey for another type.
    JWK(const JWK& jwk, JWKType expected);

  private:
    struct State {
        StringMap parameters;
        Key key;
        JSONValue::Object otherMembers;
    };

    [[nodiscard]] TORVANE_NO_EXPORT const PublicComponents* publicComponents() const noexcept;

    std::shared_ptr<const State> state_;
};

/// The JWK of an RSA public key; it adds nothing to JWK but constructors.
class TORVANE_EXPORT RSAPublicKey : public JWK {
  public:
    /// "kty", "n" and "e" of the platform key, and the additional members with other names, except private ones.
    /// @throws JOSESwiftError unsupportedKey unless it is a public RSA key.
    RSAPublicKey(const SecKey& publicKey, StringMap additionalParameters);
    /// Reads any source that JWK::initFrom() reads.
    /// @throws JOSESwiftError as JWK::initFrom(), and unsupportedKey for another "kty".
    template <class Source>
    [[nodiscard]] static RSAPublicKey initFrom(const Source& source, const Limits& limits = {}) {
        return RSAPublicKey(JWK::initFrom(source, limits));
    }

  private:
    explicit RSAPublicKey(const JWK& jwk) : JWK(jwk, JWKType::RSA) {}
};

/// The JWK of an EC public key; it adds nothing to JWK but constructors.
class TORVANE_EXPORT ECPublicKey : public JWK {
  public:
    /// "kty", "crv", "x" and "y" of the platform key, and the additional members with other names, except private ones.
    /// @throws JOSESwiftError unsupportedKey unless it is a public EC key.
    ECPublicKey(const SecKey& publicKey, StringMap additionalParameters);
    /// Reads any source that JWK::initFrom() reads.
    /// @throws JOSESwiftError as JWK::initFrom(), and unsupportedKey for another "kty".
    template <class Source>
    [[nodiscard]] static ECPublicKey initFrom(const Source& source, const Limits& limits = {}) {
        return ECPublicKey(JWK::initFrom(source, limits));
    }

  private:
    explicit ECPublicKey(const JWK& jwk) : JWK(jwk, JWKType::EC) {}
};

}  // namespace Torvane::JOSE
