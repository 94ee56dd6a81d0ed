// Locks of files that several processes change. Only the command takes them.
#pragma once

#include <functional>
#include <string>

namespace Torvane::System {

/// An exclusive lock of a regular file, for its reading and its replacement by NewFile. Other processes that take it
/// wait. Locks nothing on Windows, on a file system without locks, and if the path names no regular file.
class FileLock {
  public:
    /// Waits for the lock. Calls onWait once, if another process holds it.
    FileLock(const std::string& path, const std::function<void()>& onWait);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

  private:
    int number_ = -1;
};

}  // namespace Torvane::System
