// Temporary folder, removed with its contents by the destructor.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "torvane/platform/core/bytes.hpp"

namespace Testing {

using namespace Torvane;

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "torvane-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    std::string write(const std::string& name, ByteView content) const {
        auto path = *this / name;
        std::ofstream(path, std::ios::binary) << asText(content);
        return path;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace Testing
