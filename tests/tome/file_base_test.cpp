// tome_file_base_set: what working files stand on.
#include "tests/tome/detached_checkout.h"

namespace quill_test {
namespace {

class FileBase : public DetachedCheckout {};

const std::string old_bytes = sha256_of("old");
const std::string new_bytes = sha256_of("new");
const std::string own_bytes = sha256_of("own");

TEST_F(FileBase, OfGivenPathsChangesAlone) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    publish("a.txt", "new");
    const std::string head = publish("b.txt", "new");
    must(package_.set_base({.revision = head, .paths = {"a.txt"}}));
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", new_bytes, old_bytes, new_bytes},
                                                      {"b.txt", old_bytes, old_bytes, new_bytes}}));
    EXPECT_EQ(read("a.txt"), "old");
}

TEST_F(FileBase, OfAllFilesMakesTheRevisionTheBase) {
    start({{"a.txt", "old"}});
    const std::string head = publish("a.txt", "new");
    write("a.txt", "new");
    must(package_.set_base({.revision = head, .is_base = true}));
    EXPECT_TRUE(states().empty());
    EXPECT_EQ(must(package_.status()).hash, head);
}

TEST_F(FileBase, OfAFileThatTheRevisionLacksIsNone) {
    start({{"a.txt", "old"}});
    const std::string head = publish("a.txt", std::nullopt);
    must(package_.set_base({.revision = head, .paths = {"a.txt"}}));
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", "", "unread", ""}}));
}

TEST_F(FileBase, OfAFileThatIsNotThereMakesItADeletedOne) {
    start({{"a.txt", "old"}});
    const std::string head = publish("new.txt", "new");
    must(package_.set_base({.revision = head, .paths = {"new.txt"}}));
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"new.txt", new_bytes, "", new_bytes}}));
}

TEST_F(FileBase, OfAnEditIsTheRevisionAllTheSame) {
    start({{"a.txt", "old"}});
    write("a.txt", "own");
    must(package_.set_base({.revision = first_, .paths = {"a.txt"}}));
    EXPECT_EQ(states(), (std::vector<EngineFileState>{{"a.txt", old_bytes, own_bytes, old_bytes}}));
}

TEST_F(FileBase, OfAnOrdinaryCheckoutStaysUnknownForFilesThatItDoesNotHold) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const EngineClient sparse = new_clone({.paths = {"a.txt"}});
    const std::string head = publish("a.txt", "new");
    must(sparse.set_base({.revision = head, .is_base = true}));
    EXPECT_EQ(must(sparse.file_state()).states,
              (std::vector<EngineFileState>{{"a.txt", new_bytes, old_bytes, new_bytes}}));
}

TEST_F(FileBase, KeepsWhatWasStagedAndCommittedFromGoingBackToOlderStates) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const EngineClient checkout = new_clone();
    const std::string head = publish("a.txt", "new");
    checkout.write("a.txt", "new");
    must(checkout.set_base({.revision = head, .paths = {"a.txt"}}));
    checkout.write("b.txt", "own");
    must(checkout.stage({"b.txt"}));
    EXPECT_EQ(checkout.commit("change").error, "branch has moved on the remote: main");
}

TEST_F(FileBase, IsThatOfTheNextSyncAgain) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const EngineClient checkout = new_clone();
    publish("b.txt", "new");
    const std::string head = publish("a.txt", "new");
    checkout.write("a.txt", "new");
    must(checkout.set_base({.revision = head, .paths = {"a.txt"}}));
    must(checkout.sync());
    EXPECT_EQ(checkout.files(), (std::map<std::string, std::string>{{"a.txt", "new"}, {"b.txt", "new"}}));
    EXPECT_TRUE(must(checkout.file_state()).states.empty());
}

// ---- Without a record

TEST_F(FileBase, IsFoundForFilesWithTheBytesOfAnEarlierVersion) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    publish("a.txt", "new");
    publish("b.txt", "new");
    const EngineClient other = without_record();
    write("b.txt", "own");
    must(other.set_base({.paths = {"a.txt", "b.txt"}}));
    EXPECT_EQ(must(other.file_state()).states, (std::vector<EngineFileState>{{"a.txt", old_bytes, old_bytes, new_bytes},
                                                                             {"b.txt", "", own_bytes, new_bytes}}));
}

TEST_F(FileBase, IsTheNewestVersionWithTheFilesBytes) {
    start({{"a.txt", "old"}});
    publish("a.txt", "new");
    publish("a.txt", "old");
    const EngineClient other = without_record();
    must(other.set_base({.paths = {"a.txt"}}));
    EXPECT_TRUE(must(other.file_state()).states.empty());
}

TEST_F(FileBase, IsNotLookedForBeyondTheGivenNumberOfVersions) {
    start({{"a.txt", "old"}});
    publish("a.txt", "v 2");
    publish("a.txt", "v 3");
    const EngineClient other = without_record();
    must(other.set_base({.paths = {"a.txt"}, .versions = 2}));
    EXPECT_EQ(must(other.file_state()).states[0].base, "");
    must(other.set_base({.paths = {"a.txt"}, .versions = 3}));
    EXPECT_EQ(must(other.file_state()).states[0].base, old_bytes);
}

TEST_F(FileBase, OfFilesThatAreNotThereIsThatTheyNeverWere) {
    start({{"a.txt", "old"}, {"b.txt", "old"}});
    const EngineClient other = without_record();
    remove("b.txt");
    must(other.set_base({.paths = {"a.txt", "b.txt"}}));
    EXPECT_EQ(must(other.file_state()).states, (std::vector<EngineFileState>{{"b.txt", "", "", old_bytes}}));
}

}  // namespace
}  // namespace quill_test
