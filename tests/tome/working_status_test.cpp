#include "tome/checkout/working_status.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>
#include <string>
#include <vector>

#include "tests/tome/engine_client.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

class WorkingStatus : public EngineOperations {
  protected:
    Paths changed(const std::set<std::string>& skip = {}) const {
        tome::Checkout checkout(client_.path(), tome::Checkout::Access::Read, true);
        return tome::changed_paths(checkout, skip);
    }

    const EngineClient client_ = new_repository({{"a", "1"}, {"b/c", "2"}, {"b/d", "3"}});
};

TEST_F(WorkingStatus, OfAnUntouchedCheckoutIsEmpty) {
    EXPECT_EQ(changed(), Paths());
}

TEST_F(WorkingStatus, NamesEditsAdditionsAndDeletionsInByteOrder) {
    client_.write("b/c", "edited");
    client_.write("B", "new");
    fs::remove(client_ / "a");
    EXPECT_EQ(changed(), (Paths{"B", "a", "b/c"}));
}

TEST_F(WorkingStatus, PassesOverNewFilesInFoldersThatAreToBeSkipped) {
    client_.write("build/x", "new");
    client_.write("built", "new");
    EXPECT_EQ(changed({"build"}), Paths{"built"});
}

TEST_F(WorkingStatus, PassesOverDeletionsAndStagedChangesInFoldersThatAreToBeSkipped) {
    client_.write("b/c", "edited");
    must(client_.stage({"b/c"}));
    fs::remove(client_ / "a");
    fs::remove(client_ / "b/d");
    EXPECT_EQ(changed(), (Paths{"a", "b/c", "b/d"}));
    EXPECT_EQ(changed({"b"}), Paths{"a"});
    EXPECT_EQ(changed({"a", "b/d"}), Paths{"b/c"});
    fs::remove_all(client_ / "b");
    EXPECT_EQ(changed({"b"}), Paths{"a"});
}

TEST_F(WorkingStatus, NamesALinkAndAPipeInTheirPlaces) {
    fs::remove(client_ / "a");
    fs::create_symlink("b/c", client_ / "a");
    ASSERT_EQ(mkfifo((client_ / "b/pipe").c_str(), 0666), 0);
    EXPECT_EQ(changed(), (Paths{"a", "b/pipe"}));
}

TEST_F(WorkingStatus, RefusesAFileWhoseNameNoTreeTakes) {
    client_.write("b\\c", "new");
    tome::Checkout checkout(client_.path(), tome::Checkout::Access::Read, true);
    EXPECT_EQ(engine_failure_of([&] { tome::changed_paths(checkout, {}); }), "invalid path: b\\c");
}

TEST_F(WorkingStatus, NamesAnEditThatKeepsSizeAndTime) {
    const auto time = fs::last_write_time(client_ / "a");
    client_.write("a", "9");
    fs::last_write_time(client_ / "a", time);
    EXPECT_EQ(changed(), Paths{"a"});
}

TEST_F(WorkingStatus, NamesWhatIsStagedThoughItsFileIsAsBefore) {
    client_.write("a", "edited");
    must(client_.stage({"a"}));
    client_.write("a", "1");
    EXPECT_EQ(changed(), Paths{"a"});
}

}  // namespace
}  // namespace quill_test
