// JSON Web Keys (RFC 7517; RFC 7518, section 6): RSA keys and EC keys on P-256, P-384 and P-521.
//
// A JWK here never holds a private number as text. Reading one as a public key drops the private members;
// reading it as a private key turns them into a platform key at once. Either way its JSON text is that of the
// public half.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/jwk_type.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// A key as its public members, of any key type. Immutable, cheap to copy, safe to use from several threads.
class TORVANE_EXPORT JWK {
  public:
    /// @{
    /// Reads the public members from JSON text. Members that are not strings ("key_ops", "x5c", "ext") are passed over.
    /// @throws JOSESwiftError parsingFailed when the text is no JWK: "kty" missing; for RSA "n" or "e" missing, not
    ///         base64url or with a leading zero byte; for EC "x" or "y" missing, not base64url or of another
    ///         length than the curve's. unsupportedKey for a "crv" other than P-256, P-384 and P-521.
    static JWK initFrom(ByteView data);
    static JWK initFrom(const JSONValue::Object& members);
    /// @}

    /// Reads a private RSA or EC key: for RSA "d", "p", "q", "dp", "dq" and "qi" besides the public members,
    /// all of them, and no "oth"; for EC a "d" as long as a coordinate.
    /// @throws JOSESwiftError as above, and unsupportedKey for another key type; SecurityError when the
    ///         numbers don't belong together.
    static JWK initPrivateFrom(ByteView data);

    /// The members, none of them private.
    const StringMap& parameters() const noexcept { return state_->parameters; }
    /// One member; nothing when it is missing.
    std::optional<std::string> operator[](std::string_view name) const;
    /// The key family that "kty" names; nothing for any other than "RSA" and "EC".
    std::optional<JWKType> keyType() const noexcept;

    /// The platform key: of a JWK read as a private key the private one, else the public one.
    /// @throws SecurityError when the numbers are no key (a point off its curve, an even modulus);
    ///         JOSESwiftError unsupportedKey for another key type.
    SecKey converted() const;

    /// The same JWK, as one that was read as a public key.
    JWK publicHalf() const;

    /// The thumbprint (RFC 7638), as JOSE::thumbprint() makes it of the members.
    std::string thumbprint(HashFunction hash = HashFunction::SHA256) const;

    /// @{
    /// The public members as JSON text; nothing when a member is not UTF-8.
    std::optional<ByteBuffer> jsonData() const;
    std::optional<std::string> jsonString() const;
    /// @}

  protected:
    /// Nothing for a key of another "kty", numbers for a public key, a handle for a private one.
    using Key = std::variant<std::monostate, PublicComponents, SecKey>;

    /// Nothing is checked.
    JWK(StringMap parameters, Key key);
    /// @throws JOSESwiftError unsupportedKey when it is another type.
    JWK(JWK jwk, JWKType expected);

  private:
    struct State {
        StringMap parameters;
        Key key;
    };

    std::shared_ptr<const State> state_;
};

/// The JWK of an RSA public key; adds nothing but ways to make one.
class TORVANE_EXPORT RSAPublicKey : public JWK {
  public:
    /// "kty", "n" and "e" of the platform key, and the additional members.
    /// @throws JOSESwiftError unsupportedKey unless it is a public RSA key.
    RSAPublicKey(const SecKey& publicKey, StringMap additionalParameters);
    /// From either source of JWK::initFrom().
    /// @throws JOSESwiftError as there, and unsupportedKey for another "kty".
    template <class Source>
    static RSAPublicKey initFrom(const Source& source) {
        return RSAPublicKey(JWK::initFrom(source));
    }

  private:
    explicit RSAPublicKey(JWK jwk) : JWK(std::move(jwk), JWKType::RSA) {}
};

/// The JWK of an EC public key; adds nothing but ways to make one.
class TORVANE_EXPORT ECPublicKey : public JWK {
  public:
    /// "kty", "crv", "x" and "y" of the platform key, and the additional members.
    /// @throws JOSESwiftError unsupportedKey unless it is a public EC key.
    ECPublicKey(const SecKey& publicKey, StringMap additionalParameters);
    /// From either source of JWK::initFrom().
    /// @throws JOSESwiftError as there, and unsupportedKey for another "kty".
    template <class Source>
    static ECPublicKey initFrom(const Source& source) {
        return ECPublicKey(JWK::initFrom(source));
    }

  private:
    explicit ECPublicKey(JWK jwk) : JWK(std::move(jwk), JWKType::EC) {}
};

}  // namespace Torvane::JOSE
