// What a remote is asked, in the trace. QUILL_TRACE is read once, so what is traced happens in a process of its own: a
// test of this program, which passes without a trace as well.
#include "tome/remote/traced_remote.h"

#include <gtest/gtest.h>

#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/tome/engine_test_objects.h"
#include "tome/remote/repository.h"
#include "tome/store/store.h"

namespace {

using quill_test::EngineTestObjects;
using quill_test::TemporaryFolder;
using tome::BranchName;

TEST(TracedRemote, AnswersAsTheRemoteDoes) {
    const TemporaryFolder folder;
    const tome::RepositoryLocation location =
        tome::parse_repository_url((folder.path() / "remote").string() + "/repository");
    tome::create_repository(location);
    const auto remote = tome::open_repository(location);

    EngineTestObjects source;
    const tome::Digest tree = tome::empty_tree(source);
    remote->add_objects(source, {{tome::ObjectKind::Tree, tree}}, {});
    EXPECT_EQ(remote->objects()->find_object(tree), source.find_object(tree));
    EXPECT_EQ(remote->objects()->find_objects({tree, {}}).at(1), std::nullopt);
    EXPECT_EQ(remote->objects()->missing({{tome::ObjectKind::Tree, tree}, {tome::ObjectKind::Tree, {}}}).size(), 1);

    auto record = remote->find_branch(BranchName::parse("main"));
    ASSERT_TRUE(record);
    EXPECT_TRUE(remote->compare_and_set(*record));
    EXPECT_FALSE(remote->compare_and_set(*record));
    EXPECT_EQ(remote->branches().size(), 1);
    EXPECT_FALSE(remote->has_blob({}));
    tome::Store::create(folder / "store");
    tome::Store store(folder / "store");
    const tome::BlobKey blob{{}, tome::digest_of("bytes"), {}};
    store.add_bytes(blob.digest, "bytes");
    remote->add_blobs(store, {blob});
    EXPECT_TRUE(remote->has_blob(blob));
    EXPECT_EQ(remote->place(), tome::repository_place(location));
}

TEST(TracedRemote, HasALineForEachQuestionAndEachThingSent) {
    const TemporaryFolder folder;
    const std::string file = (folder.path() / "trace").string();
    const quill_test::ProcessResult result = quill_test::run_process(
        {QUILL_TEST_PROGRAMS "/tome_tests", "--gtest_filter=TracedRemote.AnswersAsTheRemoteDoes"},
        {{"QUILL_TRACE", file}, {"GTEST_TOTAL_SHARDS", "1"}, {"GTEST_SHARD_INDEX", "0"}});
    ASSERT_EQ(result.status, 0) << result.out;
    const std::string lines = quill_test::read_file(file);
    for (const std::string asked :
         {"add objects 1", "read object ", "read objects 2", "look for objects 2", "read branch main",
          "move branch main", "list branches", "look for blob ", "add blobs 1"}) {
        EXPECT_NE(lines.find("ms remote " + asked), std::string::npos) << asked << "\n" << lines;
    }
}

}  // namespace
