// What the tests of packages share: a folder with a package's path in it, and what calls fail with.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {

/// No remote in the environment, before and after each test.
class PackageFolder : public testing::Test {
  protected:
    PackageFolder() { forget_remotes(); }
    ~PackageFolder() override { forget_remotes(); }

    void write_manifest(std::string_view text) const { write_file(manifest_, text); }
    std::string manifest() const { return read_file(manifest_); }

    static void forget_remotes() {
        unsetenv("KEEL_TOME_REMOTE_URL");
        unsetenv("QUILL_TOME_REMOTE_URL");
    }

    TemporaryFolder folder_;
    std::filesystem::path project_ = folder_ / "P.quillproject";
    std::filesystem::path manifest_ = project_ / "project.json";
};

/// Makes a folder the current one for as long as it lives.
class CurrentFolder {
  public:
    explicit CurrentFolder(const std::filesystem::path& folder) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    ~CurrentFolder() { std::filesystem::current_path(before_); }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;

  private:
    std::filesystem::path before_;
};

/// `times` copies of `text`, one after the other.
inline std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

}  // namespace quill_test
