#include <windows.h>

#include "torvane/platform/system/process.hpp"

namespace Torvane::System {

int readProcessId() noexcept {
    return static_cast<int>(::GetCurrentProcessId());
}

}  // namespace Torvane::System
