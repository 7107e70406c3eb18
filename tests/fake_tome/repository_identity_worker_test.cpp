#include "identity/repository_identity_worker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "identity/file_identity_cache.h"
#include "tests/fake_tome/fake_tome.h"
#include "tests/support/temporary_folder.h"

namespace {

using fake_tome::Call;
using fake_tome::Events;
using std::filesystem::path;

class RepositoryIdentityWorker : public testing::Test {
  protected:
    RepositoryIdentityWorker() {
        fake_tome::reset();
        quill::internal::repository_identity_times() = {std::chrono::hours(1), std::chrono::hours(1),
                                                        std::chrono::hours(1)};
        fake_tome::on("tome_file_info", [](const Call& call, const Events& events) {
            for (const std::string& file : call.list("paths")) {
                events.file(TOME_EVENT_FILE_INFO, file, fake_tome::make_hash(7), 3);
            }
            return 0;
        });
    }

    path make_repository(const path& relative) const {
        quill_test::write_file(folder_ / relative / ".tome/config.toml", "remote_url = \"file:///remote\"\n");
        return folder_ / relative;
    }

    quill_test::TemporaryFolder folder_;
};

TEST_F(RepositoryIdentityWorker, FindsTheNearestFinishedCheckout) {
    const path outer = make_repository("outer");
    const path inner = make_repository("outer/a/inner");
    std::filesystem::create_directories(folder_ / "outer/b/.tome");
    EXPECT_EQ(quill::find_identity_repository(inner / "x/y"), inner);
    EXPECT_EQ(quill::find_identity_repository(outer / "b/x"), outer) << "the checkout in b is not finished";
    EXPECT_EQ(quill::find_identity_repository(folder_ / "x"), std::nullopt);
}

TEST_F(RepositoryIdentityWorker, PutsTheAnswersIntoTheCacheBeforeItReturns) {
    const path one = make_repository("one");
    const path two = make_repository("two");
    quill::request_repository_identities({{one, {one / "a", one / "b"}}, {two, {two / "c"}}});
    for (const path& file : {one / "a", one / "b", two / "c"}) {
        EXPECT_EQ(quill::find_file_identity(file), "sha256:" + fake_tome::make_hash_hex(7)) << file;
    }
}

TEST_F(RepositoryIdentityWorker, ServesARequestWhetherOrNotTheThreadOfTheLastOneHasEnded) {
    quill::internal::repository_identity_times().first_wait = std::chrono::minutes(1);
    const path root = make_repository("root");
    for (int request = 0; request < 100; ++request) {
        const path file = root / std::to_string(request);
        quill::request_repository_identities({{root, {file}}});
        ASSERT_TRUE(quill::find_file_identity(file)) << request;
    }
}

TEST_F(RepositoryIdentityWorker, AsksNothingForNoFiles) {
    quill::request_repository_identities({});
    EXPECT_TRUE(fake_tome::calls().empty());
}

}  // namespace
