#include "torvane/platform/key_stores/internal/file_io.hpp"

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/system/file.hpp"

namespace Torvane {
namespace {

constexpr std::size_t maximumFileSize = std::size_t{1} << 20;

[[noreturn]] void fail(const char* what, const std::string& path, const std::string& why) {
    throw KeyStoreError::unavailable("The file " + quoteWithoutPin(path) + " cannot be " + what + ": " + why + ".");
}

}  // namespace

SecretBuffer readFile(const std::string& path) {
    try {
        auto file = System::File::openForReading(path);
        SecretBuffer content;
        for (std::size_t size = 0;;) {
            content.resize(size + 16384);
            const auto count = file.read(std::span(content).subspan(size));
            size += count;
            if (size > maximumFileSize) fail("read", path, "It is longer than 1 MiB");
            if (count == 0) {
                content.resize(size);
                return content;
            }
        }
    } catch (const System::Failure& failure) {
        fail("read", path, failure.what());
    }
}

void writeNewFile(const std::string& path, ByteView content) {
    try {
        System::NewFile file(path);
        file.write(content);
        file.finish();
    } catch (const System::Failure& failure) {
        fail("written", path, failure.what());
    }
}

}  // namespace Torvane
