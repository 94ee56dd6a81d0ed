#include "torvane/platform/primitives/asymmetric_operations.hpp"

#include <openssl/rsa.h>

namespace Torvane::Crypto {
namespace {

using Operation = Purpose::Operation;

std::size_t toSize(int size) noexcept {
    return static_cast<std::size_t>(size);
}

// Size in bytes of r and of s in a raw ECDSA signature: that of the curve's order.
std::size_t halfSize(const EVP_PKEY* key) noexcept {
    return (toSize(EVP_PKEY_get_bits(key)) + 7) / 8;
}

ByteBuffer convertDerToRaw(ByteView der, std::size_t half) {
    const std::uint8_t* data = der.data();
    const EcdsaSignature signature(
        check(d2i_ECDSA_SIG(nullptr, &data, static_cast<long>(der.size())), "read an ECDSA signature"));
    ByteBuffer raw(2 * half);
    const int size = toInt(half, "write an ECDSA signature");
    if (BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), raw.data(), size) < 0 ||
        BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), raw.data() + half, size) < 0) {
        fail("write an ECDSA signature");
    }
    return raw;
}

ByteBuffer convertRawToDer(ByteView raw) {
    const auto half = raw.size() / 2;
    const int size = toInt(half, "read an ECDSA signature");
    const EcdsaSignature signature(check(ECDSA_SIG_new(), "set up an ECDSA signature"));
    Bignum r(check(BN_bin2bn(raw.data(), size, nullptr), "read an ECDSA signature"));
    Bignum s(check(BN_bin2bn(raw.data() + half, size, nullptr), "read an ECDSA signature"));
    check(ECDSA_SIG_set0(signature.get(), r.release(), s.release()), "set up an ECDSA signature");
    const int derSize = i2d_ECDSA_SIG(signature.get(), nullptr);
    if (derSize <= 0) fail("write an ECDSA signature");
    ByteBuffer der(toSize(derSize));
    std::uint8_t* out = der.data();
    if (i2d_ECDSA_SIG(signature.get(), &out) != derSize) fail("write an ECDSA signature");
    return der;
}

}  // namespace

ByteBuffer sign(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest) {
    const ErrorScope scope;
    const auto context = key.makeContext({Operation::sign, hash, scheme});
    std::size_t size = toSize(EVP_PKEY_get_size(key.get()));
    ByteBuffer signature(size);
    check(EVP_PKEY_sign(context.get(), signature.data(), &size, digest.data(), digest.size()), "sign");
    signature.resize(size);
    if (scheme == SignatureScheme::ECDSA) signature = convertDerToRaw(signature, halfSize(key.get()));
    // When memory runs out, OpenSSL 3.0 may sign with a broken blinding and report it in its error queue only.
    if (ERR_peek_error() != 0 && !verify(key, scheme, hash, digest, signature)) fail("sign");
    return signature;
}

bool verify(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature) {
    const ErrorScope scope;
    const bool ecdsa = scheme == SignatureScheme::ECDSA;
    if (ecdsa != (EVP_PKEY_is_a(key.get(), "EC") == 1)) return false;
    if (signature.size() != (ecdsa ? 2 * halfSize(key.get()) : toSize(EVP_PKEY_get_size(key.get())))) return false;
    const auto context = key.makeContext({Operation::verify, hash, scheme});
    const ByteBuffer der = ecdsa ? convertRawToDer(signature) : ByteBuffer();
    const ByteView encoded = ecdsa ? ByteView(der) : signature;
    return EVP_PKEY_verify(context.get(), encoded.data(), encoded.size(), digest.data(), digest.size()) == 1;
}

ByteBuffer encryptOaep(const PreparedKey& key, HashFunction hash, ByteView plaintext) {
    const ErrorScope scope;
    const auto context = key.makeContext({Operation::encrypt, hash});
    std::size_t size = toSize(EVP_PKEY_get_size(key.get()));
    ByteBuffer ciphertext(size);
    check(EVP_PKEY_encrypt(context.get(), ciphertext.data(), &size, plaintext.data(), plaintext.size()), "encrypt");
    return ciphertext;
}

std::optional<SecretBuffer> decryptOaep(const PreparedKey& key, HashFunction hash, ByteView ciphertext) {
    const ErrorScope scope;
    std::size_t size = toSize(EVP_PKEY_get_size(key.get()));
    if (ciphertext.size() != size) return std::nullopt;
    const auto context = key.makeContext({Operation::decrypt, hash});
    SecretBuffer plaintext(size);
    if (EVP_PKEY_decrypt(context.get(), plaintext.data(), &size, ciphertext.data(), ciphertext.size()) != 1) {
        if (scope.ranOutOfMemory()) fail("decrypt");
        return std::nullopt;
    }
    plaintext.resize(size);
    return plaintext;
}

std::optional<SecretBuffer> removeOaepPadding(HashFunction hash, ByteView encoded) {
    const ErrorScope scope;
    SecretBuffer plaintext(encoded.size());
    const int size = toInt(encoded.size(), "decrypt");
    // Deprecated, but EVP offers no function that removes OAEP padding without decrypting.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const int length = RSA_padding_check_PKCS1_OAEP_mgf1(plaintext.data(), size, encoded.data(), size, size, nullptr, 0,
                                                         evpDigest(hash), evpDigest(hash));
#pragma GCC diagnostic pop
    if (length < 0) {
        if (scope.ranOutOfMemory()) fail("decrypt");
        return std::nullopt;
    }
    plaintext.resize(toSize(length));
    return plaintext;
}

SecretBuffer agree(const PreparedKey& key, EVP_PKEY* peer) {
    const ErrorScope scope;
    const auto context = key.makeContext({Operation::agree});
    // OpenSSL would multiply the point by the order. On these curves, whose cofactor is 1, a point on the curve has
    // that order; each handle has checked its point already.
    check(EVP_PKEY_derive_set_peer_ex(context.get(), peer, 0), "accept the peer's key");
    SecretBuffer secret(halfSize(key.get()));
    std::size_t size = secret.size();
    check(EVP_PKEY_derive(context.get(), secret.data(), &size), "agree on a secret");
    return secret;
}

}  // namespace Torvane::Crypto
