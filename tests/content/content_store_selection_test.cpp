#include "content/content_store_selection.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "content/local_content_store.h"
#include "content/tome_content_store.h"
#include "content/tome_mirror_content_store.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::ContentStore;
using quill::LocalContentStore;
using quill::TomeContentStore;
using quill::TomeMirrorContentStore;
using quill_test::write_file;

template <typename Store>
bool is_a(const std::shared_ptr<ContentStore>& store) {
    return dynamic_cast<Store*>(store.get()) != nullptr;
}

class ContentStoreSelection : public testing::Test {
  protected:
    ContentStoreSelection() { clear_environment(); }
    ~ContentStoreSelection() override { clear_environment(); }

    static void clear_environment() {
        for (const char* name :
             {"QUILL_CONTENT_STORE_BACKEND", "QUILL_TOME_WORKSPACE", "KEEL_TOME_REMOTE_URL", "QUILL_TOME_REMOTE_URL"}) {
            unsetenv(name);
        }
    }

    void write_manifest(const std::string& store) const {
        write_file(project_ / "project.json",
                   "{\n  \"id\": \"abcdefghijklmnop\",\n  \"contentStore\": \"" + store + "\"\n}\n");
    }

    quill_test::TemporaryFolder folder_;
    fs::path project_ = folder_ / "P.quillproject";
};

TEST_F(ContentStoreSelection, FollowsTheManifest) {
    write_manifest("tome");
    EXPECT_TRUE(is_a<TomeContentStore>(quill::make_project_content_store(project_, "u")));
    EXPECT_TRUE(is_a<TomeMirrorContentStore>(quill::make_project_worker_content_store(project_, "u")));
    EXPECT_TRUE(is_a<TomeContentStore>(
        quill::make_project_content_store_for_repository(project_, folder_ / "repository", "u")));
    write_manifest("local");
    EXPECT_TRUE(is_a<LocalContentStore>(quill::make_project_content_store(project_, "u")));
    EXPECT_TRUE(is_a<LocalContentStore>(quill::make_project_worker_content_store(project_, "u")));
    EXPECT_TRUE(is_a<LocalContentStore>(
        quill::make_project_content_store_for_repository(project_, folder_ / "repository", "u")));
}

TEST_F(ContentStoreSelection, PackageWithoutAManifestGetsTheLocalStore) {
    const auto store = quill::make_project_content_store(project_, "u");
    EXPECT_TRUE(is_a<LocalContentStore>(store));
    const std::string text = "abc";
    store->put(std::as_bytes(std::span(text)));
    EXPECT_TRUE(fs::exists(project_ / "Content/sha256/ba/78"));
}

TEST_F(ContentStoreSelection, ManifestThatNamesNoStoreGetsTheLocalOne) {
    write_file(project_ / "project.json", "{\n  \"version\": 1,\n  \"name\": \"P\"\n}\n");
    EXPECT_TRUE(is_a<LocalContentStore>(quill::make_project_content_store(project_, "u")));
    EXPECT_TRUE(is_a<LocalContentStore>(quill::make_project_worker_content_store(project_, "u")));
}

TEST_F(ContentStoreSelection, ManifestThatCannotBeReadIsReported) {
    fs::create_directories(project_ / "project.json");
    EXPECT_THROW(quill::make_project_content_store(project_, "u"), std::runtime_error);
}

TEST_F(ContentStoreSelection, SharesAStoreWhileSomebodyHoldsIt) {
    write_manifest("tome");
    const auto first = quill::make_project_content_store(project_, "u");
    EXPECT_EQ(quill::make_project_content_store(project_ / "Scenes/..", "u"), first);
    EXPECT_NE(quill::make_project_content_store(project_, "v"), first);
    std::weak_ptr<ContentStore> gone = quill::make_project_content_store(project_, "w");
    EXPECT_TRUE(gone.expired());
}

TEST_F(ContentStoreSelection, FailureLeavesNothingBehindInTheCache) {
    write_manifest("tome");
    write_file(project_ / ".tome", "no folder");
    EXPECT_THROW(quill::make_project_content_store(project_, "u"), std::runtime_error);
    fs::remove(project_ / ".tome");
    EXPECT_TRUE(is_a<TomeContentStore>(quill::make_project_content_store(project_, "u")));
}

TEST_F(ContentStoreSelection, EnvironmentOverrulesTheManifest) {
    write_manifest("local");
    setenv("QUILL_CONTENT_STORE_BACKEND", "tome", 1);
    EXPECT_TRUE(is_a<TomeContentStore>(quill::make_content_store_from_environment(project_, "u")));
    EXPECT_TRUE(fs::exists(project_ / ".tome"));
    setenv("QUILL_TOME_WORKSPACE", (folder_ / "elsewhere").c_str(), 1);
    EXPECT_TRUE(is_a<TomeContentStore>(quill::make_content_store_from_environment(project_, "u")));
    EXPECT_TRUE(fs::exists(folder_ / "elsewhere/.tome"));
    write_manifest("tome");
    setenv("QUILL_CONTENT_STORE_BACKEND", "local", 1);
    EXPECT_TRUE(is_a<LocalContentStore>(quill::make_content_store_from_environment(project_, "u")));
}

TEST_F(ContentStoreSelection, EnvironmentIsComparedExactly) {
    write_manifest("local");
    for (const char* backend : {"TOME", "", "Tome ", "anything"}) {
        setenv("QUILL_CONTENT_STORE_BACKEND", backend, 1);
        EXPECT_TRUE(is_a<LocalContentStore>(quill::make_content_store_from_environment(project_, "u"))) << backend;
    }
}

}  // namespace
