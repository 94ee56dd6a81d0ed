#include "cli/terminal.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <termios.h>
#include <unistd.h>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"

namespace Command {
namespace {

using Platform::SecretBuffer;

std::string_view environment(const char* name) noexcept {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): there is one thread
    return value == nullptr ? std::string_view() : value;
}

// /dev/tty with its echo off, for as long as this lives.
class HiddenInput {
  public:
    HiddenInput() noexcept : tty_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        if (tty_ < 0 || ::tcgetattr(tty_, &before_) != 0) return;
        auto hidden = before_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        isHidden_ = ::tcsetattr(tty_, TCSAFLUSH, &hidden) == 0;
    }
    ~HiddenInput() {
        if (isHidden_) ::tcsetattr(tty_, TCSAFLUSH, &before_);
        if (tty_ >= 0) ::close(tty_);
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

    explicit operator bool() const noexcept { return isHidden_; }

    std::optional<SecretBuffer> ask(const std::string& question) const {
        print(question);
        SecretBuffer answer;
        for (unsigned char c = 0;;) {
            const auto count = ::read(tty_, &c, 1);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0 && answer.empty()) return std::nullopt;
            if (count <= 0 || c == '\n') break;
            answer.push_back(c);
        }
        print("\n");
        return answer;
    }

  private:
    void print(std::string_view text) const noexcept { static_cast<void>(!::write(tty_, text.data(), text.size())); }

    int tty_;
    termios before_{};
    bool isHidden_ = false;
};

SecretBuffer firstLineOf(const std::string& path) {
    auto content = readSecretFile(path);
    std::size_t size = 0;
    while (size < content.size() && content[size] != '\n' && content[size] != '\r') ++size;
    content.resize(size);
    return content;
}

std::string capitalised(std::string_view text) {
    std::string result(text);
    if (!result.empty() && result[0] >= 'a' && result[0] <= 'z') result[0] = static_cast<char>(result[0] - 'a' + 'A');
    return result;
}

}  // namespace

Palette paletteOfOutput() {
    const auto terminal = environment("TERM");
    const bool wantsColours = !terminal.empty() && terminal != "dumb" && environment("NO_COLOR").empty();
    return wantsColours && ::isatty(STDOUT_FILENO) == 1 ? Palette::colours() : Palette::none();
}

Platform::SecretSource secretSource(const std::string& secretFile) {
    return [secretFile](std::string_view whose) -> std::optional<SecretBuffer> {
        if (!secretFile.empty()) return firstLineOf(secretFile);
        const HiddenInput terminal;
        return terminal ? terminal.ask(printable(capitalised(whose)) + ": ") : std::nullopt;
    };
}

Platform::SecretSource newSecretSource(const std::string& secretFile) {
    return [secretFile](std::string_view whose) -> std::optional<SecretBuffer> {
        const auto ask = [&] {
            if (!secretFile.empty()) return firstLineOf(secretFile);
            const HiddenInput terminal;
            if (!terminal)
                throw Failure(ExitCode::key, "There is no terminal to ask for " + std::string(whose) + " on.");
            const auto question = printable(capitalised(whose));
            auto first = terminal.ask(question + ": ");
            if (first != terminal.ask(question + ", again: ")) {
                throw Failure(ExitCode::key, "The two passphrases are not the same.");
            }
            return std::move(first).value_or(SecretBuffer());
        };
        auto secret = ask();
        if (secret.empty()) throw Failure(ExitCode::key, "The passphrase is empty.");
        return secret;
    };
}

Progress::Progress(std::string_view verb)
    : verb_(verb),
      isTerminal_(::isatty(STDERR_FILENO) == 1),
      next_(std::chrono::steady_clock::now() + std::chrono::milliseconds(300)) {}

Progress::~Progress() {
    constexpr std::string_view erase = "\r\033[K";
    if (isShown_) static_cast<void>(!::write(STDERR_FILENO, erase.data(), erase.size()));
}

void Progress::show(std::size_t bytes) {
    if (!isTerminal_ || std::chrono::steady_clock::now() < next_) return;
    next_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    print(bytes);
}

void Progress::announce(std::size_t bytes) {
    constexpr std::size_t many = std::size_t{16} << 20;
    if (isTerminal_ && bytes >= many) print(bytes);
}

void Progress::print(std::size_t bytes) {
    const auto line = "\r\033[K" + std::string(verb_) + ' ' + humanSize(bytes);
    isShown_ = ::write(STDERR_FILENO, line.data(), line.size()) > 0;
}

}  // namespace Command
