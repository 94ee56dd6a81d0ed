// Files, pipes and standard streams of the operating system. There is one source per system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "torvane/platform/core/bytes.hpp"

/// What the library and the command ask of the operating system.
namespace Torvane::System {

/// The system rejected a call. The text says why, without a full stop, for example "No such file or directory".
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// An open file, pipe or terminal.
class File {
  public:
    /// Opens a file; a FIFO too, without waiting for a process that writes to it.
    /// @throws Failure
    static File openForReading(const std::string& path);
    /// Creates a file, or empties it.
    /// @throws Failure
    static File openForWriting(const std::string& path);
    /// @{
    /// A standard stream, which the destructor leaves open.
    static File standardInput() noexcept { return File(0, false); }
    static File standardOutput() noexcept { return File(1, false); }
    static File standardError() noexcept { return File(2, false); }
    /// @}

    ~File() { closeIfOwned(); }
    File(File&& other) noexcept
        : number_(other.number_), isOwned_(std::exchange(other.isOwned_, false)), isAtStart_(other.isAtStart_) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] bool isTerminal() const noexcept;

    /// Waits for input. Returns how many bytes it read, 0 at the end.
    /// @throws Failure, also for a FIFO that no process writes to.
    std::size_t read(std::span<std::uint8_t> out);
    /// Writes all of the content.
    /// @throws Failure
    void write(ByteView content) const;

  private:
    friend class NewFile;
    File(int number, bool isOwned) noexcept : number_(number), isOwned_(isOwned) {}
    // Returns false when the system reports a failure to write.
    bool closeIfOwned() noexcept;

    int number_;
    bool isOwned_;
    bool isAtStart_ = true;
};

/// The mode of the file to be replaced or, if there is none, of a new file. Nothing for a device, pipe or link, which
/// is written to and not replaced.
std::optional<unsigned> findReplacementMode(const std::string& path) noexcept;

/// A file that is being written. The destructor removes it unless finish() succeeded.
class NewFile {
  public:
    /// Creates a file that only its owner may read and write.
    /// @throws Failure when a file of that name exists, or none can be created.
    explicit NewFile(const std::string& path);
    /// Creates a temporary file beside another, which finish() replaces.
    /// @throws Failure
    NewFile(const std::string& path, unsigned mode);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// @throws Failure
    void write(ByteView content) { file_.write(content); }
    /// Completes a new file, which is then on the disk, or a replacement.
    /// @throws Failure
    void finish();

  private:
    // The path as long as the file may have to be removed.
    std::string unfinished_;
    std::string replaced_{};
    unsigned mode_ = 0;
    // The last member: after it nothing fails that would leave the file behind.
    File file_;
};

/// Prepares the streams of a command: all bytes are written as they are, and every failure to write is reported. A
/// standard stream that is closed is opened in the wrong direction, so that reading and writing it fail, and no file
/// that is opened later takes its number.
void prepareStandardStreams();

}  // namespace Torvane::System
