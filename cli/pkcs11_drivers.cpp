// The registered PKCS #11 drivers, from p11-kit.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <p11-kit/p11-kit.h>
#include <p11-kit/uri.h>
#include <string>
#include <string_view>
#include <vector>

#include "cli/exit_code.hpp"
#include "cli/pkcs11_uri.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

struct Free {
    void operator()(char* text) const noexcept { std::free(text); }
    void operator()(P11KitUri* uri) const noexcept { p11_kit_uri_free(uri); }
};
using Text = std::unique_ptr<char, Free>;
using URI = std::unique_ptr<P11KitUri, Free>;

// A driver that runs as long as the object.
class Driver {
  public:
    explicit Driver(CK_FUNCTION_LIST* functions)
        : functions_(functions), isStarted_(p11_kit_module_initialize(functions) == CKR_OK) {}
    ~Driver() {
        if (isStarted_) p11_kit_module_finalize(functions_);
    }
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    std::vector<CK_SLOT_ID> slots() const {
        constexpr CK_ULONG most = 10000;  // a broken driver may report any number
        CK_ULONG count = 0;
        if (!isStarted_ || functions_->C_GetSlotList(CK_TRUE, nullptr, &count) != CKR_OK || count > most) return {};
        std::vector<CK_SLOT_ID> slots(count);
        if (functions_->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) return {};
        slots.resize(std::min<std::size_t>(count, slots.size()));
        return slots;
    }

  private:
    CK_FUNCTION_LIST* functions_;
    bool isStarted_;
};

bool hasOnlyCertificates(CK_FUNCTION_LIST* driver) {
    const Text policy(p11_kit_config_option(driver, "trust-policy"));
    return policy && std::string_view(policy.get()) == "yes";
}

std::string readLabel(const CK_TOKEN_INFO& token) {
    const auto size = p11_kit_space_strlen(token.label, sizeof(token.label));
    return {reinterpret_cast<const char*>(token.label), size};
}

struct Found {
    // Of the PKCS #11 tokens that the URI fits, and of the others.
    std::vector<std::string> labels, others;
    // The name of the last driver that has a fitting one.
    std::string driver;
};

void search(CK_FUNCTION_LIST* functions, P11KitUri* uri, Found& found) {
    const Text name(p11_kit_module_get_name(functions));
    CK_INFO info{};
    const Driver driver(functions);
    for (const auto slot : driver.slots()) {
        CK_SLOT_INFO slotInfo{};
        CK_TOKEN_INFO token{};
        if (functions->C_GetInfo(&info) != CKR_OK || functions->C_GetSlotInfo(slot, &slotInfo) != CKR_OK ||
            functions->C_GetTokenInfo(slot, &token) != CKR_OK || (token.flags & CKF_TOKEN_INITIALIZED) == 0) {
            continue;
        }
        const auto wantedSlot = p11_kit_uri_get_slot_id(uri);
        const bool fits = p11_kit_uri_match_module_info(uri, &info) == 1 &&
                          p11_kit_uri_match_token_info(uri, &token) == 1 &&
                          p11_kit_uri_match_slot_info(uri, &slotInfo) == 1 &&
                          (wantedSlot == static_cast<CK_SLOT_ID>(-1) || wantedSlot == slot);
        (fits ? found.labels : found.others).push_back(inQuotes(readLabel(token)));
        if (fits && name) found.driver = name.get();
    }
}

Found searchRegisteredDrivers(P11KitUri* uri) {
    Found found;
    CK_FUNCTION_LIST** drivers = p11_kit_modules_load(nullptr, 0);
    for (auto** driver = drivers; drivers != nullptr && *driver != nullptr; ++driver) {
        if (!hasOnlyCertificates(*driver)) search(*driver, uri, found);
        p11_kit_module_release(*driver);
    }
    std::free(static_cast<void*>(drivers));
    return found;
}

}  // namespace

std::string chooseDriver(const std::string& uri) {
    const URI parsed(p11_kit_uri_new());
    // p11-kit wants the scheme in lower case.
    const auto lowerCase = "pkcs11" + uri.substr(std::min(uri.find(':'), uri.size()));
    if (!parsed || p11_kit_uri_parse(lowerCase.c_str(), P11_KIT_URI_FOR_ANY, parsed.get()) != P11_KIT_URI_OK ||
        p11_kit_uri_any_unrecognized(parsed.get()) != 0 || p11_kit_uri_get_module_path(parsed.get()) != nullptr ||
        p11_kit_uri_get_module_name(parsed.get()) != nullptr) {
        return uri;
    }
    const auto found = searchRegisteredDrivers(parsed.get());
    const auto path = inQuotes(uri.substr(0, uri.find('?')));
    if (found.labels.empty()) {
        throw Failure(
            ExitCode::key, "No PKCS #11 token matches " + path + ". Tokens present: " + listNames(found.others) + '.',
            "`p11-kit list-modules` lists the registered drivers; ?module-path=FILE at the end of the URI names "
            "another one.");
    }
    if (found.labels.size() > 1) {
        throw Failure(ExitCode::key,
                      "More than one PKCS #11 token matches " + path + ": " + listNames(found.labels) + '.',
                      "Name one of them: pkcs11:token=LABEL.");
    }
    return uri + (uri.find('?') == uri.npos ? '?' : '&') + "module-name=" + found.driver;
}

}  // namespace Command
