// A folder of a test's own, gone with the object.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quill_test {

class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return path_ / relative; }

  private:
    std::filesystem::path path_;
};

// Writes `bytes` to `path`, making parent folders. Throws std::runtime_error when that fails.
void write_file(const std::filesystem::path& path, std::string_view bytes);

// The file's bytes. Throws std::runtime_error when it cannot be read.
std::string read_file(const std::filesystem::path& path);

}  // namespace quill_test
