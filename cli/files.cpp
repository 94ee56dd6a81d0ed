#include "cli/files.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
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

constexpr std::size_t pieceSize = std::size_t{1} << 20;
constexpr std::size_t longestSecretFile = std::size_t{64} << 10;

bool isStandardStream(const std::string& path) noexcept {
    return path.empty() || path == "-";
}

[[noreturn]] void fail(const char* what, const std::string& path, const std::string& why) {
    throw Failure(ExitCode::file, std::string("Cannot ") + what + ' ' +
                                      (isStandardStream(path) ? std::string("the standard stream") : '"' + path + '"') +
                                      ": " + why + '.');
}

[[noreturn]] void failWithErrno(const char* what, const std::string& path) {
    fail(what, path, std::generic_category().message(errno));
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

  private:
    int number_;
};

int standardInput() {
    static bool wasRead = false;
    if (std::exchange(wasRead, true)) {
        throw Failure(ExitCode::usage, "Only one of the files can be standard input.");
    }
    return STDIN_FILENO;
}

template <class Buffer>
Buffer readAll(const std::string& path, std::size_t longest) {
    const Descriptor file(isStandardStream(path) ? standardInput() : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) failWithErrno("read", path);
    Progress progress("reading");
    Buffer content;
    for (std::size_t size = 0;;) {
        if (content.size() - size < pieceSize) content.resize(size + size / 2 + pieceSize);
        const auto count = ::read(file.number(), content.data() + size, pieceSize);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failWithErrno("read", path);
        size += static_cast<std::size_t>(count);
        if (size > longest) fail("read", path, "It is too long");
        progress.show(size);
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

// False with errno.
bool writeAll(int descriptor, ByteView content) {
    Progress progress("writing");
    for (std::size_t written = 0; written < content.size();) {
        const auto rest = content.subspan(written);
        const auto count = ::write(descriptor, rest.data(), std::min(rest.size(), pieceSize));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        written += static_cast<std::size_t>(count);
        progress.show(written);
    }
    return true;
}

// Of the file that is to be replaced, or as a new one has it. Nothing for what is there and no ordinary file (a device,
// a pipe, a link): that is written to, and not replaced.
std::optional<mode_t> modeOfReplacement(const std::string& path) noexcept {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        return S_ISREG(status.st_mode) ? std::optional(status.st_mode & 07777) : std::nullopt;
    }
    const auto mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

// Beside the file, and then in its place.
void replaceFile(const std::string& path, mode_t mode, ByteView content) {
    auto beside = path + ".XXXXXX";
    const Descriptor file(::mkostemp(beside.data(), O_CLOEXEC));
    if (file.number() < 0) failWithErrno("write", path);
    if (!writeAll(file.number(), content) || ::fchmod(file.number(), mode) != 0 ||
        ::rename(beside.c_str(), path.c_str()) != 0) {
        const int reason = errno;
        ::unlink(beside.c_str());
        errno = reason;
        failWithErrno("write", path);
    }
}

}  // namespace

void holdStandardStreams() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) >= 0) continue;
        // The lowest free number is this one; opened in the other direction, it fails whoever reads or writes.
        static_cast<void>(::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
}

ByteBuffer readInput(const std::string& path) {
    return readAll<ByteBuffer>(path, SIZE_MAX);
}

Torvane::SecretBuffer readSecretFile(const std::string& path) {
    return readAll<Torvane::SecretBuffer>(path, longestSecretFile);
}

void writeOutput(const std::string& path, ByteView content) {
    const bool isFile = !isStandardStream(path);
    if (const auto mode = isFile ? modeOfReplacement(path) : std::nullopt) return replaceFile(path, *mode, content);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    const Descriptor file(isFile ? ::open(path.c_str(), flags, 0666) : STDOUT_FILENO);
    if (file.number() < 0 || !writeAll(file.number(), content)) failWithErrno("write", path);
}

}  // namespace Command
