// JsonWebKeySet: the keys of one party, in order, and the choice among them (RFC 7517, section 5).
//
//     Torvane::JsonWebKeySet peer(Torvane::asBytes(jwkSetText));
//     auto keys = peer.findKeysFor({{"kid", "their-key"}}, Torvane::Zennet::KeyClass::publicKey);
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// One party's keys, public, private or both. A copy shares the keys.
class TORVANE_EXPORT JsonWebKeySet {
  public:
    /// The keys, in the order that every operation keeps.
    std::vector<JsonWebKey> jwks;

    /// @{
    /// Takes keys of any kind; ids may come twice.
    explicit JsonWebKeySet(std::vector<JsonWebKey> keys) noexcept : jwks(std::move(keys)) {}
    JsonWebKeySet(std::initializer_list<JsonWebKey> keys) : jwks(keys) {}
    /// @}

    /// Reads a JWK Set whose keys have string members only: RSA, EC, and secp256k1 ("alg" must be ES256K;
    /// with a "d" a private key with its public half as pairing key; always for signatures).
    /// @throws JOSEError cannotDecodeJWK for what is no such set, a key of another type, or no key at all;
    ///         algorithmNotSupported and invalidKeyFormat for a secp256k1 key; JsonSerializeError
    ///         failedToParseJson for a member that is not UTF-8; JOSE::JOSESwiftError for a key that cannot
    ///         be read. The first bad key fails the whole set.
    explicit JsonWebKeySet(const JSONValue::Object& jwksDictionary);

    /// Reads the JSON text of a JWK Set: RSA and EC keys on P-256, P-384 and P-521, as public keys. A set may be empty.
    /// @throws JOSEError cannotDecodeJWK, around the reason; the first bad key fails the whole set.
    explicit JsonWebKeySet(ByteView jwksData);

    /// The keys of one class that fit every criterion given, in order. Criteria are "kid" (a string), "kty"
    /// (an opaque Zennet::KeyType), "use" (an opaque JWKUse, compared exactly) and "alg" (a string, which
    /// excludes only keys whose JWK names another); a member that is missing or of another kind is no criterion.
    std::vector<JsonWebKey> findKeysFor(const JSONValue::Object& jwkHeader, Zennet::KeyClass keyClass) const;

    /// @{
    /// The JWK Set as JSON text: RSA and EC public keys; other keys are left out.
    /// @throws JOSEError cannotEncodeJWK when a key cannot be written.
    ByteBuffer encode() const;
    std::string encodeToString() const;
    /// @}

    /// The members of each public key, secp256k1 keys among them.
    /// @throws JOSEError cannotEncodeJWK when a key cannot be written. A key without a type stops the process.
    std::vector<StringMap> encodeToArray() const;

    /// The text of encode(), or what says that there is none; never throws for a bad key.
    std::string debugDescription() const;
};

}  // namespace Torvane
