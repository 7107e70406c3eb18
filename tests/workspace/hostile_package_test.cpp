// Packages that come from strangers and hold links where the package's own state or files are to be.

#include <gtest/gtest.h>
#include <quill/quill.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

#include "project/workspace_paths.h"
#include "tests/support/failure.h"
#include "tests/workspace/history_project.h"
#include "workspace/operations/workspace_creation.h"

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::HistoryProject;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;

// Everything below a folder, with the bytes of files.
std::map<std::string, std::string> contents_of(const fs::path& folder) {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const bool is_file = entry.is_regular_file() && !entry.is_symlink();
        contents[entry.path().lexically_relative(folder).string()] = is_file ? read_file(entry.path()) : "";
    }
    return contents;
}

// Somebody's folder, which no operation on a package may change.
class Home {
  public:
    Home() {
        write_file(folder_ / "Documents/thesis.txt", "years of work");
        write_file(folder_ / ".profile", "settings");
        write_file(folder_ / "0123456789-1-1/kept", "named as a checkout of a dead process");
        before_ = contents_of(folder_.path());
    }
    const fs::path& path() const { return folder_.path(); }
    void expect_untouched(const std::string& by) const { EXPECT_EQ(contents_of(folder_.path()), before_) << by; }

  private:
    TemporaryFolder folder_;
    std::map<std::string, std::string> before_;
};

void bring_all_kept_files_back(const fs::path& package) {
    for (const KeptFileSet& set : list_kept_files(package)) {
        restore_kept_files(package, set.id, {});
    }
}

// Every kind of operation; those that are refused are refused by a text.
void work_on(const HistoryProject& project, const std::string& old_head) {
    const fs::path package = project.package();
    const auto attempt = [](const std::function<void()>& call) { failure_of(call); };
    const std::string scene = "Scenes/Main.usda";
    attempt([&] { create_project_workspace(package, {}, "main", "Another", "ana"); });
    attempt([&] { sync_project_workspace_files(package, "feature", {scene}, false); });
    attempt([&] { sync_project_workspace_files(package, "main", {scene}, false); });
    attempt([&] { update_project_workspace_head(package, "main", package, {}, "", ""); });
    attempt([&] {
        update_project_workspace_head(package, "feature", project_workspace_checkout_root(package, "feature"), {}, "",
                                      "");
    });
    attempt([&] { restore_project_workspace_revision(package, "main", old_head, "", "", "", project.id(), {}); });
    attempt([&] { restore_project_workspace_revision(package, "feature", old_head, "", "", "", project.id(), {}); });
    attempt([&] { bring_all_kept_files_back(package); });
    attempt([&] { resolve_project_workspace_revision_scene(package, {}, "main", old_head); });
    attempt([&] { refresh_project_workspaces(package, true); });
    attempt([&] { merge_project_workspace_into(package, "feature", "main", ""); });
    attempt([&] { initialize_project_tome_repository(package); });
    attempt([&] { add_project_workspace_comment(package, "main", {}); });
    attempt([&] { create_project_review(package, "feature", "Title", "", "ana", {}); });
}

class LinkInThePackagesState : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(
    , LinkInThePackagesState,
    testing::Values(".derived", ".derived/tome-workspaces", ".derived/tome-shared-store",
                    ".derived/tome-workspaces/.branch-ops", ".derived/tome-workspaces/.branch-index",
                    ".derived/tome-workspaces/.history-preview", ".derived/tome-workspaces/.kept-files",
                    ".derived/tome-workspaces/.package-base", ".derived/tome-workspaces/.package-base/.tome",
                    ".derived/tome-workspaces/feature", ".derived/tome-workspaces/feature/.tome",
                    ".derived/tome-workspaces/feature/.derived", ".tome", "Workspaces"),
    [](const auto& test) {
        std::string name = test.param;
        std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
        return name;
    });

TEST_P(LinkInThePackagesState, IsNeverFollowed) {
    const Home home;
    const HistoryProject project;
    const std::string first = project.commit("first");
    create_project_workspace(project.package(), {}, "main", "Feature", "ana");
    project.commit("second");
    const fs::path link = project.package() / GetParam();
    fs::remove_all(link);
    fs::create_directories(link.parent_path());
    fs::create_directory_symlink(home.path(), link);
    work_on(project, first);
    home.expect_untouched(GetParam());
}

TEST(HostilePackage, IsToldWhichLinkStandsInTheWayBeforeAnythingIsPublished) {
    const Home home;
    const HistoryProject project;
    const std::string first = project.commit("first");
    const std::string second = project.commit("second");
    const fs::path link = project.package() / ".derived/tome-workspaces/.kept-files";
    fs::remove_all(link);
    fs::create_directory_symlink(home.path(), link);
    EXPECT_EQ(failure_of([&] {
                  restore_project_workspace_revision(project.package(), "main", first, "", "", "", project.id(), {});
              }),
              "a symbolic link stands in the way: " + link.string());
    EXPECT_EQ(list_project_workspace_revisions(project.package(), "main", 1).at(0).id, second) << "it was published";
}

TEST(HostilePackage, HasNoHiddenFileAsItsScene) {
    const HistoryProject project;
    std::string manifest = read_file(project.package() / "project.json");
    manifest.replace(manifest.find("Scenes/Main.usda"), 16, ".ssh/authorized_keys");
    write_file(project.package() / "project.json", manifest);
    EXPECT_EQ(failure_of([&] { create_project_workspace(project.package(), {}, "main", "Feature", "ana"); }),
              "scene lies outside the project: ");
    EXPECT_FALSE(fs::exists(project.package() / ".derived/tome-workspaces/.branch-ops/.ssh"));
}

// Exchanges the package's folder "Assets" with a link to somebody's folder, again and again.
class Racer {
  public:
    Racer(const fs::path& package, const fs::path& home)
        : assets_(package / "Assets"), held_(package / ".held"), link_(package / ".link") {
        fs::create_directory_symlink(home, link_);
        thread_ = std::thread([this] {
            std::error_code ignored;
            while (!done_) {
                fs::rename(assets_, held_, ignored);
                fs::rename(link_, assets_, ignored);
                fs::rename(assets_, link_, ignored);
                fs::rename(held_, assets_, ignored);
            }
        });
    }
    ~Racer() {
        done_ = true;
        thread_.join();
    }

  private:
    fs::path assets_;
    fs::path held_;
    fs::path link_;
    std::atomic<bool> done_{false};
    std::thread thread_;
};

TEST(HostilePackage, LeadsNowhereWhileALinkIsSwappedIn) {
    const Home home;
    write_file(home.path() / "big.bin", "of somebody");
    const std::map<std::string, std::string> before = contents_of(home.path());
    const HistoryProject project;
    const std::string first = project.commit("one", "Assets/big.bin");
    const std::string second = project.commit("two", "Assets/big.bin");
    create_project_workspace(project.package(), {}, "main", "Feature", "ana");
    {
        const Racer racer(project.package(), home.path());
        for (int turn = 0; turn < 12; ++turn) {
            failure_of([&] { sync_project_workspace_files(project.package(), "main", {"Assets/big.bin"}, true); });
            failure_of([&] {
                restore_project_workspace_revision(project.package(), "main", turn % 2 == 0 ? first : second, "", "",
                                                   "", project.id(), {});
            });
            failure_of([&] { bring_all_kept_files_back(project.package()); });
        }
    }
    EXPECT_EQ(contents_of(home.path()), before);
}

}  // namespace
}  // namespace quill
