// What a commit takes from its source folder, and which source folders it refuses.

#include <gtest/gtest.h>
#include <quill/quill.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "project/workspace_paths.h"
#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"
#include "workspace/checkout/workspace_snapshot.h"
#include "workspace/operations/workspace_creation.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::write_file;

class CommitSource : public testing::Test {
  protected:
    CommitSource() { project_.commit("a", "Assets/a.txt"); }

    std::string head() const { return list_project_workspace_revisions(project_.package(), "main", 1).at(0).id; }
    std::string commit(const fs::path& source, const std::vector<fs::path>& paths = {}) const {
        return failure_of([&] { update_project_workspace_head(project_.package(), "main", source, paths, "", ""); });
    }

    HistoryProject project_;
    quill_test::TemporaryFolder folder_;
};

TEST_F(CommitSource, ThatDoesNotExistIsRefused) {
    const std::string before = head();
    for (const std::vector<fs::path>& paths : {std::vector<fs::path>{}, {"Assets/a.txt"}}) {
        EXPECT_EQ(commit(folder_ / "missing", paths),
                  "could not read the source folder " + (folder_ / "missing").string() + ": No such file or directory");
        EXPECT_EQ(head(), before);
    }
}

TEST_F(CommitSource, WithoutAnyFileIsRefused) {
    const std::string before = head();
    fs::create_directories(folder_ / "empty/.tome");
    for (const std::vector<fs::path>& paths : {std::vector<fs::path>{}, {"Assets/a.txt"}}) {
        EXPECT_EQ(commit(folder_ / "empty", paths),
                  "nothing to commit from, the source folder holds no file: " + (folder_ / "empty").string());
        EXPECT_EQ(head(), before);
    }
}

TEST_F(CommitSource, InARepositoryFolderThatTheManifestNamesIsRefusedWithoutFiles) {
    std::string manifest = read_file(project_.package() / "project.json");
    manifest.replace(manifest.find("\"tomeRepository\": \".\""), 21, "\"tomeRepository\": \"history\"");
    write_file(project_.package() / "project.json", manifest);
    const std::string before = head();
    const fs::path source = project_workspace_checkout_root(project_.package(), "main");
    EXPECT_NE(commit(source, {"Scenes/Main.usda"}), "no failure");
    fs::create_directories(source / ".tome");
    EXPECT_NE(commit(source, {"Scenes/Main.usda"}), "no failure");
    EXPECT_EQ(head(), before);
}

TEST_F(CommitSource, ThatCannotBeReadWholeIsRefused) {
    fs::create_directories(folder_ / "source/Deep");
    write_file(folder_ / "source/a.txt", "a");
    fs::permissions(folder_ / "source/Deep", fs::perms(0));
    if (::access((folder_ / "source/Deep").c_str(), R_OK) == 0) {
        GTEST_SKIP() << "this user may read everything";
    }
    const std::string before = head();
    EXPECT_NE(commit(folder_ / "source"), "no failure");
    EXPECT_EQ(head(), before);
    fs::permissions(folder_ / "source/Deep", fs::perms(0755));
}

// A linked file whose target is gone was not deleted by anybody.
TEST_F(CommitSource, WithALinkThatLeadsNowhereIsRefusedWhereTheHistoryHasAFile) {
    fs::remove(project_.package() / "Assets/a.txt");
    fs::create_symlink("gone.txt", project_.package() / "Assets/a.txt");
    const std::string before = head();
    EXPECT_EQ(commit(project_.package()), "could not snapshot main workspace file: Assets/a.txt");
    EXPECT_EQ(commit(project_.package(), {"Assets/a.txt"}), "could not snapshot changed workspace file: Assets/a.txt");
    EXPECT_EQ(head(), before);
}

TEST_F(CommitSource, MayHoldLinksToFoldersAndPipesInThePackageAsInAWorkspace) {
    create_project_workspace(project_.package(), {}, "main", "Feature", "ana");
    const fs::path checkout = resolve_project_workspace_scene(project_.package(), {}, "feature").checkoutRoot;
    for (const fs::path& root : {project_.package(), checkout}) {
        fs::create_directories(root / "Assets");
        fs::create_directory_symlink("/", root / "Assets/folder");
        ASSERT_EQ(mkfifo((root / "Assets/pipe").c_str(), 0666), 0);
        write_file(root / "Assets/new.txt", "new");
    }
    EXPECT_EQ(commit(project_.package()), "no failure");
    const auto result = update_project_workspace_head(project_.package(), "feature", checkout, {}, "", "");
    ASSERT_EQ(result.files.size(), 1u);
    EXPECT_EQ(result.files[0].path, "Assets/new.txt");
    EXPECT_NO_THROW(create_project_workspace(project_.package(), {}, "feature", "Child", "ana"));
}

char next_letter(char letter) {
    return letter == 'z' ? 'a' : static_cast<char>(letter + 1);
}

// Whether a file that is written over from its front with one letter after the other ever held these bytes.
bool was_in_the_file(const std::string& bytes) {
    const std::size_t boundary = bytes.find_first_not_of(bytes[0]);
    return boundary == std::string::npos || (bytes[0] == next_letter(bytes[boundary]) &&
                                             bytes.find_first_not_of(bytes[boundary], boundary) == std::string::npos);
}

TEST_F(CommitSource, IsCopiedAsItWasAtOneMomentWhileAFileIsBeingWritten) {
    const fs::path source = folder_ / "source/big.bin";
    constexpr std::size_t size = 4U << 20U;
    write_file(source, std::string(size, 'a'));
    fs::create_directories(folder_ / "checkout");
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (char letter = 'b'; !done; letter = next_letter(letter)) {
            std::fstream file(source, std::ios::in | std::ios::out | std::ios::binary);
            for (std::size_t block = 0; block < 64; ++block) {
                file << std::string(size / 64, letter) << std::flush;
            }
        }
    });
    for (int attempt = 0; attempt < 20; ++attempt) {
        if (failure_of([&] { mirror_selected_project_files(folder_ / "source", folder_ / "checkout", {"big.bin"}); }) !=
            "no failure") {
            continue;
        }
        const std::string copied = read_file(folder_ / "checkout/big.bin");
        EXPECT_TRUE(was_in_the_file(copied)) << "a mixture was taken";
    }
    done = true;
    writer.join();
}

}  // namespace
}  // namespace quill
