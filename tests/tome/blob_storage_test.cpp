#include "tome/checkout/blob_storage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/concurrency.h"
#include "tests/tome/engine_client.h"
#include "tests/tome/engine_test_objects.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

tome::BlobKey key(const std::string& bytes) {
    tome::BlobKey key;
    key.digest = tome::digest_of(bytes);
    return key;
}

class BlobStorage : public EngineOperations {
  protected:
    tome::BlobStorage open(const EngineClient& client) const {
        return {client.path(), tome::parse_repository_url(url_)};
    }

    static std::string get(tome::BlobStorage& storage, const tome::BlobKey& key) {
        std::string bytes;
        storage.get(
            key, [&](std::uint64_t size) { bytes.assign(size, '\0'); },
            [&](std::uint64_t offset, std::string_view part) { bytes.replace(offset, part.size(), part); });
        return bytes;
    }
};

TEST_F(BlobStorage, GivesBackWhatWasPut) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::BlobStorage storage = open(client);
    for (const std::string& bytes : {std::string(), std::string("abc"), std::string(300'000, 'x')}) {
        EXPECT_TRUE(storage.put(key(bytes), bytes, false));
        EXPECT_EQ(get(storage, key(bytes)), bytes);
    }
}

TEST_F(BlobStorage, RefusesBytesOfAnotherName) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::BlobStorage storage = open(client);
    EXPECT_FALSE(storage.put(key("abc"), "abd", false));
    EXPECT_TRUE(engine_failure_of([&] { get(storage, key("abc")); }).starts_with("Not found: blob "));
}

TEST_F(BlobStorage, BringsAllButLocalBlobsToTheRemote) {
    const EngineClient client = new_repository({{"a", "1"}});
    tome::BlobStorage storage = open(client);
    storage.put(key("shared"), "shared", false);
    storage.put(key("local"), "local", true);
    storage.flush();
    const EngineClient other = new_clone();
    tome::BlobStorage reader = open(other);
    EXPECT_EQ(get(reader, key("shared")), "shared");
    EXPECT_TRUE(engine_failure_of([&] { get(reader, key("local")); }).starts_with("Not found: blob "));
}

TEST_F(BlobStorage, FlushesThatMakeTheRepositoryAtOnceAllSucceed) {
    constexpr int processes = 6;
    const EngineClient client = new_repository({{"a", "1"}});
    std::vector<fs::path> checkouts;
    for (int i = 0; i < processes; ++i) {
        checkouts.push_back(new_clone().path());
    }
    for (int round = 0; round < 5; ++round) {
        fs::remove_all(remote_ / "project");
        in_processes(processes, [&](int i) {
            const std::string bytes = std::to_string(round) + " " + std::to_string(i);
            tome::BlobStorage storage(checkouts.at(static_cast<std::size_t>(i)), tome::parse_repository_url(url_));
            storage.put(key(bytes), bytes, false);
            storage.flush();
        });
        tome::BlobStorage reader = open(client);
        for (int i = 0; i < processes; ++i) {
            const std::string bytes = std::to_string(round) + " " + std::to_string(i);
            EXPECT_EQ(get(reader, key(bytes)), bytes);
        }
    }
}

TEST_F(BlobStorage, OfNoCheckoutIsRefused) {
    EXPECT_EQ(engine_failure_of([&] { open(EngineClient(folder_ / "none")); }),
              "not a checkout: " + (folder_ / "none").string());
}

}  // namespace
}  // namespace quill_test
