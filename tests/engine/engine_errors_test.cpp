// That the engine still says what callers tell failures apart by: the real one is made to fail in each of the ways.
#include "engine/engine_errors.h"

#include <functional>

#include "tests/workspace/real_project.h"
#include "workspace/operations/repository_bootstrap.h"

namespace {

using quill::CheckoutLocation;

class EngineErrors : public quill_test::RealProject {
  protected:
    EngineErrors() { make_project_with_remote(); }

    CheckoutLocation clone() const { return {clone_of_main(), remote_}; }

    static void commit(const CheckoutLocation& checkout, const std::string& bytes) {
        quill_test::write_file(checkout.root / quill_test::scene, bytes);
        quill::call_tome_file_stage(checkout, {quill_test::scene});
        quill::call_tome_revision_commit(checkout, "edit");
    }

    // Whether the call fails, and the predicate knows why.
    static bool fails(bool (*says)(const std::exception&), const std::function<void()>& call) {
        try {
            call();
        } catch (const std::exception& error) {
            return says(error);
        }
        return false;
    }
};

TEST_F(EngineErrors, PushAfterAnothersTellsThatTheBranchMoved) {
    quill::initialize_project_tome_repository(project_);
    const CheckoutLocation first = clone();
    const CheckoutLocation second = clone();
    commit(first, "one");
    commit(second, "two");
    quill::push_tome_branch(first.root, "main", remote_, false);
    EXPECT_TRUE(
        fails(quill::says_that_branch_moved, [&] { quill::push_tome_branch(second.root, "main", remote_, false); }));
}

TEST_F(EngineErrors, CommitWithoutAChangeTellsThatNothingIsStaged) {
    quill::initialize_project_tome_repository(project_);
    const CheckoutLocation checkout = clone();
    quill::call_tome_file_stage(checkout, {quill_test::scene});
    EXPECT_TRUE(fails(quill::says_that_nothing_is_staged, [&] { quill::call_tome_revision_commit(checkout, "edit"); }));
}

TEST_F(EngineErrors, CloneBeforeTheHistoryTellsThatItIsMissing) {
    EXPECT_TRUE(fails(quill::says_that_history_is_missing, [&] { clone(); }));
}

TEST_F(EngineErrors, OtherFailureAtAMissingRepositoryDoesNot) {
    EXPECT_FALSE(quill::says_that_history_is_missing(std::runtime_error("tome_branch_switch: Not found: main")));
    EXPECT_FALSE(quill::says_that_history_is_missing(std::runtime_error("tome_repository_clone: no space left")));
}

TEST_F(EngineErrors, BranchMadeTwiceTellsThatItExists) {
    quill::initialize_project_tome_repository(project_);
    const CheckoutLocation checkout = clone();
    const auto make = [&] { quill::call_tome_branch_create(checkout, "feature", "main", "", "ana"); };
    make();
    EXPECT_TRUE(fails(quill::says_that_branch_exists, make));
}

TEST_F(EngineErrors, DamagedIndexTellsThatTheCheckoutIsDamaged) {
    quill::initialize_project_tome_repository(project_);
    const CheckoutLocation checkout = clone();
    std::filesystem::remove(checkout.root / ".tome/index.db-wal");
    quill_test::write_file(checkout.root / ".tome/index.db", "no database");
    const auto status = [&] { quill::call_tome_repository_status(checkout, false); };
    EXPECT_TRUE(fails(quill::says_that_checkout_is_damaged, status));
    quill_test::write_file(checkout.root / ".tome/config.toml", "no configuration");
    EXPECT_TRUE(fails(quill::says_that_checkout_is_damaged, status));
    std::filesystem::remove(checkout.root / ".tome/config.toml");
    EXPECT_TRUE(fails(quill::says_that_checkout_is_damaged, status));
}

TEST_F(EngineErrors, OtherFailuresDoNotTellThatTheCheckoutIsDamaged) {
    EXPECT_FALSE(
        quill::says_that_checkout_is_damaged(std::runtime_error("tome_file_state: disk full while writing x")));
}

TEST_F(EngineErrors, RepositoryMadeTwiceTellsThatItExists) {
    quill::initialize_project_tome_repository(project_);
    const CheckoutLocation checkout{folder_ / "second", remote_};
    std::filesystem::create_directory(checkout.root);
    const auto make = [&] {
        quill::call_tome_repository_create(checkout, quill::project_tome_repository_url(project_), "");
    };
    EXPECT_TRUE(fails(quill::says_that_repository_exists, make));
    EXPECT_TRUE(fails(quill::says_that_history_was_started, make));
}

}  // namespace
