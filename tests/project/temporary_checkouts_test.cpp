#include "project/temporary_checkouts.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using quill::process_of_temporary_checkout;
using quill::temporary_checkout_name;
using quill::TemporaryCheckout;

TEST(TemporaryCheckouts, AreNamedForTheirKindAndProcess) {
    const std::string token = quill::workspace_process_token();
    EXPECT_EQ(temporary_checkout_name(TemporaryCheckout::MainCommit), ".main-commit-" + token);
    EXPECT_EQ(temporary_checkout_name(TemporaryCheckout::WorkspaceCommit, "a-1"), ".workspace-commit-a-1-" + token);
    EXPECT_EQ(temporary_checkout_name(TemporaryCheckout::MainMaterialize), ".main-materialize-" + token);
    EXPECT_EQ(temporary_checkout_name(TemporaryCheckout::Metadata), "metadata-" + token);
    EXPECT_EQ(temporary_checkout_name(TemporaryCheckout::RemoteBootstrap), ".remote-bootstrap-" + token);
    const std::string restore = temporary_checkout_name(TemporaryCheckout::Restore, "a-1", "17");
    EXPECT_EQ(restore, ".workspace-restore-a-1-" + token + "-17");
    EXPECT_EQ(quill::selected_tree_name(restore), restore + "-selected-tree");
    EXPECT_EQ(quill::published_head_name(restore), restore + "-published-head");
}

TEST(TemporaryCheckouts, EveryNameTellsItsProcess) {
    const std::string restore = temporary_checkout_name(TemporaryCheckout::Restore, "feature-2", "1700000000000");
    for (const std::string& name : {temporary_checkout_name(TemporaryCheckout::MainCommit),
                                    temporary_checkout_name(TemporaryCheckout::WorkspaceCommit, "feature-2"),
                                    temporary_checkout_name(TemporaryCheckout::MainMaterialize),
                                    temporary_checkout_name(TemporaryCheckout::Metadata),
                                    temporary_checkout_name(TemporaryCheckout::RemoteBootstrap), restore,
                                    quill::selected_tree_name(restore), quill::published_head_name(restore)}) {
        EXPECT_EQ(process_of_temporary_checkout(name), getpid()) << name;
    }
    EXPECT_EQ(quill::process_of_history_preview(quill::workspace_process_token()), getpid());
}

TEST(TemporaryCheckouts, OtherFoldersBelongToNoProcess) {
    for (const std::string name : {"feature", "feature-12-34", "main-commit-12-34", ".branch-index", ".branch-ops",
                                   ".branch-memory", ".kept-files", "1700000000000.sync.main.12-34", ".main-commit-12",
                                   ".main-commit-x-34", ".workspace-restore-a-x-34-5", ""}) {
        EXPECT_EQ(process_of_temporary_checkout(name), std::nullopt) << name;
    }
    EXPECT_EQ(quill::process_of_history_preview(".12-34.ready"), std::nullopt);
}

}  // namespace
