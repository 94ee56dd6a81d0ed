// Fuzz target of what a JWE protects, under a content encryption key that the attacker knows. The first byte of the
// input selects the content encryption, the second what the rest is: the plaintext; the ciphertext under a correct tag;
// the initialization vector; the tag; or the encrypted key. Nothing but what the key authenticates comes out.
#include "tests/testing/forge.hpp"
#include "tests/testing/oracle.hpp"
#include "tests/testing/testing.hpp"

namespace {

using namespace Testing;
using enum JOSE::ContentEncryptionAlgorithm;

constexpr std::array encryptions{A128CBC_HS256, A192CBC_HS384, A256CBC_HS512, A128GCM, A192GCM, A256GCM};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    static const auto recipient = publicKey(rsaEnc);
    const auto encryption = encryptions[data[0] % encryptions.size()];
    const ByteBuffer rest(data + 2, data + size);
    const auto part = data[1] % 5;
    const std::string honest(part == 0 ? asText(rest) : "honest");
    ForgedJWE jwe(encryption, R"({"alg":"RSA-OAEP-256","enc":")" + std::string(rawValue(encryption)) + R"("})",
                  recipient, HashFunction::SHA256, honest);
    const auto ciphertext = jwe.ciphertext, iv = jwe.iv, tag = jwe.tag, encryptedKey = jwe.encryptedKey;
    const bool isCbc = JOSE::parameters(encryption).macHash.has_value();
    if (part == 1) jwe.ciphertext = rest;
    if (part == 1 && isCbc) jwe.authenticate();
    if (part == 2) jwe.iv = rest;
    if (part == 3) jwe.tag = rest;
    if (part == 4) jwe.encryptedKey = rest;

    std::optional<ByteBuffer> plaintext;
    const auto decrypter =
        JOSE::Decrypter::create(JOSE::KeyManagementAlgorithm::RSA_OAEP_256, encryption, privateKey(rsaEnc)).value();
    errorTextOf([&] { plaintext = JOSE::ReceivedJWE(jwe.token()).decrypt(decrypter).data(); });
    const bool isHonest =
        jwe.ciphertext == ciphertext && jwe.iv == iv && jwe.tag == tag && jwe.encryptedKey == encryptedKey;
    if (isHonest) require(plaintext && asText(*plaintext) == honest, "an honest token is decrypted");
    if (isHonest || !plaintext) return 0;
    require(part == 1 && isCbc, "a token is changed without its key");
    jwe.encrypt(asText(*plaintext));
    require(jwe.ciphertext == rest, "exactly what was encrypted is returned");
    return 0;
}
