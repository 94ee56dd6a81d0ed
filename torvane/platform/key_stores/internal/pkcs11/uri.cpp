#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "torvane/platform/key_stores/internal/cut_pin.hpp"

namespace Torvane::PKCS11 {

URI::URI(std::string_view text) : uri_(p11_kit_uri_new()) {
    if (!uri_) throw std::bad_alloc();
    // p11-kit would leave it out, and so name another key.
    if (text.find_first_of(" \t\n\v\f\r") != text.npos) {
        throw KeyStoreError::invalidURI("A PKCS #11 URI must not contain white space. Write a space as %20.");
    }
    // The error does not quote the text, which may contain a PIN.
    if (text.find('\0') != text.npos ||
        p11_kit_uri_parse(std::string(text).c_str(), P11_KIT_URI_FOR_ANY, uri_.get()) != P11_KIT_URI_OK) {
        throw KeyStoreError::invalidURI("This is not a valid PKCS #11 URI.");
    }
    char* path = nullptr;
    if (p11_kit_uri_format(uri_.get(), P11_KIT_URI_FOR_OBJECT_ON_TOKEN_AND_MODULE, &path) != P11_KIT_URI_OK) {
        throw std::bad_alloc();
    }
    path_ = std::unique_ptr<char, Crypto::Deleter<std::free>>(path).get();
    path_.resize(std::min(path_.size(), path_.find('?')));
    path_ = markIfCut(cutPinAttribute(path_), path_);
    if (p11_kit_uri_any_unrecognized(uri_.get()) != 0) {
        // Nor does it quote the unknown attribute: it may be a misspelt pin-value.
        throw KeyStoreError::invalidURI("The PKCS #11 URI " + debugQuoted(path_) +
                                        " has an unknown attribute, which is not shown here.");
    }
    if (pinSource() != nullptr && pinValue() != nullptr) {
        throw KeyStoreError::invalidURI(debugQuoted(path_) + " has both a pin-source and a pin-value.");
    }
}

bool URI::matches(const CK_INFO& driver) const noexcept {
    return p11_kit_uri_match_module_info(uri_.get(), &driver) == 1;
}

bool URI::matches(CK_SLOT_ID slot, const CK_SLOT_INFO& info) const noexcept {
    const auto wanted = p11_kit_uri_get_slot_id(uri_.get());
    return (wanted == static_cast<CK_SLOT_ID>(-1) || wanted == slot) &&
           p11_kit_uri_match_slot_info(uri_.get(), &info) == 1;
}

bool URI::matches(const CK_TOKEN_INFO& token) const noexcept {
    return p11_kit_uri_match_token_info(uri_.get(), &token) == 1;
}

ByteView URI::findAttribute(CK_ATTRIBUTE_TYPE type) const {
    const auto* attribute = p11_kit_uri_get_attribute(uri_.get(), type);
    if (attribute == nullptr) return {};
    return {static_cast<const std::uint8_t*>(attribute->pValue), attribute->ulValueLen};
}

KeyName URI::keyName() const {
    const auto id = findAttribute(CKA_ID);
    return {std::string(asText(findAttribute(CKA_LABEL))), ByteBuffer(id.begin(), id.end())};
}

std::optional<CK_OBJECT_CLASS> URI::type() const {
    const auto value = findAttribute(CKA_CLASS);
    CK_OBJECT_CLASS type{};
    if (value.size() != sizeof(type)) return std::nullopt;
    std::memcpy(&type, value.data(), sizeof(type));
    return type;
}

}  // namespace Torvane::PKCS11
