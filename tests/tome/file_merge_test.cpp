// Merging three versions of one file. What becomes of the lines: text_merge_test.cpp.
#include "tome/merge/file_merge.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

using tome::TreeEntry;

class FileMerge : public testing::Test {
  protected:
    FileMerge() { tome::Store::create(folder_ / "store"); }

    TreeEntry version(const std::string& bytes, bool executable = false) {
        tome::Store store(folder_ / "store");
        const tome::Digest digest = tome::digest_of(bytes);
        store.add_bytes(digest, bytes);
        return {"a.txt", TreeEntry::Kind::File, executable, bytes.size(), digest};
    }

    std::optional<TreeEntry> merge(const tome::FileVersions& versions) {
        tome::Store store(folder_ / "store");
        return tome::merge_files(store, store, versions, "a.txt");
    }

    std::string bytes_of(const TreeEntry& entry) {
        return tome::Store(folder_ / "store").read_content(entry.digest).value();
    }

    TemporaryFolder folder_;
};

TEST_F(FileMerge, HasTheChangesOfBothSidesAndIsStored) {
    const auto merged = merge({version("1\n2\n3\n"), version("one\n2\n3\n"), version("1\n2\nthree\n")});
    ASSERT_TRUE(merged);
    EXPECT_EQ(bytes_of(*merged), "one\n2\nthree\n");
    EXPECT_EQ(merged->size, 12U);
    EXPECT_EQ(merged->name, "a.txt");
}

TEST_F(FileMerge, TakesTheExecutableBitFromTheSideThatChangedIt) {
    const TreeEntry base = version("1\n2\n3\n");
    EXPECT_TRUE(merge({base, version("one\n2\n3\n", true), version("1\n2\nthree\n")})->executable);
    EXPECT_TRUE(merge({base, version("one\n2\n3\n"), version("1\n2\nthree\n", true)})->executable);
    EXPECT_FALSE(merge({base, version("one\n2\n3\n"), version("1\n2\nthree\n")})->executable);
}

TEST_F(FileMerge, CannotBeToldWithoutOneOfTheVersions) {
    const TreeEntry file = version("1\n");
    EXPECT_FALSE(merge({std::nullopt, file, version("2\n")}));
    EXPECT_FALSE(merge({file, std::nullopt, version("2\n")}));
    EXPECT_FALSE(merge({file, version("2\n"), std::nullopt}));
}

TEST_F(FileMerge, CannotBeToldOfTheSameLineOrOfWhatIsNoText) {
    EXPECT_FALSE(merge({version("1\n"), version("2\n"), version("3\n")}));
    const std::string nul(1, '\0');
    EXPECT_FALSE(merge({version("1\n2\n3\n" + nul), version("one\n2\n3\n" + nul), version("1\n2\nthree\n" + nul)}));
}

TEST_F(FileMerge, OfAContentThatIsMissingIsAnError) {
    TreeEntry lost = version("1\n");
    lost.digest = tome::digest_of("lost");
    try {
        merge({lost, version("2\n"), version("3\n")});
        ADD_FAILURE() << "no error";
    } catch (const tome::Error& error) {
        EXPECT_EQ(error.code(), tome::ErrorCode::NotFound);
        EXPECT_EQ(error.what(), "missing object: " + tome::to_hex(tome::digest_of("lost")));
    }
}

}  // namespace
}  // namespace quill_test
