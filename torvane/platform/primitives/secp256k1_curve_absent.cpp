// secp256k1 in a library that is built without libsecp256k1.
#include "torvane/platform/primitives/secp256k1_curve.hpp"

namespace Torvane::Crypto::Secp256k1 {

bool isSupported() noexcept {
    return false;
}

bool isPrivateKey(ByteView) noexcept {
    return false;
}

std::optional<Point> parsePublicPoint(ByteView) noexcept {
    return std::nullopt;
}

Point derivePublicPoint(ByteView) {
    requireSupport();
    return {};
}

ByteBuffer sign(ByteView, ByteView) {
    requireSupport();
    return {};
}

bool verify(ByteView, ByteView, ByteView) noexcept {
    return false;
}

}  // namespace Torvane::Crypto::Secp256k1
