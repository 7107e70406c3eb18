// A remote's disk that lost or changed the bytes of an asset, which is still whole in the package.
#include <gtest/gtest.h>

#include <functional>

#include "tests/tool/tool_project.h"

namespace quill_test {
namespace {

const std::string project = "P.quillproject";
const std::string asset = "Assets/big.bin";
const std::string bytes(100'000, 'b');

struct Harm {
    std::string what;
    std::function<void(const std::filesystem::path& file)> apply;
};

const std::vector<Harm> harms{
    {"gone", [](const std::filesystem::path& file) { std::filesystem::remove(file); }},
    {"cut short", [](const std::filesystem::path& file) { std::filesystem::resize_file(file, 100); }},
    {"flipped", [](const std::filesystem::path& file) { write_file(file, "c" + bytes.substr(1)); }},
};

class DamagedRemote : public testing::Test {
  protected:
    void SetUp() override {
        folder_.must({"create", project});
        folder_.must({"initialize-history", project});
        commit(asset, bytes);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_ / "remote")) {
            if (entry.is_regular_file() && entry.path().string().find("/content/") != std::string::npos) {
                content_ = entry.path();
            }
        }
        ASSERT_EQ(read_file(content_), bytes);
    }

    void commit(const std::string& path, const std::string& text) {
        folder_.write(project + "/" + path, text);
        EXPECT_EQ(folder_.must({"commit-workspace", project, "main", path}),
                  "Committed 1 project files in workspace main\n");
    }

    // Nothing but the remote has the file then.
    void expect_on_remote(const std::string& path) {
        std::filesystem::remove_all(folder_ / (project + "/.derived"));
        folder_.write(project + "/" + path, "other");
        const ProcessResult result = folder_.run({"sync-workspace", project, "main", path});
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(folder_.text(project + "/" + path), bytes);
    }

    ToolFolder folder_;
    std::filesystem::path content_;
};

TEST_F(DamagedRemote, IsMendedByChangingAFileAndChangingItBack) {
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        harm.apply(content_);
        commit(asset, "changed");
        commit(asset, bytes);
        expect_on_remote(asset);
    }
}

TEST_F(DamagedRemote, IsMendedByCommittingTheSameBytesUnderAnotherName) {
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        harm.apply(content_);
        commit("Assets/" + harm.what + ".bin", bytes);
        expect_on_remote(asset);
    }
}

TEST_F(DamagedRemote, IsMendedByCommittingTheFileAsItIs) {
    for (const bool with_stores : {true, false}) {
        for (const Harm& harm : harms) {
            SCOPED_TRACE(harm.what + (with_stores ? ", from the stores" : ", from the package"));
            if (!with_stores) {
                std::filesystem::remove_all(folder_ / (project + "/.derived"));
            }
            harm.apply(content_);
            commit(asset, bytes);
            expect_on_remote(asset);
        }
    }
}

TEST_F(DamagedRemote, IsMendedByCommittingTheFileAsItIsBesideAChangedOne) {
    harms.back().apply(content_);
    folder_.write(project + "/Assets/other.txt", "other");
    folder_.must({"commit-workspace", project, "main", asset, "Assets/other.txt"});
    expect_on_remote(asset);
}

TEST_F(DamagedRemote, HoldsUpNoCommitOfOtherFiles) {
    harms.back().apply(content_);
    std::filesystem::remove_all(folder_ / (project + "/.derived"));
    commit("Assets/other.txt", "other");
}

}  // namespace
}  // namespace quill_test
