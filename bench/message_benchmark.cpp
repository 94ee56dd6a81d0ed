// A message out and in again: the library beside the bare primitives, in one run. What counts is their ratio:
//
//     build/release/bench/message_benchmark --benchmark_repetitions=7 --benchmark_report_aggregates_only
//         --benchmark_enable_random_interleaving
#include <benchmark/benchmark.h>

#include "torvane/torvane.hpp"

#include "bench/floor.hpp"

namespace {

using namespace Torvane;

// One party that writes to itself.
JOSEHelper makeHelper() {
    JsonWebKeySet own{std::vector<JsonWebKey>()}, peer{std::vector<JsonWebKey>()};
    for (const auto use : {JWKUse::JWK_SIG, JWKUse::JWK_ENC}) {
        using Zennet::KeyClass, Zennet::KeyType;
        const auto key = Platform::SoftwareKeyStore::generateRSA(2048);
        own.jwks.emplace_back(key, KeyClass::privateKey, KeyType::RSA2048Key, use, "k");
        peer.jwks.emplace_back(key.publicKey(), KeyClass::publicKey, KeyType::RSA2048Key, use, "k");
    }
    return JOSEHelper::Builder().setSenderJwkSet(own, "k").setRecipientJwkSet(peer, "k").create();
}

std::size_t messageSize(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

void encodeFloor(benchmark::State& state) {
    Bench::Floor floor(messageSize(state));
    for (auto _ : state) floor.encode();
}

void encodeMessage(benchmark::State& state) {
    const auto helper = makeHelper();
    const ByteBuffer message(messageSize(state), 7);
    for (auto _ : state) benchmark::DoNotOptimize(helper.encodeMessage(message));
}

void decodeFloor(benchmark::State& state) {
    Bench::Floor floor(messageSize(state));
    for (auto _ : state) floor.decode();
}

void decodeMessage(benchmark::State& state) {
    const auto helper = makeHelper();
    const auto token = helper.encodeMessage(ByteBuffer(messageSize(state), 7));
    for (auto _ : state) benchmark::DoNotOptimize(helper.decodeMessage(token));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1024)->Arg(64 << 10)->Arg(1 << 20)->Arg(16 << 20)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(encodeFloor)->Apply(sizes);
BENCHMARK(encodeMessage)->Apply(sizes);
BENCHMARK(decodeFloor)->Apply(sizes);
BENCHMARK(decodeMessage)->Apply(sizes);

}  // namespace
