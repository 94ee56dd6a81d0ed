#include "cli/files.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using Torvane::ByteBuffer;
using Torvane::ByteView;

constexpr std::size_t chunkSize = std::size_t{1} << 20;
constexpr std::size_t maximumSecretFile = std::size_t{64} << 10;

bool isStandardStream(const std::string& path) noexcept {
    return path.empty() || path == "-";
}

enum class Access { read, write };

[[noreturn]] void fail(Access access, const std::string& path, const std::string& reason) {
    const bool isRead = access == Access::read;
    const auto name = !isStandardStream(path) ? '"' + path + '"' : isRead ? "standard input" : "standard output";
    throw Failure(ExitCode::file, (isRead ? "Cannot read " : "Cannot write ") + name + ": " + reason + '.');
}

[[noreturn]] void failWithErrno(Access access, const std::string& path) {
    fail(access, path, errno == ENODATA ? "No process writes to it" : std::generic_category().message(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ > STDERR_FILENO) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const noexcept { return number_; }

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
    bool isUnwrittenFifo() const noexcept {
        struct stat status {};
        pollfd end{number_, POLLIN, 0};
        return ::fstat(number_, &status) == 0 && S_ISFIFO(status.st_mode) && ::poll(&end, 1, 0) >= 0 &&
               (end.revents & POLLHUP) == 0;
    }

    int number_;
    bool isAtStart_ = true;
};

int claimStandardInput() {
    static bool wasRead = false;
    if (std::exchange(wasRead, true)) {
        throw Failure(ExitCode::usage, "Standard input can be read only once.");
    }
    return STDIN_FILENO;
}

template <class Buffer>
Buffer readAll(const std::string& path, std::size_t maximumSize) {
    // Without waiting for another process to open a FIFO.
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
    Descriptor file(isStandardStream(path) ? claimStandardInput() : ::open(path.c_str(), flags));
    if (file.number() < 0) failWithErrno(Access::read, path);
    Progress progress("reading");
    Buffer content;
    for (std::size_t size = 0;;) {
        if (content.size() - size < chunkSize) content.resize(size + size / 2 + chunkSize);
        const auto count = file.read(content.data() + size, chunkSize);
        if (count < 0) failWithErrno(Access::read, path);
        size += static_cast<std::size_t>(count);
        if (size > maximumSize) fail(Access::read, path, "The file is longer than " + formatSize(maximumSize));
        progress.show(size);
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

// Returns false, with errno set, on failure.
bool writeAll(int descriptor, ByteView content) {
    Progress progress("writing");
    for (std::size_t written = 0; written < content.size();) {
        const auto rest = content.subspan(written);
        const auto count = ::write(descriptor, rest.data(), std::min(rest.size(), chunkSize));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        written += static_cast<std::size_t>(count);
        progress.show(written);
    }
    return true;
}

// The mode of the file to be replaced or, if there is none, of a new file. Nothing for a device, pipe or link, which is
// written to and not replaced.
std::optional<mode_t> modeForReplacement(const std::string& path) noexcept {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        return S_ISREG(status.st_mode) ? std::optional(status.st_mode & 07777) : std::nullopt;
    }
    const auto mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

// Writes a temporary file beside the file, then renames it.
void replaceFile(const std::string& path, mode_t mode, ByteView content) {
    auto temporary = path + ".XXXXXX";
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (file.number() < 0) failWithErrno(Access::write, path);
    if (!writeAll(file.number(), content) || ::fchmod(file.number(), mode) != 0 ||
        ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        ::unlink(temporary.c_str());
        errno = reason;
        failWithErrno(Access::write, path);
    }
}

}  // namespace

void reserveStandardStreams() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) >= 0) continue;
        // open() returns the lowest free number, which is this one.
        static_cast<void>(::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

ByteBuffer readInput(const std::string& path) {
    return readAll<ByteBuffer>(path, SIZE_MAX);
}

Torvane::SecretBuffer readSecretFile(const std::string& path) {
    return readAll<Torvane::SecretBuffer>(path, maximumSecretFile);
}

void writeOutput(const std::string& path, ByteView content) {
    const bool isFile = !isStandardStream(path);
    if (const auto mode = isFile ? modeForReplacement(path) : std::nullopt) return replaceFile(path, *mode, content);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    const Descriptor file(isFile ? ::open(path.c_str(), flags, 0666) : STDOUT_FILENO);
    if (file.number() < 0) failWithErrno(Access::write, path);
    std::string printable;
    if (::isatty(file.number()) == 1) {
        printable = makePrintableLines(Torvane::asText(content));
        content = Torvane::asBytes(printable);
    }
    if (!writeAll(file.number(), content)) failWithErrno(Access::write, path);
}

}  // namespace Command
