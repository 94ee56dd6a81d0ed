#include "torvane/platform/system/file_lock.hpp"

namespace Torvane::System {

FileLock::FileLock(const std::string& /*path*/, const std::function<void()>& /*onWait*/) {}

FileLock::~FileLock() = default;

}  // namespace Torvane::System
