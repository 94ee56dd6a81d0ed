// Test driver of a fuzz target: runs it on every file of the given folders, so that inputs that once found a fault stay
// tested.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
    int inputs = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& file : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream in(file.path(), std::ios::binary);
            const std::string content{std::istreambuf_iterator<char>(in), {}};
            // A copy of exactly this size, so that a sanitizer detects a read beyond the end.
            const std::vector<char> bytes(content.begin(), content.end());
            try {
                LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s: %s\n", file.path().c_str(), error.what());
                return 1;
            }
            ++inputs;
        }
    }
    std::printf("COUNT corpus inputs %d\n", inputs);
    return inputs == 0 ? 1 : 0;
}
