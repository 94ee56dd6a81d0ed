// Searches the memory of a process for the private values of the keys that it uses, from files and from devices.
#include <csignal>
#include <cstdio>
#include <set>
#include <sstream>

#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/primitives/openssl.hpp"

#include "tests/testing/soft_device.hpp"
#include "tests/testing/testing.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

// A running key_user, which signs and decrypts with its keys without a pause.
class KeyUser {
  public:
    explicit KeyUser(const std::string& uris) : output_(::popen(("exec '" TORVANE_KEY_USER "'" + uris).c_str(), "r")) {
        if (output_ == nullptr || std::fscanf(output_, "%d", &process_) != 1) {
            throw std::runtime_error("key_user has failed");
        }
    }
    ~KeyUser() {
        ::kill(process_, SIGKILL);
        ::pclose(output_);
    }
    KeyUser(const KeyUser&) = delete;
    KeyUser& operator=(const KeyUser&) = delete;

    // The contents of all writable memory: heap, stacks, globals.
    std::vector<std::string> memory() const {
        const auto folder = "/proc/" + std::to_string(process_);
        std::ifstream maps(folder + "/maps"), bytes(folder + "/mem", std::ios::binary);
        std::vector<std::string> blocks;
        for (std::string line; std::getline(maps, line);) {
            unsigned long begin = 0, end = 0;
            char access[5] = "";
            if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, access) != 3 || access[1] != 'w') continue;
            std::string block(end - begin, '\0');
            bytes.clear();
            bytes.seekg(static_cast<std::streamoff>(begin));
            if (bytes.read(block.data(), static_cast<std::streamsize>(block.size()))) {
                blocks.push_back(std::move(block));
            }
        }
        return blocks;
    }

  private:
    FILE* output_;
    int process_ = 0;
};

using Names = std::set<std::string>;

// The JWK members of a key whose values were in the process in at least one of `times` looks: as bytes in either order
// (OpenSSL's big numbers are little-endian) or as base64url. The public "n" or "x" shows that the search works.
Names findMembers(const KeyUser& user, const std::string& kid, int times) {
    const auto jwk = json::parse(keyText(kid, "jwk_private"));
    Names found;
    while (times-- > 0) {
        const auto memory = user.memory();
        for (const auto* name : {"n", "x", "d", "p", "q", "dp", "dq", "qi"}) {
            if (!jwk.contains(name) || found.contains(name)) continue;
            const std::string text = jwk[name];
            const auto value = fromBase64(text);
            for (const auto& form :
                 {std::string(value.begin(), value.end()), std::string(value.rbegin(), value.rend()), text}) {
                for (const auto& block : memory) {
                    if (block.find(form) != block.npos) found.insert(name);
                }
            }
        }
    }
    return found;
}

// Whether a prime factor of a 2048-bit RSA modulus was in the process in at least one of `times` looks, in either byte
// order. For keys whose private values the test does not know.
bool holdsAFactor(const KeyUser& user, const SecKey& key, int times) {
    using namespace Torvane::Crypto;
    constexpr std::size_t size = 128;
    const auto& modulus = std::get<RSAPublicComponents>(key.publicComponents()).modulus;
    const Bignum n(BN_bin2bn(modulus.data(), static_cast<int>(modulus.size()), nullptr)), factor(BN_new()),
        rest(BN_new());
    const Handle<BN_CTX, BN_CTX_free> context(BN_CTX_new());
    const auto divides = [&](const std::uint8_t* bytes, bool isLittleEndian) {
        // A quick test first: the primes are odd, and OpenSSL sets their two highest bits.
        const auto high = bytes[isLittleEndian ? size - 1 : 0], low = bytes[isLittleEndian ? 0 : size - 1];
        if (high < 0xc0 || low % 2 == 0) return false;
        (isLittleEndian ? BN_lebin2bn : BN_bin2bn)(bytes, size, factor.get());
        return BN_mod(rest.get(), n.get(), factor.get(), context.get()) == 1 && BN_is_zero(rest.get());
    };
    while (times-- > 0) {
        for (const auto& block : user.memory()) {
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(block.data());
            for (std::size_t at = 0; at + size <= block.size(); ++at) {
                if (divides(bytes + at, false) || divides(bytes + at, true)) return true;
            }
        }
    }
    return false;
}

const std::vector<std::string> kids{rsaSig, rsaEnc, ecP256};
const std::string safe = "not extractable, sensitive";

TEST(ProcessMemory, HoldsThePrivateValuesOfAKeyFromAFile) {
    const TemporaryFolder folder;
    std::string uris;
    for (const auto& kid : kids) uris += " " + folder.write(kid, asBytes(keyText(kid, "pkcs8_pem")));
    const KeyUser user(uris);
    for (const auto& kid : {rsaSig, rsaEnc}) {
        EXPECT_EQ(findMembers(user, kid, 1), (Names{"n", "d", "p", "q", "dp", "dq", "qi"}));
    }
    EXPECT_EQ(findMembers(user, ecP256, 1), (Names{"x", "d"}));
    EXPECT_TRUE(holdsAFactor(user, publicKey(rsaSig), 1));
}

TEST(ProcessMemory, NeverHoldsAPrivateValueOfAKeyInADevice) {
    const SoftDevice device;
    std::string uris;
    for (const auto& kid : kids) {
        device.import(kid, kid, std::to_string(10 + (&kid - kids.data())));
        uris += " '" + DeviceServer::uri("object=" + kid) + "&pin-value=1234'";
        EXPECT_EQ(device.protections()[kid], safe);
    }
    const DeviceServer server(device);
    const KeyUser user(uris);
    for (const auto& kid : {rsaSig, rsaEnc}) EXPECT_EQ(findMembers(user, kid, 20), Names{"n"}) << kid;
    EXPECT_EQ(findMembers(user, ecP256, 20), Names{"x"});
}

TEST(ProcessMemory, NeverHoldsAFactorOfAKeyGeneratedInADevice) {
    const SoftDevice device;
    const DeviceServer server(device);
    const auto uri = [](const char* name) { return DeviceServer::uri(name) + "&pin-value=1234"; };
    const std::string names[] = {uri("object=sign"), uri("object=decrypt"), uri("object=ec")};
    const auto signing = generateRSAKeyAt(names[0], 2048), decrypting = generateRSAKeyAt(names[1], 2048);
    generateECKeyAt(names[2], EllipticCurve::P256);
    const KeyUser user(" '" + names[0] + "' '" + names[1] + "' '" + names[2] + "'");
    EXPECT_EQ(device.protections(),
              (std::map<std::string, std::string>{{"sign", safe}, {"decrypt", safe}, {"ec", safe}}));
    for (const auto& key : {signing, decrypting}) EXPECT_FALSE(holdsAFactor(user, key, 3));
}

}  // namespace
