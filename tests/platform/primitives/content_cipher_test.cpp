#include "torvane/platform/primitives/content_cipher.hpp"

#include "torvane/platform/jose/algorithms.hpp"

#include "tests/testing/forge.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;
using namespace Testing;
using enum JOSE::ContentEncryptionAlgorithm;

// All that a decryption is given. The sizes are those of the algorithm.
struct Sealed {
    Sealed(JOSE::ContentEncryptionAlgorithm algorithm, const ByteBuffer& plaintext)
        : hash(JOSE::parameters(algorithm).macHash),
          key(JOSE::parameters(algorithm).keySize),
          iv(JOSE::parameters(algorithm).ivSize, 5),
          additionalData(bytesOf("header")) {
        for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(i);
        std::tie(buffer, tag) = encrypted(algorithm, key, iv, additionalData, plaintext);
    }

    bool open() {
        return hash ? Crypto::decryptCbcHmac(*hash, key, iv, additionalData, tag, buffer)
                    : Crypto::decryptGcm(key, iv, additionalData, tag, buffer);
    }

    std::optional<HashFunction> hash;
    ByteBuffer key, iv, additionalData, buffer, tag;
};

constexpr auto algorithms = {A128GCM, A192GCM, A256GCM, A128CBC_HS256, A192CBC_HS384, A256CBC_HS512};

TEST(ContentCipher, RoundTripsEverySize) {
    for (const auto algorithm : algorithms) {
        for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1000U}) {
            SCOPED_TRACE(std::string(rawValue(algorithm)) + " " + std::to_string(size));
            const ByteBuffer plaintext(size, 7);
            Sealed sealed(algorithm, plaintext);
            EXPECT_EQ(sealed.buffer.size(), sealed.hash ? size / 16 * 16 + 16 : size);
            EXPECT_EQ(sealed.tag.size(), sealed.hash ? sealed.key.size() / 2 : 16);
            EXPECT_TRUE(sealed.open());
            EXPECT_EQ(sealed.buffer, plaintext);
        }
    }
}

TEST(ContentCipher, EveryByteOfTheInputIsAuthenticated) {
    const std::vector<std::pair<const char*, ByteBuffer Sealed::*>> inputs{{"key", &Sealed::key},
                                                                           {"IV", &Sealed::iv},
                                                                           {"additional data", &Sealed::additionalData},
                                                                           {"ciphertext", &Sealed::buffer},
                                                                           {"tag", &Sealed::tag}};
    for (const auto algorithm : algorithms) {
        const Sealed good(algorithm, ByteBuffer(20, 7));
        for (const auto& [name, member] : inputs) {
            // The second half of a key of AES-CBC with HMAC is not authenticated: it may decrypt to wrong padding only.
            const bool isCbcKey = good.hash && member == &Sealed::key;
            for (std::size_t i = 0; i < (good.*member).size() / (isCbcKey ? 2 : 1); ++i) {
                SCOPED_TRACE(std::string(rawValue(algorithm)) + ", byte " + std::to_string(i) + " of the " + name);
                auto changed = good;
                (changed.*member)[i] ^= 0x80;
                EXPECT_FALSE(changed.open());
                EXPECT_TRUE(changed.buffer.empty());
            }
        }
    }
}

TEST(ContentCipher, RejectsShortenedInput) {
    for (const auto algorithm : algorithms) {
        const Sealed good(algorithm, ByteBuffer(20, 7));
        for (const auto member : {&Sealed::additionalData, &Sealed::buffer}) {
            SCOPED_TRACE(rawValue(algorithm));
            auto shortened = good;
            (shortened.*member).pop_back();
            EXPECT_FALSE(shortened.open());
            EXPECT_TRUE(shortened.buffer.empty());
        }
        if (!good.hash) continue;  // the callers of decryptGcm() check the size of the tag
        for (std::size_t size = 0; size < good.tag.size(); ++size) {
            auto shortened = good;
            shortened.tag.resize(size);
            EXPECT_FALSE(shortened.open()) << size;
            EXPECT_TRUE(shortened.buffer.empty()) << size;
        }
    }
}

}  // namespace
