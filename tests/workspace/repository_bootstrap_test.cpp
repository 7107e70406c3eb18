// With the real engine and directory remotes.
#include "workspace/operations/repository_bootstrap.h"

#include <algorithm>
#include <span>

#include "content/content_store_selection.h"
#include "project/checkout_configuration.h"
#include "project/workspace_paths.h"
#include "tests/workspace/real_project.h"
#include "workspace/checkout/workspace_checkout.h"
#include "workspace/checkout/workspace_snapshot.h"

namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::scene;
using quill_test::write_file;
using Texts = std::vector<std::string>;

class RepositoryBootstrap : public quill_test::RealProject {
  protected:
    RepositoryBootstrap() { make_project_with_remote(); }
};

TEST_F(RepositoryBootstrap, PutsTheVisibleFilesOnTheRemote) {
    write_file(project_ / "Assets/rock.bin", std::string("a\0b", 3));
    write_file(project_ / ".hidden/file", "hidden");
    quill::initialize_project_tome_repository(project_);
    const fs::path clone = clone_of_main();
    EXPECT_EQ(visible_files(clone), visible_files(project_));
    EXPECT_EQ(read_file(clone / "Assets/rock.bin"), std::string("a\0b", 3));
    EXPECT_EQ(read_file(clone / "project.json"), read_file(project_ / "project.json"));
    EXPECT_FALSE(fs::exists(clone / ".hidden"));
    EXPECT_EQ(revisions_of_main(), 1u);
}

TEST_F(RepositoryBootstrap, LeavesNoCheckoutAndMakesThePackageNone) {
    quill::initialize_project_tome_repository(project_);
    for (const auto& entry : fs::directory_iterator(quill::workspace_checkout_base(project_))) {
        EXPECT_TRUE(!entry.is_directory() || entry.path().filename() == ".package-base") << entry;
    }
    EXPECT_FALSE(fs::exists(project_ / ".tome"));
}

TEST_F(RepositoryBootstrap, SecondTimeBringsEditsAdditionsAndDeletions) {
    write_file(project_ / "Assets/old.txt", "old");
    quill::initialize_project_tome_repository(project_);
    fs::remove(project_ / "Assets/old.txt");
    write_file(project_ / "Assets/new.txt", "new");
    write_file(project_ / scene, "edited");
    quill::initialize_project_tome_repository(project_);
    const fs::path clone = clone_of_main();
    EXPECT_EQ(visible_files(clone), visible_files(project_));
    EXPECT_EQ(read_file(clone / scene), "edited");
    EXPECT_EQ(revisions_of_main(), 2u);
}

TEST_F(RepositoryBootstrap, SecondTimeWithoutChangesAddsNoRevision) {
    quill::initialize_project_tome_repository(project_);
    quill::initialize_project_tome_repository(project_);
    EXPECT_EQ(revisions_of_main(), 1u);
}

TEST_F(RepositoryBootstrap, RepositoryWithoutAnyRevisionIsFilled) {
    const quill::CheckoutLocation half{folder_ / "half", remote_};
    fs::create_directories(half.root);
    quill::call_tome_repository_create(half, quill::project_tome_repository_url(project_), "left half done");
    quill::initialize_project_tome_repository(project_);
    EXPECT_EQ(visible_files(clone_of_main()), visible_files(project_));
    EXPECT_EQ(revisions_of_main(), 1u);
}

TEST_F(RepositoryBootstrap, NewPackageBecomesACheckoutOfMain) {
    setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
    project_ = folder_ / "New.quillproject";
    quill::create_project_package(project_, "", {});
    unsetenv("QUILL_TOME_REMOTE_URL");
    EXPECT_TRUE(quill::is_tome_checkout(project_));
    EXPECT_EQ(visible_files(clone_of_main()), visible_files(project_));
    EXPECT_EQ(revisions_of_main(), 1u);
}

// With what was moved aside.
Texts states(const fs::path& package) {
    Texts names;
    for (const fs::directory_entry& entry : fs::directory_iterator(package)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(".tome")) {
            names.push_back(name.substr(0, name.find('-')));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(RepositoryBootstrap, NewPackageThatKeptItsBlobsAloneReachesTheRemote) {
    project_ = folder_ / "New.quillproject";
    quill::create_project_package(project_, "", {});
    const std::string bytes = "blob";
    const auto blob = std::as_bytes(std::span(bytes));
    const std::string key = quill::make_project_content_store(project_, "")->put(blob, "").key;
    ASSERT_TRUE(quill::is_tome_checkout(project_));
    setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
    quill::create_project_package(project_, "", {});
    unsetenv("QUILL_TOME_REMOTE_URL");
    EXPECT_EQ(visible_files(clone_of_main()), visible_files(project_));
    EXPECT_EQ(quill::quoted_tome_configuration(project_, "repository_url"),
              quill::project_tome_repository_url(project_));
    EXPECT_EQ(states(project_), (Texts{".tome", ".tome.replaced"}));
    EXPECT_TRUE(quill::make_project_content_store(project_, "")->get(key));
    quill::make_project_content_store(project_, "")->put(blob, "other");
}

TEST_F(RepositoryBootstrap, PackageThatIsCreatedAgainIsACheckoutOfItsNewRepository) {
    project_ = folder_ / "New.quillproject";
    setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
    quill::create_project_package(project_, "", {});
    const std::string first = quill::project_tome_repository_url(project_);
    write_file(project_ / scene, "edited");
    quill::create_project_package(project_, "", {});
    unsetenv("QUILL_TOME_REMOTE_URL");
    const std::string second = quill::project_tome_repository_url(project_);
    EXPECT_NE(first, second);
    EXPECT_EQ(quill::quoted_tome_configuration(project_, "repository_url"), second);
    EXPECT_EQ(read_file(clone_of_main() / scene), "edited");
    EXPECT_EQ(states(project_), (Texts{".tome", ".tome.replaced"}));
    const quill::CheckoutLocation old{folder_ / "old", remote_};
    quill::TomeClone clone;
    clone.repository_url = first;
    clone.branch = "main";
    quill::call_tome_repository_clone(old, clone);
}

TEST_F(RepositoryBootstrap, PackageWhoseNewRemoteCannotBeReachedKeepsItsState) {
    project_ = folder_ / "New.quillproject";
    setenv("QUILL_TOME_REMOTE_URL", remote_.c_str(), 1);
    quill::create_project_package(project_, "", {});
    const std::string first = quill::project_tome_repository_url(project_);
    write_file(folder_ / "file", "");
    setenv("QUILL_TOME_REMOTE_URL", ("file://" + (folder_ / "file/remote").string()).c_str(), 1);
    EXPECT_NE(failure_of([&] { quill::create_project_package(project_, "", {}); }), "no failure");
    unsetenv("QUILL_TOME_REMOTE_URL");
    EXPECT_EQ(quill::quoted_tome_configuration(project_, "repository_url"), first);
    EXPECT_EQ(states(project_), Texts{".tome"});
}

TEST_F(RepositoryBootstrap, PushFromAPackageWithoutTheRemoteFails) {
    project_ = folder_ / "New.quillproject";
    quill::create_project_package(project_, "", {});
    quill::call_tome_repository_create({project_, ""}, "alone", "");
    quill::tome_stage_and_commit(project_, visible_files(project_), "", "first");
    EXPECT_EQ(failure_of([&] { quill::push_tome_branch(project_, "main", remote_, true); }),
              "tome_branch_push: the checkout has no remote: " + project_.string());
}

TEST_F(RepositoryBootstrap, NewPackageWithHistoryIsLeftAsItIs) {
    quill::initialize_new_project_tome_repository(project_);
    write_file(project_ / scene, "edited");
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(revisions_of_main(), 1u);
    EXPECT_NE(read_file(clone_of_main() / scene), "edited");
}

TEST_F(RepositoryBootstrap, NewPackageWhoseStartWasCutShortIsFinished) {
    quill::ensure_project_tome_configuration(project_);
    quill::call_tome_repository_create({project_, remote_}, quill::project_tome_repository_url(project_), "");
    quill::initialize_new_project_tome_repository(project_);
    EXPECT_EQ(visible_files(clone_of_main()), visible_files(project_));
}

TEST_F(RepositoryBootstrap, RepositoryPathThatCannotBeMadeIsReported) {
    write_file(project_ / "project.json",
               "{\n  \"id\": \"abcdefghijklmnop\",\n  \"tomeRepository\": \"Scenes/Main.usda\",\n"
               "  \"tomeRemoteURL\": \"" +
                   remote_ + "\"\n}\n");
    const std::string failure = failure_of([&] { quill::initialize_new_project_tome_repository(project_); });
    EXPECT_EQ(failure.rfind("could not create Tome repository path: ", 0), 0u) << failure;
}

}  // namespace
