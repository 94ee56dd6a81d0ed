#include "torvane/platform/primitives/key_derivation.hpp"

#include "torvane/platform/primitives/digest.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;

TEST(KeyWrap, RoundTripsEverySize) {
    for (const std::size_t wrappingSize : {16U, 24U, 32U}) {
        for (const std::size_t size : {16U, 24U, 32U, 48U, 64U}) {
            SCOPED_TRACE(std::to_string(wrappingSize) + " " + std::to_string(size));
            const ByteBuffer wrappingKey(wrappingSize, 3);
            const SecretBuffer key(size, 7);
            const auto wrapped = Crypto::wrapKey(wrappingKey, key);
            EXPECT_EQ(wrapped.size(), size + 8);
            EXPECT_EQ(Crypto::unwrapKey(wrappingKey, wrapped, size), key);
        }
    }
}

TEST(KeyWrap, RejectsWrappingKeysThatAESHasNoSizeFor) {
    const SecurityError expected("Failed to find AES for a key of this size.");
    for (const std::size_t size : {0U, 15U, 17U, 33U}) {
        const ByteBuffer wrappingKey(size, 3);
        EXPECT_ERROR(Crypto::wrapKey(wrappingKey, ByteBuffer(32, 7)), expected);
        EXPECT_ERROR(Crypto::unwrapKey(wrappingKey, ByteBuffer(40, 7), 32), expected);
    }
}

TEST(KeyWrap, RejectsEveryChangedByte) {
    const ByteBuffer wrappingKey(16, 3);
    const auto wrapped = Crypto::wrapKey(wrappingKey, ByteBuffer(32, 7));
    for (std::size_t i = 0; i < wrapped.size(); ++i) {
        auto changed = wrapped;
        changed[i] ^= 1;
        EXPECT_EQ(Crypto::unwrapKey(wrappingKey, changed, 32), std::nullopt) << i;
    }
    EXPECT_EQ(Crypto::unwrapKey(ByteBuffer(16, 4), wrapped, 32), std::nullopt) << "another wrapping key";
}

TEST(KeyWrap, RejectsKeysOfAnotherSize) {
    const ByteBuffer wrappingKey(16, 3);
    const auto wrapped = Crypto::wrapKey(wrappingKey, ByteBuffer(32, 7));
    for (const std::size_t size : {0U, 16U, 24U, 31U, 33U, 40U, 64U}) {
        EXPECT_EQ(Crypto::unwrapKey(wrappingKey, wrapped, size), std::nullopt) << size;
    }
    for (const std::size_t size : {0U, 8U, 16U, 39U}) {
        const auto shortened = ByteView(wrapped).first(size);
        EXPECT_EQ(Crypto::unwrapKey(wrappingKey, shortened, size < 8 ? 0 : size - 8), std::nullopt) << size;
    }
}

// One round of the KDF per digest: SHA-256 of a counter, the secret and the other-info bytes.
ByteBuffer expectedKey(ByteView secret, ByteView otherInfo, std::size_t size) {
    ByteBuffer key;
    for (std::uint8_t counter = 1; key.size() < size; ++counter) {
        ByteBuffer input{0, 0, 0, counter};
        input.insert(input.end(), secret.begin(), secret.end());
        input.insert(input.end(), otherInfo.begin(), otherInfo.end());
        const auto round = Crypto::digest(HashFunction::SHA256, input);
        key.insert(key.end(), round.begin(), round.end());
    }
    key.resize(size);
    return key;
}

TEST(ConcatKdf, DerivesTheRequestedLength) {
    const auto secret = bytesOf("secret"), otherInfo = bytesOf("other info");
    for (const std::size_t size : {1U, 16U, 31U, 32U, 33U, 64U, 100U}) {
        const auto key = Crypto::deriveKeyByConcatKdf(secret, otherInfo, size);
        EXPECT_EQ(ByteBuffer(key.begin(), key.end()), expectedKey(secret, otherInfo, size)) << size;
    }
}

}  // namespace
