#include "torvane/platform/key_stores/internal/pkcs11/token_search.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/process_state.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::PKCS11 {
namespace {

using CString = std::unique_ptr<char, Crypto::Deleter<std::free>>;

// Takes over a driver that p11-kit has loaded.
Driver startDriver(CK_FUNCTION_LIST* loaded) {
    const auto result = p11_kit_module_initialize(loaded);
    if (result != CKR_OK) {
        p11_kit_module_release(loaded);
        throw CallFailure(result, "start");
    }
    Driver driver(loaded, [](CK_FUNCTION_LIST* started) {
        if (isExiting()) return;
        p11_kit_module_finalize(started);
        p11_kit_module_release(started);
    });
    const CString file(p11_kit_module_get_filename(loaded));
    watchExit(file ? file.get() : "");
    return driver;
}

// p11-kit has the text of its last failure, or none.
std::string describeLoadFailure() {
    const char* message = p11_kit_message();
    return message == nullptr ? "It is not a PKCS #11 driver" : message;
}

Driver loadDriver(const char* path) {
    const auto name = "The PKCS #11 driver " + quoteWithoutPin(path);
    CK_FUNCTION_LIST* loaded = p11_kit_module_load(path, 0);
    if (loaded == nullptr) {
        // The reason contains the path.
        throw KeyStoreError::unavailable(name + " cannot be loaded" +
                                         (cutPin(path) == path ? ": " + describeLoadFailure() : "") + ".");
    }
    try {
        return startDriver(loaded);
    } catch (const CallFailure& failure) {
        throw KeyStoreError::unavailable(name + " cannot be started: " + failure.reasonText() + ".");
    }
}

// The drivers that are registered on the machine and can be started.
std::vector<Driver> loadRegisteredDrivers(const URI& uri) {
    std::vector<Driver> drivers;
    CK_FUNCTION_LIST** registered = p11_kit_modules_load(nullptr, 0);
    if (registered == nullptr) {
        throw KeyStoreError::unavailable("The PKCS #11 drivers cannot be loaded: " + describeLoadFailure() + ".");
    }
    for (auto** loaded = registered; *loaded != nullptr; ++loaded) {
        const CString name(p11_kit_module_get_name(*loaded));
        if (uri.moduleName() != nullptr && (!name || std::string_view(name.get()) != uri.moduleName())) {
            p11_kit_module_release(*loaded);
            continue;
        }
        try {
            drivers.push_back(startDriver(*loaded));
        } catch (const CallFailure&) {
            // A driver that does not start has no tokens.
        }
    }
    std::free(registered);
    return drivers;
}

struct Tokens {
    std::vector<FoundToken> matching, others;
};

// A broken driver may report any number of slots.
constexpr CK_ULONG maximumSlots = 10000;

void addTokens(const URI& uri, const Driver& driver, Tokens& tokens) {
    CK_INFO driverInfo{};
    CK_ULONG count = 0;
    if (driver->C_GetInfo(&driverInfo) != CKR_OK || driver->C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK) return;
    if (count > maximumSlots) return;
    std::vector<CK_SLOT_ID> slots(count);
    if (driver->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) return;
    slots.resize(std::min<std::size_t>(count, slots.size()));
    for (const auto slot : slots) {
        CK_SLOT_INFO slotInfo{};
        CK_TOKEN_INFO token{};
        if (driver->C_GetSlotInfo(slot, &slotInfo) != CKR_OK || driver->C_GetTokenInfo(slot, &token) != CKR_OK) {
            continue;
        }
        if ((token.flags & CKF_TOKEN_INITIALIZED) == 0) continue;
        const bool isMatch = uri.matches(driverInfo) && uri.matches(slot, slotInfo) && uri.matches(token);
        (isMatch ? tokens.matching : tokens.others).push_back({driver, slot, token});
    }
}

std::string listLabels(const std::vector<FoundToken>& tokens) {
    std::string list;
    for (const auto& token : tokens) list += (list.empty() ? "" : ", ") + quoteLabel(token.info);
    return list.empty() ? "none" : list;
}

}  // namespace

FoundToken findToken(const URI& uri) {
    Tokens tokens;
    const char* path = uri.modulePath();
    for (const auto& driver : path ? std::vector{loadDriver(path)} : loadRegisteredDrivers(uri)) {
        addTokens(uri, driver, tokens);
    }
    if (tokens.matching.size() == 1) return std::move(tokens.matching.front());
    const auto name = debugQuoted(uri.path());
    const auto others = listLabels(tokens.others) + ".";
    if (tokens.matching.empty()) {
        throw KeyStoreError::unavailable("No PKCS #11 token matches " + name + ". Tokens present: " + others);
    }
    throw KeyStoreError::unavailable("More than one PKCS #11 token matches " + name + ": " +
                                     listLabels(tokens.matching) + ". Other tokens present: " + others);
}

std::string quoteLabel(const CK_TOKEN_INFO& token) {
    const auto size = p11_kit_space_strlen(token.label, sizeof(token.label));
    return debugQuoted({reinterpret_cast<const char*>(token.label), size});
}

}  // namespace Torvane::PKCS11
