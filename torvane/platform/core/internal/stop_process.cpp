#include "torvane/platform/core/internal/stop_process.hpp"

#include <cstdio>
#include <cstdlib>

namespace Torvane {

void stopProcess(std::string_view why) noexcept {
    static_cast<void>(std::fprintf(stderr, "torvane: %.*s\n", static_cast<int>(why.size()), why.data()));
    std::abort();
}

}  // namespace Torvane
