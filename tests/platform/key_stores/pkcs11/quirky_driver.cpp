// PKCS #11 driver over SoftHSM that imitates a quirk of other drivers. The environment variable QUIRK names the quirk;
// "C_Decrypt 48" makes C_Decrypt return the error 48.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <p11-kit/pkcs11.h>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace {

CK_FUNCTION_LIST* real = nullptr;
CK_FUNCTION_LIST quirky;
std::atomic<int> openSessions = 0;
std::atomic<bool> wasRemoved = false;
std::atomic<unsigned> timesShown = 0;
std::atomic<unsigned> wrongLogins = 0;
std::atomic<pid_t> startingProcess = 0;
std::atomic<bool> isDestroyed = false;
std::atomic<bool> isReleased = false;

const struct StaticVariable {
    ~StaticVariable() { isDestroyed = true; }
} staticVariable;

bool isQuirk(std::string_view name) {
    const char* quirk = std::getenv("QUIRK");
    return quirk != nullptr && quirk == name;
}

CK_RV errorOf(std::string_view function) {
    const char* quirk = std::getenv("QUIRK");
    if (quirk == nullptr || !std::string_view(quirk).starts_with(std::string(function) + ' ')) return CKR_OK;
    return std::strtoul(quirk + function.size(), nullptr, 10);
}

CK_RV openSession(CK_SLOT_ID slot, CK_FLAGS flags, void* data, CK_NOTIFY notify, CK_SESSION_HANDLE* session) {
    static std::atomic<bool> wasReplaced = false;
    if (!isQuirk("replaced once")) wasReplaced = false;
    if (isQuirk("replaced once") && !wasReplaced.exchange(true)) return ++timesShown, CKR_DEVICE_REMOVED;
    if (const auto error = errorOf("C_OpenSession"); error != CKR_OK) return ++timesShown, error;
    if (++openSessions > 2 && isQuirk("two sessions")) {
        --openSessions;
        ++timesShown;
        return CKR_SESSION_COUNT;
    }
    const auto result = real->C_OpenSession(slot, flags, data, notify, session);
    if (result != CKR_OK) --openSessions;
    return result;
}

// With the quirk "one process", a session crashes a process other than the one that started the driver, and also its
// own process once the static variables of the driver are destroyed.
void requireStartingProcess() {
    if (isQuirk("one process") && (isDestroyed || startingProcess != ::getpid())) std::abort();
}

CK_RV initialize(void* arguments) {
    if (const auto error = errorOf("C_Initialize"); error != CKR_OK) return ++timesShown, error;
    startingProcess = ::getpid();
    return real->C_Initialize(arguments);
}

CK_RV getSessionInfo(CK_SESSION_HANDLE session, CK_SESSION_INFO* info) {
    requireStartingProcess();
    return real->C_GetSessionInfo(session, info);
}

CK_RV closeSession(CK_SESSION_HANDLE session) {
    requireStartingProcess();
    --openSessions;
    return real->C_CloseSession(session);
}

// With the quirk "three tries", the token locks after three wrong PINs in a row.
CK_RV logIn(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_BYTE* pin, CK_ULONG size) {
    if (isQuirk("three tries") && wrongLogins >= 3) return CKR_PIN_LOCKED;
    const auto result = real->C_Login(session, user, pin, size);
    if (result == CKR_OK) wrongLogins = 0;
    if (result == CKR_PIN_INCORRECT) ++wrongLogins, ++timesShown;
    if (const auto error = errorOf("C_Login"); error != CKR_OK) return ++timesShown, error;
    return result;
}

CK_RV getTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    const auto result = real->C_GetTokenInfo(slot, info);
    if (isQuirk("no login")) ++timesShown, info->flags &= ~CK_FLAGS{CKF_LOGIN_REQUIRED};
    if (isQuirk("last try") || (isQuirk("three tries") && wrongLogins == 2)) info->flags |= CKF_USER_PIN_FINAL_TRY;
    return result;
}

CK_RV decryptInit(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key) {
    CK_MECHANISM raw{CKM_RSA_X_509, nullptr, 0};
    const bool isLate = isQuirk("finds out late") || errorOf("C_Decrypt") != CKR_OK;
    return real->C_DecryptInit(session, isLate ? &raw : mechanism, key);
}

CK_RV decrypt(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inSize, CK_BYTE* out, CK_ULONG* outSize) {
    static std::atomic<int> calls = 0;
    if (!isQuirk("removed once")) wasRemoved = false;
    if (isQuirk("removed once") && !wasRemoved.exchange(true)) return ++timesShown, CKR_DEVICE_REMOVED;
    const auto result = real->C_Decrypt(session, in, inSize, out, outSize);
    if (isQuirk("waits")) {
        for (++timesShown; !isReleased;) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } else {
        isReleased = false;
    }
    if (isQuirk("finds out late") && calls++ % 2 == 0) return ++timesShown, CKR_MECHANISM_PARAM_INVALID;
    if (const auto error = errorOf("C_Decrypt"); error != CKR_OK) return ++timesShown, error;
    if (!isQuirk("drops zeros") || result != CKR_OK) return result;
    const auto zeros =
        static_cast<CK_ULONG>(std::string_view(reinterpret_cast<char*>(out), *outSize).find_first_not_of('\0'));
    std::memmove(out, out + zeros, *outSize -= zeros);
    if (zeros != 0) ++timesShown;
    return result;
}

// The quirk "no long digests" shows in every signature: nothing too long may arrive.
CK_RV sign(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inSize, CK_BYTE* out, CK_ULONG* outSize) {
    if (isQuirk("no long digests") && (++timesShown, inSize > 32)) return CKR_DATA_LEN_RANGE;
    return real->C_Sign(session, in, inSize, out, outSize);
}

CK_RV deriveKey(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key, CK_ATTRIBUTE* attributes,
                CK_ULONG count, CK_OBJECT_HANDLE* derived) {
    if (const auto error = errorOf("C_DeriveKey"); error != CKR_OK) return ++timesShown, error;
    return real->C_DeriveKey(session, mechanism, key, attributes, count, derived);
}

CK_RV getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) {
    const auto error = attributes->pValue == nullptr ? CKR_OK : errorOf("C_GetAttributeValue");
    if (error != CKR_OK) return ++timesShown, error;
    const auto result = real->C_GetAttributeValue(session, object, attributes, count);
    // Removes the OCTET STRING header, which has two bytes on P-256.
    if (isQuirk("bare point") && attributes->type == CKA_EC_POINT && attributes->pValue != nullptr) {
        auto* value = static_cast<CK_BYTE*>(attributes->pValue);
        std::memmove(value, value + 2, attributes->ulValueLen -= 2);
        ++timesShown;
    }
    if (isQuirk("absurd size") && attributes->type == CKA_LABEL && attributes->pValue == nullptr) {
        attributes->ulValueLen = ~CK_ULONG{0} - 1;
        ++timesShown;
    }
    if (isQuirk("cut point") && attributes->type == CKA_EC_POINT && attributes->pValue != nullptr) {
        --attributes->ulValueLen;
        ++timesShown;
    }
    return result;
}

std::atomic<bool> searchesByClass = false;

CK_RV findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count) {
    searchesByClass = count == 1;
    return real->C_FindObjectsInit(session, attributes, count);
}

CK_RV findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG maximum, CK_ULONG* count) {
    if (const auto error = errorOf("C_FindObjects"); error != CKR_OK) return ++timesShown, error;
    const auto result = real->C_FindObjects(session, objects, maximum, count);
    if (isQuirk("too many handles")) ++timesShown, *count = maximum + 1;
    if (isQuirk("endless search") || (isQuirk("many objects") && searchesByClass)) {
        ++timesShown;
        for (CK_ULONG i = 0; i < maximum; ++i) objects[i] = 1;
        *count = maximum;
    }
    return result;
}

CK_RV getSlotList(CK_BBOOL onlyWithToken, CK_SLOT_ID* slots, CK_ULONG* count) {
    const auto result = real->C_GetSlotList(onlyWithToken, slots, count);
    if (isQuirk("absurd slots")) ++timesShown, *count = ~CK_ULONG{0} / 2;
    if (isQuirk("more slots later") && slots != nullptr) ++timesShown, *count = ~CK_ULONG{0} / 2;
    return result;
}

CK_RV getSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) {
    if (const auto error = errorOf("C_GetSlotInfo"); error != CKR_OK) return ++timesShown, error;
    return real->C_GetSlotInfo(slot, info);
}

}  // namespace

// How often the driver has behaved unlike SoftHSM.
extern "C" __attribute__((visibility("default"))) unsigned countQuirks() {
    return timesShown;
}

extern "C" __attribute__((visibility("default"))) unsigned countSessions() {
    return static_cast<unsigned>(openSessions);
}

// Lets decryptions of the quirk "waits" go on.
extern "C" __attribute__((visibility("default"))) unsigned releaseDecryption() {
    isReleased = true;
    return 1;
}

// How many wrong PINs were sent since the last login.
extern "C" __attribute__((visibility("default"))) unsigned countWrongLogins() {
    return wrongLogins;
}

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
    if (real == nullptr) {
        void* const library = ::dlopen(TORVANE_SOFTHSM2_MODULE, RTLD_NOW | RTLD_LOCAL);
        const auto get = reinterpret_cast<CK_C_GetFunctionList>(::dlsym(library, "C_GetFunctionList"));
        get(&real);
        quirky = *real;
        quirky.C_Initialize = initialize;
        quirky.C_GetSessionInfo = getSessionInfo;
        quirky.C_OpenSession = openSession;
        quirky.C_CloseSession = closeSession;
        quirky.C_Login = logIn;
        quirky.C_GetTokenInfo = getTokenInfo;
        quirky.C_DecryptInit = decryptInit;
        quirky.C_Decrypt = decrypt;
        quirky.C_Sign = sign;
        quirky.C_DeriveKey = deriveKey;
        quirky.C_GetAttributeValue = getAttributeValue;
        quirky.C_FindObjectsInit = findObjectsInit;
        quirky.C_FindObjects = findObjects;
        quirky.C_GetSlotList = getSlotList;
        quirky.C_GetSlotInfo = getSlotInfo;
    }
    *list = &quirky;
    return CKR_OK;
}
