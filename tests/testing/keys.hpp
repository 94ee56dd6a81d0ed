// Keys for tests, read from tests/vectors, where another implementation made them.
#pragma once

#include <string>

#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"
#include "torvane/torvane.hpp"

namespace Testing {

using namespace Torvane;

/// The private platform key of an RSA or EC key in nested_interop.json, by its "kid". Each is read only once.
const SecKey& privateKey(const std::string& kid);
SecKey publicKey(const std::string& kid);

/// The same key in a key store that overrides no operation.
SecKey keyOfIdleStore(const std::string& kid);

/// A member of that key's entry, for example "jwk_public" or "pkcs8_pem", as text.
std::string keyText(const std::string& kid, const std::string& member);

// The kids of the keys that most tests use.
inline const std::string rsaSig = "d-sig-rs256";
inline const std::string rsaSig2 = "d-sig-ps256";
inline const std::string rsaEnc = "d-enc-oaep256";
inline const std::string rsaEnc2 = "d-enc-oaep";
inline const std::string ecP256 = "d-sig-es256";
inline const std::string ecP384 = "d-sig-es384";
inline const std::string ecP521 = "d-sig-es512";
inline const std::string ecEncP256 = "d-enc-ecdh";
inline const std::string ecEncP384 = "d-enc-ecdhkw384";
inline const std::string ecEncP521 = "d-enc-ecdh521";

/// One key of the pair as a JsonWebKey with its kid.
Torvane::JsonWebKey privateJwk(const std::string& kid, Torvane::JWKUse use);
Torvane::JsonWebKey publicJwk(const std::string& kid, Torvane::JWKUse use);

/// A key in words, as data files name it: "CLASS KID USE", for example "private d-sig-rs256 sig". The class is private,
/// public, or privateJwk for a key from fromPrivateJwk(); the kid is one of the file, rsa1024, secp256k1
/// (d-sig-es256k), secp256k1-zero (not a scalar) or secp256k1-off-curve (not a point). The fourth word of a public key,
/// untyped or another-type, replaces its type.
Torvane::JsonWebKey keyInWords(const std::string& words);

/// The key d-sig-es256k as a pair of raw keys.
const Zennet::Secp256k1Utils::KeyPair& secp256k1KeyPair();

}  // namespace Testing
