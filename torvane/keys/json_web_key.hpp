// JsonWebKey: one key with its purpose and its id, and its public JWK if it has one (RFC 7517).
//
//     const Torvane::JsonWebKey ours(Torvane::SoftwareKeyStore::generateRSA(), Torvane::JWKUse::JWK_SIG, "sign-2026");
//     const std::optional<std::string> published = ours.publicHalf().encodeToString();
//
// A platform key is a SecKey: RSA, or EC on P-256, P-384 or P-521, which is what "EC" means here. A secp256k1 key is
// raw bytes in a Zennet::Key. Three kinds of key behave differently:
// - An RSA or EC public key holds a JOSE::JWK, see jwk(), from which all its JSON is written.
// - An RSA or EC private key holds none, unless fromPrivateJwk() made it from one, and is never written.
// - A secp256k1 key holds none; Secp256k1Utils writes its JSON. A private key is written, with "d", if its public key
//   was given as the pairing key.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/key_library/key.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// A key with its use and its id.
///
/// Immutable, cheap to copy, and safe to use from several threads at once. There are no move operations, so no
/// JsonWebKey is ever left empty.
class TORVANE_EXPORT JsonWebKey {
  public:
    /// A platform key of an RSA or EC pair. Class and type are those of the handle: private for a key in a store,
    /// RSA2048Key for an RSA key of any size, EC256Key for an EC key on any curve. A public key gets a JWK of its
    /// public members, "use" and "kid".
    /// @param secKey the platform key.
    /// @param jwkUse what the key is for. Lookups compare it exactly, and JOSEHelper looks for "sig" and "enc".
    /// @param keyId the "kid", in UTF-8; of any length, also empty. A key whose id is not UTF-8 cannot be written, and
    ///        cannot make a token that would carry the id as its "kid".
    JsonWebKey(const SecKey& secKey, JWKUse jwkUse, std::string keyId);

    /// A key of the key library. A public key other than secp256k1 gets a JWK with its own members, "use" and "kid": an
    /// RSA JWK if its type is RSA2048Key, else an EC JWK.
    /// @param key the key: a platform key, or for secp256k1 raw bytes, which are not checked here.
    /// @param jwkUse what the key is for.
    /// @param keyId the "kid", in UTF-8; of any length, also empty.
    /// @param pairingKey the public key of a secp256k1 private key, without which that key cannot be written; nothing
    ///        for other keys.
    /// @throws JOSEError missingKey "Missing keyRef for key " + id for raw bytes of another type than secp256k1;
    ///         JOSE::JOSESwiftError unsupportedKey when a public key does not hold a public platform key of the family
    ///         that its type names.
    JsonWebKey(const Zennet::Key& key, JWKUse jwkUse, std::string keyId,
               const std::optional<Zennet::Key>& pairingKey = std::nullopt);

    /// A platform key, wrapped in the given class and type.
    /// @param secKey the platform key; with keyClass publicKey it has to be a public one, see SecKey::publicKey().
    /// @param keyClass whether the key is used as a public or a private one.
    /// @param keyType RSA2048Key for an RSA key, EC256Key for an EC key on P-256, P-384 or P-521.
    /// @param jwkUse what the key is for.
    /// @param keyId the "kid", in UTF-8; of any length, also empty.
    /// @throws JOSE::JOSESwiftError unsupportedKey when a public key is requested and the platform key is private, or
    ///         is not of the family that keyType names.
    JsonWebKey(const SecKey& secKey, Zennet::KeyClass keyClass, Zennet::KeyType keyType, JWKUse jwkUse,
               std::string keyId);

    /// @{
    /// A public key from the JSON text of one JWK; private members are ignored. "use" and "kid" as in the next
    /// constructor.
    /// @param jwkData the text, in UTF-8.
    /// @param keyType RSA2048Key to read an RSA JWK; any other type to read an EC JWK.
    /// @param limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSE::JOSESwiftError parsingFailed when the text is not such a JWK, unsupportedKey for another "kty" or
    ///         "crv", or a modulus beyond the limits; JOSEError cannotDecodeJWK when its members are not a key.
    JsonWebKey(ByteView jwkData, Zennet::KeyType keyType, const Limits& limits = {});
    JsonWebKey(const TextLike auto& jwkData, Zennet::KeyType keyType, const Limits& limits = {})
        : JsonWebKey(asBytes(jwkData), keyType, limits) {}
    /// @}

    /// A public key from a JWK, even from one that was read as a private key. A missing or unknown "use" means
    /// JWK_SIG_ENC; a missing "kid" is replaced by a random UUID of 36 characters.
    /// @throws JOSEError cannotDecodeJWK, as getPubSecKey().
    explicit JsonWebKey(const JOSE::JWK& jwk);

    /// @{
    /// A copy shares the key.
    JsonWebKey(const JsonWebKey&) noexcept = default;
    JsonWebKey& operator=(const JsonWebKey&) noexcept = default;
    ~JsonWebKey() = default;
    /// @}

    /// @{
    /// A private key from the JSON text of a private RSA or EC JWK (RFC 7518, sections 6.2.2 and 6.3.2), for
    /// decryption: the constructors of JWEDecrypter that take a JsonWebKey accept no other private key, and this one if
    /// it fits the algorithm. The key is held in memory; encode() and the like never write it.
    /// @param jwkData the text, in UTF-8. An RSA key needs "p", "q", "dp", "dq" and "qi" besides "d". Its "use" and
    ///        "kid" are ignored.
    /// @param jwkUse what the key is for.
    /// @param keyId the "kid".
    /// @param limits jsonDepth, jsonMembers and rsaBits.
    /// @throws JOSE::JOSESwiftError parsingFailed when the text is not such a JWK, unsupportedKey for another "kty" or
    ///         "crv", for an "oth", or a modulus beyond the limits; SecurityError when its members do not belong
    ///         together.
    [[nodiscard]] static JsonWebKey fromPrivateJwk(ByteView jwkData, JWKUse jwkUse, std::string keyId,
                                                   const Limits& limits = {});
    [[nodiscard]] static JsonWebKey fromPrivateJwk(const TextLike auto& jwkData, JWKUse jwkUse, std::string keyId,
                                                   const Limits& limits = {}) {
        return fromPrivateJwk(asBytes(jwkData), jwkUse, std::move(keyId), limits);
    }
    /// @}
    /// The same from a JWK that was read as a private key.
    /// @throws JOSE::JOSESwiftError unsupportedKey for any other JWK.
    [[nodiscard]] static JsonWebKey fromPrivateJwk(const JOSE::JWK& privateJwk, JWKUse jwkUse, std::string keyId);

    /// The platform public key of a JWK.
    /// @throws JOSEError cannotDecodeJWK. It wraps curveNotSupported for a "kty" other than "RSA" and "EC", the reason
    ///         when the members are not a valid key, and nothing when the JWK cannot be written as JSON.
    [[nodiscard]] static SecKey getPubSecKey(const JOSE::JWK& from);

    /// The JWK of an RSA or EC public key, and of a key from fromPrivateJwk(); nothing for other keys.
    [[nodiscard]] const std::optional<JOSE::JWK>& jwk() const noexcept { return state_->jwk; }
    /// The JWK of a public key, which may be written; null for a key without one, and for every private key.
    [[nodiscard]] const JOSE::JWK* exportableJWK() const noexcept;
    /// The key of the key library, public or private.
    [[nodiscard]] const Zennet::Key& key() const noexcept { return state_->key; }
    /// What the key is for. Lookups compare it exactly: one for JWK_SIG does not find JWK_SIG_ENC.
    [[nodiscard]] JWKUse use() const noexcept { return state_->use; }
    /// @{
    /// The "kid", by which a peer finds the other key of the pair.
    [[nodiscard]] const std::string& keyId() const noexcept { return state_->keyId; }
    [[nodiscard]] const std::string& getKeyId() const noexcept { return keyId(); }
    /// @}
    /// The public key of a secp256k1 private key, if it was given.
    [[nodiscard]] const std::optional<Zennet::Key>& pairingKey() const noexcept { return state_->pairingKey; }

    /// The platform key.
    /// @throws JOSEError missingKey "Missing keyRef for key " + id for a secp256k1 key, which is raw bytes.
    [[nodiscard]] SecKey platformKey() const;

    /// The public key of the pair with the same use and id, for publication; of a public key, the key itself. An "alg"
    /// of the JWK is kept.
    /// @throws SecurityError for raw bytes that are not a secp256k1 private key; JOSE::JOSESwiftError unsupportedKey
    ///         for a platform key of another family than its type names.
    [[nodiscard]] JsonWebKey publicHalf() const;

    /// The public key as PEM text: "-----BEGIN PUBLIC KEY-----" and the SubjectPublicKeyInfo in lines of 64 characters
    /// (RFC 7468, section 13).
    /// @throws SecurityError for raw bytes that are not a secp256k1 key.
    [[nodiscard]] std::string publicKeyPem() const;

    /// @{
    /// The JWK as JSON text in UTF-8. Nothing for an RSA or EC private key, for a secp256k1 private key without its
    /// pairing key, and for a key that cannot be written (an id that is not UTF-8, raw bytes that are not a key, a
    /// pairing key of another pair). The text of a secp256k1 private key holds "d" and is a secret.
    [[nodiscard]] std::optional<ByteBuffer> encode() const;
    [[nodiscard]] std::optional<std::string> encodeToString() const;
    /// @}

    /// The members of the JWK.
    /// @throws JOSEError cannotEncodeJWK "Failed to encode JWK to JSON." where encode() returns nothing.
    [[nodiscard]] StringMap encodeToDictionary() const;

    /// The thumbprint of the public key in base64url, 43 characters (RFC 7638 with SHA-256). It is the same for both
    /// keys of a pair, whatever their use and id, so each party can compute it, and use it as the key's id.
    /// @throws JOSEError cannotEncodeJWK for a public key whose raw bytes are not a point of secp256k1, and for a
    ///         platform key whose type is secp256k1; SecurityError for a private key whose raw bytes are not a scalar
    ///         of secp256k1; JOSE::JOSESwiftError unsupportedKey as publicHalf().
    [[nodiscard]] std::string thumbprint() const;
    /// The thumbprint of the public key as a URI (RFC 9278), as JOSE::thumbprintURI() makes it.
    /// @throws JOSE::JOSESwiftError unsupportedAlgorithm for SHA-1; otherwise as thumbprint().
    [[nodiscard]] std::string thumbprintURI(HashFunction hash = HashFunction::SHA256) const;

  private:
    struct State {
        std::optional<JOSE::JWK> jwk;
        Zennet::Key key;
        JWKUse use;
        std::string keyId;
        std::optional<Zennet::Key> pairingKey;
    };

    TORVANE_NO_EXPORT explicit JsonWebKey(State state);
    TORVANE_NO_EXPORT static State makeState(const JOSE::JWK& publicJwk);

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
