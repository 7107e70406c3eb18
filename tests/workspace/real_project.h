// A project and a directory remote in a folder of the test's own, worked on with the real engine.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "engine/tome_binding.h"
#include "project/repository_configuration.h"
#include "project/visible_files.h"
#include "tests/support/package_folder.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/operations/project_creation.h"

namespace quill_test {

inline const std::string scene = "Scenes/Main.usda";

class RealProject : public PackageFolder {
  protected:
    /// A package whose manifest names the remote, without a history.
    void make_project_with_remote() const {
        quill::create_project_package(project_, "", {});
        setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
        quill::ensure_project_tome_configuration(project_);
        unsetenv("QUILL_TOME_REMOTE_URL");
    }

    /// A new checkout with all files of the remote's main.
    std::filesystem::path clone_of_main() const {
        const std::filesystem::path clone = folder_ / ("clone" + std::to_string(++clones_));
        quill::clone_tome_checkout_if_needed(project_, clone, "main", {}, false, false);
        quill::call_tome_revision_sync({clone, remote_}, {});
        return clone;
    }

    std::size_t revisions_of_main() const {
        return quill::call_tome_revision_history({clone_of_main(), remote_}, "main", 100).revisions.size();
    }

    static std::vector<std::string> visible_files(const std::filesystem::path& root) {
        return quill::visible_project_files(root);
    }

    std::string remote_ = "file://" + (folder_ / "remote").string();

  private:
    mutable int clones_ = 0;
};

}  // namespace quill_test
