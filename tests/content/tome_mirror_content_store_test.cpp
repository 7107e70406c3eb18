#include "content/tome_mirror_content_store.h"

#include <gtest/gtest.h>

#include "content/tome_content_key.h"
#include "content/tome_content_store.h"
#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;
using quill::TomeContentStore;
using quill_test::read_file;
using quill_test::write_file;

std::span<const std::byte> bytes_of(const std::string& text) {
    return std::as_bytes(std::span(text));
}

std::string text_of(const std::optional<std::vector<std::byte>>& bytes) {
    return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
}

class TomeMirror : public testing::Test {
  protected:
    fs::path mirror() const { return project_ / "Content/tome_mirror"; }

    quill_test::TemporaryFolder folder_;
    fs::path project_ = folder_ / "P.quillproject";
};

TEST_F(TomeMirror, FindsBlobsOfTheRepositoryAndOfWorkspaces) {
    TomeContentStore store(project_, project_, "", "http://x");
    const quill::TomeMirrorContentStore reader(project_, "http://x");
    const std::string key = store.put(bytes_of("abc")).key;
    EXPECT_EQ(text_of(reader.get(key)), "abc");
    const fs::path relative = quill::tome_mirror_relative_path_for_key(key);
    const fs::path workspace = project_ / ".derived/tome-workspaces/feature/Content/tome_mirror";
    fs::create_directories((workspace / relative).parent_path());
    fs::rename(mirror() / relative, workspace / relative);
    EXPECT_EQ(text_of(reader.get(key)), "abc");
    EXPECT_TRUE(reader.contains(key));
    EXPECT_EQ(reader.size(key), 3U);
    EXPECT_EQ(text_of(reader.get_range(key, 1, 2)), "bc");
}

TEST_F(TomeMirror, FindsNothingForABlobThatNoWorkspaceHolds) {
    const std::string key = quill::put_tome_mirror_content(project_, bytes_of("abc"), "", "").key;
    fs::remove_all(mirror());
    fs::create_directories(project_ / ".derived/tome-workspaces/feature");
    EXPECT_EQ(quill::find_tome_mirror_blob(project_, key), fs::path());
    EXPECT_EQ(text_of(quill::get_tome_mirror_content(project_, key)), "nothing");
}

TEST_F(TomeMirror, OfAWorkspacesCheckoutWritesToThePackage) {
    const fs::path checkout = project_ / ".derived/tome-workspaces/feature";
    const quill::StoredContent stored = quill::put_tome_mirror_content(checkout, bytes_of("abc"), "scene", "http://x");
    EXPECT_EQ(read_file(quill::tome_mirror_path_for_key(mirror(), stored.key)), "abc");
    EXPECT_EQ(text_of(quill::get_tome_mirror_content(checkout, stored.key)), "abc");
    EXPECT_EQ(quill::parse_tome_key(stored.key)->partition_id, quill::tome_content_partition(project_));
}

TEST_F(TomeMirror, ExistenceIsAskedOfTheLocalStoreAndTheMirrors) {
    const std::string digest = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    EXPECT_FALSE(quill::project_content_exists(project_, "sha256:" + digest));
    write_file(project_ / "Content/sha256/ba/78" / (digest + ".blob"), "abc");
    EXPECT_TRUE(quill::project_content_exists(project_, "sha256:" + digest));
    const std::string key = quill::put_tome_mirror_content(project_, bytes_of("abc"), "", "").key;
    EXPECT_TRUE(quill::project_content_exists(project_, key));
    EXPECT_FALSE(quill::project_content_exists(project_, "neither"));
}

}  // namespace
