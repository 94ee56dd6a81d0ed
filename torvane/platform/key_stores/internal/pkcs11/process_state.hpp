// Whether this process may still call the PKCS #11 drivers: not at its exit.
#pragma once

#include <string>

namespace Torvane::PKCS11 {

/// Whether the exit handlers of this process run already. A driver destroys its static variables at about that time,
/// and must not be called any more.
bool isExiting() noexcept;

/// Makes isExiting() true before the static variables of a driver are destroyed: exit handlers run in reverse order, so
/// this has to be called when the driver is running. Only the first call for the file of a driver does anything, since
/// p11-kit keeps drivers loaded.
/// @throws std::bad_alloc
void watchExit(const std::string& driverFile);

}  // namespace Torvane::PKCS11
