#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <io.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
// The second header needs the first.
// clang-format off
#include <windows.h>
#include <sddl.h>
// clang-format on

#include "torvane/platform/system/file.hpp"

namespace Torvane::System {
namespace {

[[noreturn]] void fail() {
    throw Failure(std::generic_category().message(errno));
}

[[noreturn]] void failWithLastError() {
    auto text = std::system_category().message(static_cast<int>(::GetLastError()));
    while (text.ends_with('.') || text.ends_with('\r') || text.ends_with('\n') || text.ends_with(' ')) text.pop_back();
    throw Failure(text);
}

int require(int result) {
    if (result < 0) fail();
    return result;
}

struct CloseHandle {
    void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};

using Handle = std::unique_ptr<void, CloseHandle>;

Handle asHandle(HANDLE handle) noexcept {
    return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

// A new file to which only its owner and the system have access.
int createPrivate(const std::string& path) {
    SECURITY_ATTRIBUTES rights{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorA("D:P(A;;FA;;;OW)(A;;FA;;;SY)", SDDL_REVISION_1,
                                                                &rights.lpSecurityDescriptor, nullptr)) {
        failWithLastError();
    }
    const std::unique_ptr<void, decltype(&::LocalFree)> descriptor(rights.lpSecurityDescriptor, ::LocalFree);
    auto file =
        asHandle(::CreateFileA(path.c_str(), GENERIC_WRITE, 0, &rights, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) failWithLastError();
    const int number = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), _O_BINARY);
    if (number < 0) {
        const int reason = errno;
        file.reset();
        ::DeleteFileA(path.c_str());
        throw Failure(std::generic_category().message(reason));
    }
    static_cast<void>(file.release());  // closed with the number
    return number;
}

std::string makeTemporaryName(const std::string& path) {
    auto name = path + ".XXXXXX";
    if (const int reason = ::_mktemp_s(name.data(), name.size() + 1); reason != 0) {
        throw Failure(std::generic_category().message(reason));
    }
    return name;
}

}  // namespace

File File::openForReading(const std::string& path) {
    return {require(::_open(path.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT)), true};
}

File File::openForWriting(const std::string& path) {
    constexpr int flags = _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY | _O_NOINHERIT;
    return {require(::_open(path.c_str(), flags, _S_IREAD | _S_IWRITE)), true};
}

bool File::closeIfOwned() noexcept {
    return !std::exchange(isOwned_, false) || ::_close(number_) == 0;
}

bool File::isTerminal() const noexcept {
    return ::_isatty(number_) != 0;
}

std::size_t File::read(std::span<std::uint8_t> out) {
    const auto size = static_cast<unsigned>(std::min<std::size_t>(out.size(), INT_MAX));
    return static_cast<std::size_t>(require(::_read(number_, out.data(), size)));
}

void File::write(ByteView content) const {
    while (!content.empty()) {
        const auto size = static_cast<unsigned>(std::min<std::size_t>(content.size(), INT_MAX));
        content = content.subspan(static_cast<std::size_t>(require(::_write(number_, content.data(), size))));
    }
}

// A mode means nothing here: the access rights of a new file come from its folder.
std::optional<unsigned> findReplacementMode(const std::string& path) noexcept {
    const auto file =
        asHandle(::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) return 0;
    BY_HANDLE_FILE_INFORMATION info{};
    const bool isPlain = ::GetFileType(file.get()) == FILE_TYPE_DISK &&
                         ::GetFileInformationByHandle(file.get(), &info) &&
                         (info.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
    return isPlain ? std::optional(0U) : std::nullopt;
}

NewFile::NewFile(const std::string& path) : unfinished_(path), file_(createPrivate(path), true) {}

NewFile::NewFile(const std::string& path, unsigned mode)
    : unfinished_(makeTemporaryName(path)),
      replaced_(path),
      mode_(mode),
      file_(require(::_open(unfinished_.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                            _S_IREAD | _S_IWRITE)),
            true) {}

NewFile::~NewFile() {
    if (unfinished_.empty()) return;
    file_.closeIfOwned();
    ::DeleteFileA(unfinished_.c_str());
}

void NewFile::finish() {
    if (replaced_.empty()) require(::_commit(file_.number_));
    if (!file_.closeIfOwned()) fail();
    if (!replaced_.empty() &&
        !::MoveFileExA(unfinished_.c_str(), replaced_.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        failWithLastError();
    }
    unfinished_.clear();
}

void prepareStandardStreams() {
    constexpr std::array<DWORD, 3> names{STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    for (int number = 0; number < 3; ++number) {
        const auto handle = ::GetStdHandle(names[static_cast<std::size_t>(number)]);
        if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
            const int null = ::_open("NUL", (number == 0 ? _O_WRONLY : _O_RDONLY) | _O_BINARY);
            if (null < 0 || null == number) continue;
            static_cast<void>(::_dup2(null, number));
            ::_close(null);
            continue;
        }
        static_cast<void>(::_setmode(number, _O_BINARY));
        // Colours are escape sequences, which a console does not obey by itself.
        DWORD mode = 0;
        if (number != 0 && ::GetConsoleMode(handle, &mode)) {
            ::SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
        }
    }
}

}  // namespace Torvane::System
