#include "bench/shared/floor.hpp"

#include <algorithm>
#include <string_view>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/params.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include "torvane/torvane.hpp"

namespace Bench {
namespace {

using Bio = Handle<BIO, BIO_free>;

PkeyContext makeContext(EVP_PKEY* key, int (*initialize)(EVP_PKEY_CTX*)) {
    auto context = owned<PkeyContext>(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    check(initialize(context.get()) == 1);
    return context;
}

PkeyContext makeSignatureContext(EVP_PKEY* key, int (*initialize)(EVP_PKEY_CTX*)) {
    auto context = makeContext(key, initialize);
    check(EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256()) == 1);
    if (EVP_PKEY_is_a(key, "RSA") == 1) {
        check(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1);
    }
    return context;
}

PkeyContext makeOaepContext(EVP_PKEY* key, int (*initialize)(EVP_PKEY_CTX*)) {
    auto context = makeContext(key, initialize);
    check(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING) == 1);
    check(EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_sha256()) == 1);
    check(EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), EVP_sha256()) == 1);
    return context;
}

Bytes decodePart(std::string_view part) {
    auto bytes = Torvane::decodeBase64url(part);
    check(bytes.has_value());
    return *std::move(bytes);
}

}  // namespace

TokenParts splitToken(View token, ContentFloor& content) {
    std::array<std::string_view, 5> parts;
    std::string_view rest(reinterpret_cast<const char*>(token.data()), token.size());
    for (auto& part : parts) {
        part = rest.substr(0, rest.find('.'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    }
    const auto iv = decodePart(parts[2]), tag = decodePart(parts[4]);
    check(rest.empty() && iv.size() == content.iv.size() && tag.size() == content.tag.size());
    std::copy(iv.begin(), iv.end(), content.iv.begin());
    std::copy(tag.begin(), tag.end(), content.tag.begin());
    return {Bytes(parts[0].begin(), parts[0].end()), decodePart(parts[1]), decodePart(parts[3])};
}

Pkey readKey(const std::string& pem) {
    const auto text = owned<Bio>(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    return owned<Pkey>(PEM_read_bio_PrivateKey(text.get(), nullptr, nullptr, nullptr));
}

HashFloor::HashFloor()
    : algorithm_(owned<Digest>(EVP_MD_fetch(nullptr, "SHA256", nullptr))),
      context_(owned<DigestContext>(EVP_MD_CTX_new())) {}

const HashFloor::Hash& HashFloor::operator()(View input) {
    check(EVP_DigestInit_ex2(context_.get(), algorithm_.get(), nullptr) == 1);
    check(EVP_DigestUpdate(context_.get(), input.data(), input.size()) == 1);
    check(EVP_DigestFinal_ex(context_.get(), hash_.data(), nullptr) == 1);
    return hash_;
}

SignatureFloor::SignatureFloor(EVP_PKEY* key)
    : signing_(makeSignatureContext(key, EVP_PKEY_sign_init)),
      verifying_(makeSignatureContext(key, EVP_PKEY_verify_init)),
      signature_(static_cast<std::size_t>(EVP_PKEY_get_size(key))) {}

void SignatureFloor::sign(View input) {
    const auto& hash = hash_(input);
    size_ = signature_.size();
    check(EVP_PKEY_sign(signing_.get(), signature_.data(), &size_, hash.data(), hash.size()) == 1);
}

void SignatureFloor::verify(View input) {
    const auto& hash = hash_(input);
    check(EVP_PKEY_verify(verifying_.get(), signature_.data(), size_, hash.data(), hash.size()) == 1);
}

void SignatureFloor::setSignature(View signature) {
    check(signature.size() <= signature_.size());
    std::copy(signature.begin(), signature.end(), signature_.begin());
    size_ = signature.size();
}

ContentFloor::ContentFloor(const std::string& enc)
    : iv(enc == "A256GCM" ? 12 : 16),
      isGcm_(enc == "A256GCM"),
      cipher_(owned<Cipher>(EVP_CIPHER_fetch(nullptr, isGcm_ ? "AES-256-GCM" : "AES-128-CBC", nullptr))),
      encrypting_(owned<CipherContext>(EVP_CIPHER_CTX_new())),
      decrypting_(owned<CipherContext>(EVP_CIPHER_CTX_new())),
      mac_(owned<Mac>(EVP_MAC_fetch(nullptr, "HMAC", nullptr))),
      macContext_(owned<MacContext>(EVP_MAC_CTX_new(mac_.get()))) {
    check(isGcm_ || enc == "A128CBC-HS256");
    check(EVP_EncryptInit_ex2(encrypting_.get(), cipher_.get(), nullptr, nullptr, nullptr) == 1);
    check(EVP_DecryptInit_ex2(decrypting_.get(), cipher_.get(), nullptr, nullptr, nullptr) == 1);
    std::string hash = "SHA256";
    const std::array params{OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, hash.data(), hash.size()),
                            OSSL_PARAM_construct_end()};
    check(EVP_MAC_CTX_set_params(macContext_.get(), params.data()) == 1);
}

void ContentFloor::makeKey() {
    check(RAND_bytes(key.data(), static_cast<int>(key.size())) == 1);
}

void ContentFloor::makeIv() {
    check(RAND_bytes(iv.data(), static_cast<int>(iv.size())) == 1);
}

// The first half of the key authenticates, the second half encrypts (RFC 7518, section 5.2.2.1).
void ContentFloor::authenticate(View additionalData, View ciphertext) {
    std::array<std::uint8_t, 8> bits{};
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = static_cast<std::uint8_t>(std::uint64_t{additionalData.size()} * 8 >> (56 - 8 * i));
    }
    check(EVP_MAC_init(macContext_.get(), key.data(), key.size() / 2, nullptr) == 1);
    for (const View part : {additionalData, View(iv), ciphertext, View(bits)}) {
        check(EVP_MAC_update(macContext_.get(), part.data(), part.size()) == 1);
    }
    std::size_t size = 0;
    check(EVP_MAC_final(macContext_.get(), fullTag_.data(), &size, fullTag_.size()) == 1);
    check(size == fullTag_.size());
}

std::size_t ContentFloor::run(EVP_CIPHER_CTX* context, View additionalData, View in, std::uint8_t* out) const {
    int written = 0, last = 0;
    if (isGcm_) {
        const auto size = static_cast<int>(additionalData.size());
        check(EVP_CipherUpdate(context, nullptr, &written, additionalData.data(), size) == 1);
    }
    check(EVP_CipherUpdate(context, out, &written, in.data(), static_cast<int>(in.size())) == 1);
    check(EVP_CipherFinal_ex(context, out + written, &last) == 1);
    return static_cast<std::size_t>(written) + static_cast<std::size_t>(last);
}

std::size_t ContentFloor::encrypt(View additionalData, View in, std::uint8_t* out) {
    auto* const context = encrypting_.get();
    const auto* cipherKey = key.data() + (isGcm_ ? 0 : key.size() / 2);
    check(EVP_EncryptInit_ex2(context, nullptr, cipherKey, iv.data(), nullptr) == 1);
    const auto written = run(context, additionalData, in, out);
    if (isGcm_) {
        check(EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, static_cast<int>(tag.size()), tag.data()) == 1);
    } else {
        authenticate(additionalData, {out, written});
        std::copy_n(fullTag_.begin(), tag.size(), tag.begin());
    }
    return written;
}

std::size_t ContentFloor::decrypt(View additionalData, View in, std::uint8_t* out) {
    auto* const context = decrypting_.get();
    if (!isGcm_) {
        authenticate(additionalData, in);
        check(CRYPTO_memcmp(fullTag_.data(), tag.data(), tag.size()) == 0);
    }
    const auto* cipherKey = key.data() + (isGcm_ ? 0 : key.size() / 2);
    check(EVP_DecryptInit_ex2(context, nullptr, cipherKey, iv.data(), nullptr) == 1);
    if (isGcm_) {
        check(EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tag.size()), tag.data()) == 1);
    }
    return run(context, additionalData, in, out);
}

MessageFloor::MessageFloor(const Keys& keys, const std::string& enc, View token)
    : signingKey_(readKey(keys.signing)),
      decryptionKey_(readKey(keys.decryption)),
      signature_(signingKey_.get()),
      wrapping_(makeOaepContext(decryptionKey_.get(), EVP_PKEY_encrypt_init)),
      unwrapping_(makeOaepContext(decryptionKey_.get(), EVP_PKEY_decrypt_init)),
      content_(enc) {
    auto parts = splitToken(token, content_);
    jweHeader_ = std::move(parts.header);
    encryptedKey_ = std::move(parts.encryptedKey);
    ciphertext_ = std::move(parts.ciphertext);
    decrypted_.resize(ContentFloor::maximumSize(ciphertext_.size()));
    decrypt();
    jws_.assign(decrypted_.begin(), decrypted_.begin() + static_cast<std::ptrdiff_t>(decryptedSize_));
    const std::string_view jws(reinterpret_cast<const char*>(jws_.data()), jws_.size());
    signedSize_ = jws.rfind('.');
    signature_.setSignature(decodePart(jws.substr(signedSize_ + 1)));
    checkSelf();
}

// Checks that no step is missing: encoding and decoding restores the input, and every fault is detected.
void MessageFloor::checkSelf() {
    decode();
    const Bytes signature(signature_.signature().begin(), signature_.signature().end());
    const auto wrongSignature = Bytes(signature.size(), 1);
    signature_.setSignature(wrongSignature);
    for (const auto run : {&MessageFloor::encode, &MessageFloor::verifyEncrypt}) {
        const auto key = content_.key;
        const auto iv = content_.iv;
        std::fill(ciphertext_.begin(), ciphertext_.end(), 0);
        std::fill(decrypted_.begin(), decrypted_.end(), 0);
        (this->*run)();
        decode();
        check(content_.key != key && content_.iv != iv && decryptedSize_ == jws_.size());
        check(std::equal(jws_.begin(), jws_.end(), decrypted_.begin()));
        // PKCS #1 v1.5 signatures are deterministic.
        check(std::equal(signature.begin(), signature.end(), signature_.signature().begin()));
    }
    for (auto* byte : {&encryptedKey_.back(), &content_.tag.back(), &ciphertext_.front(), &jweHeader_.front()}) {
        *byte ^= 1;
        check(fails([this] { decode(); }));
        *byte ^= 1;
    }
    jws_.front() ^= 1;
    check(fails([this] { verifyEncrypt(); }));
    jws_.front() ^= 1;
    signature_.setSignature(wrongSignature);
    check(fails([this] { decode(); }));
    encode();
    decode();
}

void MessageFloor::encode() {
    signature_.sign(signingInput(jws_));
    encrypt();
}

void MessageFloor::decode() {
    decrypt();
    signature_.verify(signingInput(decrypted_));
}

void MessageFloor::verifyEncrypt() {
    signature_.verify(signingInput(jws_));
    encrypt();
}

void MessageFloor::encrypt() {
    content_.makeKey();
    content_.makeIv();
    std::size_t size = encryptedKey_.size();
    const auto& key = content_.key;
    check(EVP_PKEY_encrypt(wrapping_.get(), encryptedKey_.data(), &size, key.data(), key.size()) == 1);
    check(content_.encrypt(jweHeader_, jws_, ciphertext_.data()) == ciphertext_.size());
}

void MessageFloor::decrypt() {
    std::array<std::uint8_t, 256> unwrapped{};
    std::size_t size = unwrapped.size();
    check(EVP_PKEY_decrypt(unwrapping_.get(), unwrapped.data(), &size, encryptedKey_.data(), encryptedKey_.size()) ==
          1);
    check(size == content_.key.size());
    std::copy_n(unwrapped.begin(), size, content_.key.begin());
    decryptedSize_ = content_.decrypt(jweHeader_, ciphertext_, decrypted_.data());
}

}  // namespace Bench
