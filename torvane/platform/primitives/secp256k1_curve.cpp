#include "torvane/platform/primitives/secp256k1_curve.hpp"

#include <algorithm>
#include <memory>

#include <secp256k1.h>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/stop_process.hpp"
#include "torvane/platform/primitives/openssl.hpp"
#include "torvane/platform/primitives/secret_random.hpp"

namespace Torvane::Crypto::Secp256k1 {
namespace {

using Context = Handle<secp256k1_context, secp256k1_context_destroy>;

Context makeSigningContext() {
    Context context(secp256k1_context_create(SECP256K1_CONTEXT_NONE));
    SecretBuffer seed(32);
    fillWithRandomSecret(seed);
    if (secp256k1_context_randomize(context.get(), seed.data()) != 1) stopProcess("libsecp256k1 is unusable");
    return context;
}

// Made at its first use and only read afterwards. A context for each signature would double the cost of signing. Never
// destroyed, since exit handlers and detached threads may still sign while the process exits.
const secp256k1_context* signingContext() {
    static const auto& context = *new Context(makeSigningContext());
    return context.get();
}

const secp256k1_context* verifyingContext() noexcept {
    return secp256k1_context_static;
}

bool parse(ByteView encoded, secp256k1_pubkey& point) noexcept {
    // libsecp256k1 also reads the hybrid forms 0x06 and 0x07, which JOSE does not have.
    const bool isJoseForm = encoded.size() == 33 || (encoded.size() == 65 && encoded[0] == 0x04);
    return isJoseForm && secp256k1_ec_pubkey_parse(verifyingContext(), &point, encoded.data(), encoded.size()) == 1;
}

Point serialize(const secp256k1_pubkey& point) noexcept {
    Point encoded{};
    std::size_t size = encoded.size();
    secp256k1_ec_pubkey_serialize(verifyingContext(), encoded.data(), &size, &point, SECP256K1_EC_UNCOMPRESSED);
    return encoded;
}

}  // namespace

bool isSupported() noexcept {
    return true;
}

bool isPrivateKey(ByteView scalar) noexcept {
    return scalar.size() == scalarSize && secp256k1_ec_seckey_verify(verifyingContext(), scalar.data()) == 1;
}

std::optional<Point> parsePublicPoint(ByteView encoded) noexcept {
    secp256k1_pubkey point;
    if (!parse(encoded, point)) return std::nullopt;
    return serialize(point);
}

Point derivePublicPoint(ByteView scalar) {
    secp256k1_pubkey point;
    if (!isPrivateKey(scalar) || secp256k1_ec_pubkey_create(signingContext(), &point, scalar.data()) != 1) {
        throw SecurityError("A secp256k1 private key is 32 bytes, from 1 to the order - 1.");
    }
    return serialize(point);
}

ByteBuffer sign(ByteView scalar, ByteView digest) {
    secp256k1_ecdsa_signature signature;
    if (digest.size() != digestSize || !isPrivateKey(scalar) ||
        secp256k1_ecdsa_sign(signingContext(), &signature, digest.data(), scalar.data(), nullptr, nullptr) != 1) {
        throw SecurityError("Failed to sign with a secp256k1 key.");
    }
    ByteBuffer raw(signatureSize);
    secp256k1_ecdsa_signature_serialize_compact(signingContext(), raw.data(), &signature);
    return raw;
}

bool verify(ByteView point, ByteView digest, ByteView raw) noexcept {
    secp256k1_pubkey key;
    secp256k1_ecdsa_signature signature;
    if (digest.size() != digestSize || raw.size() != signatureSize || !parse(point, key) ||
        secp256k1_ecdsa_signature_parse_compact(verifyingContext(), &signature, raw.data()) != 1) {
        return false;
    }
    secp256k1_ecdsa_signature_normalize(verifyingContext(), &signature, &signature);
    return secp256k1_ecdsa_verify(verifyingContext(), &signature, digest.data(), &key) == 1;
}

}  // namespace Torvane::Crypto::Secp256k1
