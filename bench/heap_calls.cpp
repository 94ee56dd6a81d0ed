// Heap use of one operation, as a line of JSON: medians of seven calls, after one call that is not counted.
//
//     heap_calls WHO OPERATION ENC SIZE
#include <algorithm>
#include <array>
#include <exception>
#include <iostream>
#include <string>

#include "bench/shared/heap_counter.hpp"
#include "bench/shared/operation.hpp"

int main(int count, char** arguments) try {
    if (count != 5) {
        std::cerr << "usage: heap_calls WHO encode|decode|verify_encrypt ENC SIZE\n";
        return 2;
    }
    Bench::checkHeapWatch();
    const std::string who = arguments[1], what = arguments[2], enc = arguments[3], size = arguments[4];
    const auto operation = Bench::makeOperation(who, what, enc, std::stoul(size));
    operation();

    std::size_t result = 0;
    std::array<std::size_t, 7> peaks{}, allocations{};
    for (std::size_t i = 0; i < peaks.size(); ++i) {
        const Bench::HeapWatch watch;
        result = operation();
        peaks[i] = watch.peakBytes();
        allocations[i] = watch.allocations();
    }
    const auto median = [](auto& values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    std::cout << R"({"who":")" << who << R"(","operation":")" << what << R"(","enc":")" << enc << R"(","size":)" << size
              << R"(,"peak_bytes":)" << median(peaks) << R"(,"allocations":)" << median(allocations)
              << R"(,"result_bytes":)" << result << "}\n";
} catch (const std::exception& error) {
    std::cerr << "heap_calls: " << error.what() << '\n';
    return 1;
}
