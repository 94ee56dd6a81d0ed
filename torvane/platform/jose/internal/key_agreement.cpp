#include "torvane/platform/jose/internal/key_agreement.hpp"

#include "torvane/platform/primitives/key_derivation.hpp"

namespace Torvane::JOSE {
namespace {

void appendNumber(ByteBuffer& out, std::size_t number) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) out.push_back(static_cast<std::uint8_t>(number >> shift));
}

void appendCounted(ByteBuffer& out, ByteView bytes) {
    appendNumber(out, bytes.size());
    out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

SecretBuffer agreeOnKey(const SecKey& own, const SecKey& peer, KeyManagementAlgorithm algorithm,
                        ContentEncryptionAlgorithm encryption, const PartyInfo& info) {
    const auto management = parameters(algorithm);
    const auto content = parameters(encryption);
    const auto keySize = management.isDirect() ? content.keySize : management.wrappingKeySize;

    ByteBuffer otherInfo;
    appendCounted(otherInfo, asBytes(management.isDirect() ? content.name : management.name));
    appendCounted(otherInfo, info.u);
    appendCounted(otherInfo, info.v);
    appendNumber(otherInfo, keySize * 8);
    return Crypto::deriveKeyByConcatKdf(own.agree(peer), otherInfo, keySize);
}

}  // namespace Torvane::JOSE
