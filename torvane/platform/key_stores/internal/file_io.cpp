#include "torvane/platform/key_stores/internal/file_io.hpp"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
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
    fail(what, path, errno == ENODATA ? "No process writes to it" : std::generic_category().message(errno));
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

    // As read() of POSIX, but waits for input. Fails with ENODATA for a FIFO that no process has open for writing.
    ssize_t read(void* data, std::size_t size) noexcept {
        for (;;) {
            const auto count = ::read(number_, data, size);
            if (count == 0 && isAtStart_ && isUnwrittenFifo()) {
                errno = ENODATA;
                return -1;
            }
            isAtStart_ = false;
            if (count >= 0 || (errno != EINTR && errno != EAGAIN)) return count;
            pollfd input{number_, POLLIN, 0};
            if (errno == EAGAIN) ::poll(&input, 1, -1);
        }
    }

  private:
    // At the end of a pipe or FIFO that a process has written to, there is POLLHUP.
    [[nodiscard]] bool isUnwrittenFifo() const noexcept {
        struct stat status {};
        pollfd end{number_, POLLIN, 0};
        return ::fstat(number_, &status) == 0 && S_ISFIFO(status.st_mode) && ::poll(&end, 1, 0) >= 0 &&
               (end.revents & POLLHUP) == 0;
    }

    int number_;
    bool isAtStart_ = true;
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
    // Without waiting for another process to open a FIFO.
    Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number() < 0) failWithErrno("read", path);
    SecretBuffer content;
    for (std::size_t size = 0;;) {
        content.resize(size + 16384);
        const auto count = file.read(content.data() + size, content.size() - size);
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
