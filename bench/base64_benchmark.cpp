// Benchmark of base64url, beside OpenSSL's base64. Rates count the decoded bytes, not the characters.
// base64_benchmark_portable measures the library's code without vector instructions.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <stdexcept>
#include <string>

#include <openssl/evp.h>

#include "torvane/torvane.hpp"

#include "bench/shared/operation.hpp"

namespace {

using Torvane::ByteBuffer;

// Standard base64, by OpenSSL, which also writes a terminating zero.
std::string encodeByOpenSSL(const ByteBuffer& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(text.data());
    const int written = EVP_EncodeBlock(out, bytes.data(), static_cast<int>(bytes.size()));
    if (written + 1 != static_cast<int>(text.size())) throw std::runtime_error("EVP_EncodeBlock failed");
    text.pop_back();
    return text;
}

// The same text in base64url.
std::string convertToBase64url(const ByteBuffer& bytes) {
    auto text = encodeByOpenSSL(bytes);
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    text.resize(std::min(text.find('='), text.size()));
    return text;
}

void require(bool isRight) {
    if (!isRight) throw std::runtime_error("wrong result");
}

void encodeTorvane(benchmark::State& state, const ByteBuffer& bytes) {
    require(Torvane::encodeBase64url(bytes) == convertToBase64url(bytes));
    for (auto _ : state) benchmark::DoNotOptimize(Torvane::encodeBase64url(bytes));
}

void appendTorvane(benchmark::State& state, const ByteBuffer& bytes) {
    ByteBuffer text;
    Torvane::appendBase64url(text, bytes);
    require(Torvane::asText(text) == convertToBase64url(bytes));
    for (auto _ : state) {
        text.clear();
        Torvane::appendBase64url(text, bytes);
        benchmark::DoNotOptimize(text.data());
    }
}

void decodeTorvane(benchmark::State& state, const ByteBuffer& bytes) {
    const auto text = convertToBase64url(bytes);
    require(Torvane::decodeBase64url(text) == bytes);
    for (auto _ : state) benchmark::DoNotOptimize(Torvane::decodeBase64url(text));
}

void checkTorvane(benchmark::State& state, const ByteBuffer& bytes) {
    auto text = convertToBase64url(bytes);
    text[text.size() / 2] = '=';
    require(!Torvane::isBase64url(text));
    text = convertToBase64url(bytes);
    require(Torvane::isBase64url(text));
    for (auto _ : state) benchmark::DoNotOptimize(Torvane::isBase64url(text));
}

// OpenSSL encodes and decodes into a buffer of the caller.
void encodeOpenSSL(benchmark::State& state, const ByteBuffer& bytes) {
    auto text = encodeByOpenSSL(bytes) + '\0';
    auto* const out = reinterpret_cast<unsigned char*>(text.data());
    const auto size = static_cast<int>(bytes.size());
    for (auto _ : state) benchmark::DoNotOptimize(EVP_EncodeBlock(out, bytes.data(), size));
}

void decodeOpenSSL(benchmark::State& state, const ByteBuffer& bytes) {
    const auto text = encodeByOpenSSL(bytes);
    const auto* const in = reinterpret_cast<const unsigned char*>(text.data());
    const auto size = static_cast<int>(text.size());
    ByteBuffer decoded(text.size() / 4 * 3);
    require(EVP_DecodeBlock(decoded.data(), in, size) == static_cast<int>(decoded.size()));
    require(std::equal(bytes.begin(), bytes.end(), decoded.begin()));
    for (auto _ : state) benchmark::DoNotOptimize(EVP_DecodeBlock(decoded.data(), in, size));
}

}  // namespace

int main(int count, char** arguments) {
    const std::initializer_list<std::pair<const char*, void (*)(benchmark::State&, const ByteBuffer&)>> works{
        {"base64_encode/torvane", encodeTorvane}, {"base64_encode/openssl", encodeOpenSSL},
        {"base64_append/torvane", appendTorvane}, {"base64_decode/torvane", decodeTorvane},
        {"base64_decode/openssl", decodeOpenSSL}, {"base64_check/torvane", checkTorvane}};
    for (const std::size_t size : {1024U, 48U << 10, 16U << 20}) {
        for (const auto& [name, work] : works) {
            const auto run = [work = work, size](benchmark::State& state) {
                try {
                    work(state, Bench::makeMessage(size));
                } catch (const std::exception& error) {
                    state.SkipWithError(error.what());
                }
                state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
            };
            benchmark::RegisterBenchmark((name + ('/' + std::to_string(size))).c_str(), run);
        }
    }
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
