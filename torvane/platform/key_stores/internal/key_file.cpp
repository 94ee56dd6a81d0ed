#include "torvane/platform/key_stores/internal/key_file.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "torvane/platform/core/error.hpp"

namespace Torvane {
namespace {

constexpr std::size_t mostBytes = std::size_t{1} << 20;

// For errors, without what may be a PIN: a URI that is not taken for one, since a blank stands before it, is a path.
std::string shown(std::string_view text) {
    return debugQuoted(text.substr(0, text.find_first_of(text.find("pkcs11") == text.npos ? "?" : "?;")));
}

[[noreturn]] void fail(const char* what, const std::string& path, const std::string& why) {
    throw KeyStoreError::unavailable(std::string("The file ") + shown(path) + " cannot be " + what + ": " + why + ".");
}

[[noreturn]] void failWithErrno(const char* what, const std::string& path) {
    fail(what, path, std::generic_category().message(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const noexcept { return number_; }
    bool close() noexcept { return ::close(std::exchange(number_, -1)) == 0; }

  private:
    int number_;
};

char lowered(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

int hexDigit(char c) noexcept {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto position = digits.find(lowered(c));
    return position == digits.npos ? -1 : static_cast<int>(position);
}

// Nothing for a text that is not percent-encoded, or holds what a path cannot.
std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '?' || c == '#') return std::nullopt;
        if (c == '%') {
            if (text.size() - i < 3) return std::nullopt;
            const int high = hexDigit(text[i + 1]), low = hexDigit(text[i + 2]);
            if (high < 0 || low < 0) return std::nullopt;
            c = static_cast<char>(high * 16 + low);
            i += 2;
        }
        if (c == '\0') return std::nullopt;
        decoded += c;
    }
    return decoded;
}

bool written(int descriptor, ByteView content) noexcept {
    while (!content.empty()) {
        const auto count = ::write(descriptor, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        content = content.subspan(static_cast<std::size_t>(count));
    }
    return ::fsync(descriptor) == 0;
}

}  // namespace

bool hasScheme(std::string_view text, std::string_view scheme) noexcept {
    return text.size() > scheme.size() && text[scheme.size()] == ':' &&
           std::equal(scheme.begin(), scheme.end(), text.begin(), [](char a, char b) { return a == lowered(b); });
}

std::string pathOf(std::string_view uri) {
    const auto refuse = [&] {
        throw KeyStoreError::invalidURI(shown(uri) + " is neither a path nor the URI of a file on this machine.");
    };
    if (uri.find('\0') != uri.npos) refuse();
    if (!hasScheme(uri, "file")) return std::string(uri);
    auto rest = uri.substr(std::string_view("file:").size());
    for (const std::string_view here : {"//localhost/", "///"}) {
        if (rest.starts_with(here)) rest.remove_prefix(here.size() - 1);
    }
    auto path = percentDecoded(rest);
    if (!path || path->empty() || rest.starts_with("//")) refuse();
    return std::move(*path);
}

SecretBuffer readFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.number() < 0) failWithErrno("read", path);
    SecretBuffer content;
    for (std::size_t size = 0;;) {
        content.resize(size + 16384);
        const auto count = ::read(file.number(), content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failWithErrno("read", path);
        size += static_cast<std::size_t>(count);
        if (size > mostBytes) fail("read", path, "It is longer than 1 MiB");
        if (count == 0) {
            content.resize(size);
            return content;
        }
    }
}

void writeNewFile(const std::string& path, ByteView content) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (file.number() < 0) failWithErrno("written", path);
    if (!written(file.number(), content) || !file.close()) {
        const int reason = errno;
        ::unlink(path.c_str());
        errno = reason;
        failWithErrno("written", path);
    }
}

}  // namespace Torvane
