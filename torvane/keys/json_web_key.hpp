// JsonWebKey: one key with its purpose and its id, and its public JWK where it has one (RFC 7517).
//
//     Torvane::JsonWebKey key(secKey, Torvane::Zennet::KeyClass::publicKey, Torvane::Zennet::KeyType::RSA2048Key,
//                             Torvane::JWKUse::JWK_SIG, "my-signing-key");
//     std::optional<std::string> json = key.encodeToString();
//
// Three kinds of key behave differently. An RSA or EC public key carries a JWK, and all its JSON comes from
// there. An RSA or EC private key has none, unless it came from one, and is never written. A secp256k1 key
// has none either; its JSON comes from the key library, and a private one can be written when it knows its
// public half, the pairing key.
//
// Immutable, cheap to copy, and safe to use from several threads at once.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "torvane/keys/jwk_vocabulary.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/encodings/json_value.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/key_library/key.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane {

/// A key with its use and its id.
class TORVANE_EXPORT JsonWebKey {
  public:
    /// A public key that is not secp256k1 gets a JWK with its numbers, "use" and "kid": as RSA when its type
    /// is RSA2048Key, else as EC.
    /// @throws JOSEError missingKey "Missing keyRef for key " + id, for a key other than secp256k1 without a platform
    ///         key; JOSE::JOSESwiftError when the platform key is not a public one of that family.
    JsonWebKey(Zennet::Key key, JWKUse jwkUse, std::string keyId, std::optional<Zennet::Key> pairingKey = std::nullopt);

    /// Wraps the platform key as a public or private key, and goes on as above.
    JsonWebKey(SecKey secKey, Zennet::KeyClass keyClass, Zennet::KeyType keyType, JWKUse jwkUse, std::string keyId);

    /// Reads the JSON text of one JWK as a public key: of RSA for RSA2048Key, else of EC.
    /// @throws JOSE::JOSESwiftError when it is none; and as below.
    JsonWebKey(ByteView jwkData, Zennet::KeyType keyType);

    /// A public key from a JWK, whatever private members it was read with. A "use" that is missing or unknown
    /// means both uses; a missing "kid" is replaced by a random UUID.
    /// @throws JOSEError cannotDecodeJWK, as getPubSecKey().
    explicit JsonWebKey(const JOSE::JWK& jwk);

    /// A private key from the JSON text of an RSA or EC private JWK (RFC 7518, sections 6.2 and 6.3), for
    /// decryption through every constructor of JWEDecrypter. It is never written: each encode treats it as a
    /// private key. An RSA key needs its primes and CRT values; "d" alone is not enough.
    /// @throws JOSE::JOSESwiftError when the text is no such JWK; SecurityError when its numbers don't
    ///         belong together.
    static JsonWebKey fromPrivateJwk(ByteView jwkData, JWKUse jwkUse, std::string keyId);

    /// The platform public key of a public JWK.
    /// @throws JOSEError cannotDecodeJWK around whatever made it fail; around curveNotSupported for a key type other
    ///         than RSA and EC; around nothing when the JWK cannot be written as JSON.
    static SecKey getPubSecKey(const JOSE::JWK& from);

    /// Of an RSA or EC public key, and of a key from fromPrivateJwk().
    const std::optional<JOSE::JWK>& jwk() const noexcept { return state_->jwk; }
    /// The JWK, if it is one that may be written: that of a public key. Else null.
    const JOSE::JWK* exportableJwk() const noexcept;
    /// The key itself, public or private.
    const Zennet::Key& key() const noexcept { return state_->key; }
    /// What findKeysFor() compares exactly: JWK_SIG_ENC is not found for JWK_SIG.
    JWKUse use() const noexcept { return state_->use; }
    /// @{
    /// The "kid", by which the peer finds the other half.
    const std::string& keyId() const noexcept { return state_->keyId; }
    const std::string& getKeyId() const noexcept { return keyId(); }
    /// @}
    /// Of a secp256k1 private key, its public key.
    const std::optional<Zennet::Key>& pairingKey() const noexcept { return state_->pairingKey; }

    /// @{
    /// The JWK as JSON text in UTF-8; nothing for an RSA or EC private key, for a secp256k1 private key
    /// without its pairing key, and when the key cannot be written. With a secp256k1 private key the text holds "d".
    std::optional<ByteBuffer> encode() const;
    std::optional<std::string> encodeToString() const;
    /// @}

    /// The JWK's members.
    /// @throws JOSEError cannotEncodeJWK "Failed to encode JWK to JSON." where encode() gives nothing.
    StringMap encodeToDictionary() const;

    /// The thumbprint of the public half in base64url, 43 characters (RFC 7638 with SHA-256): the same for a private
    /// key and its public one, whatever their use and id, and therefore an id that need not be agreed upon.
    /// @throws JOSEError cannotEncodeJWK for a key that cannot be written; SecurityError for a private key of
    ///         raw bytes that is not secp256k1.
    std::string thumbprint() const;

  private:
    struct State {
        std::optional<JOSE::JWK> jwk;
        Zennet::Key key;
        JWKUse use;
        std::string keyId;
        std::optional<Zennet::Key> pairingKey;
    };

    explicit JsonWebKey(State state);
    static State stateOf(const JOSE::JWK& publicJwk);

    std::shared_ptr<const State> state_;
};

}  // namespace Torvane
