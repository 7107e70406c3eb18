// Renames that change the case of a name alone, on a volume where both spellings are one.

#include <gtest/gtest.h>
#include <quill/quill.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "project/visible_files.h"
#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

class CaseOnlyRename : public testing::Test {
  protected:
    CaseOnlyRename() {
        run({"create", "P.quillproject"});
        write_file(package_ / "Assets/name.txt", "one");
        run({"commit-workspace", "P.quillproject", "main", "Assets/name.txt"});
    }

    ProcessResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), QUILL_TOOL);
        const ProcessResult result = run_process(arguments,
                                                 {{"QUILL_TOME_REMOTE_URL", "file://" + (folder_ / "remote").string()},
                                                  {"LD_PRELOAD", QUILL_NAME_FOLDER},
                                                  {"QUILL_FOLDED_ROOT", fs::canonical(folder_.path()).string()}},
                                                 folder_.path());
        EXPECT_EQ(result.status, 0) << result.err;
        return result;
    }

    // Of main on the remote, seen where names are exact.
    Paths committed_files() const {
        setenv("QUILL_TOME_REMOTE_URL", ("file://" + (folder_ / "remote").string()).c_str(), 1);
        const auto head = quill::list_project_workspace_revisions(package_, "main", 1).at(0).id;
        const auto preview = quill::resolve_project_workspace_revision_scene(package_, {}, "main", head);
        unsetenv("QUILL_TOME_REMOTE_URL");
        return quill::visible_project_files(preview.checkoutRoot);
    }

    TemporaryFolder folder_;
    fs::path package_ = folder_ / "P.quillproject";
    const Paths renamed_{"Assets/Name.txt", "Scenes/Main.usda", "project.json"};
};

TEST_F(CaseOnlyRename, OfAFileIsCommittedWithEverything) {
    fs::rename(package_ / "Assets/name.txt", package_ / "Assets/Name.txt");
    run({"create-workspace", "P.quillproject", "main", "Feature"});
    EXPECT_EQ(committed_files(), renamed_);
}

TEST_F(CaseOnlyRename, OfAFileIsCommittedByItsTwoNames) {
    fs::rename(package_ / "Assets/name.txt", package_ / "Assets/Name.txt");
    run({"commit-workspace", "P.quillproject", "main", "Assets/name.txt", "Assets/Name.txt"});
    EXPECT_EQ(committed_files(), renamed_);
}

TEST_F(CaseOnlyRename, OfAFolderIsCommittedWithEverything) {
    fs::rename(package_ / "Assets", package_ / "ASSETS");
    run({"create-workspace", "P.quillproject", "main", "Feature"});
    EXPECT_EQ(committed_files(), (Paths{"ASSETS/name.txt", "Scenes/Main.usda", "project.json"}));
}

TEST_F(CaseOnlyRename, OfAFolderIsTakenBackByARestore) {
    fs::rename(package_ / "Assets", package_ / "ASSETS");
    run({"restore-proof", "P.quillproject"});
    EXPECT_EQ(quill::visible_project_files(package_), (Paths{"Assets/name.txt", "Scenes/Main.usda", "project.json"}));
}

TEST_F(CaseOnlyRename, IsBroughtIntoThePackageByASync) {
    fs::rename(package_ / "Assets/name.txt", package_ / "Assets/Name.txt");
    run({"create-workspace", "P.quillproject", "main", "Feature"});
    fs::rename(package_ / "Assets/Name.txt", package_ / "Assets/name.txt");
    run({"sync-workspace", "P.quillproject", "main", "Assets/name.txt", "Assets/Name.txt"});
    EXPECT_EQ(read_file(package_ / "Assets/Name.txt"), "one");
    EXPECT_FALSE(fs::exists(package_ / "Assets/name.txt"));
}

TEST_F(CaseOnlyRename, DoesNotHoldUpARestore) {
    fs::rename(package_ / "Assets/name.txt", package_ / "Assets/Name.txt");
    run({"restore-proof", "P.quillproject"});
}

}  // namespace
}  // namespace quill_test
