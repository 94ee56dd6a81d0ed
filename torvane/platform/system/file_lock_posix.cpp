#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "torvane/platform/system/file_lock.hpp"

namespace Torvane::System {
namespace {

// Opens a regular file for writing, as NFS demands for an exclusive lock, or else for reading.
int openToLock(const std::string& path) noexcept {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return -1;
    const int number = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    return number >= 0 ? number : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

// Returns false and sets errno if the file was not locked.
bool lock(int number, int flags) noexcept {
    int result = 0;
    do {
        result = ::flock(number, LOCK_EX | flags);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// Whether the path names another file now than the one that is open.
bool wasReplaced(int number, const std::string& path) noexcept {
    struct stat locked {};
    struct stat named {};
    return ::fstat(number, &locked) == 0 && ::stat(path.c_str(), &named) == 0 &&
           (locked.st_dev != named.st_dev || locked.st_ino != named.st_ino);
}

}  // namespace

FileLock::FileLock(const std::string& path, const std::function<void()>& onWait) {
    bool wasToldToWait = false;
    for (;;) {
        number_ = openToLock(path);
        if (number_ < 0) return;
        if (!lock(number_, LOCK_NB)) {
            if (errno != EWOULDBLOCK) return;
            if (!std::exchange(wasToldToWait, true)) onWait();
            if (!lock(number_, 0)) return;
        }
        // The process that held the lock may have replaced the file.
        if (!wasReplaced(number_, path)) return;
        ::close(std::exchange(number_, -1));
    }
}

FileLock::~FileLock() {
    if (number_ >= 0) ::close(number_);
}

}  // namespace Torvane::System
