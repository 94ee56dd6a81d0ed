#include "cli/files.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <system_error>
#include <utility>

#include "torvane/platform/system/file.hpp"

#include "cli/exit_code.hpp"
#include "cli/private_content.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using Torvane::ByteBuffer;
using Torvane::ByteView;
namespace System = Torvane::System;

constexpr std::size_t chunkSize = std::size_t{1} << 20;
constexpr std::size_t maximumSecretFile = std::size_t{64} << 10;
constexpr std::size_t maximumKeyFile = std::size_t{16} << 20;

bool isStandardStream(const std::string& path) noexcept {
    return path.empty() || path == "-";
}

enum class Access { read, write };

[[noreturn]] void fail(Access access, const std::string& path, const std::string& reason,
                       ExitCode code = ExitCode::file) {
    const bool isRead = access == Access::read;
    const auto name = isRead || !isStandardStream(path) ? nameInput(path) : "standard output";
    throw Failure(code, (isRead ? "Cannot read " : "Cannot write ") + name + ": " + reason + '.');
}

System::File openStandardInput() {
    claimStandardInput();
    return System::File::standardInput();
}

template <class Buffer>
Buffer readAll(const std::string& path, std::size_t maximumSize, ExitCode code = ExitCode::file) {
    try {
        auto file = isStandardStream(path) ? openStandardInput() : System::File::openForReading(path);
        Progress progress("reading");
        Buffer content;
        for (std::size_t size = 0;;) {
            if (content.size() - size < chunkSize) content.resize(size + size / 2 + chunkSize);
            const auto count = file.read(std::span(content).subspan(size, chunkSize));
            size += count;
            if (size > maximumSize) {
                fail(Access::read, path, "The file is longer than " + formatSize(maximumSize), code);
            }
            progress.show(size);
            if (count == 0) {
                content.resize(size);
                return content;
            }
        }
    } catch (const System::Failure& failure) {
        fail(Access::read, path, failure.what(), code);
    }
}

template <class Output>
void writeAll(Output& output, ByteView content) {
    Progress progress("writing");
    for (std::size_t written = 0; written < content.size();) {
        const auto chunk = content.subspan(written, std::min(content.size() - written, chunkSize));
        output.write(chunk);
        written += chunk.size();
        progress.show(written);
    }
}

// A key that exists nowhere else is lost for good.
void rejectOverwritingKey(const std::string& path) {
    std::error_code none;
    if (!std::filesystem::is_regular_file(path, none) || std::filesystem::file_size(path, none) > maximumKeyFile) {
        return;
    }
    try {
        if (!holdsPrivateKey(readKeyFile(path))) return;
    } catch (const Failure&) {
        return;  // What cannot be read is no key that this command uses.
    }
    throw Failure(ExitCode::usage, "The output would overwrite the private key " + nameInput(path) + '.',
                  "Choose another name, or delete the key first.");
}

// The file that a link leads to, also if it does not exist yet. A link of the system, such as /dev/stdout, stands for
// an open file that may have no name: the result is then a link.
std::filesystem::path followLinks(std::filesystem::path file) {
    constexpr int maximumLinks = 40;
    std::error_code none;
    for (int i = 0; i < maximumLinks && std::filesystem::is_symlink(file, none); ++i) {
        const auto folder = std::filesystem::canonical(std::filesystem::absolute(file, none).parent_path(), none);
        if (folder.empty() || folder == "/dev" || folder.string().starts_with("/proc/")) break;
        file = folder / std::filesystem::read_symlink(file, none);
    }
    return file;
}

// A file that an output replaces or creates.
struct Target {
    std::string path;
    unsigned mode;
    bool isNew;
};

// Nothing for a device or a pipe, which is written to.
std::optional<Target> findTarget(const std::string& path) {
    if (isStandardStream(path)) return std::nullopt;
    const auto file = followLinks(path);
    const auto mode = System::findReplacementMode(file.string());
    if (!mode) return std::nullopt;
    std::error_code none;
    return Target{file.string(), *mode, !std::filesystem::exists(file, none)};
}

// Makes a temporary file beside the one to be replaced, as writing does.
void check(const std::string& path, KeyFiles keyFiles) {
    if (isStandardStream(path)) return;
    if (keyFiles == KeyFiles::keep) rejectOverwritingKey(path);
    std::error_code none;
    if (std::filesystem::is_directory(path, none)) {
        fail(Access::write, path, std::make_error_code(std::errc::is_a_directory).message());
    }
    if (const auto target = findTarget(path)) const System::NewFile file(target->path, target->mode);
}

void write(const std::string& path, ByteView content, KeyFiles keyFiles) {
    constexpr unsigned ownerOnly = 0600;
    const bool isFile = !isStandardStream(path);
    if (isFile && keyFiles == KeyFiles::keep) rejectOverwritingKey(path);
    if (const auto target = findTarget(path)) {
        const bool isSecret = target->isNew && content.size() <= maximumKeyFile && holdsPrivateKey(content);
        System::NewFile file(target->path, isSecret ? target->mode & ownerOnly : target->mode);
        writeAll(file, content);
        return file.finish();
    }
    const auto file = isFile ? System::File::openForWriting(path) : System::File::standardOutput();
    std::string printable;
    if (file.isTerminal()) {
        printable = makePrintableLines(Torvane::asText(content));
        if (!printable.empty() && !printable.ends_with('\n')) printable += '\n';
        content = Torvane::asBytes(printable);
    }
    writeAll(file, content);
}

}  // namespace

void claimStandardInput() {
    static bool wasRead = false;
    if (std::exchange(wasRead, true)) {
        throw Failure(ExitCode::usage, "Standard input can be read only once.");
    }
}

std::string nameInput(const std::string& path) {
    return isStandardStream(path) ? "standard input" : '"' + path + '"';
}

ByteBuffer readInput(const std::string& path) {
    return readAll<ByteBuffer>(path, SIZE_MAX);
}

Torvane::SecretBuffer readSecretFile(const std::string& path) {
    return readAll<Torvane::SecretBuffer>(path, maximumSecretFile);
}

Torvane::SecretBuffer readKeyFile(const std::string& path) {
    return readAll<Torvane::SecretBuffer>(path, maximumKeyFile, ExitCode::key);
}

void writeOutput(const std::string& path, ByteView content, KeyFiles keyFiles) {
    try {
        write(path, content, keyFiles);
    } catch (const System::Failure& failure) {
        fail(Access::write, path, failure.what());
    }
}

void checkOutput(const std::string& path, KeyFiles keyFiles) {
    try {
        check(path, keyFiles);
    } catch (const System::Failure& failure) {
        fail(Access::write, path, failure.what());
    }
}

}  // namespace Command
