#include "torvane/platform/jose/signer.hpp"

#include "torvane/platform/crypto/digest.hpp"
#include "torvane/platform/crypto/secp256k1_curve.hpp"

namespace JOSE {

namespace Secp256k1 = Platform::Crypto::Secp256k1;

std::optional<Signer> Signer::create(SignatureAlgorithm algorithm, const Platform::SecKey& privateKey) {
    if (privateKey.isPublicKey() || !fits(algorithm, privateKey)) return std::nullopt;
    return Signer(algorithm, privateKey);
}

std::optional<Signer> Signer::create(SignatureAlgorithm algorithm, Platform::ByteView privateKey) {
    if (algorithm != SignatureAlgorithm::ES256K || !Secp256k1::isPrivateKey(privateKey)) return std::nullopt;
    return Signer(algorithm, Platform::SecretBuffer(privateKey.begin(), privateKey.end()));
}

std::size_t Signer::signatureSize() const noexcept {
    const auto* key = std::get_if<Platform::SecKey>(&key_);
    return key ? key->signatureSize() : Secp256k1::signatureSize;
}

Platform::ByteBuffer Signer::sign(Platform::ByteView signingInput) const {
    return signDigest(Platform::Crypto::digest(parameters(algorithm_).hash, signingInput));
}

Platform::ByteBuffer Signer::signDigest(Platform::ByteView digest) const {
    const auto [name, scheme, hash, curve] = parameters(algorithm_);
    if (const auto* key = std::get_if<Platform::SecKey>(&key_)) return key->sign(scheme, hash, digest);
    return Secp256k1::sign(std::get<Platform::SecretBuffer>(key_), digest);
}

std::optional<Verifier> Verifier::create(SignatureAlgorithm algorithm, const Platform::SecKey& publicKey) {
    if (!publicKey.isPublicKey() || !fits(algorithm, publicKey)) return std::nullopt;
    return Verifier(algorithm, publicKey);
}

std::optional<Verifier> Verifier::create(SignatureAlgorithm algorithm, Platform::ByteView publicKey) {
    if (algorithm != SignatureAlgorithm::ES256K || !Secp256k1::publicPoint(publicKey)) return std::nullopt;
    return Verifier(algorithm, Platform::ByteBuffer(publicKey.begin(), publicKey.end()));
}

bool Verifier::verifyDigest(Platform::ByteView digest, Platform::ByteView signature) const {
    const auto [name, scheme, hash, curve] = parameters(algorithm_);
    if (const auto* key = std::get_if<Platform::SecKey>(&key_)) return key->verify(scheme, hash, digest, signature);
    return Secp256k1::verify(std::get<Platform::ByteBuffer>(key_), digest, signature);
}

}  // namespace JOSE
