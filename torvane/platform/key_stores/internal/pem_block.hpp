// Reader of PEM (RFC 7468), one block after the other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/pem.h>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

// PEM_FLAG_SECURE puts labels and headers into secure memory too.
inline void freeText(char* text) noexcept {
    OPENSSL_secure_free(text);
}

/// A passphrase as OpenSSL takes it.
struct Passphrase {
    const char* text = nullptr;
    int size = 0;
};

/// One block of PEM. Its contents are in OpenSSL's secure memory, if that is set up, and are wiped.
class PemBlock {
  public:
    PemBlock() noexcept = default;
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
    ~PemBlock() { OPENSSL_secure_clear_free(data_, capacity_); }

    /// Reads the next block, once; false when there is none, or when it is malformed.
    bool read(BIO* input) {
        char *label = nullptr, *header = nullptr;
        const int result =
            PEM_read_bio_ex(input, &label, &header, &data_, &size_, PEM_FLAG_SECURE | PEM_FLAG_EAY_COMPATIBLE);
        label_.reset(label);
        header_.reset(header);
        capacity_ = static_cast<std::size_t>(size_);
        return result == 1;
    }

    [[nodiscard]] std::string_view label() const noexcept { return label_.get(); }

    /// How the block is encrypted, the old way (RFC 1421); nothing for a header that OpenSSL does not know.
    [[nodiscard]] std::optional<EVP_CIPHER_INFO> readEncryption() {
        EVP_CIPHER_INFO encryption{};
        if (PEM_get_EVP_CIPHER_INFO(header_.get(), &encryption) != 1) return std::nullopt;
        return encryption;
    }

    bool decrypt(EVP_CIPHER_INFO& encryption, Passphrase passphrase) {
        return PEM_do_header(&encryption, data_, &size_, copyPassphrase, &passphrase) == 1;
    }

    [[nodiscard]] ByteView data() const noexcept { return {data_, static_cast<std::size_t>(size_)}; }

  private:
    static int copyPassphrase(char* buffer, int capacity, int, void* given) noexcept {
        const auto* passphrase = static_cast<const Passphrase*>(given);
        if (passphrase->size > capacity) return -1;
        std::copy_n(passphrase->text, passphrase->size, buffer);
        return passphrase->size;
    }

    Handle<char, freeText> label_, header_;
    unsigned char* data_ = nullptr;
    long size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace Torvane::Crypto
