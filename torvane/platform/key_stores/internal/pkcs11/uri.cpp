#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace Torvane::Crypto {

Pkcs11URI::Pkcs11URI(std::string_view text) : uri_(p11_kit_uri_new()) {
    if (!uri_) throw std::bad_alloc();
    // Neither text is repeated: who knows what is in it.
    if (text.find('\0') != text.npos ||
        p11_kit_uri_parse(std::string(text).c_str(), P11_KIT_URI_FOR_ANY, uri_.get()) != P11_KIT_URI_OK) {
        throw KeyStoreError::invalidURI("This is not a PKCS #11 URI.");
    }
    char* path = nullptr;
    if (p11_kit_uri_format(uri_.get(), P11_KIT_URI_FOR_OBJECT_ON_TOKEN_AND_MODULE, &path) != P11_KIT_URI_OK) {
        throw std::bad_alloc();
    }
    path_ = std::unique_ptr<char, Deleter<std::free>>(path).get();
    path_.resize(std::min(path_.size(), path_.find('?')));
    if (p11_kit_uri_any_unrecognized(uri_.get()) != 0) {
        throw KeyStoreError::invalidURI("The PKCS #11 URI has an attribute that is not known, beside " +
                                        debugQuoted(path_) + ".");
    }
    if (pinSource() != nullptr && pinValue() != nullptr) {
        throw KeyStoreError::invalidURI(debugQuoted(path_) + " has both a pin-source and a pin-value.");
    }
}

bool Pkcs11URI::matches(const CK_INFO& driver) const noexcept {
    return p11_kit_uri_match_module_info(uri_.get(), &driver) == 1;
}

bool Pkcs11URI::matches(CK_SLOT_ID slot, const CK_SLOT_INFO& info) const noexcept {
    const auto wanted = p11_kit_uri_get_slot_id(uri_.get());
    return (wanted == static_cast<CK_SLOT_ID>(-1) || wanted == slot) &&
           p11_kit_uri_match_slot_info(uri_.get(), &info) == 1;
}

bool Pkcs11URI::matches(const CK_TOKEN_INFO& token) const noexcept {
    return p11_kit_uri_match_token_info(uri_.get(), &token) == 1;
}

ByteView Pkcs11URI::attribute(CK_ATTRIBUTE_TYPE type) const {
    const auto* attribute = p11_kit_uri_get_attribute(uri_.get(), type);
    if (attribute == nullptr) return {};
    return {static_cast<const std::uint8_t*>(attribute->pValue), attribute->ulValueLen};
}

KeyName Pkcs11URI::keyName() const {
    const auto id = attribute(CKA_ID);
    return {std::string(asText(attribute(CKA_LABEL))), ByteBuffer(id.begin(), id.end())};
}

std::optional<CK_OBJECT_CLASS> Pkcs11URI::type() const {
    const auto value = attribute(CKA_CLASS);
    CK_OBJECT_CLASS type{};
    if (value.size() != sizeof(type)) return std::nullopt;
    std::memcpy(&type, value.data(), sizeof(type));
    return type;
}

}  // namespace Torvane::Crypto
