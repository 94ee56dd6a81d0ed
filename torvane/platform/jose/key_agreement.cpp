#include "torvane/platform/jose/key_agreement.hpp"

#include "torvane/platform/crypto/key_derivation.hpp"

namespace JOSE {
namespace {

void appendNumber(Platform::ByteBuffer& out, std::size_t number) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) out.push_back(static_cast<std::uint8_t>(number >> shift));
}

void appendCounted(Platform::ByteBuffer& out, Platform::ByteView bytes) {
    appendNumber(out, bytes.size());
    out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace

Platform::SecretBuffer agreedKey(const Platform::SecKey& own, const Platform::SecKey& peer,
                                 KeyManagementAlgorithm algorithm, ContentEncryptionAlgorithm encryption,
                                 const PartyInfo& info) {
    const auto management = parameters(algorithm);
    const auto content = parameters(encryption);
    const auto keySize = management.isDirect() ? content.keySize : management.wrappingKeySize;

    Platform::ByteBuffer otherInfo;
    appendCounted(otherInfo, Platform::asBytes(management.isDirect() ? content.name : management.name));
    appendCounted(otherInfo, info.u);
    appendCounted(otherInfo, info.v);
    appendNumber(otherInfo, keySize * 8);
    return Platform::Crypto::concatKdf(own.agree(peer), otherInfo, keySize);
}

}  // namespace JOSE
