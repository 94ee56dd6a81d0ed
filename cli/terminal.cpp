#include "cli/terminal.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "torvane/platform/system/file.hpp"

namespace Command {
namespace {

namespace System = Torvane::System;

std::string_view environmentVariable(const char* name) noexcept {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): there is one thread
    return value == nullptr ? std::string_view() : value;
}

}  // namespace

Palette choosePalette() {
    const auto terminal = environmentVariable("TERM");
    const bool wantsColours = !terminal.empty() && terminal != "dumb" && environmentVariable("NO_COLOR").empty();
    return wantsColours && System::File::standardOutput().isTerminal() ? Palette::colours() : Palette::none();
}

Progress::Progress(std::string_view verb)
    : verb_(verb),
      isTerminal_(System::File::standardError().isTerminal()),
      next_(std::chrono::steady_clock::now() + std::chrono::milliseconds(300)) {}

Progress::~Progress() {
    constexpr std::string_view erase = "\r\033[K";
    if (isShown_) static_cast<void>(!std::fwrite(erase.data(), 1, erase.size(), stderr));
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
    isShown_ = std::fwrite(line.data(), 1, line.size(), stderr) > 0;
}

}  // namespace Command
