// Repeated calls of one operation, for tools that count instructions:
//
//     valgrind --tool=callgrind --toggle-collect=countedCall instruction_count WHO OPERATION ENC SIZE COUNT
//
// Run it with two different counts: the difference in instructions divided by the difference in counts is one call.
// Callgrind counts inside countedCall() only, because loading keys uses random numbers and varies from run to run.
#include <exception>
#include <iostream>
#include <string>

#include "bench/shared/operation.hpp"

extern "C" [[gnu::noinline]] void countedCall(const Bench::Operation& operation) {
    operation();
}

int main(int count, char** arguments) try {
    if (count != 6) {
        std::cerr << "usage: instruction_count WHO encode|decode|verify_encrypt ENC SIZE COUNT\n";
        return 2;
    }
    const auto operation = Bench::makeOperation(arguments[1], arguments[2], arguments[3], std::stoul(arguments[4]));
    for (auto left = std::stoul(arguments[5]); left > 0; --left) countedCall(operation);
} catch (const std::exception& error) {
    std::cerr << "instruction_count: " << error.what() << '\n';
    return 1;
}
