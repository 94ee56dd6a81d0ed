// JsonWebKeySet: the keys of one party in order, and the choice among them (RFC 7517, section 5).
//
//     const Torvane::JsonWebKeySet ours{
//         Torvane::JsonWebKey(Torvane::SoftwareKeyStore::generateRSA(), Torvane::JWKUse::JWK_SIG, "sign-2026")};
//     const std::string published = ours.publicSet().encodeToString();
//     const Torvane::JsonWebKeySet received(published);
//     const auto found = received.find({.keyId = "sign-2026", .use = Torvane::JWKUse::JWK_SIG});
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/keys/key_query.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

struct KnownKeys;

/// One party's keys: public, private or both. A copy shares the keys. Const operations are safe from several threads at
/// once. A set that was moved from is empty.
class TORVANE_EXPORT JsonWebKeySet {
  public:
    /// The keys, in the order that every operation keeps. Ids may occur more than once.
    std::vector<JsonWebKey> jwks;

    /// An empty set.
    JsonWebKeySet() noexcept = default;

    /// @{
    /// The given keys, of any kind.
    explicit JsonWebKeySet(std::vector<JsonWebKey> keys) noexcept : jwks(std::move(keys)) {}
    JsonWebKeySet(std::initializer_list<JsonWebKey> keys) : jwks(keys) {}
    /// @}

    /// Reads a JWK Set from a JSON object: public RSA keys, public EC keys on P-256, P-384 and P-521, and secp256k1
    /// keys. A secp256k1 key becomes a private key with its pairing key if it has a "d"; its use is always JWK_SIG.
    /// @param jwksDictionary the object. Its "keys" is a list of objects with string members only. A secp256k1 key
    ///        needs "alg" with the value "ES256K", "kid", and an "x" and a "y" of 32 bytes each. A "d" that is not
    ///        base64url is ignored.
    /// @param limits rsaBits.
    /// @throws JOSEError cannotDecodeJWK when the object is not such a set, a "kty" is missing or neither "RSA" nor
    ///         "EC", or the set has no keys; algorithmNotSupported for another "alg" of a secp256k1 key, and
    ///         for every secp256k1 key in a build without them;
    ///         invalidKeyFormat when its other members are missing, its point is not on the curve, or its "d" is not
    ///         the private key of that point. JsonSerializeError failedToParseJson for a member that is not UTF-8.
    ///         JOSE::JOSESwiftError, as JOSE::JWK::initFrom(), when a member of an RSA or EC key is missing,
    ///         malformed or beyond the limits; JOSEError cannotDecodeJWK wrapping the reason when its members are
    ///         well-formed but not a key (an even modulus, a point off the curve). The first bad key fails the whole
    ///         set, and nothing is constructed.
    explicit JsonWebKeySet(const JSONValue::Object& jwksDictionary, const Limits& limits = {});

    /// @{
    /// Reads a JWK Set from JSON text: RSA keys and EC keys on P-256, P-384 and P-521, all as public keys. The set may
    /// be empty. Members that are not strings are ignored.
    /// @param jwksData the text, in UTF-8.
    /// @param limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSEError cannotDecodeJWK wrapping the reason when the text is not such a set, or one of its keys cannot
    ///         be read (a secp256k1 key among them). The first bad key fails the whole set, and nothing is constructed.
    explicit JsonWebKeySet(ByteView jwksData, const Limits& limits = {});
    explicit JsonWebKeySet(const TextLike auto& jwksData, const Limits& limits = {})
        : JsonWebKeySet(asBytes(jwksData), limits) {}
    /// @}

    /// @{
    /// Reads the public keys that the library can use from a JWK Set as others publish it, and leaves out the rest (RFC
    /// 7517, section 5): keys of another "kty" or "crv", with a member missing or malformed, beyond the limits, RSA
    /// keys that no algorithm takes, and keys with a "use" other than "sig" and "enc". What remains are RSA keys of
    /// 2048 to 16384 bits, and EC keys on P-256, P-384, P-521 and secp256k1.
    ///
    /// A key without "use" gets JWK_SIG_ENC, one without a "kid" that is text a random UUID. Ids may occur more than
    /// once.
    /// @param jwksData the text, in UTF-8.
    /// @param limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSEError cannotDecodeJWK wrapping the reason when the text is not a JSON object with a list "keys".
    [[nodiscard]] static KnownKeys readKnown(ByteView jwksData, const Limits& limits = {});
    [[nodiscard]] static KnownKeys readKnown(const TextLike auto& jwksData, const Limits& limits = {});
    /// @}

    /// @{
    /// readKnown() for the private keys of a JWK Set, which become keys in memory as with JsonWebKey::fromPrivateJwk().
    /// Public keys are left out. A key without "kid" gets its thumbprint() as its id: publish publicSet(), so that
    /// peers know the id.
    [[nodiscard]] static KnownKeys readPrivate(ByteView jwksData, const Limits& limits = {});
    [[nodiscard]] static KnownKeys readPrivate(const TextLike auto& jwksData, const Limits& limits = {});
    /// @}

    /// @{
    /// The keys one by one, in order.
    [[nodiscard]] std::vector<JsonWebKey>::const_iterator begin() const noexcept { return jwks.begin(); }
    [[nodiscard]] std::vector<JsonWebKey>::const_iterator end() const noexcept { return jwks.end(); }
    /// @}
    /// The number of keys.
    [[nodiscard]] std::size_t size() const noexcept { return jwks.size(); }
    /// Whether there are no keys.
    [[nodiscard]] bool isEmpty() const noexcept { return jwks.empty(); }

    /// The keys that fit a query, in order; none, one or several.
    [[nodiscard]] std::vector<JsonWebKey> find(const KeyQuery& query) const;

    /// The keys of one class that fit the criteria in a map, in order: find() with these criteria. These are "kid" (a
    /// string), "kty" (a Zennet::KeyType in JSONValue::opaque()), "use" (a JWKUse in JSONValue::opaque()) and "alg" (a
    /// string). A member that is missing or holds another kind of value is not a criterion.
    [[nodiscard]] std::vector<JsonWebKey> findKeysFor(const JSONValue::Object& jwkHeader,
                                                      Zennet::KeyClass keyClass) const;

    /// The set for publication: the public half of every key, in order. Of keys with the same public key, use and id,
    /// only the first is kept.
    /// @throws as JsonWebKey::publicHalf().
    [[nodiscard]] JsonWebKeySet publicSet() const;

    /// @{
    /// The JWK Set as JSON text in UTF-8: RSA and EC public keys. All other keys are left out, so publish
    /// publicSet().encodeToString() if the set holds private keys.
    /// @throws JOSEError cannotEncodeJWK when a key cannot be written.
    [[nodiscard]] ByteBuffer encode() const;
    [[nodiscard]] std::string encodeToString() const;
    /// @}

    /// The members of each public key, secp256k1 keys included. A key without a type aborts the process.
    /// @throws JOSEError cannotEncodeJWK when a key cannot be written.
    [[nodiscard]] std::vector<StringMap> encodeToArray() const;

    /// The text of encodeToString(), or "An error occurred while performing the operation." where that fails.
    [[nodiscard]] std::string debugDescription() const;
};

/// A key of a JWK Set that was not read.
struct LeftOutKey {
    /// Its place in "keys", from 0.
    std::size_t index;
    /// Its "kid", if it has one.
    std::optional<std::string> keyId;
    /// Why it was not read, for people; nothing of the key.
    std::string reason;
};

/// What JsonWebKeySet::readKnown() and readPrivate() return.
struct KnownKeys {
    /// The keys that were read, in order.
    JsonWebKeySet set;
    /// The others, in order.
    std::vector<LeftOutKey> leftOut;
};

KnownKeys JsonWebKeySet::readKnown(const TextLike auto& jwksData, const Limits& limits) {
    return readKnown(asBytes(jwksData), limits);
}

KnownKeys JsonWebKeySet::readPrivate(const TextLike auto& jwksData, const Limits& limits) {
    return readPrivate(asBytes(jwksData), limits);
}

}  // namespace Torvane
