#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "torvane/platform/system/file.hpp"

namespace Torvane::System {
namespace {

[[noreturn]] void fail() {
    throw Failure(std::generic_category().message(errno));
}

int require(int result) {
    if (result < 0) fail();
    return result;
}

// At the end of a pipe or FIFO that a process has written to, there is POLLHUP.
bool isUnwrittenFifo(int number) noexcept {
    struct stat status {};
    pollfd end{number, POLLIN, 0};
    return ::fstat(number, &status) == 0 && S_ISFIFO(status.st_mode) && ::poll(&end, 1, 0) >= 0 &&
           (end.revents & POLLHUP) == 0;
}

}  // namespace

File File::openForReading(const std::string& path) {
    return {require(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), true};
}

File File::openForWriting(const std::string& path) {
    return {require(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)), true};
}

bool File::closeIfOwned() noexcept {
    return !std::exchange(isOwned_, false) || ::close(number_) == 0;
}

bool File::isTerminal() const noexcept {
    return ::isatty(number_) == 1;
}

std::size_t File::read(std::span<std::uint8_t> out) {
    for (;;) {
        const auto count = ::read(number_, out.data(), out.size());
        if (count == 0 && isAtStart_ && isUnwrittenFifo(number_)) throw Failure("No process writes to it");
        isAtStart_ = false;
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN) fail();
        pollfd input{number_, POLLIN, 0};
        if (errno == EAGAIN) ::poll(&input, 1, -1);
    }
}

void File::write(ByteView content) const {
    while (!content.empty()) {
        const auto count = ::write(number_, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail();
        content = content.subspan(static_cast<std::size_t>(count));
    }
}

std::optional<unsigned> findReplacementMode(const std::string& path) noexcept {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        return S_ISREG(status.st_mode) ? std::optional<unsigned>(status.st_mode & 07777U) : std::nullopt;
    }
    const auto mask = ::umask(0);
    ::umask(mask);
    return 0666U & ~mask;
}

NewFile::NewFile(const std::string& path)
    : unfinished_(path),
      file_(require(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)), true) {}

NewFile::NewFile(const std::string& path, unsigned mode)
    : unfinished_(path + ".XXXXXX"),
      replaced_(path),
      mode_(mode),
      file_(require(::mkostemp(unfinished_.data(), O_CLOEXEC)), true) {}

NewFile::~NewFile() {
    if (!unfinished_.empty()) ::unlink(unfinished_.c_str());
}

void NewFile::finish() {
    if (replaced_.empty()) {
        require(::fsync(file_.number_));
        if (!file_.closeIfOwned()) fail();
    } else {
        require(::fchmod(file_.number_, static_cast<mode_t>(mode_)));
        require(::rename(unfinished_.c_str(), replaced_.c_str()));
    }
    unfinished_.clear();
}

void prepareStandardStreams() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) >= 0) continue;
        // open() returns the lowest free number, which is this one.
        static_cast<void>(::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
    // A write beyond the limit of `ulimit -f` then fails, and the unfinished file is removed.
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

}  // namespace Torvane::System
