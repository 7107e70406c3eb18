#include "project/project_id.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/concurrency.h"
#include "tests/support/limited_process.h"
#include "tests/support/package_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

const std::string alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
const std::string valid_id = "k3Vq9TzA0bLm7XcP";

bool is_generated(const std::string& id) {
    return id.size() == 16 && id.find_first_not_of(alphabet) == std::string::npos;
}

TEST(GeneratedProjectId, IsSixteenLettersAndDigits) {
    for (int i = 0; i < 100; ++i) {
        const std::string id = quill::generate_project_id();
        EXPECT_TRUE(is_generated(id)) << id;
        EXPECT_TRUE(quill::is_valid_project_id(id)) << id;
    }
}

TEST(GeneratedProjectId, NeverComesTwice) {
    std::set<std::string> ids;
    for (int i = 0; i < 1000; ++i) {
        ids.insert(quill::generate_project_id());
    }
    EXPECT_EQ(ids.size(), 1000u);
}

// Reducing random bytes modulo 62 would put the sum above 400; a fair draw exceeds 220 once in 10^18 runs.
TEST(GeneratedProjectId, DrawsEveryCharacterEquallyOften) {
    std::map<char, double> counts;
    for (int i = 0; i < 4000; ++i) {
        for (const char c : quill::generate_project_id()) {
            ++counts[c];
        }
    }
    const double expected = 4000.0 * 16 / 62;
    double deviation = 0;
    for (const char c : alphabet) {
        deviation += (counts[c] - expected) * (counts[c] - expected) / expected;
    }
    EXPECT_LT(deviation, 220);
}

TEST(ValidProjectId, HasTwelveToSixtyFourBytes) {
    for (std::size_t length = 0; length <= 200; ++length) {
        EXPECT_EQ(quill::is_valid_project_id(std::string(length, 'a')), length >= 12 && length <= 64) << length;
    }
    EXPECT_FALSE(quill::is_valid_project_id(std::string(1'000'000, 'a')));
}

TEST(ValidProjectId, HasLettersDigitsUnderscoresAndHyphensAlone) {
    EXPECT_TRUE(quill::is_valid_project_id("abc_def-GHI1"));
    EXPECT_TRUE(quill::is_valid_project_id("------______"));
    const std::string allowed = alphabet + "_-";
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        const bool valid = allowed.find(byte) != std::string::npos;
        for (const std::size_t place : {0, 6, 12}) {
            std::string id = "abcdefghijklm";
            id[place] = byte;
            EXPECT_EQ(quill::is_valid_project_id(id), valid) << c << " at " << place;
        }
    }
    EXPECT_FALSE(quill::is_valid_project_id("abcdefghijk\xc3\xa4"));
    EXPECT_FALSE(quill::is_valid_project_id("../../../etc/passwd"));
}

class EnsuredProjectId : public PackageFolder {
  protected:
    std::string ensure() const { return quill::ensure_project_id(project_); }
    ino_t inode() const {
        struct stat status {};
        return stat(manifest_.c_str(), &status) == 0 ? status.st_ino : 0;
    }
    static std::string line(const std::string& id) { return "\n  \"id\": \"" + id + "\""; }
};

TEST_F(EnsuredProjectId, ValidOneIsReturnedWithoutWriting) {
    for (const std::string& id : {valid_id, std::string("abc_def-GHI1"), std::string(12, 'a'), std::string(64, 'z')}) {
        const std::string text = "{\"name\": \"G\", \"id\":\"" + id + "\"";
        write_manifest(text);
        const ino_t before = inode();
        EXPECT_EQ(ensure(), id);
        EXPECT_EQ(inode(), before);
        EXPECT_EQ(manifest(), text);
    }
}

TEST_F(EnsuredProjectId, EmptyObjectGetsTheKeyAlone) {
    for (const std::string rest : {"}", "\n}\n", " \t\r\n}"}) {
        write_manifest("{" + rest);
        const std::string id = ensure();
        EXPECT_TRUE(is_generated(id)) << id;
        EXPECT_EQ(manifest(), "{" + line(id) + rest);
    }
}

TEST_F(EnsuredProjectId, OtherKeysFollowBehindAComma) {
    for (const std::string rest : {"\n  \"name\": \"G\"\n}\n", "\"name\":\"G\"}", "\"a\": {}}"}) {
        write_manifest("{" + rest);
        const std::string id = ensure();
        EXPECT_TRUE(is_generated(id)) << id;
        EXPECT_EQ(manifest(), "{" + line(id) + "," + rest);
    }
}

TEST_F(EnsuredProjectId, SecondCallReturnsTheSameWithoutWriting) {
    write_manifest("{\n  \"name\": \"G\"\n}\n");
    const std::string id = ensure();
    const ino_t before = inode();
    EXPECT_EQ(ensure(), id);
    EXPECT_EQ(inode(), before);
}

TEST_F(EnsuredProjectId, InvalidOneStaysBehindTheNew) {
    for (const std::string& bad :
         {std::string(), std::string(11, 'a'), std::string(65, 'a'), std::string("has a space."),
          std::string("../../../../etc"), std::string("abcdefghijk\xc3\xa4")}) {
        const std::string rest = "\n  \"id\": \"" + bad + "\"\n}\n";
        write_manifest("{" + rest);
        const std::string id = ensure();
        EXPECT_TRUE(is_generated(id)) << id;
        EXPECT_EQ(manifest(), "{" + line(id) + "," + rest);
        EXPECT_EQ(ensure(), id);
    }
}

TEST_F(EnsuredProjectId, OneThatIsNoStringIsReplaced) {
    write_manifest("{\"id\": 1234567890123456, \"name\": \"G\"}");
    const std::string id = ensure();
    EXPECT_TRUE(is_generated(id)) << id;
    EXPECT_EQ(manifest(), "{" + line(id) + ",\"id\": 1234567890123456, \"name\": \"G\"}");
}

TEST_F(EnsuredProjectId, CutOffManifestKeepsAllItsBytes) {
    const std::string whole = "{\n  \"name\": \"G\"\n}\n";
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        write_manifest(whole.substr(0, length));
        const std::string id = ensure();
        EXPECT_EQ(manifest(), "{" + line(id) + "," + whole.substr(1, length - 1));
        EXPECT_EQ(ensure(), id);
    }
}

TEST_F(EnsuredProjectId, HugeManifestKeepsAllItsBytes) {
    const std::string rest = "\"a\": \"" + repeated("\\\"id\\\": \xc3\xa4", 300'000) + "\"}";
    write_manifest("{" + rest);
    const std::string id = ensure();
    EXPECT_TRUE(is_generated(id)) << id;
    EXPECT_TRUE(manifest() == "{" + line(id) + "," + rest);
}

TEST_F(EnsuredProjectId, ManifestWithoutABraceIsRefusedAndStays) {
    for (const std::string text : {"", "}", "[]", "\"id\": \"bad\"", "not json"}) {
        write_manifest(text);
        EXPECT_EQ(failure_of([&] { ensure(); }), "Invalid project manifest: " + manifest_.string());
        EXPECT_EQ(manifest(), text);
    }
    EXPECT_EQ(names_in(project_), std::vector<std::string>{"project.json"});
}

TEST_F(EnsuredProjectId, MissingManifestIsReportedWithThePathAsGiven) {
    const CurrentFolder here(folder_.path());
    EXPECT_EQ(failure_of([] { quill::ensure_project_id("P.quillproject"); }),
              "Could not open P.quillproject/project.json");
    fs::create_directories(project_);
    EXPECT_EQ(failure_of([] { quill::ensure_project_id("./P.quillproject"); }),
              "Could not open ./P.quillproject/project.json");
    EXPECT_EQ(names_in(project_), std::vector<std::string>{});
}

TEST_F(EnsuredProjectId, HostilePackageNamesAreFolders) {
    const CurrentFolder here(folder_.path());
    for (const std::string name : {"it's \"q\"", "line\nfeed", "\xc3\xa4", "x/../..dots"}) {
        fs::create_directories(folder_ / "x");
        write_file(folder_ / name / "project.json", "{}");
        const std::string id = quill::ensure_project_id(name);
        EXPECT_EQ(read_file(folder_ / name / "project.json"), "{" + line(id) + "}");
    }
}

TEST_F(EnsuredProjectId, FailedWriteLeavesTheManifest) {
    write_manifest("{}");
    fs::create_directories(project_ / "project.json.tmp");
    EXPECT_EQ(failure_of([&] { ensure(); }), "Could not write " + manifest_.string() + ".tmp");
    EXPECT_EQ(manifest(), "{}");
}

TEST_F(EnsuredProjectId, FullDiskLeavesTheManifest) {
    write_manifest("{}");
    for (const rlim_t limit : {0, 10}) {
        EXPECT_EQ(outcome_with_file_size_limit(limit, [&] { ensure(); }),
                  "Could not write " + manifest_.string() + ".tmp");
        EXPECT_EQ(manifest(), "{}");
        EXPECT_EQ(names_in(project_), std::vector<std::string>{"project.json"});
    }
}

TEST_F(EnsuredProjectId, ThreadsAgreeOnOne) {
    for (int round = 0; round < 20; ++round) {
        write_manifest("{\n  \"name\": \"G\"\n}\n");
        std::array<std::string, 8> ids;
        on_threads(8, [&](int i) { failure_of([&] { ids.at(i) = ensure(); }); });
        EXPECT_EQ(std::count(ids.begin(), ids.end(), ids[0]), 8);
        EXPECT_EQ(manifest(), "{" + line(ids[0]) + ",\n  \"name\": \"G\"\n}\n");
    }
}

TEST_F(EnsuredProjectId, ThreadsWorkOnDifferentProjects) {
    for (int i = 0; i < 8; ++i) {
        write_file(folder_ / std::to_string(i) / "project.json", "{}");
    }
    on_threads(8, [&](int i) { quill::ensure_project_id(folder_ / std::to_string(i)); });
    std::set<std::string> texts;
    for (int i = 0; i < 8; ++i) {
        const std::string id = quill::ensure_project_id(folder_ / std::to_string(i));
        EXPECT_EQ(read_file(folder_ / std::to_string(i) / "project.json"), "{" + line(id) + "}");
        texts.insert(id);
    }
    EXPECT_EQ(texts.size(), 8u);
}

// Processes do not exclude each other: one may lose its ID or fail, but none may leave half a manifest.
TEST_F(EnsuredProjectId, ProcessesLeaveAWholeManifestWithOneOfTheirs) {
    for (int round = 0; round < 10; ++round) {
        write_manifest("{\n  \"name\": \"G\"\n}\n");
        in_processes(6, [&](int) {
            std::string id;
            const std::string failure = failure_of([&] { id = ensure(); });
            if (failure == "no failure" ? !is_generated(id) : !id.empty()) {
                throw std::runtime_error("with \"" + failure + "\" the ID " + id);
            }
        });
        const std::string id = ensure();
        EXPECT_TRUE(is_generated(id)) << id;
        EXPECT_EQ(manifest(), "{" + line(id) + ",\n  \"name\": \"G\"\n}\n");
        EXPECT_EQ(names_in(project_), std::vector<std::string>{"project.json"});
    }
}

}  // namespace
}  // namespace quill_test
