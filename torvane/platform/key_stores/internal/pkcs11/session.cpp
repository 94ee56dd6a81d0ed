#include "torvane/platform/key_stores/internal/pkcs11/session.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "torvane/platform/key_stores/internal/pkcs11/process_state.hpp"
#include "torvane/platform/system/process.hpp"

namespace Torvane::PKCS11 {
namespace {

template <std::size_t Size>
bool isAmong(CK_RV reason, const std::array<CK_RV, Size>& reasons) noexcept {
    return std::find(reasons.begin(), reasons.end(), reason) != reasons.end();
}

// The C interface takes pointers to mutable data even where the driver only reads.
void* mutableData(const void* data) noexcept {
    return const_cast<void*>(data);
}

}  // namespace

bool CallFailure::isTokenLost() const noexcept {
    // A token that was taken away and put back has forgotten the login and its object handles.
    constexpr std::array<CK_RV, 11> losses{
        CKR_DEVICE_ERROR,          CKR_DEVICE_REMOVED,     CKR_TOKEN_NOT_PRESENT,       CKR_TOKEN_NOT_RECOGNIZED,
        CKR_SLOT_ID_INVALID,       CKR_SESSION_CLOSED,     CKR_SESSION_HANDLE_INVALID,  CKR_USER_NOT_LOGGED_IN,
        CKR_OBJECT_HANDLE_INVALID, CKR_KEY_HANDLE_INVALID, CKR_CRYPTOKI_NOT_INITIALIZED};
    return isAmong(reason, losses);
}

bool CallFailure::isUnsupportedMechanism() const noexcept {
    return reason == CKR_MECHANISM_INVALID || reason == CKR_MECHANISM_PARAM_INVALID ||
           reason == CKR_FUNCTION_NOT_SUPPORTED;
}

Template::Template(CK_OBJECT_CLASS objectClass, const KeyName& name) : Template(objectClass) {
    if (!name.label.empty()) add(CKA_LABEL, asBytes(name.label));
    if (!name.id.empty()) add(CKA_ID, name.id);
}

Template& Template::add(CK_ATTRIBUTE_TYPE type, ByteView value) {
    attributes_.push_back({type, mutableData(value.data()), toULong(value.size())});
    return *this;
}

Template& Template::add(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    numbers_.push_back(value);
    attributes_.push_back({type, &numbers_.back(), sizeof(value)});
    return *this;
}

Template& Template::setTrue(std::initializer_list<CK_ATTRIBUTE_TYPE> types) {
    static constexpr CK_BBOOL yes = CK_TRUE;
    for (const auto type : types) add(type, ByteView(&yes, 1));
    return *this;
}

Template& Template::setFalse(std::initializer_list<CK_ATTRIBUTE_TYPE> types) {
    static constexpr CK_BBOOL no = CK_FALSE;
    for (const auto type : types) add(type, ByteView(&no, 1));
    return *this;
}

Session::Session(Driver driver, CK_SLOT_ID slot, CK_FLAGS flags)
    : driver_(std::move(driver)), processId_(System::readProcessId()) {
    const auto result = driver_->C_OpenSession(slot, CKF_SERIAL_SESSION | flags, nullptr, nullptr, &handle_);
    if (result != CKR_OK) throw CallFailure(result, "open a session");
}

Session::~Session() {
    if (!isExiting() && processId_ == System::readProcessId()) attempt<&CK_FUNCTION_LIST::C_CloseSession>();
}

bool Session::isLoggedIn() {
    CK_SESSION_INFO info{};
    call<&CK_FUNCTION_LIST::C_GetSessionInfo>("read the state of the session", &info);
    return info.state == CKS_RO_USER_FUNCTIONS || info.state == CKS_RW_USER_FUNCTIONS;
}

bool Session::isOpen() {
    CK_SESSION_INFO info{};
    return attempt<&CK_FUNCTION_LIST::C_GetSessionInfo>(&info) == CKR_OK;
}

std::vector<CK_OBJECT_HANDLE> Session::find(Template& attributes) {
    constexpr std::size_t maximumCount = 10000;
    constexpr const char* search = "search for objects";
    call<&CK_FUNCTION_LIST::C_FindObjectsInit>(search, attributes.data(), attributes.size());
    std::vector<CK_OBJECT_HANDLE> found;
    CK_RV result = CKR_OK;
    const char* mistake = nullptr;
    for (CK_ULONG count = 1; result == CKR_OK && count != 0 && mistake == nullptr;) {
        std::array<CK_OBJECT_HANDLE, 16> batch{};
        result = attempt<&CK_FUNCTION_LIST::C_FindObjects>(batch.data(), toULong(batch.size()), &count);
        if (result != CKR_OK) break;
        if (count > batch.size()) {
            mistake = "The driver returned more objects than it was asked for";
        } else if (found.size() + count > maximumCount) {
            mistake = "The driver finds more than 10000 objects";
        } else {
            found.insert(found.end(), batch.begin(), batch.begin() + static_cast<std::ptrdiff_t>(count));
        }
    }
    attempt<&CK_FUNCTION_LIST::C_FindObjectsFinal>();
    if (mistake != nullptr) throw CallFailure(mistake, search);
    if (result != CKR_OK) throw CallFailure(result, search);
    return found;
}

std::optional<SecretBuffer> Session::readAttribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    constexpr auto get = &CK_FUNCTION_LIST::C_GetAttributeValue;
    constexpr CK_ULONG maximumSize = 1U << 20;
    CK_ATTRIBUTE asked{type, nullptr, 0};
    const auto result = attempt<get>(object, &asked, CK_ULONG{1});
    if (result == CKR_ATTRIBUTE_TYPE_INVALID || result == CKR_ATTRIBUTE_SENSITIVE) return std::nullopt;
    if (result != CKR_OK) throw CallFailure(result, "read an attribute");
    if (asked.ulValueLen == static_cast<CK_ULONG>(-1)) return std::nullopt;
    if (asked.ulValueLen > maximumSize) {
        throw CallFailure("The driver has an attribute of more than 1 MiB", "read an attribute");
    }
    SecretBuffer value(asked.ulValueLen);
    asked.pValue = value.data();
    if (!value.empty()) call<get>("read an attribute", object, &asked, CK_ULONG{1});
    value.resize(std::min<std::size_t>(asked.ulValueLen, value.size()));
    return value;
}

ByteBuffer Session::readAttributeOrEmpty(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    const auto value = readAttribute(object, type).value_or(SecretBuffer());
    return {value.begin(), value.end()};
}

bool Session::readFlag(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) {
    const auto value = readAttribute(object, type);
    return value && value->size() == sizeof(CK_BBOOL) && value->front() == CK_TRUE;
}

}  // namespace Torvane::PKCS11
