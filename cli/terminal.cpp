#include "cli/terminal.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"

namespace Command {
namespace {

using Torvane::SecretBuffer;

std::string_view environmentVariable(const char* name) noexcept {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): there is one thread
    return value == nullptr ? std::string_view() : value;
}

// The signal received while a question was being asked.
volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void recordSignal(int number) {
    receivedSignal = number;
}

// /dev/tty without echo. The destructor, or a signal, restores the terminal.
class HiddenInput {
  public:
    HiddenInput() noexcept : tty_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        if (tty_ >= 0 && ::tcgetattr(tty_, &before_) == 0) hide();
    }
    ~HiddenInput() {
        restore();
        if (tty_ >= 0) ::close(tty_);
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

    explicit operator bool() const noexcept { return isHidden_; }

    // Returns nothing at the end of the input.
    std::optional<SecretBuffer> ask(const std::string& question) {
        print(question);
        SecretBuffer answer;
        for (unsigned char c = 0;;) {
            pollfd input{tty_, POLLIN, 0};
            if (::ppoll(&input, 1, nullptr, &mask_) < 0 && errno == EINTR) {
                if (const int number = std::exchange(receivedSignal, 0); number != 0) {
                    // The signal ends the process, or stops it until SIGCONT.
                    restore();
                    static_cast<void>(::raise(number));
                    hide();
                    if (!isHidden_) return std::nullopt;
                    answer.clear();
                    print(question);
                }
                continue;
            }
            const auto count = ::read(tty_, &c, 1);
            if (count <= 0 || c == '\n') {
                print("\n");
                return count <= 0 && answer.empty() ? std::nullopt : std::optional(std::move(answer));
            }
            answer.push_back(c);
        }
    }

  private:
    // SIGCONT also follows SIGSTOP, after which the shell may have turned the echo on.
    static constexpr std::array<int, 6> signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

    void hide() noexcept {
        // Signals are blocked except inside ppoll(), so that none is lost between checking for one and waiting.
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (const int number : signals) ::sigaddset(&blocked, number);
        ::sigprocmask(SIG_BLOCK, &blocked, &mask_);
        struct sigaction action {};
        action.sa_handler = recordSignal;
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ::sigaction(signals[i], &action, &handlers_[i]);
            if (handlers_[i].sa_handler == SIG_IGN) ::sigaction(signals[i], &handlers_[i], nullptr);
        }
        auto hidden = before_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        isHidden_ = true;
        if (::tcsetattr(tty_, TCSAFLUSH, &hidden) != 0) restore();
    }

    void restore() noexcept {
        if (!std::exchange(isHidden_, false)) return;
        ::tcsetattr(tty_, TCSAFLUSH, &before_);
        for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &handlers_[i], nullptr);
        ::sigprocmask(SIG_SETMASK, &mask_, nullptr);
    }

    void print(std::string_view text) const noexcept { static_cast<void>(!::write(tty_, text.data(), text.size())); }

    int tty_;
    termios before_{};
    sigset_t mask_{};
    std::array<struct sigaction, signals.size()> handlers_{};
    bool isHidden_ = false;
};

SecretBuffer readFirstLine(const std::string& path) {
    auto content = readSecretFile(path);
    std::size_t size = 0;
    while (size < content.size() && content[size] != '\n' && content[size] != '\r') ++size;
    content.resize(size);
    return content;
}

// OpenSSL reads no longer passphrases.
constexpr std::size_t maximumPassphrase = 1024;

std::string capitalise(std::string_view text) {
    std::string result(text);
    if (!result.empty() && result[0] >= 'a' && result[0] <= 'z') result[0] = static_cast<char>(result[0] - 'a' + 'A');
    return result;
}

SecretBuffer askTwice(std::string_view description) {
    HiddenInput terminal;
    if (!terminal) throw Failure(ExitCode::key, "There is no terminal to ask for " + std::string(description) + '.');
    const auto question = makePrintable(capitalise(description));
    auto first = terminal.ask(question + ": ");
    if (!first) throw Failure(ExitCode::key, "No passphrase was entered.");
    if (first != terminal.ask(question + ", again: ")) {
        throw Failure(ExitCode::key, "The two passphrases differ.");
    }
    return *std::move(first);
}

}  // namespace

Palette choosePalette() {
    const auto terminal = environmentVariable("TERM");
    const bool wantsColours = !terminal.empty() && terminal != "dumb" && environmentVariable("NO_COLOR").empty();
    return wantsColours && ::isatty(STDOUT_FILENO) == 1 ? Palette::colours() : Palette::none();
}

Torvane::SecretSource makeSecretSource(const std::string& secretFile) {
    if (secretFile.empty()) {
        return [](std::string_view description) -> std::optional<SecretBuffer> {
            HiddenInput terminal;
            return terminal ? terminal.ask(makePrintable(capitalise(description)) + ": ") : std::nullopt;
        };
    }
    // Read once, when first needed: it may be a pipe.
    return [secretFile, secret = std::make_shared<std::optional<SecretBuffer>>()](std::string_view) {
        if (!*secret) *secret = readFirstLine(secretFile);
        return *secret;
    };
}

Torvane::SecretSource makeNewSecretSource(const std::string& secretFile) {
    return [secretFile](std::string_view description) -> std::optional<SecretBuffer> {
        const auto secret = secretFile.empty() ? askTwice(description) : readFirstLine(secretFile);
        if (secret.empty()) throw Failure(ExitCode::key, "The passphrase is empty.");
        if (secret.size() > maximumPassphrase) {
            throw Failure(ExitCode::key,
                          "The passphrase is longer than " + formatCount(maximumPassphrase, "byte") + '.');
        }
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
    const auto line = "\r\033[K" + std::string(verb_) + ' ' + formatSize(bytes);
    isShown_ = ::write(STDERR_FILENO, line.data(), line.size()) > 0;
}

}  // namespace Command
