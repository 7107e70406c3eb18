// tome_file_state: how working files, what they stand on and the newest head differ.
#include <sys/stat.h>

#include "tests/tome/detached_checkout.h"

namespace quill_test {
namespace {

class FileState : public DetachedCheckout {};

const std::string old_bytes = sha256_of("old");
const std::string new_bytes = sha256_of("new");

TEST_F(FileState, SaysNothingOfFilesThatAreTheSameEverywhere) {
    start({{"a.txt", "old"}, {"folder/b.txt", "old"}});
    const EngineResult result = must(package_.file_state());
    EXPECT_TRUE(result.states.empty());
    EXPECT_EQ(result.hash, first_);
}

TEST_F(FileState, TellsWhatChangedHere) {
    start({{"edited", "old"}, {"removed", "old"}, {"untouched", "old"}});
    write("edited", "new");
    write("added", "new");
    remove("removed");
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"added", "", "unread", ""},
                                                      {"edited", old_bytes, new_bytes, old_bytes},
                                                      {"removed", old_bytes, "", old_bytes}}));
}

TEST_F(FileState, TellsWhatChangedThere) {
    start({{"edited", "old"}, {"removed", "old"}, {"untouched", "old"}});
    publish("edited", "new");
    publish("added", "new");
    const std::string head = publish("removed", std::nullopt);
    const EngineResult result = must(package_.file_state());
    EXPECT_EQ(result.hash, head);
    EXPECT_EQ(result.states, (std::vector<EngineFileState>{{"added", "", "", new_bytes},
                                                           {"edited", old_bytes, old_bytes, new_bytes},
                                                           {"removed", old_bytes, old_bytes, ""}}));
}

TEST_F(FileState, TellsTheSameChangeOnBothSides) {
    start({{"a.txt", "old"}});
    publish("a.txt", "new");
    write("a.txt", "new");
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", old_bytes, new_bytes, new_bytes}}));
}

TEST_F(FileState, DoesNotReadAFileWhoseSizeTellsThatItChanged) {
    start({{"a.txt", "old"}});
    write("a.txt", "longer");
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", old_bytes, "unread", old_bytes}}));
}

TEST_F(FileState, TellsAnExecutableBitApart) {
    start({{"a.sh", "old"}});
    ASSERT_EQ(chmod((folder_ / "package/a.sh").c_str(), 0755), 0);
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.sh", old_bytes, old_bytes + " x", old_bytes}}));
}

TEST_F(FileState, OfGivenPathsLooksAtThoseAlone) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    write("a.txt", "new");
    write("b.txt", "new");
    EXPECT_EQ(must(package_.file_state({"b.txt"})).states,
              (std::vector<EngineFileState>{{"b.txt", old_bytes, new_bytes, old_bytes}}));
}

TEST_F(FileState, PassesOverWhatItIsToldTo) {
    start({{"a.txt", "old"}});
    write("skipped/a.txt", "new");
    EXPECT_TRUE(must(package_.file_state({}, {"skipped"})).states.empty());
}

TEST_F(FileState, OfALinkInTheFilesPlaceIsThatNoFileIsHere) {
    start({{"a.txt", "old"}});
    remove("a.txt");
    std::filesystem::create_symlink("b.txt", folder_ / "package/a.txt");
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", old_bytes, "", old_bytes}}));
}

TEST_F(FileState, OfACopiedFolderAndStateIsTheSame) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    write("a.txt", "new");
    std::filesystem::copy(folder_ / "package", folder_ / "copy", std::filesystem::copy_options::recursive);
    std::filesystem::copy(folder_ / "state", folder_ / "copied-state", std::filesystem::copy_options::recursive);
    EngineClient copy(folder_ / "copied-state");
    copy.working_folder = (folder_ / "copy").string();
    EXPECT_EQ(must(copy.file_state()).states,
              (std::vector<EngineFileState>{{"a.txt", old_bytes, new_bytes, old_bytes}}));
}

TEST_F(FileState, OfAnOrdinaryCheckoutCountsFilesThatItDoesNotHoldAsUntouched) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const EngineClient sparse = new_clone({.paths = {"a.txt"}});
    publish("b.txt", "new");
    EXPECT_EQ(must(sparse.file_state()).states,
              (std::vector<EngineFileState>{{"b.txt", old_bytes, old_bytes, new_bytes}}));
}

TEST_F(FileState, OfADetachedCheckoutNeedsItsFolder) {
    start({{"a.txt", "old"}});
    package_.working_folder.clear();
    EXPECT_EQ(package_.file_state().error,
              "the checkout is detached, and no working folder was given: " + (folder_ / "state").string());
}

TEST_F(FileState, OfAnOrdinaryCheckoutTakesNoFolder) {
    start({{"a.txt", "old"}});
    EngineClient ordinary = new_clone();
    ordinary.working_folder = (folder_ / "package").string();
    EXPECT_EQ(ordinary.file_state().error, "the checkout is not detached: " + ordinary.path().string());
}

}  // namespace
}  // namespace quill_test
