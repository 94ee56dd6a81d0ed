// Timing of failed decryptions, by kind of fault: prints the distributions side by side for a person to compare. If an
// attacker could tell them apart, the decrypter would be an oracle.
//
//     failure_timing [ROUNDS]     default 10000; each round decrypts a token of every kind, in random order
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <iostream>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "torvane/torvane.hpp"

#include "tests/testing/forge.hpp"

namespace {

using namespace Torvane;
using Testing::ForgedJWE;

constexpr auto hash = HashFunction::SHA256;

struct Kind {
    std::string name;
    ByteBuffer token;
    std::vector<double> microseconds{};

    double quantile(double share) const {
        auto sorted = microseconds;
        const auto nth = sorted.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), nth, sorted.end());
        return *nth;
    }
};

// Forged tokens, by somebody who knows the content encryption key.
std::vector<Kind> forgeTokens(const SecKey& recipient) {
    const std::vector<std::pair<std::string, std::function<void(ForgedJWE&)>>> faults{
        {"wrong tag", [](ForgedJWE& jwe) { jwe.tag.front() ^= 1; }},
        {"wrong padding, right tag",
         [](ForgedJWE& jwe) {
             jwe.ciphertext.assign(jwe.ciphertext.size(), 0x33);
             jwe.authenticate();
         }},
        {"content encryption key of 31 bytes",
         [&](ForgedJWE& jwe) { jwe.encryptedKey = recipient.encrypt(hash, ByteBuffer(31, 0x42)); }},
        {"wrapped with another hash",
         [&](ForgedJWE& jwe) { jwe.encryptedKey = recipient.encrypt(HashFunction::SHA1, jwe.contentEncryptionKey); }},
        {"wrapped key of random bytes", [](ForgedJWE& jwe) { jwe.encryptedKey.assign(256, 0x55); }},
    };
    std::vector<Kind> kinds;
    for (const auto& [name, fault] : faults) {
        ForgedJWE jwe(JOSE::ContentEncryptionAlgorithm::A128CBC_HS256,
                      R"({"alg":"RSA-OAEP-256","enc":"A128CBC-HS256"})", recipient, hash, std::string(1000, 'm'));
        fault(jwe);
        kinds.push_back({name, jwe.token()});
    }
    return kinds;
}

double microsecondsToFail(const JWEDecrypter& decrypter, const ByteBuffer& token) {
    const auto start = std::chrono::steady_clock::now();
    try {
        static_cast<void>(decrypter.decryptJWE(token));
    } catch (const JOSEError&) {
        return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
    }
    throw std::logic_error("a forged token was decrypted");
}

void print(const std::vector<Kind>& kinds) {
    std::cout << std::left << std::setw(30) << "microseconds until the error" << std::right;
    for (const auto* column : {"p1", "p10", "p50", "p90"}) std::cout << std::setw(9) << column;
    std::cout << '\n' << std::fixed << std::setprecision(1);
    for (const auto& kind : kinds) {
        std::cout << std::left << std::setw(30) << kind.name << std::right;
        for (const double share : {0.01, 0.1, 0.5, 0.9}) std::cout << std::setw(9) << kind.quantile(share);
        std::cout << '\n';
    }
}

}  // namespace

int main(int argc, char** argv) try {
    const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 10'000;
    const auto key = SoftwareKeyStore::generateRSA();
    const JWEDecrypter decrypter("RSA-OAEP-256", "A128CBC-HS256", key);
    auto kinds = forgeTokens(key.publicKey());
    std::mt19937 random(std::random_device{}());
    std::vector<std::size_t> order(kinds.size());
    std::iota(order.begin(), order.end(), 0);
    for (long i = 0; i < rounds; ++i) {
        std::shuffle(order.begin(), order.end(), random);
        for (const auto index : order) {
            kinds[index].microseconds.push_back(microsecondsToFail(decrypter, kinds[index].token));
        }
    }
    print(kinds);
} catch (const std::exception& error) {
    std::cerr << "failure_timing: " << error.what() << '\n';
    return 1;
}
