#include "torvane/platform/key_stores/internal/pkcs11/process_state.hpp"

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <set>

namespace Torvane::PKCS11 {
namespace {

std::atomic<bool> hasExitBegun = false;

struct WatchedDrivers {
    std::mutex mutex;
    std::set<std::string> files;
};

// Never destroyed, since other threads may go on while the process exits.
WatchedDrivers& watchedDrivers() {
    static auto& drivers = *new WatchedDrivers;
    return drivers;
}

}  // namespace

bool isExiting() noexcept {
    return hasExitBegun;
}

void watchExit(const std::string& driverFile) {
    auto& drivers = watchedDrivers();
    const std::lock_guard lock(drivers.mutex);
    if (drivers.files.contains(driverFile)) return;
    if (std::atexit([] { hasExitBegun = true; }) != 0) throw std::bad_alloc();
    drivers.files.insert(driverFile);
}

}  // namespace Torvane::PKCS11
