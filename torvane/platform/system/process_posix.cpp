#include <unistd.h>

#include "torvane/platform/system/process.hpp"

namespace Torvane::System {

int readProcessId() noexcept {
    return ::getpid();
}

}  // namespace Torvane::System
