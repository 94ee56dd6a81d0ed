#include "bench/shared/agreement_floor.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include <openssl/core_names.h>
#include <openssl/ec.h>

#include "torvane/torvane.hpp"

namespace Bench {
namespace {

constexpr std::size_t coordinateSize = 32, counterSize = 4;

// Reads the sender's ephemeral public key ("epk") from the header, as an uncompressed point.
Bytes readSenderPoint(View encodedHeader) {
    const auto text = Torvane::decodeBase64url(Torvane::asText(encodedHeader)).value();
    const auto header = Torvane::JSONSerialization::jsonObject(text).to<Torvane::JSONValue::Object>().value();
    const auto& members = *header.at("epk").as<Torvane::JSONValue::Object>();
    Bytes point{POINT_CONVERSION_UNCOMPRESSED};
    for (const auto* name : {"x", "y"}) {
        const auto coordinate = Torvane::decodeBase64url(*Torvane::stringMember(members, name)).value();
        point.insert(point.end(), coordinate.begin(), coordinate.end());
    }
    return point;
}

// The input of the key derivation: counter, space for the shared secret, algorithm name, empty PartyUInfo and
// PartyVInfo, and the key size in bits.
Bytes makeDerivationInput(std::string_view enc) {
    Bytes input{0, 0, 0, 1};
    input.resize(counterSize + coordinateSize);
    const auto append = [&input](std::initializer_list<std::size_t> bytes) {
        for (const auto byte : bytes) input.push_back(static_cast<std::uint8_t>(byte));
    };
    append({0, 0, 0, enc.size()});
    input.insert(input.end(), enc.begin(), enc.end());
    append({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0});
    return input;
}

}  // namespace

AgreementFloor::AgreementFloor(const std::string& pem, View token)
    : recipient_(readKey(pem)),
      sender_(owned<Pkey>(EVP_PKEY_new())),
      generating_(owned<PkeyContext>(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr))),
      agreeing_(owned<PkeyContext>(EVP_PKEY_CTX_new_from_pkey(nullptr, recipient_.get(), nullptr))),
      derivation_(makeDerivationInput("A128CBC-HS256")) {
    check(EVP_PKEY_copy_parameters(sender_.get(), recipient_.get()) == 1);
    check(EVP_PKEY_keygen_init(generating_.get()) == 1);
    check(EVP_PKEY_CTX_set_group_name(generating_.get(), "P-256") == 1);
    check(EVP_PKEY_derive_init(agreeing_.get()) == 1);

    auto parts = splitToken(token, content_);
    const auto point = readSenderPoint(parts.header);
    check(point.size() == point_.size());
    std::copy(point.begin(), point.end(), point_.begin());
    header_ = std::move(parts.header);
    ciphertext_ = std::move(parts.ciphertext);
    decrypted_.resize(ContentFloor::maximumSize(ciphertext_.size()));
    const auto size = decrypt();
    plaintext_.assign(decrypted_.begin(), decrypted_.begin() + static_cast<std::ptrdiff_t>(size));
    std::fill(decrypted_.begin(), decrypted_.end(), 0);

    encrypt();
    check(decrypt() == size && std::equal(plaintext_.begin(), plaintext_.end(), decrypted_.begin()));
    check(!std::equal(point.begin(), point.end(), point_.begin()));
    ++content_.tag.front();
    check(fails([this] { decrypt(); }));
    encrypt();
}

// OpenSSL has checked on reading that the point lies on the curve; P-256 needs no further validation.
void AgreementFloor::agree(EVP_PKEY_CTX* context, EVP_PKEY* otherKey) {
    check(EVP_PKEY_derive_set_peer_ex(context, otherKey, 0) == 1);
    std::size_t size = coordinateSize;
    check(EVP_PKEY_derive(context, derivation_.data() + counterSize, &size) == 1 && size == coordinateSize);
    content_.key = hash_(derivation_);
}

void AgreementFloor::encrypt() {
    EVP_PKEY* generated = nullptr;
    check(EVP_PKEY_generate(generating_.get(), &generated) == 1);
    const Pkey ephemeral(generated);
    const auto context = owned<PkeyContext>(EVP_PKEY_CTX_new_from_pkey(nullptr, generated, nullptr));
    check(EVP_PKEY_derive_init(context.get()) == 1);
    agree(context.get(), recipient_.get());
    std::size_t size = 0;
    check(EVP_PKEY_get_octet_string_param(generated, OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, point_.data(), point_.size(),
                                          &size) == 1);
    check(size == point_.size());
    content_.makeIv();
    check(content_.encrypt(header_, plaintext_, ciphertext_.data()) == ciphertext_.size());
}

std::size_t AgreementFloor::decrypt() {
    check(EVP_PKEY_set1_encoded_public_key(sender_.get(), point_.data(), point_.size()) == 1);
    agree(agreeing_.get(), sender_.get());
    return content_.decrypt(header_, ciphertext_, decrypted_.data());
}

}  // namespace Bench
