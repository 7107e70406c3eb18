#include "identity/file_identity_cache.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using quill::CachedProjectFileIdentity;
using quill::find_file_identity;
using quill::store_file_identities;
using std::filesystem::path;

// The cache lasts as long as the process: every test has a folder of its own in it, which no file system knows.
class FileIdentityCache : public testing::Test {
  protected:
    static path folder() { return path("/cache of") / testing::UnitTest::GetInstance()->current_test_info()->name(); }
};

std::string key(char digit) {
    return "sha256:" + std::string(64, digit);
}

TEST_F(FileIdentityCache, KnowsNothingAtFirst) {
    EXPECT_EQ(find_file_identity(folder() / "a"), std::nullopt);
    EXPECT_EQ(find_file_identity(""), std::nullopt);
}

TEST_F(FileIdentityCache, FindsWhatWasStored) {
    store_file_identities({{folder() / "a", key('1')}, {folder() / "b", key('2')}});
    EXPECT_EQ(find_file_identity(folder() / "a"), key('1'));
    EXPECT_EQ(find_file_identity(folder() / "b"), key('2'));
    EXPECT_EQ(find_file_identity(folder() / "a"), key('1'));
}

TEST_F(FileIdentityCache, FindsNoOtherPath) {
    store_file_identities({{folder() / "sub/a", key('1')}});
    for (const path& other : {folder(), folder() / "sub", folder() / "sub/a/b", folder() / "sub/A", folder() / "a"}) {
        EXPECT_EQ(find_file_identity(other), std::nullopt) << other;
    }
}

TEST_F(FileIdentityCache, StoringNothingChangesNothing) {
    store_file_identities({{folder() / "a", key('1')}});
    store_file_identities({});
    EXPECT_EQ(find_file_identity(folder() / "a"), key('1'));
}

TEST_F(FileIdentityCache, LaterKeyReplacesTheEarlierOne) {
    store_file_identities({{folder() / "a", key('1')}});
    store_file_identities({{folder() / "a", key('2')}});
    EXPECT_EQ(find_file_identity(folder() / "a"), key('2'));
    store_file_identities({{folder() / "a", key('3')}, {folder() / "a", key('4')}});
    EXPECT_EQ(find_file_identity(folder() / "a"), key('4'));
}

TEST_F(FileIdentityCache, EmptyKeyCountsAsNone) {
    store_file_identities({{folder() / "a", ""}, {folder() / "b", key('1')}});
    EXPECT_EQ(find_file_identity(folder() / "a"), std::nullopt);
    store_file_identities({{folder() / "b", ""}});
    EXPECT_EQ(find_file_identity(folder() / "b"), std::nullopt);
    store_file_identities({{folder() / "b", key('2')}});
    EXPECT_EQ(find_file_identity(folder() / "b"), key('2'));
}

TEST_F(FileIdentityCache, KeyOfACheckoutIsKnownUnderTheOwningProjectToo) {
    for (const char* checkouts : {".derived/tome-workspaces", ".derived/.history-preview"}) {
        const path project = folder() / path(checkouts).filename() / "p.quillproject";
        const path file = project / checkouts / "feature/Scenes/Main.usda";
        store_file_identities({{file, key('1')}});
        EXPECT_EQ(find_file_identity(file), key('1')) << checkouts;
        EXPECT_EQ(find_file_identity(project), key('1')) << checkouts;
        store_file_identities({{project / checkouts / "other/a", key('2')}});
        EXPECT_EQ(find_file_identity(file), key('1')) << checkouts;
        EXPECT_EQ(find_file_identity(project), key('2')) << checkouts;
    }
}

TEST_F(FileIdentityCache, KeyOfAnyOtherPathIsKnownUnderThatPathOnly) {
    const path project = folder() / "p.quillproject";
    for (const char* file : {"Scenes/Main.usda", ".derived/other/feature/a", "tome-workspaces/feature/a"}) {
        store_file_identities({{project / file, key('1')}});
        EXPECT_EQ(find_file_identity(project / file), key('1')) << file;
        EXPECT_EQ(find_file_identity(project), std::nullopt) << file;
    }
}

TEST_F(FileIdentityCache, KeyIsKnownUnderTheNormalisedPath) {
    store_file_identities({{folder() / "sub/.././a", key('1')}});
    EXPECT_EQ(find_file_identity(folder() / "a"), key('1'));
}

TEST_F(FileIdentityCache, TakesUnusualNames) {
    const path odd = folder() / "a \"quoted\"\nname\t\\ \xC3\xA9\xFF";
    store_file_identities({{odd, key('1')}});
    EXPECT_EQ(find_file_identity(odd), key('1'));
    EXPECT_EQ(find_file_identity(folder() / "a \"quoted\""), std::nullopt);
}

TEST_F(FileIdentityCache, AsksNoFileSystem) {
    const path missing = folder() / "no such folder/no such file";
    store_file_identities({{missing, key('1')}});
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ(find_file_identity(missing), key('1'));
}

TEST_F(FileIdentityCache, ServesManyThreads) {
    constexpr int count = 200;
    const path base = folder();
    const auto file = [&](int thread, int number) { return base / std::to_string(thread) / std::to_string(number); };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int number = 0; number < count; ++number) {
                store_file_identities({{file(thread, number), key('1')}, {base / "shared", key('2')}});
                EXPECT_EQ(find_file_identity(file(thread, number)), key('1'));
                EXPECT_EQ(find_file_identity(base / "shared"), key('2'));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int thread = 0; thread < 4; ++thread) {
        EXPECT_EQ(find_file_identity(file(thread, count - 1)), key('1'));
    }
}

struct State {
    int value = 0;
};

struct OtherState {
    int value = 0;
};

TEST(LeakedState, IsOneObjectForEachType) {
    quill::internal::leaked<State>().value = 1;
    quill::internal::leaked<OtherState>().value = 2;
    EXPECT_EQ(quill::internal::leaked<State>().value, 1);
    EXPECT_EQ(quill::internal::leaked<OtherState>().value, 2);
}

}  // namespace
