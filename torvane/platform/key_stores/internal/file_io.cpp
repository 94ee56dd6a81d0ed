#include "torvane/platform/key_stores/internal/file_io.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/file_uri.hpp"

namespace Torvane {
namespace {

constexpr std::size_t maximumFileSize = std::size_t{1} << 20;

[[noreturn]] void fail(const char* what, const std::string& path, const std::string& why) {
    throw KeyStoreError::unavailable("The file " + quoteWithoutPin(path) + " cannot be " + what + ": " + why + ".");
}

[[noreturn]] void failWithErrno(const char* what, const std::string& path) {
    fail(what, path, std::generic_category().message(errno));
}

// An open file, closed at the end of the scope.
class Descriptor {
  public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int number() const noexcept { return number_; }
    bool close() noexcept { return ::close(std::exchange(number_, -1)) == 0; }

  private:
    int number_;
};

bool writeAll(int descriptor, ByteView content) noexcept {
    while (!content.empty()) {
        const auto count = ::write(descriptor, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        content = content.subspan(static_cast<std::size_t>(count));
    }
    return ::fsync(descriptor) == 0;
}

}  // namespace

SecretBuffer readFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) failWithErrno("read", path);
    SecretBuffer content;
    for (std::size_t size = 0;;) {
        content.resize(size + 16384);
        const auto count = ::read(file.number(), content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failWithErrno("read", path);
        size += static_cast<std::size_t>(count);
        if (size > maximumFileSize) fail("read", path, "It is longer than 1 MiB");
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

void writeNewFile(const std::string& path, ByteView content) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (file.number() < 0) failWithErrno("written", path);
    if (!writeAll(file.number(), content) || !file.close()) {
        const int reason = errno;
        ::unlink(path.c_str());
        errno = reason;
        failWithErrno("written", path);
    }
}

}  // namespace Torvane
