#include "torvane/platform/key_stores/sec_key.hpp"

#include <algorithm>
#include <utility>

#include "torvane/platform/key_stores/internal/key_encoding.hpp"
#include "torvane/platform/key_stores/internal/software_key.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"
#include "torvane/platform/primitives/asymmetric_operations.hpp"

namespace Torvane {
namespace {

[[noreturn]] void throwUnsupported(const char* operation) {
    throw SecurityError(std::string("This key store does not ") + operation + " with this key.");
}

void dropLeadingZeros(ByteBuffer& number) {
    number.erase(number.begin(), std::find_if(number.begin(), number.end(), [](auto byte) { return byte != 0; }));
}

// Stores differ in the leading zeros that they write. Key sizes are read from the components, so they get one form.
PublicComponents normalize(PublicComponents components) {
    if (auto* rsa = std::get_if<RSAPublicComponents>(&components)) {
        dropLeadingZeros(rsa->modulus);
        dropLeadingZeros(rsa->exponent);
    } else {
        const auto& point = std::get<ECPublicComponents>(components);
        const auto size = coordinateSize(point.curve);
        if (point.x.size() != size || point.y.size() != size) {
            throw SecurityError("An EC coordinate does not have the length of its curve.");
        }
    }
    return components;
}

}  // namespace

ByteBuffer StoreKey::sign(SignatureScheme, HashFunction, ByteView) const {
    throwUnsupported("sign");
}

std::optional<SecretBuffer> StoreKey::decrypt(HashFunction, ByteView) const {
    throwUnsupported("decrypt");
}

SecretBuffer StoreKey::agree(const SecKey&) const {
    throwUnsupported("agree on a secret");
}

struct SecKey::State {
    PublicComponents components;
    KeyName name;
    // Built once from the components, and shared by both keys of a pair.
    std::shared_ptr<const Crypto::PreparedKey> publicKey;
    // Null for a public key.
    std::shared_ptr<const StoreKey> storeKey;

    State(PublicComponents publicComponents, KeyName keyName, std::shared_ptr<const StoreKey> store)
        : components(normalize(std::move(publicComponents))),
          name(std::move(keyName)),
          publicKey(std::make_shared<const Crypto::PreparedKey>(Crypto::makePublicKey(components))),
          storeKey(std::move(store)) {}

    State(const State& pair, std::nullptr_t)
        : components(pair.components), name(pair.name), publicKey(pair.publicKey) {}

    [[nodiscard]] const StoreKey& privateKey() const {
        if (!storeKey) throw SecurityError("This operation needs a private key.");
        return *storeKey;
    }
};

SecKey::SecKey(PublicComponents components, KeyName name)
    : state_(std::make_shared<const State>(std::move(components), std::move(name), nullptr)) {}

SecKey::SecKey(std::shared_ptr<const StoreKey> storeKey) {
    auto components = storeKey->publicComponents();
    auto name = storeKey->name();
    state_ = std::make_shared<const State>(std::move(components), std::move(name), std::move(storeKey));
}

SecKey::SecKey(std::shared_ptr<const State> state) noexcept : state_(std::move(state)) {}

bool SecKey::isPublicKey() const noexcept {
    return state_->storeKey == nullptr;
}

const PublicComponents& SecKey::publicComponents() const noexcept {
    return state_->components;
}

const KeyName& SecKey::name() const noexcept {
    return state_->name;
}

std::optional<EllipticCurve> SecKey::curve() const noexcept {
    const auto* point = std::get_if<ECPublicComponents>(&state_->components);
    return point ? std::optional(point->curve) : std::nullopt;
}

std::size_t SecKey::signatureSize() const noexcept {
    const auto* rsa = std::get_if<RSAPublicComponents>(&state_->components);
    return rsa ? rsa->modulus.size() : 2 * coordinateSize(*curve());
}

SecKey SecKey::publicKey() const {
    return isPublicKey() ? *this : SecKey(std::make_shared<const State>(*state_, nullptr));
}

std::string SecKey::publicKeyPem() const {
    return Crypto::writePublicKeyPem(state_->publicKey->get());
}

ByteBuffer SecKey::sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const {
    const auto& key = state_->privateKey();
    if ((scheme == SignatureScheme::ECDSA) != curve().has_value() || digest.size() != digestSize(hash)) {
        throw SecurityError(
            "The scheme does not belong to the family of the key, or the digest does not have the size of the hash.");
    }
    if (hash == HashFunction::SHA1) throw SecurityError("Signatures with SHA-1 are not supported.");
    auto signature = key.sign(scheme, hash, digest);
    if (signature.size() != signatureSize()) {
        throw SecurityError("The key store gave a signature of the wrong length.");
    }
    return signature;
}

std::optional<SecretBuffer> SecKey::decrypt(HashFunction oaepHash, ByteView ciphertext) const {
    const auto& key = state_->privateKey();
    if (curve()) throw SecurityError("Decryption needs an RSA key.");
    return key.decrypt(oaepHash, ciphertext);
}

SecretBuffer SecKey::agree(const SecKey& peer) const {
    if (!curve() || peer.curve() != curve()) throw SecurityError("Key agreement needs two EC keys on one curve.");
    auto secret = state_->privateKey().agree(peer);
    if (secret.size() != coordinateSize(*curve())) {
        throw SecurityError("The key store gave a shared secret of the wrong length.");
    }
    return secret;
}

bool SecKey::verify(SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature) const {
    return hash != HashFunction::SHA1 && Crypto::verify(*state_->publicKey, scheme, hash, digest, signature);
}

ByteBuffer SecKey::encrypt(HashFunction oaepHash, ByteView plaintext) const {
    return Crypto::encryptOaep(*state_->publicKey, oaepHash, plaintext);
}

EVP_PKEY* SecKeyAccess::publicPkey(const SecKey& key) noexcept {
    return key.state_->publicKey->get();
}

}  // namespace Torvane
