#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "torvane/platform/system/hidden_input.hpp"

namespace Torvane::System {
namespace {

// The signal received while a question was being asked.
volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void recordSignal(int number) {
    receivedSignal = number;
}

class Terminal final : public HiddenInput {
  public:
    Terminal() noexcept : tty_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
        // pselect() knows no higher numbers.
        if (tty_ >= 0 && tty_ < FD_SETSIZE && ::tcgetattr(tty_, &before_) == 0) hide();
    }
    ~Terminal() override {
        restore();
        if (tty_ >= 0) ::close(tty_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    [[nodiscard]] bool isHidden() const noexcept { return isHidden_; }

    std::optional<SecretBuffer> ask(const std::string& question) override {
        print(question);
        SecretBuffer answer;
        for (unsigned char c = 0;;) {
            fd_set input;
            FD_ZERO(&input);
            FD_SET(tty_, &input);
            if (::pselect(tty_ + 1, &input, nullptr, nullptr, nullptr, &mask_) < 0 && errno == EINTR) {
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
        // Signals are blocked except inside pselect(), so that none is lost between checking for one and waiting.
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (const int number : signals) ::sigaddset(&blocked, number);
        ::pthread_sigmask(SIG_BLOCK, &blocked, &mask_);
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
        ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    }

    void print(std::string_view text) const noexcept { static_cast<void>(!::write(tty_, text.data(), text.size())); }

    int tty_;
    termios before_{};
    sigset_t mask_{};
    std::array<struct sigaction, signals.size()> handlers_{};
    bool isHidden_ = false;
};

}  // namespace

std::unique_ptr<HiddenInput> openHiddenInput() {
    auto terminal = std::make_unique<Terminal>();
    return terminal->isHidden() ? std::move(terminal) : nullptr;
}

}  // namespace Torvane::System
