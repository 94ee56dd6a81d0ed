// Growth of time and heap with the input: large messages, large key sets, and hostile tokens. Prints lines of JSON:
// {"series":"encode","x":1024,"microseconds":701.2,"peak_bytes":9008}
//
//     growth [quick]     quick leaves out the largest inputs
//
// x is the size in bytes, or the number of keys, dots or parts. Tokens that are malformed must be rejected.
#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "torvane/torvane.hpp"

#include "bench/shared/heap_counter.hpp"
#include "bench/shared/key_sets.hpp"
#include "bench/shared/operation.hpp"

namespace {

using namespace Torvane;
using Zennet::KeyClass, Zennet::KeyType;

using Clock = std::chrono::steady_clock;

constexpr std::size_t kibi = 1024, mebi = kibi * kibi;
constexpr std::size_t maximumRounds = 7;
constexpr auto maximumTime = std::chrono::seconds(2);

// Divides the largest input of each series.
std::size_t divisor = 1;

void measure(const std::string& series, std::size_t x, const std::function<void()>& call) {
    const auto start = Clock::now();
    call();
    std::vector<double> microseconds;
    std::size_t peak = 0;
    while (microseconds.empty() || (microseconds.size() < maximumRounds && Clock::now() - start < maximumTime)) {
        const Bench::HeapWatch watch;
        const auto begin = Clock::now();
        call();
        microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        peak = std::max(peak, watch.peakBytes());
    }
    const auto median = microseconds.begin() + static_cast<std::ptrdiff_t>(microseconds.size() / 2);
    std::nth_element(microseconds.begin(), median, microseconds.end());
    std::cout << R"({"series":")" << series << R"(","x":)" << x << R"(,"microseconds":)" << *median
              << R"(,"peak_bytes":)" << peak << "}\n"
              << std::flush;
}

// Measures a call that must throw one of the library's errors.
void measureRejection(const std::string& series, std::size_t x, const std::function<void()>& call) {
    measure(series, x, [&] {
        try {
            call();
        } catch (const Error&) {
            return;
        }
        throw std::logic_error(series + " was not rejected");
    });
}

std::vector<std::size_t> makeSteps(std::size_t first, std::size_t last, std::size_t factor) {
    std::vector<std::size_t> values;
    for (auto x = first; x <= last / divisor; x *= factor) values.push_back(x);
    return values;
}

const std::string enc = "A128CBC-HS256";

void measureMessages() {
    for (const std::string what : {"encode", "decode"}) {
        for (const auto size : makeSteps(kibi, 64 * mebi, 4)) {
            const auto operation = Bench::makeOperation("torvane", what, enc, size);
            measure(what, size, [&] { operation(); });
        }
    }
}

JsonWebKey loadKey(const std::string& pem, JWKUse use, const char* id) {
    return {SoftwareKeyStore::load(asBytes(pem)), use, id};
}

void measureSets() {
    const auto keys = Bench::readKeys();
    const auto signing = loadKey(keys.signing, JWKUse::JWK_SIG, "sign");
    const auto decryption = loadKey(keys.decryption, JWKUse::JWK_ENC, "decrypt");
    const auto makeHelper = [&](const JsonWebKeySet& recipient) {
        return JOSEHelper::Builder().setSenderJwkSet({decryption}).setRecipientJwkSet(recipient).create();
    };
    const auto message = Bench::makeMessage(100);
    const auto token = Bench::findParty("torvane", enc).encode(message);
    for (const auto count : makeSteps(1, 100'000, 10)) {
        const auto text = Bench::makeKeySet(count);
        measure("set_parse", count, [&] { JsonWebKeySet(asBytes(text)); });
        const JsonWebKeySet set(asBytes(text));
        const JSONValue::Object last{{"kid", "k" + std::to_string(count - 1)},
                                     {"use", JSONValue::opaque(JWKUse::JWK_SIG)},
                                     {"kty", JSONValue::opaque(KeyType::RSA2048Key)}};
        measure("set_find", count, [&] {
            if (set.findKeysFor(last, KeyClass::publicKey).size() != 1) throw std::logic_error("the key was not found");
        });
        measure("helper_create", count, [&] { makeHelper(set); });

        // All keys have the token's key id, and the right one is the last that is tried.
        JsonWebKeySet sameId(asBytes(Bench::makeKeySet(count, "sign")));
        sameId.jwks.emplace_back(signing.key().publicKey(), JWKUse::JWK_SIG, "sign");
        const auto helper = makeHelper(sameId);
        measure("hostile_same_kid", count, [&] {
            if (helper.decodeMessage(token) != message) throw std::logic_error("decoded to a different message");
        });
    }
}

std::string makeFlatHeader(std::string header, std::size_t size) {
    for (std::size_t i = 0; header.size() < size; ++i) header += ",\"m" + std::to_string(i) + "\":0";
    return header + '}';
}

std::string makeNestedHeader(const std::string& header, std::size_t size) {
    const auto depth = (size - header.size()) / 2;
    return header + R"(,"m":)" + std::string(depth, '[') + std::string(depth, ']') + '}';
}

std::string repeat(std::string_view text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) result += text;
    return result;
}

void measureHostileTokens() {
    auto& torvane = Bench::findParty("torvane", enc);
    const auto decode = [&](std::string_view text) { torvane.decode(asBytes(text)); };
    const JWEDecrypter decrypter("RSA-OAEP-256", enc, SoftwareKeyStore::load(asBytes(Bench::readKeys().decryption)));
    const auto token = std::string(asText(torvane.encode(Bench::makeMessage(100))));
    const auto replaceHeader = [&](const std::string& header) {
        return encodeBase64url(asBytes(header)) + token.substr(token.find('.'));
    };
    const std::string start = R"({"alg":"RSA-OAEP-256","enc":")" + enc + R"(","kid":"decrypt")";
    for (const auto size : makeSteps(kibi, mebi, 4)) {
        const auto flat = replaceHeader(makeFlatHeader(start, size));
        const auto nested = replaceHeader(makeNestedHeader(start, size));
        measureRejection("hostile_header_flat", size, [&] { decode(flat); });
        measureRejection("hostile_header_nested", size, [&] { decode(nested); });
    }
    for (const auto count : makeSteps(5, 5'000'000, 10)) {
        for (const auto& [name, part] : {std::pair{"dots", "."}, {"parts", "QUJD."}}) {
            const auto text = repeat(part, count) + "QUJD";
            const auto series = std::string("hostile_") + name;
            measureRejection(series + "_message", count, [&] { decode(text); });
            measureRejection(series + "_jwe", count, [&] { static_cast<void>(decrypter.decryptJWE(text)); });
        }
        const std::string dots(count, '.');
        measureRejection("hostile_dots_structure", count, [&] { JsonWebStructure{dots}; });
        // The structure decodes any number of parts, so the last one must be malformed.
        const auto parts = repeat("QUJD.", count) + "!";
        measureRejection("hostile_parts_structure", count, [&] { JsonWebStructure{parts}; });
    }
    for (const auto size : makeSteps(16 * kibi, 16 * mebi, 4)) {
        // A token is 16/9 times as long as its message: base64url is applied twice.
        auto text = std::string(asText(torvane.encode(Bench::makeMessage(size / 16 * 9))));
        const auto corruptAt = [&](const std::string& series, std::size_t place) {
            auto wrong = text;
            wrong[place] = '!';
            measureRejection(series, text.size(), [&] { decode(wrong); });
        };
        corruptAt("hostile_end", text.size() - 1);
        corruptAt("hostile_ciphertext", text.rfind('.') - 1);
    }
}

}  // namespace

int main(int count, char** arguments) try {
    if (count == 2 && arguments[1] == std::string("quick")) {
        divisor = 16;
    } else if (count != 1) {
        std::cerr << "usage: growth [quick]\n";
        return 2;
    }
    Bench::checkHeapWatch();
    measureMessages();
    measureSets();
    measureHostileTokens();
} catch (const std::exception& error) {
    std::cerr << "growth: " << error.what() << '\n';
    return 1;
}
