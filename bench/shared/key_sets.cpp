#include "bench/shared/key_sets.hpp"

#include "torvane/torvane.hpp"

#include "bench/shared/party.hpp"

namespace Bench {

std::string makeKeySet(std::size_t count, const std::string& id) {
    using namespace Torvane;
    const auto key = SoftwareKeyStore::load(asBytes(readKeys().decryption)).publicKey();
    const auto jwk = JOSE::RSAPublicKey(key, {});
    const auto numbers = R"("n":")" + jwk["n"].value() + R"(","e":")" + jwk["e"].value() + R"("})";
    std::string text = R"({"keys":[)";
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) text += ',';
        text += R"({"kty":"RSA","use":"sig","kid":")" + (id.empty() ? "k" + std::to_string(i) : id) + "\"," + numbers;
    }
    return text + "]}";
}

}  // namespace Bench
