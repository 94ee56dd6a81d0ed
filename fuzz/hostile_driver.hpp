// PKCS #11 driver of a token "app" with the private keys "ec", "rsa" and "certified"; the last asks for the PIN each
// time. The input says which calls it answers dishonestly. It repeats: a number of honest calls, the kind of the
// dishonest answer that follows, and what this kind needs. The driver never writes past a buffer, and is honest once
// the input has ended.
#pragma once

#include <cstdint>
#include <map>
#include <p11-kit/pkcs11.h>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "torvane/platform/core/bytes.hpp"

namespace Testing {

using namespace Torvane;

struct HostileDriver {
    using Object = std::map<CK_ATTRIBUTE_TYPE, ByteBuffer>;

    HostileDriver() = default;
    explicit HostileDriver(ByteView bytes);

    /// Answers honestly from now on.
    void becomeHonest() { input = {}; }

    std::uint8_t next();

    /// The result if the session is open; the error for a closed one otherwise.
    CK_RV check(CK_SESSION_HANDLE session, CK_RV result = CKR_OK) const {
        return sessions.contains(session) ? result : CKR_SESSION_HANDLE_INVALID;
    }
    /// Answers a call. An honest answer writes `value` to the `room` bytes at `out`, and its size to `size`, in units
    /// of `unit` bytes.
    CK_RV answer(CK_RV result, ByteBuffer value = {}, void* out = nullptr, CK_ULONG room = 0, CK_ULONG* size = nullptr,
                 CK_ULONG unit = 1);

    static constexpr std::string_view pin = "SECRET0right";

    ByteView input;
    std::size_t honestCalls = 0;
    /// Whether an answer was wrong. An error counts only if it says something about the key or the PIN.
    bool hasLied = false;
    /// The last rule that the store broke; empty if none.
    std::string fault;

    std::set<CK_SESSION_HANDLE> sessions;
    /// The sessions with an unfinished operation.
    std::set<CK_SESSION_HANDLE> busySessions;
    std::map<CK_OBJECT_HANDLE, Object> objects;
    CK_ULONG lastHandle = 100;
    std::vector<CK_OBJECT_HANDLE> found;
    CK_MECHANISM_TYPE mechanism = 0;
    bool isLoggedIn = false;

    std::set<std::pair<CK_USER_TYPE, std::string>> rejectedPins;
    CK_FLAGS tokenFlags = 0;
    bool mayUseLastTry = false;
    /// Whether the token ever showed another serial number, which makes it another token.
    bool wasReplaced = false;
};

/// The driver that the functions use. Assign a new one for each input.
extern HostileDriver driver;

/// The list that C_GetFunctionList returns.
CK_FUNCTION_LIST* driverFunctions();

}  // namespace Testing
