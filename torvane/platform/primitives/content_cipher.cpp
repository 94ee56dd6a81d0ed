#include "torvane/platform/primitives/content_cipher.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "torvane/platform/primitives/algorithm_cache.hpp"
#include "torvane/platform/primitives/digest.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {
namespace {

constexpr std::size_t gcmTagSize = 16;

enum class Direction : int { decrypt = 0, encrypt = 1 };

// An AES cipher with key and IV set. EVP checks the size of neither: the caller's algorithm determines both.
class Cipher {
  public:
    Cipher(const EVP_CIPHER* algorithm, Direction direction, ByteView key, ByteView iv)
        : context_(check(EVP_CIPHER_CTX_new(), "set up AES")) {
        const auto mode = static_cast<int>(direction);
        check(EVP_CipherInit_ex2(context_.get(), algorithm, key.data(), iv.data(), mode, nullptr), "set up AES");
    }

    void addAuthenticatedData(ByteView data) {
        static constexpr std::string_view what = "authenticate data";
        forEachCipherChunk(data, [this](ByteView chunk) {
            int written = 0;
            check(EVP_CipherUpdate(context_.get(), nullptr, &written, chunk.data(), toInt(chunk.size(), what)), what);
        });
    }

    // `in` and `out` may be the same memory. Returns how many bytes it wrote.
    std::size_t update(ByteView in, std::uint8_t* out) {
        static constexpr std::string_view what = "run AES";
        std::size_t total = 0;
        forEachCipherChunk(in, [&](ByteView chunk) {
            int written = 0;
            check(EVP_CipherUpdate(context_.get(), out + total, &written, chunk.data(), toInt(chunk.size(), what)),
                  what);
            total += static_cast<std::size_t>(written);
        });
        return total;
    }

    // Returns how many bytes it wrote; nothing when the padding or the tag is wrong.
    std::optional<std::size_t> finish(std::uint8_t* out) {
        int written = 0;
        if (EVP_CipherFinal_ex(context_.get(), out, &written) != 1) return std::nullopt;
        return static_cast<std::size_t>(written);
    }

    [[nodiscard]] EVP_CIPHER_CTX* get() const noexcept { return context_.get(); }

  private:
    CipherContext context_;
};

class GcmEncrypter final : public ContentEncrypter {
  public:
    GcmEncrypter(ByteView key, ByteView iv, ByteView additionalData)
        : cipher_(fetchAes(AesMode::gcm, key.size()), Direction::encrypt, key, iv) {
        cipher_.addAuthenticatedData(additionalData);
    }

    std::size_t update(ByteView plaintext, std::span<std::uint8_t> out) override {
        return cipher_.update(plaintext, out.data());
    }

    std::size_t finish(std::span<std::uint8_t> out) override {
        const auto written = cipher_.finish(out.data());
        if (!written) fail("finish AES-GCM");
        return *written;
    }

    [[nodiscard]] ByteBuffer tag() const override {
        ByteBuffer tag(gcmTagSize);
        check(EVP_CIPHER_CTX_ctrl(cipher_.get(), EVP_CTRL_AEAD_GET_TAG, toInt(tag.size(), "read the tag"), tag.data()),
              "read the tag");
        return tag;
    }

  private:
    ErrorScope scope_;
    Cipher cipher_;
};

// The tag of AES-CBC with HMAC; its key is the first half of the content encryption key.
class CbcHmacTag {
  public:
    CbcHmacTag(HashFunction hash, ByteView key, ByteView iv, ByteView additionalData)
        : hmac_(hash, key.first(key.size() / 2)), additionalBits_(std::uint64_t{additionalData.size()} * 8) {
        hmac_.update(additionalData);
        hmac_.update(iv);
    }

    void update(ByteView ciphertext) { hmac_.update(ciphertext); }

    SecretBuffer finish() {
        std::array<std::uint8_t, 8> length{};
        for (std::size_t i = 0; i < length.size(); ++i) {
            length[length.size() - 1 - i] = static_cast<std::uint8_t>(additionalBits_ >> (8 * i));
        }
        hmac_.update(length);
        auto mac = hmac_.finish();
        mac.resize(mac.size() / 2);
        return mac;
    }

  private:
    Hmac hmac_;
    std::uint64_t additionalBits_;
};

// The AES key of AES-CBC with HMAC.
ByteView cipherHalf(ByteView key) noexcept {
    return key.subspan(key.size() / 2);
}

class CbcHmacEncrypter final : public ContentEncrypter {
  public:
    CbcHmacEncrypter(HashFunction hash, ByteView key, ByteView iv, ByteView additionalData)
        : cipher_(fetchAes(AesMode::cbc, key.size() / 2), Direction::encrypt, cipherHalf(key), iv),
          mac_(hash, key, iv, additionalData) {}

    std::size_t update(ByteView plaintext, std::span<std::uint8_t> out) override {
        const auto written = cipher_.update(plaintext, out.data());
        mac_.update(out.first(written));
        return written;
    }

    std::size_t finish(std::span<std::uint8_t> out) override {
        const auto written = cipher_.finish(out.data());
        if (!written) fail("finish AES-CBC");
        mac_.update(out.first(*written));
        const auto tag = mac_.finish();
        tag_.assign(tag.begin(), tag.end());
        return *written;
    }

    [[nodiscard]] ByteBuffer tag() const override { return tag_; }

  private:
    ErrorScope scope_;
    Cipher cipher_;
    CbcHmacTag mac_;
    ByteBuffer tag_;
};

void wipeAndClear(ByteBuffer& buffer) noexcept {
    wipe(buffer.data(), buffer.size());
    buffer.clear();
}

// Replaces the ciphertext by the plaintext. Returns false, with the buffer wiped and empty, when the tag or the padding
// is wrong.
bool decryptInPlace(Cipher& cipher, ByteBuffer& buffer) {
    const std::size_t written = cipher.update(buffer, buffer.data());
    std::array<std::uint8_t, EVP_MAX_BLOCK_LENGTH> rest{};
    const auto last = cipher.finish(rest.data());
    if (!last) {
        wipeAndClear(buffer);
        return false;
    }
    std::copy_n(rest.begin(), *last, buffer.begin() + static_cast<std::ptrdiff_t>(written));
    buffer.resize(written + *last);
    wipe(rest.data(), rest.size());
    return true;
}

}  // namespace

std::unique_ptr<ContentEncrypter> makeGcmEncrypter(ByteView key, ByteView iv, ByteView additionalData) {
    return std::make_unique<GcmEncrypter>(key, iv, additionalData);
}

std::unique_ptr<ContentEncrypter> makeCbcHmacEncrypter(HashFunction hash, ByteView key, ByteView iv,
                                                       ByteView additionalData) {
    return std::make_unique<CbcHmacEncrypter>(hash, key, iv, additionalData);
}

bool decryptGcm(ByteView key, ByteView iv, ByteView additionalData, ByteView tag, ByteBuffer& buffer) {
    const ErrorScope scope;
    Cipher cipher(fetchAes(AesMode::gcm, key.size()), Direction::decrypt, key, iv);
    check(EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_AEAD_SET_TAG, toInt(tag.size(), "set the tag"),
                              const_cast<std::uint8_t*>(tag.data())),
          "set the tag");
    cipher.addAuthenticatedData(additionalData);
    return decryptInPlace(cipher, buffer);
}

bool decryptCbcHmac(HashFunction hash, ByteView key, ByteView iv, ByteView additionalData, ByteView tag,
                    ByteBuffer& buffer) {
    const ErrorScope scope;
    CbcHmacTag mac(hash, key, iv, additionalData);
    mac.update(buffer);
    if (!equalInConstantTime(mac.finish(), tag)) {
        wipeAndClear(buffer);
        return false;
    }
    Cipher cipher(fetchAes(AesMode::cbc, key.size() / 2), Direction::decrypt, cipherHalf(key), iv);
    return decryptInPlace(cipher, buffer);
}

}  // namespace Torvane::Crypto
