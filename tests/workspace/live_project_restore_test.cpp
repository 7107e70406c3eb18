// The last step of a restore by itself: a folder of restored files and a live project of whatever files.
#include "workspace/history/live_project_restore.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "project/file_tree_comparison.h"
#include "tests/support/file_test_support.h"
#include "tests/support/temporary_folder.h"

#if defined(__linux__)
#include <dlfcn.h>

#include <cstdio>

namespace {

// Called after each file that is renamed into its place: what another program does meanwhile.
std::function<void()> after_rename;

}  // namespace

// In the place of the C library's, which it calls.
extern "C" int renameat(int from, const char* old_name, int to, const char* new_name) noexcept {
    using Function = int (*)(int, const char*, int, const char*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "renameat"));
    const int result = real(from, old_name, to, new_name);
    if (after_rename) {
        after_rename();
    }
    return result;
}
#endif

namespace quill {
namespace {

namespace fs = std::filesystem;
using quill_test::failure_of;
using quill_test::read_file;
using quill_test::write_file;

class LiveProjectRestore : public testing::Test {
  protected:
    LiveProjectRestore() {
        write_file(live() / "same.txt", "same");
        write_file(live() / "changed.txt", "edited");
        write_file(restored() / "same.txt", "same");
        write_file(restored() / "changed.txt", "restored");
    }

    fs::path live() const { return folder_ / "P.quillproject"; }
    fs::path restored() const { return folder_ / "restored"; }
    std::uint64_t restore() {
        FileKeeper kept(live(), "restore", "main");
        return restore_live_project(live(), restored(), kept);
    }
    /// The one set that is kept.
    fs::path replaced(const std::string& end = "") const {
        const fs::path sets = live() / ".derived/tome-workspaces/.kept-files";
        const std::vector<std::string> names = quill_test::names_in(sets);
        EXPECT_EQ(names.size(), 1U);
        EXPECT_TRUE(names.at(0).ends_with(end)) << names.at(0);
        return sets / names.at(0);
    }

  private:
    quill_test::TemporaryFolder folder_;
};

TEST_F(LiveProjectRestore, WritesWhatDiffersRemovesWhatIsGoneAndCountsBoth) {
    write_file(live() / "Assets/gone.bin", "gone since");
    EXPECT_EQ(restore(), 2u);
    EXPECT_EQ(read_file(live() / "changed.txt"), "restored");
    EXPECT_FALSE(fs::exists(live() / "Assets/gone.bin"));
    EXPECT_EQ(read_file(replaced() / "changed.txt"), "edited");
    EXPECT_EQ(read_file(replaced() / "Assets/gone.bin"), "gone since");
}

TEST_F(LiveProjectRestore, KeepsACopyOfWhatItReplacesWhereAFileCannotHaveTwoNames) {
    const auto message =
        quill_test::with_idle_calls(quill_test::linking_calls(), EPERM, [&] { return failure_of([&] { restore(); }); });
    if (!message) {
        GTEST_SKIP() << "system calls cannot be refused here";
    }
    EXPECT_EQ(*message, "no failure");
    EXPECT_EQ(read_file(live() / "changed.txt"), "restored");
    EXPECT_EQ(read_file(replaced() / "changed.txt"), "edited");
}

TEST_F(LiveProjectRestore, OfEqualFilesWritesNothing) {
    write_file(live() / "changed.txt", "restored");
    const fs::file_time_type time = fs::last_write_time(live() / "changed.txt");
    EXPECT_EQ(restore(), 0u);
    EXPECT_EQ(fs::last_write_time(live() / "changed.txt"), time);
}

#if defined(__linux__)
TEST_F(LiveProjectRestore, FailsWhereAnotherProgramSavedAFileMeanwhileAndKeepsWhatItReplaced) {
    after_rename = [this] { write_file(live() / "same.txt", "saved meanwhile"); };
    const std::string failure = failure_of([&] { restore(); });
    after_rename = nullptr;
    EXPECT_EQ(failure, "restore verification failed: the live project does not match the selected historical state");
    EXPECT_EQ(read_file(live() / "same.txt"), "saved meanwhile");
    EXPECT_EQ(read_file(replaced(".unfinished") / "changed.txt"), "edited");
}

TEST_F(LiveProjectRestore, FailsWhereAnotherProgramMadeAFileExecutableMeanwhile) {
    after_rename = [this] { fs::permissions(live() / "same.txt", fs::perms(0755)); };
    try {
        restore();
        ADD_FAILURE() << "nothing failed";
    } catch (const TreeMismatchError& error) {
        EXPECT_EQ(error.comparison().other_mode, std::vector<std::string>{"same.txt"});
    }
    after_rename = nullptr;
}
#endif

}  // namespace
}  // namespace quill
