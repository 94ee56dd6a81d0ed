#include "torvane/platform/jose/signer.hpp"

#include "torvane/platform/primitives/digest.hpp"
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::JOSE {

namespace Secp256k1 = Crypto::Secp256k1;

std::optional<Signer> Signer::create(SignatureAlgorithm algorithm, const SecKey& privateKey) {
    if (privateKey.isPublicKey() || !fits(algorithm, privateKey)) return std::nullopt;
    return Signer(algorithm, privateKey);
}

std::optional<Signer> Signer::create(SignatureAlgorithm algorithm, ByteView privateKey) {
    if (algorithm != SignatureAlgorithm::ES256K || !Secp256k1::isPrivateKey(privateKey)) return std::nullopt;
    return Signer(algorithm, std::make_shared<const SecretBuffer>(privateKey.begin(), privateKey.end()));
}

std::size_t Signer::signatureSize() const noexcept {
    const auto* key = std::get_if<SecKey>(&key_);
    return key ? key->signatureSize() : Secp256k1::signatureSize;
}

ByteBuffer Signer::sign(ByteView signingInput) const {
    return signDigest(Crypto::digest(parameters(algorithm_).hash, signingInput));
}

ByteBuffer Signer::signDigest(ByteView digest) const {
    const auto [name, scheme, hash, curve] = parameters(algorithm_);
    if (const auto* key = std::get_if<SecKey>(&key_)) return key->sign(scheme, hash, digest);
    return Secp256k1::sign(*std::get<std::shared_ptr<const SecretBuffer>>(key_), digest);
}

std::optional<Verifier> Verifier::create(SignatureAlgorithm algorithm, const SecKey& publicKey) {
    if (!publicKey.isPublicKey() || !fits(algorithm, publicKey)) return std::nullopt;
    return Verifier(algorithm, publicKey);
}

std::optional<Verifier> Verifier::create(SignatureAlgorithm algorithm, ByteView publicKey) {
    if (algorithm != SignatureAlgorithm::ES256K || !Secp256k1::parsePublicPoint(publicKey)) return std::nullopt;
    return Verifier(algorithm, std::make_shared<const ByteBuffer>(publicKey.begin(), publicKey.end()));
}

bool Verifier::verifyDigest(ByteView digest, ByteView signature) const {
    const auto [name, scheme, hash, curve] = parameters(algorithm_);
    if (const auto* key = std::get_if<SecKey>(&key_)) return key->verify(scheme, hash, digest, signature);
    return Secp256k1::verify(*std::get<std::shared_ptr<const ByteBuffer>>(key_), digest, signature);
}

}  // namespace Torvane::JOSE
