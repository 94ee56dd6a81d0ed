#include "cli/files.hpp"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "cli/exit_code.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

bool isStandardStream(const std::string& path) noexcept {
    return path.empty() || path == "-";
}

[[noreturn]] void fail(const char* what, const std::string& path) {
    throw Failure(ExitCode::file, std::string("Cannot ") + what + ' ' +
                                      (isStandardStream(path) ? std::string("the standard stream") : '"' + path + '"') +
                                      ": " + std::generic_category().message(errno) + '.');
}

class Descriptor {
  public:
    Descriptor(const std::string& path, int standard, int flags)
        : number_(isStandardStream(path) ? standard : ::open(path.c_str(), flags | O_CLOEXEC, 0666)),
          isOwned_(number_ != standard) {}
    ~Descriptor() {
        if (isOwned_ && number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const noexcept { return number_; }

  private:
    int number_;
    bool isOwned_;
};

template <class Buffer>
Buffer readAll(const std::string& path) {
    constexpr std::size_t step = std::size_t{1} << 20;
    const Descriptor file(path, STDIN_FILENO, O_RDONLY);
    if (file.number() < 0) fail("read", path);
    Progress progress("reading");
    Buffer content;
    for (std::size_t size = 0;;) {
        if (content.size() - size < step) content.resize(size + size / 2 + step);
        const auto count = ::read(file.number(), content.data() + size, step);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("read", path);
        size += static_cast<std::size_t>(count);
        progress.show(size);
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

}  // namespace

Platform::ByteBuffer readInput(const std::string& path) {
    return readAll<Platform::ByteBuffer>(path);
}

Platform::SecretBuffer readSecretFile(const std::string& path) {
    return readAll<Platform::SecretBuffer>(path);
}

void writeOutput(const std::string& path, Platform::ByteView content) {
    const bool isNew = !isStandardStream(path) && ::access(path.c_str(), F_OK) != 0;
    const Descriptor file(path, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    if (file.number() < 0) fail("write", path);
    Progress progress("writing");
    for (std::size_t written = 0; written < content.size();) {
        const auto rest = content.subspan(written);
        const auto count = ::write(file.number(), rest.data(), std::min(rest.size(), std::size_t{1} << 20));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int reason = errno;
            if (isNew) ::unlink(path.c_str());
            errno = reason;
            fail("write", path);
        }
        written += static_cast<std::size_t>(count);
        progress.show(written);
    }
}

}  // namespace Command
