// Benchmark of messages: encoding and decoding by the library and its peers, beside the floor, in one run. The ratios
// to the floor are what counts:
//
//     build/release/bench/message_benchmark --benchmark_repetitions=7 --benchmark_enable_random_interleaving
#include <benchmark/benchmark.h>
#include <map>
#include <string>

#include "bench/shared/operation.hpp"
#include "bench/shared/operation_check.hpp"

namespace {

struct Subject {
    std::string who, what, enc;
    std::size_t size;
    std::string name() const { return what + '/' + who + '/' + enc + '/' + std::to_string(size); }
};

void run(benchmark::State& state, const Subject& subject) {
    const auto& [who, what, enc, size] = subject;
    static std::map<std::string, std::string> faults;
    auto fault = faults.find(subject.name());
    if (fault == faults.end()) fault = faults.emplace(subject.name(), Bench::tryOperation(who, what, enc, size)).first;
    if (!fault->second.empty()) {
        state.SkipWithError(fault->second.c_str());
        return;
    }
    const auto operation = Bench::makeOperation(who, what, enc, size);
    for (auto _ : state) operation();
    state.SetLabel(Bench::describeDifference(who, enc));
}

void add(const Subject& subject) {
    benchmark::RegisterBenchmark(subject.name().c_str(), run, subject)->Unit(benchmark::kMicrosecond);
}

}  // namespace

int main(int count, char** arguments) {
    for (const std::string enc : {"A128CBC-HS256", "A256GCM"}) {
        for (const std::size_t size : {100U, 1024U, 64U << 10, 1U << 20, 16U << 20}) {
            for (const std::string what : {"encode", "decode"}) {
                add({"floor", what, enc, size});
                for (const auto& party : Bench::loadParties(enc)) add({party->name(), what, enc, size});
            }
            for (const std::string who : {"floor", "torvane"}) add({who, "verify_encrypt", enc, size});
        }
    }
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
