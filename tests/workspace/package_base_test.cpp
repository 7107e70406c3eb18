// What the files of a package stand on. What commits make of it, in two packages: tests/tool/two_packages_test.cpp.
#include "workspace/checkout/package_base.h"

#include <gtest/gtest.h>

#include <quill/quill.h>

#include "tests/workspace/history_project.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::PackageBase;
using quill::ProjectFileState;

class PackageBaseTest : public testing::Test {
  protected:
    PackageBase open() const { return PackageBase::open(project_.package()).value(); }
    fs::path record() const { return quill::workspace_package_base(project_.package()); }
    void write(const std::string& path, const std::string& bytes) const {
        write_file(project_.package() / path, bytes);
    }

    /// "+" for a file that was added, "-" for one that was removed, "~" for one that was changed; here, then there.
    std::vector<std::string> differing() const {
        std::vector<std::string> texts;
        for (const ProjectFileState& file : open().compare().files) {
            texts.push_back(file.path + " " + change(file.base, file.here) + change(file.base, file.there));
        }
        return texts;
    }

    HistoryProject project_;

  private:
    static std::string change(const std::optional<quill::ProjectFileVersion>& from,
                              const std::optional<quill::ProjectFileVersion>& to) {
        return from == to ? "=" : !from ? "+" : !to ? "-" : "~";
    }
};

using Texts = std::vector<std::string>;

TEST_F(PackageBaseTest, IsWhatWasPublishedWhenTheHistoryWasStarted) {
    EXPECT_TRUE(fs::exists(record() / ".tome/config.toml"));
    EXPECT_EQ(differing(), Texts{});
}

TEST_F(PackageBaseTest, TellsEditsAdditionsAndDeletions) {
    project_.commit("old", "Assets/old.txt");
    write("Assets/new.txt", "new");
    write("Scenes/Main.usda", "edited");
    fs::remove(project_.package() / "Assets/old.txt");
    EXPECT_EQ(differing(), (Texts{"Assets/new.txt +=", "Assets/old.txt -=", "Scenes/Main.usda ~="}));
}

TEST_F(PackageBaseTest, KnowsNothingOfHiddenFiles) {
    write(".hidden", "x");
    write("Build/made", "x");
    write("Assets/.hidden", "x");
    write("Workspaces/reviews.json", "{}");
    EXPECT_EQ(differing(), Texts{});
}

TEST_F(PackageBaseTest, TakesALinkToAFileForThatFile) {
    project_.commit("one");
    write("Assets/target.txt", "two");
    fs::remove(project_.scene());
    fs::create_symlink("../Assets/target.txt", project_.scene());
    EXPECT_EQ(differing(), (Texts{"Assets/target.txt +=", "Scenes/Main.usda ~="}));
    write("Assets/target.txt", "one");
    EXPECT_EQ(differing(), Texts{"Assets/target.txt +="});
}

TEST_F(PackageBaseTest, TakesALinkToAFolderInAFilesPlaceForItsDeletion) {
    fs::remove(project_.scene());
    fs::create_directory_symlink("..", project_.scene());
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda -="});
}

TEST_F(PackageBaseTest, IsTheCommitOfWhatWasCommitted) {
    project_.commit("one");
    EXPECT_EQ(differing(), Texts{});
    write("Scenes/Main.usda", "two");
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda ~="});
}

TEST_F(PackageBaseTest, IsACommitThatWasPublishedBeforeItsProcessEnded) {
    project_.commit("one");
    const TemporaryFolder folder;
    fs::copy(record(), folder / "before", fs::copy_options::recursive);
    const std::string published = project_.commit("two");
    fs::remove_all(record());
    fs::copy(folder / "before", record(), fs::copy_options::recursive);
    write("Scenes/Main.usda", "three");
    open().announce(published, {"Scenes/Main.usda"});
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda ~="});
    open().announce(std::string(64, 'a'), {"Scenes/Main.usda"});
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda ~="}) << "it was never published";
}

TEST_F(PackageBaseTest, IsWhatWasRestoredBeforeTheProcessEnded) {
    project_.commit("one");
    const TemporaryFolder folder;
    fs::copy(record(), folder / "before", fs::copy_options::recursive);
    project_.commit("two");
    fs::remove_all(record());
    fs::copy(folder / "before", record(), fs::copy_options::recursive);
    PackageBase::announce_replacement(project_.package());
    quill::list_project_workspace_revisions(project_.package(), "main", 1);
    write("Scenes/Main.usda", "one");
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda ~="});
}

TEST_F(PackageBaseTest, IsMadeAnewFromTheHistoryWhereItIsMissing) {
    project_.commit("one");
    project_.commit("two");
    write("Scenes/Main.usda", "one");
    fs::remove_all(record());
    EXPECT_EQ(differing(), Texts{"Scenes/Main.usda =~"});
    EXPECT_FALSE(open().is_of_unknown_origin("Scenes/Main.usda"));
}

TEST_F(PackageBaseTest, IsUnknownForBytesThatTheHistoryDoesNotHave) {
    project_.commit("one");
    write("Scenes/Main.usda", "never committed");
    write("Assets/new.txt", "new");
    fs::remove_all(record());
    EXPECT_TRUE(open().is_of_unknown_origin("Scenes/Main.usda"));
    EXPECT_TRUE(open().is_of_unknown_origin("Scenes/Main.usda")) << "it was forgotten";
    EXPECT_FALSE(open().is_of_unknown_origin("Assets/new.txt"));
}

TEST_F(PackageBaseTest, IsKnownOnceTheFileWasExchanged) {
    project_.commit("one");
    write("Scenes/Main.usda", "never committed");
    fs::remove_all(record());
    open();
    project_.commit("never committed");
    EXPECT_FALSE(open().is_of_unknown_origin("Scenes/Main.usda"));
    EXPECT_EQ(differing(), Texts{});
}

TEST_F(PackageBaseTest, IsMadeAnewWhereItsRecordIsDamaged) {
    project_.commit("one");
    for (const char* file : {".tome/index.db", ".tome/config.toml"}) {
        fs::remove(record() / ".tome/index.db-wal");
        write_file(record() / file, "damage");
        write("Scenes/Main.usda", std::string("after ") + file);
        EXPECT_EQ(open().compare_and_settle().files.size(), 1U);
    }
}

TEST_F(PackageBaseTest, IsNoneBeforeTheHistoryIsStarted) {
    fs::remove_all(project_.remote());
    fs::remove_all(record());
    EXPECT_FALSE(PackageBase::open(project_.package()).has_value());
}

TEST_F(PackageBaseTest, TravelsWithACopyAndKnowsItsFiles) {
    project_.commit("one");
    const TemporaryFolder folder;
    fs::copy(project_.package(), folder / "Copy.quillproject", fs::copy_options::recursive);
    write_file(folder / "Copy.quillproject/Scenes/Main.usda", "two");
    const auto files = PackageBase::open(folder / "Copy.quillproject")->compare().files;
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0].path, "Scenes/Main.usda");
}

TEST_F(PackageBaseTest, IsTheRestoredRevisionAfterARestore) {
    const std::string first = project_.commit("one");
    project_.commit("two");
    quill::restore_project_workspace_revision(project_.package(), "main", first, "", "ana", "", project_.id(), {});
    EXPECT_EQ(differing(), Texts{});
}

}  // namespace
}  // namespace quill_test
