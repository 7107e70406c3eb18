// Objects whose bytes are damaged, cut short, of another kind or gone.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <set>

#include "tests/tome/damage_fixture.h"
#include "tome/object/object_encoding.h"

namespace quill_test {
namespace {

using tome::Digest;
using tome::ObjectKind;
using tome::Store;
using tome::to_hex;

constexpr std::int32_t not_found = 2;
constexpr std::int32_t corrupt = 7;

const std::string large_bytes(100'000, 'L');

struct Damage {
    std::string what;
    std::function<std::string(std::string)> apply;
};

std::string with_flipped_bit(std::string bytes, std::size_t bit) {
    bytes.at(bit / 8) = static_cast<char>(bytes.at(bit / 8) ^ (1 << bit % 8));
    return bytes;
}

const std::vector<Damage> damages{
    {"first bit flipped", [](const std::string& bytes) { return with_flipped_bit(bytes, 0); }},
    {"bit amid flipped", [](const std::string& bytes) { return with_flipped_bit(bytes, bytes.size() * 4 + 5); }},
    {"last bit flipped", [](const std::string& bytes) { return with_flipped_bit(bytes, bytes.size() * 8 - 1); }},
    {"cut short", [](const std::string& bytes) { return bytes.substr(0, bytes.size() / 2); }},
    {"empty", [](const std::string&) { return std::string(); }},
    {"garbage tail", [](const std::string& bytes) { return bytes + std::string(7, '\0'); }},
    {"end overwritten",
     [](const std::string& bytes) { return bytes.substr(0, bytes.size() - 4) + "\xff\xff\xff\xff"; }},
};

// Three of the damages, others for each number, so that a few objects see them all.
std::vector<Damage> some_damages(std::size_t number) {
    std::vector<Damage> some;
    for (std::size_t i = 0; i < 3; ++i) {
        some.push_back(damages.at((number * 3 + i) % damages.size()));
    }
    return some;
}

// An object of each kind, and the command that meets it.
struct Target {
    std::string what;
    Digest digest;
    std::function<DamageReply(const DamageCheckout&)> command;
};

DamageReply clone_whole(const DamageCheckout& checkout) {
    return checkout.clone();
}

DamageReply sync_whole(const DamageCheckout& checkout) {
    return checkout.sync();
}

class ObjectDamage : public DamagedRepository {
  protected:
    ObjectDamage() {
        DamageCheckout::require(author_.set_metadata("quill.workspace", "1"));
        head_ = author_.publish_files(files_);
        DamageDatabase database(remote_store_ / "store.db");
        metadata_ = tome::read_branch(database, tome::BranchName::parse("main"))->metadata;
        Store store(remote_store_);
        root_ = tome::read_revision(store, head_).tree;
        folder_tree_ = tome::read_tree(store, root_).at(0).digest;
    }

    std::vector<Target> targets(const std::function<DamageReply(const DamageCheckout&)>& command) const {
        return {{"small content", tome::digest_of("small"), command},
                {"large content", tome::digest_of(large_bytes), command},
                {"tree of a folder", folder_tree_, command},
                {"root tree", root_, command},
                {"revision", head_, command}};
    }

    // The text for a damaged object; large content is only found out on the way to its file.
    static void expect_named(const DamageReply& reply, const Digest& digest, const std::filesystem::path& store) {
        EXPECT_EQ(reply.code, corrupt);
        const std::string start = "corrupt object " + to_hex(digest);
        const std::string advice =
            "; no sound copy is known: commit a changed file in its place, or bring the store back from a backup";
        EXPECT_TRUE(reply.text() == start + " in " + store.string() + advice ||
                    reply.text() == start + " (content of Assets/large.bin)" + advice)
            << reply.text();
    }

    const std::map<std::string, std::string> files_{
        {"Assets/large.bin", large_bytes}, {"Assets/small.txt", "small"}, {"top.txt", "top"}};
    Digest head_;
    Digest root_;
    Digest folder_tree_;
    Digest metadata_;
};

TEST_F(ObjectDamage, OfAnyBitIsFoundByTheStore) {
    Store store(remote_store_);
    const std::vector<std::pair<Digest, bool>> objects{
        {tome::digest_of("small"), true}, {folder_tree_, false}, {head_, false}, {metadata_, false}};
    for (const auto& [digest, is_content] : objects) {
        const std::string bytes = damage_object_bytes(remote_store_, digest);
        const tome::Transaction undone(store.database());
        for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
            const std::string damaged = with_flipped_bit(bytes, bit);
            store.database()
                .prepare("UPDATE object SET bytes = ? WHERE digest = ?")
                .bind_blob(1, damaged)
                .bind_blob(2, digest.view())
                .run();
            try {
                is_content ? void(store.find_content(digest)) : void(store.find_object(digest));
                ADD_FAILURE() << "bit " << bit << " of " << to_hex(digest);
            } catch (const tome::Error& error) {
                EXPECT_EQ(error.code(), tome::ErrorCode::Corrupt);
                EXPECT_EQ(error.what(), "corrupt object " + to_hex(digest) + " in " + remote_store_.string());
            }
        }
    }
}

TEST_F(ObjectDamage, InTheRemoteFailsACloneThatThenLeavesNothingAndSucceedsOnceRepaired) {
    std::size_t count = 0;
    for (const Target& target : targets(clone_whole)) {
        const std::string sound = damage_object_bytes(remote_store_, target.digest);
        const DamageCheckout clone = checkout("clone" + std::to_string(++count));
        for (const Damage& damage : some_damages(count)) {
            SCOPED_TRACE(target.what + ", " + damage.what);
            damage_replace_object(remote_store_, target.digest, damage.apply(sound));
            expect_named(target.command(clone), target.digest, remote_store_);
            EXPECT_TRUE(std::filesystem::is_empty(clone.path()));
        }
        damage_replace_object(remote_store_, target.digest, sound);
        EXPECT_EQ(target.command(clone).text(), "done") << target.what;
        EXPECT_EQ(clone.status().paths, std::vector<std::string>());
        EXPECT_EQ(read_file(clone / "Assets/large.bin"), large_bytes);
    }
}

TEST_F(ObjectDamage, InTheMetadataIsNamedAndLeavesTheFilesInReach) {
    const std::string sound = damage_object_bytes(remote_store_, metadata_);
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.what);
        damage_replace_object(remote_store_, metadata_, damage.apply(sound));
        expect_named(author_.metadata(), metadata_, remote_store_);
        EXPECT_EQ(author_.sync().text(), "done");
    }
    DamageCheckout::require(author_.set_metadata("more", "2"));
    const auto heads = remote_heads();
    expect_named(author_.push(), metadata_, remote_store_);
    EXPECT_EQ(remote_heads(), heads);
    damage_replace_object(remote_store_, metadata_, sound);
    EXPECT_EQ(author_.push().text(), "done");
    EXPECT_EQ(author_.metadata().metadata,
              (std::map<std::string, std::string>{{"more", "2"}, {"quill.workspace", "1"}}));
}

TEST_F(ObjectDamage, InTheCheckoutsStoreIsMadeGoodByTheRemote) {
    std::size_t count = 0;
    for (const Target& target : targets(sync_whole)) {
        const std::string sound = damage_object_bytes(author_.own_store(), target.digest);
        for (const Damage& damage : some_damages(++count)) {
            SCOPED_TRACE(target.what + ", " + damage.what);
            damage_replace_object(author_.own_store(), target.digest, damage.apply(sound));
            std::filesystem::remove_all(author_ / "Assets");
            author_.offline = true;
            expect_named(target.command(author_), target.digest, author_.own_store());
            EXPECT_FALSE(std::filesystem::exists(author_ / "Assets"));
            author_.offline = false;
            EXPECT_EQ(target.command(author_).text(), "done");
            EXPECT_EQ(read_file(author_ / "Assets/small.txt"), "small");
            EXPECT_EQ(read_file(author_ / "Assets/large.bin"), large_bytes);
        }
        damage_replace_object(author_.own_store(), target.digest, sound);
    }
}

TEST_F(ObjectDamage, InASharedStoreIsMadeGoodByTheRemoteAndNamedWhenThatIsDamagedToo) {
    const std::filesystem::path shared = folder_ / "shared";
    ASSERT_TRUE(Store::create(shared));
    const DamageCheckout writer = checkout("writer");
    ASSERT_EQ(writer.clone("main", shared).text(), "done");
    writer.publish_files({{"new.bin", large_bytes + "2"}, {"new.txt", "new"}});
    for (const std::string& bytes : {std::string("new"), large_bytes + "2"}) {
        SCOPED_TRACE(bytes.size());
        const Digest digest = tome::digest_of(bytes);
        const DamageCheckout reader = checkout("reader" + std::to_string(bytes.size()));
        damage_replace_object(shared, digest, with_flipped_bit(bytes, 3));
        damage_replace_object(remote_store_, digest, with_flipped_bit(bytes, 4));
        const DamageReply reply = reader.clone("main", shared);
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_TRUE(reply.text().starts_with("corrupt object " + to_hex(digest))) << reply.text();
        damage_replace_object(remote_store_, digest, bytes);
        EXPECT_EQ(reader.clone("main", shared).text(), "done");
        EXPECT_EQ(read_file(reader / "new.txt"), "new");
        EXPECT_EQ(read_file(reader / "new.bin"), large_bytes + "2");
    }
}

TEST_F(ObjectDamage, InTheRemoteIsMadeGoodByTheCheckoutsStore) {
    for (const Target& target : targets(sync_whole)) {
        SCOPED_TRACE(target.what);
        const std::string sound = damage_object_bytes(remote_store_, target.digest);
        damage_replace_object(remote_store_, target.digest, with_flipped_bit(sound, 8));
        std::filesystem::remove_all(author_ / "Assets");
        EXPECT_EQ(target.command(author_).text(), "done");
        EXPECT_EQ(read_file(author_ / "Assets/large.bin"), large_bytes);
        damage_replace_object(remote_store_, target.digest, sound);
    }
}

TEST_F(ObjectDamage, FoundWhileFilesAreWrittenLeavesNoTemporaryFile) {
    const DamageCheckout reader = clone("reader");
    std::filesystem::remove_all(reader / "Assets");
    damage_replace_object(remote_store_, tome::digest_of(large_bytes), with_flipped_bit(large_bytes, 9));
    expect_named(reader.sync(), tome::digest_of(large_bytes), remote_store_);
    EXPECT_TRUE(std::filesystem::is_empty(reader / ".tome/tmp"));
}

TEST_F(ObjectDamage, InWhatIsToBePushedLeavesTheRemoteAsItWas) {
    for (const std::string& bytes : {std::string("pushed"), large_bytes + "pushed"}) {
        SCOPED_TRACE(bytes.size());
        const auto heads = remote_heads();
        author_.commit_files({{"pushed.bin", bytes}});
        const Digest digest = tome::digest_of(bytes);
        damage_replace_object(author_.own_store(), digest, with_flipped_bit(bytes, 1));
        const DamageReply reply = author_.push();
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_TRUE(reply.text().starts_with("corrupt object " + to_hex(digest))) << reply.text();
        EXPECT_EQ(remote_heads(), heads);
        EXPECT_FALSE(Store(remote_store_).contains(tome::ObjectKind::Content, digest));
        damage_replace_object(author_.own_store(), digest, bytes);
        EXPECT_EQ(author_.push().text(), "done");
        EXPECT_NE(remote_heads(), heads);
    }
}

TEST_F(ObjectDamage, IsMadeGoodWhenTheFileIsStagedAgain) {
    for (const std::string& bytes : {large_bytes + "again", std::string("again")}) {
        SCOPED_TRACE(bytes.size());
        const Digest digest = tome::digest_of(bytes);
        write_file(author_ / "again.bin", bytes);
        ASSERT_EQ(author_.stage({"again.bin"}).text(), "done");
        damage_replace_object(author_.own_store(), digest, with_flipped_bit(bytes, 1));
        write_file(author_ / "again.bin", bytes);
        EXPECT_EQ(author_.stage({"again.bin"}).text(), "done");
        EXPECT_EQ(author_.commit().text(), "done");
        EXPECT_EQ(author_.push().text(), "done");
    }
}

TEST_F(ObjectDamage, OfARecordedSizeOfLargeContentIsFound) {
    const Digest digest = tome::digest_of(large_bytes);
    DamageDatabase(remote_store_ / "store.db")
        .prepare("UPDATE object SET size = size - 1 WHERE digest = ?")
        .bind_blob(1, digest.view())
        .run();
    expect_named(checkout("clone").clone(), digest, remote_store_);
}

TEST_F(ObjectDamage, ByLossFailsWhatNeedsTheObjectAndNoOtherBranch) {
    ASSERT_EQ(author_.create_branch("side").text(), "done");
    ASSERT_EQ(author_.switch_to("side").text(), "done");
    const Digest side =
        author_.publish_files({{"Side/only.bin", large_bytes + "side"}, {"Side/only.txt", "side"}}, "side");
    Store store(remote_store_);
    const Digest side_root = tome::read_revision(store, side).tree;
    const std::vector<std::pair<Digest, std::string>> lost{
        {tome::digest_of("side"), "missing content of Side/only.txt: "},
        {tome::digest_of(large_bytes + "side"), "missing content of Side/only.bin: "},
        {tome::read_tree(store, side_root).at(1).digest, "missing object: "},
        {side_root, "missing object: "},
        {side, "missing object: "}};
    int count = 0;
    for (const auto& [digest, text] : lost) {
        damage_remove_object(remote_store_, digest);
        const std::string name = std::to_string(++count);
        SCOPED_TRACE(name);
        const DamageReply reply = checkout("side" + name).clone("side");
        EXPECT_EQ(reply.code, not_found);
        EXPECT_EQ(reply.text(), text + to_hex(digest));
        EXPECT_TRUE(std::filesystem::is_empty(folder_ / ("side" + name)));
        const DamageCheckout main = clone("main" + name);
        EXPECT_EQ(read_file(main / "Assets/large.bin"), large_bytes);
        main.publish_files({{"work.txt", name}});
        EXPECT_EQ(main.history("main").revisions.size(), 1U + static_cast<std::size_t>(count));
        EXPECT_EQ(main.list_branches().branches, (std::vector<std::string>{"main", "side"}));
    }
}

TEST_F(ObjectDamage, ByLossOfALargeContentsFileIsFoundAndMadeGoodByAnotherStore) {
    const Digest digest = tome::digest_of(large_bytes);
    std::filesystem::remove(damage_content_file(remote_store_, digest));
    expect_named(checkout("clone").clone(), digest, remote_store_);
    std::filesystem::remove(author_ / "Assets/large.bin");
    EXPECT_EQ(author_.sync().text(), "done");
    std::filesystem::remove(author_ / "Assets/large.bin");
    std::filesystem::remove(damage_content_file(author_.own_store(), digest));
    expect_named(author_.sync(), digest, remote_store_);
}

TEST_F(ObjectDamage, ByLossOfALargeContentsFileIsMadeGoodByTheNextPushOfThoseBytes) {
    const std::filesystem::path file = damage_content_file(remote_store_, tome::digest_of(large_bytes));
    std::filesystem::remove(file);
    author_.publish_files({{"Assets/other.txt", "other"}});
    EXPECT_TRUE(std::filesystem::exists(file)) << "the author's store has it";
    std::filesystem::resize_file(file, 10);
    const DamageCheckout other = checkout("other");
    EXPECT_NE(other.clone().text(), "done");
    author_.publish_files({{"Assets/copy.bin", large_bytes}});
    EXPECT_EQ(checkout("clone").clone().text(), "done");
}

TEST_F(ObjectDamage, ByLossOfALargeContentsFileHoldsUpNoPushOfOtherFiles) {
    std::filesystem::remove(damage_content_file(remote_store_, tome::digest_of(large_bytes)));
    std::filesystem::remove_all(author_.own_store() / "content");
    author_.publish_files({{"Assets/other.txt", "other"}});
    EXPECT_EQ(author_.sync().text(), "done");
}

TEST_F(ObjectDamage, OfABranchsHeadIsFoundAndLeavesOtherBranchesAlone) {
    ASSERT_EQ(author_.create_branch("side").text(), "done");
    Digest nowhere = head_;
    nowhere.bytes[0] ^= 1U;
    struct Case {
        std::string what;
        Digest head;
        std::string text;
    };
    const std::string other_kind = "corrupt object: not of the expected kind (object ";
    for (const auto& [what, head, text] :
         {Case{"none", nowhere, "missing object: " + to_hex(nowhere)},
          Case{"a tree", root_, other_kind + to_hex(root_) + ")"},
          Case{"a metadata node", metadata_, other_kind + to_hex(metadata_) + ")"},
          Case{"content", tome::digest_of("small"), other_kind + to_hex(tome::digest_of("small")) + ")"}}) {
        SCOPED_TRACE(what);
        damage_set_head(remote_store_, "side", head);
        EXPECT_EQ(checkout("side").clone("side").text(), text);
        EXPECT_TRUE(std::filesystem::is_empty(folder_ / "side"));
        EXPECT_EQ(author_.history("side").text(), text);
        EXPECT_EQ(author_.switch_to("side").text(), text);
        EXPECT_EQ(author_.sync().text(), "done");
    }
    DamageDatabase(remote_store_ / "store.db").execute("UPDATE branch SET head = x'0102' WHERE name = 'side'");
    EXPECT_EQ(author_.history("side").code, corrupt);
    EXPECT_EQ(author_.history("main").text(), "done");
}

// Objects that hash to their names and still are not what their place asks for.
TEST_F(ObjectDamage, ByForgeryIsRefusedWithTheObjectsName) {
    Store store(remote_store_);
    const auto add = [&](ObjectKind kind, const std::string& bytes) { return store.add_object(kind, bytes); };
    const auto revision_of = [&](const Digest& tree, const Digest& parent = {}, std::uint64_t order = 1) {
        tome::Revision revision;
        revision.tree = tree;
        revision.first_parent = parent;
        revision.order = order;
        return add(ObjectKind::Revision, tome::encode_revision(revision));
    };
    const auto tree_of = [](const Digest& folder) {
        return tome::encode_tree({{"Folder", tome::TreeEntry::Kind::Folder, false, 0, folder}});
    };
    const std::string sound_tree = damage_object_bytes(remote_store_, root_);
    const std::string sound_revision = damage_object_bytes(remote_store_, head_);
    const Digest cut_tree = add(ObjectKind::Tree, sound_tree.substr(0, sound_tree.size() - 1));
    const Digest long_tree = add(ObjectKind::Tree, sound_tree + '\0');
    const Digest newer_tree = add(ObjectKind::Tree, "TMT2" + sound_tree.substr(4));
    const Digest cut_revision = add(ObjectKind::Revision, sound_revision.substr(0, sound_revision.size() - 1));
    const Digest long_revision = add(ObjectKind::Revision, sound_revision + "x");
    const Digest young_parent = revision_of(root_, head_, 9);
    const Digest twice = add(ObjectKind::Tree, sound_tree + sound_tree.substr(4));
    const Digest in_tree_of_revision = add(ObjectKind::Tree, tree_of(head_));
    const Digest in_tree_of_content = add(ObjectKind::Tree, tree_of(tome::digest_of("small")));

    struct Case {
        std::string what;
        Digest head;
        Digest named;
    };
    int count = 0;
    for (const auto& [what, head, named] :
         {Case{"tree cut off", revision_of(cut_tree), cut_tree},
          Case{"bytes after a tree", revision_of(long_tree), long_tree},
          Case{"tree of a later version", revision_of(newer_tree), newer_tree},
          Case{"entries twice", revision_of(twice), twice}, Case{"revision cut off", cut_revision, cut_revision},
          Case{"bytes after a revision", long_revision, long_revision},
          Case{"revision in a tree's place", revision_of(head_), head_},
          Case{"revision in a folder's place", revision_of(in_tree_of_revision), head_},
          Case{"content in a folder's place", revision_of(in_tree_of_content), tome::digest_of("small")}}) {
        SCOPED_TRACE(what);
        damage_set_head(remote_store_, "forged", head);
        const DamageCheckout clone = checkout("clone" + std::to_string(++count));
        const DamageReply reply = clone.clone("forged");
        EXPECT_EQ(reply.code, corrupt) << reply.text();
        EXPECT_TRUE(reply.text().starts_with("corrupt object")) << reply.text();
        EXPECT_NE(reply.text().find(to_hex(named)), std::string::npos) << reply.text();
        EXPECT_TRUE(std::filesystem::is_empty(clone.path()));
    }
    for (const std::uint64_t order : {9U, 8U, 2U}) {
        const Digest forged = revision_of(root_, young_parent, order);
        damage_set_head(remote_store_, "forged", forged);
        const DamageReply reply = author_.history("forged");
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_EQ(reply.text(), "corrupt object: order of revision " + to_hex(young_parent));
    }
}

// A tree's name is a plain digest, so a file may have it, too.
TEST_F(ObjectDamage, DoesNotComeOfAFileWithTheBytesOfATree) {
    std::map<std::string, std::string> files;
    tome::Tree tree;
    for (int i = 0; i < 1500; ++i) {
        const std::string name = "f" + std::to_string(10'000 + i);
        files["Many/" + name] = "";
        tree.push_back({name, tome::TreeEntry::Kind::File, false, 0, tome::digest_of("")});
    }
    const std::string twin = tome::encode_tree(tree);
    ASSERT_GT(twin.size(), tome::max_inline_bytes);
    author_.publish_files({{"twin.bin", twin}});
    author_.publish_files(files);
    const DamageCheckout reader = checkout("reader");
    EXPECT_EQ(reader.clone().text(), "done");
    EXPECT_TRUE(std::filesystem::exists(reader / "Many/f10000"));
    EXPECT_TRUE(std::filesystem::exists(reader / "twin.bin"));
}

TEST(SourcesTogether, HaveLostAContentOnceNoneOfThemHasItsFile) {
    const TemporaryFolder folder;
    const std::string other_bytes(200'000, 'O');
    const Digest both = tome::digest_of(large_bytes);
    const Digest one = tome::digest_of(other_bytes);
    tome::ObjectSources sources;
    for (const char* name : {"first", "second"}) {
        ASSERT_TRUE(Store::create(folder / name));
        const auto store = std::make_shared<Store>(folder / name);
        store->add_bytes(both, large_bytes);
        sources.add(store);
    }
    Store(folder / "first").add_bytes(one, other_bytes);
    const auto lost = [&] {
        const std::vector<Digest> found = sources.lost({both, one, tome::digest_of("nowhere")});
        return std::set<Digest>(found.begin(), found.end());
    };
    EXPECT_EQ(lost(), std::set<Digest>{});
    std::filesystem::remove(damage_content_file(folder / "first", both));
    std::filesystem::remove(damage_content_file(folder / "first", one));
    EXPECT_EQ(lost(), std::set<Digest>{one});
    std::filesystem::remove(damage_content_file(folder / "second", both));
    EXPECT_EQ(lost(), (std::set<Digest>{both, one}));
}

}  // namespace
}  // namespace quill_test
