#include <atomic>
#include <windows.h>

#include "torvane/platform/system/hidden_input.hpp"

namespace Torvane::System {
namespace {

// The console whose echo is off, for the handler of Ctrl-C, which runs in a thread of its own.
std::atomic<HANDLE> hiddenConsole = nullptr;
std::atomic<DWORD> modeBefore = 0;

void restore() noexcept {
    if (auto* console = hiddenConsole.exchange(nullptr)) ::SetConsoleMode(console, modeBefore);
}

BOOL WINAPI restoreBeforeExit(DWORD) noexcept {
    restore();
    return FALSE;  // the default handler ends the process
}

class Console final : public HiddenInput {
  public:
    Console() noexcept : input_(open("CONIN$")), output_(open("CONOUT$")) {
        DWORD mode = 0;
        if (input_ == INVALID_HANDLE_VALUE || output_ == INVALID_HANDLE_VALUE || !::GetConsoleMode(input_, &mode)) {
            return;
        }
        modeBefore = mode;
        hiddenConsole = input_;
        ::SetConsoleCtrlHandler(restoreBeforeExit, TRUE);
        constexpr DWORD echo = ENABLE_ECHO_INPUT;
        isHidden_ = ::SetConsoleMode(input_, (mode & ~echo) | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) != 0;
    }
    ~Console() override {
        restore();
        ::SetConsoleCtrlHandler(restoreBeforeExit, FALSE);
        if (input_ != INVALID_HANDLE_VALUE) ::CloseHandle(input_);
        if (output_ != INVALID_HANDLE_VALUE) ::CloseHandle(output_);
    }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    [[nodiscard]] bool isHidden() const noexcept { return isHidden_; }

    std::optional<SecretBuffer> ask(const std::string& question) override {
        print(question);
        SecretBuffer answer;
        for (unsigned char c = 0;;) {
            DWORD count = 0;
            const bool isEnd = !::ReadFile(input_, &c, 1, &count, nullptr) || count == 0;
            if (isEnd || c == '\n') {
                print("\n");
                return isEnd && answer.empty() ? std::nullopt : std::optional(std::move(answer));
            }
            if (c != '\r') answer.push_back(c);
        }
    }

  private:
    static HANDLE open(const char* name) noexcept {
        return ::CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                             OPEN_EXISTING, 0, nullptr);
    }

    void print(const std::string& text) const noexcept {
        DWORD written = 0;
        ::WriteFile(output_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }

    HANDLE input_;
    HANDLE output_;
    bool isHidden_ = false;
};

}  // namespace

std::unique_ptr<HiddenInput> openHiddenInput() {
    auto console = std::make_unique<Console>();
    return console->isHidden() ? std::move(console) : nullptr;
}

}  // namespace Torvane::System
