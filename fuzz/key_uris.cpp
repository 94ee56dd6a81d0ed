// Fuzz target of key URIs and of what errors show of them. Only parses: opens no file, and loads no driver. A PIN is
// put into the input where the first byte says; no error or quotation shows it, not even in percent-encoding.
#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/uri.hpp"
#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"

namespace {

using namespace Testing;

// Begins with no hexadecimal digit, so the escape of the byte before it is not taken for a part of it.
const std::string pin = "SECRET0123";

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string percentDecoded(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEncoded =
            text[i] == '%' && text.size() - i > 2 && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0;
        decoded += isEncoded ? static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2])) : text[i];
        if (isEncoded) i += 2;
    }
    return decoded;
}

void requireHidden(const std::string& shown, const std::string& where) {
    require(shown.find(pin) == shown.npos && percentDecoded(shown).find(pin) == shown.npos,
            where + " shows no PIN: " + shown);
}

void checkCut(std::string_view text) {
    const auto cut = cutPin(text);
    require(text.starts_with(cut) && cut.data() == text.data(), "cutPin() returns the beginning of its argument");
    require(cutPin(cut) == cut, "cutPin() leaves nothing for a second call to cut");
    require(cut.find('?') == cut.npos, "cutPin() cuts off the query");
    require(quoteWithoutPin(text) == debugQuoted(std::string(cut) + (cut.size() < text.size() ? "..." : "")),
            "an error quotes what cutPin() returns");
}

void checkFile(const std::string& text) {
    std::string path;
    const auto rejection = errorTextOf([&] { path = readPath(text); });
    require(rejection.empty() ? !path.empty() || text.empty() : path.empty(), "a file URI has a path or an error");
    require(path.find('\0') == path.npos, "no path contains a NUL byte");
    require(!rejection.empty() || hasScheme(text, "file") || path == text, "a path is left unchanged");
}

void checkToken(const std::string& text) {
    std::optional<PKCS11::URI> uri;
    if (!errorTextOf([&] { uri.emplace(text); }).empty()) return;
    require(isPkcs11URI(text), "the parser accepts only URIs that isPkcs11URI() knows");
    require(isPkcs11URI(uri->path()) && uri->path().find('?') == std::string::npos, "a path has no query");
    require(uri->pinSource() == nullptr || uri->pinValue() == nullptr, "a URI has one source of the PIN");
    static_cast<void>(uri->keyName());
    static_cast<void>(uri->type());
    if (uri->path().ends_with("...")) return;
    const PKCS11::URI again(uri->path());
    require(again.path() == uri->path(), "a path survives a round trip");
    require(again.keyName() == uri->keyName() && again.type() == uri->type(), "a path names the same key");
}

void checkPinIsHidden(const std::string& text) {
    const auto decoded = percentDecoded(text);
    if (decoded.find(pin) != decoded.rfind(pin)) return;  // the input has the PIN elsewhere
    requireHidden(std::string(cutPin(text)), "cutPin()");
    requireHidden(quoteWithoutPin(text), "the quoted URI");
    requireHidden(errorTextOf([&] { static_cast<void>(readPath(text)); }), "the error of a file URI");
    requireHidden(errorTextOf([&] { requireHidden(PKCS11::URI(text).path(), "the path"); }), "the error of a URI");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string text(asText(ByteView(data + 1, size - 1)));
    checkCut(text);
    checkFile(text);
    checkToken(text);
    const auto position = std::min<std::size_t>(data[0], text.size());
    for (const auto* name : {"pin-value=", "PIN%3D"}) {
        checkPinIsHidden(text.substr(0, position) + name + pin + text.substr(position));
    }
    return 0;
}
