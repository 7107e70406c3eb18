// Trees with names that lead out of the checkout or into its state, and checkouts in which links lead out.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "tests/tome/damage_fixture.h"
#include "tome/checkout/checkout_state.h"
#include "tome/object/object_encoding.h"

namespace quill_test {
namespace {

using tome::Digest;
using tome::ObjectKind;
using tome::Store;
using tome::to_hex;
using tome::TreeEntry;

constexpr std::int32_t invalid = 1;
constexpr std::int32_t would_overwrite = 6;
constexpr std::int32_t corrupt = 7;
constexpr std::int32_t file_system = 8;

const std::vector<std::string> hostile_names{
    "",
    ".",
    "..",
    "a/b",
    "/absolute",
    "../up",
    "a/",
    std::string("a\0b", 3),
    "back\\slash",
    "..\\up",
    std::string(256, 'n'),
    ".tome",
    ".TOME",
    ".Tome",
    ".tome.",
    ".tome ",
    ".tome. . ",
    ".tome:stream",
    ".Tome::$INDEX_ALLOCATION",
    ".tome .:stream",
    "tome~1",
    "TOME~1",
    "tome~12",
    ".to\u200cme",
    ".tome\ufeff",
    "\u200b.tome",
    "\u2060.t\u00adome",
    "\u202e.TO\u206fME",
};

// A tree with one entry, written out by hand: the engine's writer refuses such names.
std::string hostile_tree(const std::string& name, TreeEntry::Kind kind, std::uint64_t size, const Digest& digest) {
    std::string bytes = "TMT1";
    const auto add = [&](std::uint64_t value, int width) {
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
            bytes += static_cast<char>(value >> shift & 0xffU);
        }
    };
    add(name.size(), 2);
    bytes += name;
    add(static_cast<std::uint64_t>(kind), 1);
    add(0, 1);
    add(size, 8);
    return bytes.append(digest.view());
}

class HostileTree : public DamagedRepository {
  protected:
    HostileTree() {
        head_ = author_.publish_files({{"top.txt", "top"}});
        DamageCheckout::require(author_.create_branch("hostile"));
    }

    // A tree in which `name` is a file, or a folder with a file in it.
    static Digest add_hostile_tree(Store& store, const std::string& name, bool folder) {
        const std::string bytes = "remote_url = \"file:///stolen\"\n";
        const Digest content = store.add_object(ObjectKind::Content, bytes);
        const TreeEntry file{"config.toml", TreeEntry::Kind::File, false, bytes.size(), content};
        if (!folder) {
            return store.add_object(ObjectKind::Tree, hostile_tree(name, file.kind, file.size, content));
        }
        const Digest below = store.add_object(ObjectKind::Tree, tome::encode_tree({file}));
        return store.add_object(ObjectKind::Tree, hostile_tree(name, TreeEntry::Kind::Folder, 0, below));
    }

    Digest add_revision(Store& store, const Digest& tree) const {
        tome::Revision revision;
        revision.tree = tree;
        revision.first_parent = head_;
        revision.order = 2;
        return store.add_object(ObjectKind::Revision, tome::encode_revision(revision));
    }

    // A hostile tree as the head of the remote's branch "hostile"; returns the tree's name.
    Digest publish(const std::string& name, bool folder) const {
        Store store(remote_store_);
        store.database().execute("PRAGMA synchronous=OFF");
        tome::Transaction transaction(store.database());
        const Digest tree = add_hostile_tree(store, name, folder);
        const Digest revision = add_revision(store, tree);
        transaction.commit();
        damage_set_head(remote_store_, "hostile", revision);
        return tree;
    }

    static void expect_refusal(const DamageReply& reply, const Digest& tree) {
        EXPECT_EQ(reply.code, corrupt) << reply.text();
        EXPECT_NE(reply.text().find(to_hex(tree)), std::string::npos) << reply.text();
    }

    Digest head_;
};

TEST_F(HostileTree, IsRefusedOnCloneAndLeavesNothing) {
    const DamageCheckout clone = checkout("clone");
    bool folder = false;
    for (const std::string name : {"..", "../up", ".tome", "TOME~1", ".to\u200cme", "a/b", "/absolute"}) {
        folder = !folder;
        SCOPED_TRACE("\"" + name + "\"" + (folder ? ", a folder" : ", a file"));
        const Digest tree = publish(name, folder);
        expect_refusal(clone.clone("hostile"), tree);
        EXPECT_TRUE(std::filesystem::is_empty(clone.path()));
        EXPECT_FALSE(std::filesystem::exists(folder_ / "up"));
    }
}

TEST_F(HostileTree, IsRefusedOnSyncSwitchAndMergeAndChangesNothing) {
    const DamageCheckout follower = clone("follower", "hostile");
    const DamageCheckout reader = clone("reader");
    const std::string config = read_file(reader / ".tome/config.toml");
    bool folder = false;
    for (const std::string& name : hostile_names) {
        folder = !folder;
        SCOPED_TRACE("\"" + name + "\"" + (folder ? ", a folder" : ", a file"));
        const Digest tree = publish(name, folder);
        const auto files = damage_snapshot(reader.path());
        expect_refusal(follower.sync(), tree);
        expect_refusal(reader.switch_to("hostile"), tree);
        expect_refusal(reader.merge("hostile"), tree);
        EXPECT_EQ(damage_snapshot(follower.path()), files);
        EXPECT_EQ(damage_snapshot(reader.path()), files);
        EXPECT_EQ(read_file(reader / ".tome/config.toml"), config);
        EXPECT_FALSE(std::filesystem::exists(folder_ / "up"));
    }
    EXPECT_EQ(reader.sync().text(), "done");
    EXPECT_EQ(reader.status().paths, std::vector<std::string>());
}

TEST_F(HostileTree, IsRefusedOnPushAndTheRemoteDoesNotGetIt) {
    const tome::BranchName main = tome::BranchName::parse("main");
    const auto heads = remote_heads();
    bool folder = false;
    for (const std::string& name : hostile_names) {
        folder = !folder;
        SCOPED_TRACE("\"" + name + "\"" + (folder ? ", a folder" : ", a file"));
        Digest tree;
        {
            Store store(author_.own_store());
            tome::Transaction transaction(store.database());
            tree = add_hostile_tree(store, name, folder);
            tome::CheckoutState(author_ / ".tome/index.db").set_local_head(main, add_revision(store, tree));
            transaction.commit();
        }
        expect_refusal(author_.push(), tree);
        EXPECT_EQ(remote_heads(), heads);
        EXPECT_FALSE(Store(remote_store_).contains(tome::ObjectKind::Tree, tree));
    }
}

TEST_F(HostileTree, IsCalledACorruptObject) {
    publish("..", false);
    const DamageReply reply = checkout("clone").clone("hostile");
    EXPECT_TRUE(reply.text().starts_with("corrupt object")) << reply.text();
}

TEST_F(HostileTree, CannotBeMadeFromWorkingFiles) {
    for (const std::string& name : hostile_names) {
        const bool may_be_on_disk = !name.empty() && name.find('\0') == std::string::npos &&
                                    name.find('/') == std::string::npos && name.front() != '.' && name.size() < 256;
        if (!may_be_on_disk) {
            continue;
        }
        SCOPED_TRACE(name);
        write_file(author_ / "Work" / name, "work");
        for (const std::string& path : {"Work/" + name, std::string("Work")}) {
            const DamageReply reply = author_.stage({path});
            EXPECT_EQ(reply.code, invalid);
            EXPECT_EQ(reply.text(), "invalid path: Work/" + name);
        }
        EXPECT_EQ(author_.commit().text(), "Nothing staged for commit");
        std::filesystem::remove_all(author_ / "Work");
    }
    for (const std::string path :
         {"../up", "/etc/passwd", "a/../../up", ".tome/config.toml", ".TOME/config.toml", ".."}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(author_.stage({path}).text(), "invalid path: " + path);
        EXPECT_EQ(author_.sync({{path}}).text(), "invalid path: " + path);
    }
}

TEST_F(HostileTree, CannotBeCommittedFromADamagedIndex) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    const TreeEntry entry{"", TreeEntry::Kind::File, false, 3, tome::digest_of("top")};
    for (const std::string path : {"../up", ".tome/config.toml", "Work/..", "Work//up"}) {
        SCOPED_TRACE(path);
        tome::CheckoutState(index).stage(path, entry);
        EXPECT_NE(author_.commit().code, 0);
        EXPECT_EQ(tome::CheckoutState(index).base(), head_);
        tome::CheckoutState(index).unstage(path);
        tome::CheckoutState(index).set_base(tome::BranchName::parse("main"), head_);
    }
}

TEST_F(HostileTree, CannotBeReachedThroughFilesInADamagedIndex) {
    const std::filesystem::path index = author_ / ".tome/index.db";
    write_file(folder_ / "up", "theirs");
    const std::string config = read_file(author_ / ".tome/config.toml");
    for (const std::string path : {"../up", ".tome/config.toml", "Work/../../up"}) {
        SCOPED_TRACE(path);
        tome::CheckoutState(index).hold_file(path, tome::digest_of("theirs"), {});
        EXPECT_EQ(author_.sync({{}, {}, true}).text(), "invalid path: " + path);
        tome::CheckoutState(index).drop_file(path);
        EXPECT_EQ(read_file(folder_ / "up"), "theirs");
        EXPECT_EQ(read_file(author_ / ".tome/config.toml"), config);
    }
    EXPECT_EQ(author_.sync().text(), "done");
}

// A head whose order is not above its parent's: a walk of the history that it begins cannot go on.
class ForgedOrder : public HostileTree {
  protected:
    ForgedOrder() {
        Store store(remote_store_);
        tome::Transaction transaction(store.database());
        tome::Revision revision;
        revision.tree = store.add_object(ObjectKind::Tree, tome::encode_tree({}));
        revision.first_parent = head_;
        revision.order = 5;
        revision.first_parent = store.add_object(ObjectKind::Revision, tome::encode_revision(revision));
        revision.order = 3;
        forged_ = store.add_object(ObjectKind::Revision, tome::encode_revision(revision));
        transaction.commit();
        text_ = "corrupt object: order of revision " + to_hex(forged_);
    }

    Digest forged_;
    std::string text_;
};

TEST_F(ForgedOrder, IsRefusedWhereverAHeadIsTaken) {
    const DamageCheckout follower = clone("follower", "hostile");
    const DamageCheckout reader = clone("reader");
    damage_set_head(remote_store_, "hostile", forged_);
    EXPECT_EQ(checkout("clone").clone("hostile").text(), text_);
    EXPECT_EQ(checkout("sparse").clone("hostile", {}, true).text(), text_);
    EXPECT_EQ(follower.sync().text(), text_);
    EXPECT_EQ(follower.status().text(), text_);
    EXPECT_EQ(reader.switch_to("hostile").text(), text_);
    EXPECT_TRUE(reader.merge("hostile").text().starts_with("corrupt object: order of revision "));
    EXPECT_EQ(reader.sync({{}, forged_}).text(), text_);
    EXPECT_EQ(reader.create_branch("child", "hostile").text(), text_);
    EXPECT_FALSE(remote_heads().contains("child"));
    EXPECT_FALSE(std::filesystem::exists(checkout("clone") / ".tome"));
    EXPECT_FALSE(std::filesystem::exists(checkout("sparse") / ".tome"));
}

TEST_F(ForgedOrder, IsNotBuiltUpon) {
    const DamageCheckout reader = clone("reader");
    write_file(reader / "top.txt", "two");
    DamageCheckout::require(reader.stage({"top.txt"}));
    tome::CheckoutState(reader / ".tome/index.db").set_base(tome::BranchName::parse("main"), forged_);
    EXPECT_EQ(reader.commit().text(), text_);
    EXPECT_TRUE(reader.restore(head_).text().starts_with("corrupt object: order of revision "));
    EXPECT_EQ(tome::CheckoutState(reader / ".tome/index.db").base(), forged_);
}

TEST_F(ForgedOrder, IsNoOrderAboveAParentThatCannotBeRead) {
    author_.publish_files({{"top.txt", "two"}});
    const DamageCheckout reader = clone("reader");
    damage_remove_object(remote_store_, head_);
    const Digest three = reader.publish_files({{"top.txt", "three"}});
    EXPECT_EQ(reader.sync().identity, three);
    EXPECT_EQ(reader.history().code, 2) << "not found";
}

TEST_F(ForgedOrder, IsNotPublishedUpon) {
    damage_set_head(remote_store_, "main", forged_);
    Digest upon;
    {
        Store store(author_.own_store());
        tome::Revision revision;
        revision.tree = store.add_object(ObjectKind::Tree, tome::encode_tree({}));
        revision.first_parent = forged_;
        revision.order = 4;
        upon = store.add_object(ObjectKind::Revision, tome::encode_revision(revision));
        revision.first_parent = upon;
        revision.order = 4;
        const Digest local = store.add_object(ObjectKind::Revision, tome::encode_revision(revision));
        tome::CheckoutState(author_ / ".tome/index.db").set_local_head(tome::BranchName::parse("main"), local);
    }
    const auto heads = remote_heads();
    EXPECT_EQ(author_.push().code, corrupt);
    EXPECT_EQ(remote_heads(), heads);
    EXPECT_FALSE(Store(remote_store_).contains(ObjectKind::Revision, upon));
}

// A tree that says another size of a file than its content has.
class ForgedSize : public HostileTree {
  protected:
    ForgedSize() {
        Store store(remote_store_);
        tome::Transaction transaction(store.database());
        const Digest small = store.add_object(ObjectKind::Content, "four");
        const std::string large(100'000, 'l');
        const Digest large_digest = tome::digest_of(large);
        store.add_bytes(large_digest, large);
        const Digest tree = store.add_object(
            ObjectKind::Tree,
            tome::encode_tree({TreeEntry{"large.bin", TreeEntry::Kind::File, false, 99'999, large_digest},
                               TreeEntry{"small.txt", TreeEntry::Kind::File, false, std::uint64_t{1} << 62U, small},
                               TreeEntry{"top.txt", TreeEntry::Kind::File, false, 3, tome::digest_of("top")}}));
        const Digest revision = add_revision(store, tree);
        transaction.commit();
        damage_set_head(remote_store_, "hostile", revision);
    }

    static std::string text_for(const std::string& path) { return "corrupt object: size of " + path + " in its tree"; }
};

TEST_F(ForgedSize, IsNamedWhereTheContentIsReadAndNothingIsWritten) {
    EXPECT_EQ(checkout("clone").clone("hostile").text(), text_for("large.bin"));
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    for (const std::string path : {"large.bin", "small.txt"}) {
        EXPECT_EQ(reader.sync({{path}}).text(), text_for(path));
        EXPECT_FALSE(std::filesystem::exists(reader / path));
    }
    EXPECT_EQ(reader.sync({{"top.txt"}}).text(), "done");
}

TEST_F(ForgedSize, IsNamedWhenTheFileIsThereAlready) {
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    write_file(reader / "small.txt", "four");
    EXPECT_EQ(reader.sync({{"small.txt"}}).text(), text_for("small.txt"));
}

TEST_F(ForgedSize, IsNotCommittedAsItIsButReplaced) {
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    write_file(reader / "small.txt", "four");
    write_file(reader / "new.txt", "new");
    EXPECT_EQ(reader.stage({"small.txt"}).text(), text_for("small.txt"));
    EXPECT_EQ(reader.stage({"new.txt"}).text(), "done");
    write_file(reader / "small.txt", "other");
    write_file(reader / "large.bin", "other");
    EXPECT_EQ(reader.stage({"small.txt", "large.bin"}).text(), "done");
    EXPECT_EQ(reader.commit().text(), "done");
    EXPECT_EQ(reader.push("hostile").text(), "done");
    EXPECT_EQ(checkout("clone").clone("hostile").text(), "done");
}

TEST_F(ForgedSize, IsNotMerged) {
    const DamageCheckout reader = clone("reader");
    EXPECT_EQ(reader.merge("hostile").text(), text_for("large.bin"));
    EXPECT_EQ(reader.history().revisions.size(), 1U);
}

// A tree of few objects that names 2^40 files: each folder holds the one below it twice.
class EndlessTree : public HostileTree {
  protected:
    // The folders that hold the one file, named after `text`, 2^`levels` times.
    static Digest add_doubling_tree(Store& store, int levels, const std::string& text) {
        const Digest content = store.add_object(ObjectKind::Content, text);
        Digest tree = store.add_object(
            ObjectKind::Tree,
            tome::encode_tree({TreeEntry{"f.txt", TreeEntry::Kind::File, false, text.size(), content}}));
        for (int level = 0; level < levels; ++level) {
            const TreeEntry left{"a", TreeEntry::Kind::Folder, false, 0, tree};
            const TreeEntry right{"b", TreeEntry::Kind::Folder, false, 0, tree};
            tree = store.add_object(ObjectKind::Tree, tome::encode_tree({left, right}));
        }
        return tree;
    }

    // Makes it the head of the remote's branch "hostile"; returns the tree's name and the revision.
    std::pair<Digest, Digest> publish_doubling_tree(int levels, const std::string& text = "f") const {
        Store store(remote_store_);
        tome::Transaction transaction(store.database());
        const Digest tree = add_doubling_tree(store, levels, text);
        const Digest revision = add_revision(store, tree);
        transaction.commit();
        damage_set_head(remote_store_, "hostile", revision);
        return {tree, revision};
    }

    static void expect_too_many(const DamageReply& reply, const Digest& tree) {
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_TRUE(reply.text().starts_with("corrupt object: the tree names more than 10000000 files (object "))
            << reply.text();
        EXPECT_NE(reply.text().find(to_hex(tree)), std::string::npos) << reply.text();
    }
};

TEST_F(EndlessTree, IsRefusedByEveryWalkAndNothingIsWritten) {
    const DamageCheckout follower = clone("follower", "hostile");
    const DamageCheckout reader = clone("reader");
    const auto [tree, revision] = publish_doubling_tree(40);
    const auto files = damage_snapshot(reader.path());
    expect_too_many(checkout("clone").clone("hostile"), tree);
    EXPECT_FALSE(std::filesystem::exists(checkout("clone") / ".tome"));
    expect_too_many(follower.sync(), tree);
    expect_too_many(reader.sync({{}, revision}), tree);
    expect_too_many(reader.switch_to("hostile"), tree);
    expect_too_many(reader.merge("hostile"), tree);
    EXPECT_EQ(damage_snapshot(follower.path()), files);
    EXPECT_EQ(damage_snapshot(reader.path()), files);
    EXPECT_EQ(reader.history().revisions.size(), 1U);
}

TEST_F(EndlessTree, IsNotRestored) {
    const auto [tree, hostile] = publish_doubling_tree(40);
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    expect_too_many(reader.restore(head_), tree);
    EXPECT_EQ(tome::CheckoutState(reader / ".tome/index.db").base(), hostile);
}

TEST_F(EndlessTree, IsRefusedWhenTwoOfThemAreCompared) {
    publish_doubling_tree(40, "one");
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    const Digest second = publish_doubling_tree(40, "two").first;
    expect_too_many(reader.switch_to("hostile"), second);
}

TEST_F(EndlessTree, LetsFilesInItBeReadAndCommittedByTheirPaths) {
    publish_doubling_tree(40);
    const DamageCheckout reader = checkout("reader");
    DamageCheckout::require(reader.clone("hostile", {}, true));
    std::string path;
    for (int level = 0; level < 40; ++level) {
        path += "b/";
    }
    EXPECT_EQ(reader.sync({{path + "f.txt"}}).text(), "done");
    EXPECT_EQ(read_file(reader / (path + "f.txt")), "f");
    write_file(reader / "new.txt", "new");
    EXPECT_EQ(reader.stage({"new.txt"}).text(), "done");
    EXPECT_EQ(reader.commit().text(), "done");
    EXPECT_EQ(reader.push("hostile").text(), "done");
}

TEST_F(EndlessTree, IsNoTreeInWhichAFolderStandsAThousandTimes) {
    publish_doubling_tree(10);
    const DamageCheckout clone = checkout("clone");
    EXPECT_EQ(clone.clone("hostile").text(), "done");
    EXPECT_EQ(damage_snapshot(clone.path()).size(), 1024U + 2046U);
}

TEST_F(EndlessTree, WithFewFilesAndLongPathsIsRefused) {
    Digest tree;
    {
        Store store(remote_store_);
        tome::Transaction transaction(store.database());
        tree = add_doubling_tree(store, 20, "f");
        for (int level = 0; level < 10; ++level) {
            const std::string name(200, 'n');
            tree = store.add_object(ObjectKind::Tree,
                                    tome::encode_tree({TreeEntry{name, TreeEntry::Kind::Folder, false, 0, tree}}));
        }
        const Digest revision = add_revision(store, tree);
        transaction.commit();
        damage_set_head(remote_store_, "hostile", revision);
    }
    const DamageReply reply = clone("reader").switch_to("hostile");
    EXPECT_EQ(reply.code, corrupt);
    EXPECT_TRUE(reply.text().starts_with("corrupt object: the tree's paths have more than 1000000000 bytes"))
        << reply.text();
}

// A reader whose folder "Sub" is to become a link to "outside", and work on the remote that touches the folder.
class LinkedFolder : public DamagedRepository {
  protected:
    LinkedFolder() {
        head_ = author_.publish_files({{"Sub/a.txt", "one"}, {"Sub/gone.txt", "gone"}, {"top.txt", "top"}});
        DamageCheckout::require(reader_.clone());
        DamageCheckout::require(author_.create_branch("side"));
        DamageCheckout::require(author_.switch_to("side"));
        std::filesystem::remove(author_ / "Sub/gone.txt");
        write_file(author_ / "Sub/a.txt", "two");
        write_file(author_ / "Sub/Deep/new.txt", "new");
        write_file(author_ / "top.txt", "top two");
        DamageCheckout::require(author_.stage({"Sub/gone.txt", "Sub/a.txt", "Sub/Deep/new.txt", "top.txt"}));
        side_ = DamageCheckout::require(author_.commit()).identity;
        DamageCheckout::require(author_.push("side"));
        write_file(outside_ / "a.txt", "one");
        write_file(outside_ / "gone.txt", "gone");
    }

    void link_the_folder(const std::filesystem::path& target) const {
        std::filesystem::rename(reader_ / "Sub", folder_ / "kept");
        std::filesystem::create_directory_symlink(target, reader_ / "Sub");
    }

    void expect_refusals() const {
        const auto files = damage_snapshot(reader_.path());
        const auto others = damage_snapshot(outside_);
        for (const DamageReply& reply :
             {reader_.switch_to("side"), reader_.merge("side"), reader_.sync({{}, side_}),
              reader_.sync({{}, side_, true}), reader_.sync({{"Sub"}, side_, true}),
              reader_.sync({{"Sub/Deep/new.txt"}, side_}), reader_.sync({{"Sub/gone.txt"}, side_, true}),
              reader_.stage({"Sub/a.txt"}), reader_.stage({"Sub/theirs.txt"})}) {
            EXPECT_EQ(reply.code, file_system) << reply.text();
            EXPECT_TRUE(reply.text().starts_with("a symbolic link stands in the way: Sub/")) << reply.text();
        }
        EXPECT_EQ(damage_snapshot(reader_.path()), files);
        EXPECT_EQ(damage_snapshot(outside_), others);
        EXPECT_EQ(reader_.commit().text(), "Nothing staged for commit");
    }

    DamageCheckout reader_ = checkout("reader");
    std::filesystem::path outside_ = folder_ / "outside";
    Digest head_;
    Digest side_;
};

TEST_F(LinkedFolder, SwappedInBetweenOperationsIsRefusedAndNothingBehindItChanges) {
    ASSERT_EQ(reader_.sync().text(), "done");
    link_the_folder(outside_);
    expect_refusals();
    std::filesystem::remove(reader_ / "Sub");
    std::filesystem::rename(folder_ / "kept", reader_ / "Sub");
    EXPECT_EQ(reader_.switch_to("side").text(), "done");
    EXPECT_EQ(read_file(reader_ / "Sub/a.txt"), "two");
}

TEST_F(LinkedFolder, WithoutATargetIsRefusedAndTheTargetIsNotMade) {
    link_the_folder(folder_ / "nowhere");
    expect_refusals();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "nowhere"));
}

TEST_F(LinkedFolder, ToAnotherFolderOfTheCheckoutIsRefusedToo) {
    std::filesystem::create_directory(reader_ / "Other");
    link_the_folder("Other");
    expect_refusals();
}

TEST_F(LinkedFolder, ThereBeforeTheCheckoutIsRefusedOnClone) {
    const DamageCheckout clone = checkout("clone");
    std::filesystem::create_directory(clone.path());
    std::filesystem::create_directory_symlink(outside_, clone / "Sub");
    const auto others = damage_snapshot(outside_);
    const DamageReply reply = clone.clone("side");
    EXPECT_EQ(reply.code, file_system);
    EXPECT_EQ(reply.text(), "a symbolic link stands in the way: Sub/Deep/new.txt");
    EXPECT_EQ(damage_snapshot(outside_), others);
    EXPECT_EQ(damage_snapshot(clone.path()),
              (std::map<std::string, std::string>{{"Sub", "link to " + outside_.string()}}));
}

TEST_F(LinkedFolder, IsReportedAsAChangeAndNotEntered) {
    write_file(outside_ / "theirs.txt", "theirs");
    link_the_folder(outside_);
    EXPECT_EQ(reader_.status().paths, (std::vector<std::string>{"Sub", "Sub/a.txt", "Sub/gone.txt"}));
}

// Another program swaps the folder and the link while files are written.
TEST_F(LinkedFolder, SwappedInWhileFilesAreWrittenLetsNothingOut) {
    const auto others = damage_snapshot(outside_);
    const pid_t swapper = damage_start_process([&] {
        std::error_code ignored;
        std::filesystem::create_directory_symlink(outside_, folder_ / "link", ignored);
        for (;;) {
            std::filesystem::rename(reader_ / "Sub", folder_ / "kept", ignored);
            std::filesystem::rename(folder_ / "link", reader_ / "Sub", ignored);
            std::filesystem::rename(reader_ / "Sub", folder_ / "link", ignored);
            std::filesystem::rename(folder_ / "kept", reader_ / "Sub", ignored);
        }
    });
    for (int i = 0; i < 24; ++i) {
        reader_.sync({{}, i % 2 == 0 ? side_ : head_, true});
    }
    kill(swapper, SIGKILL);
    damage_wait_for(swapper);
    EXPECT_EQ(damage_snapshot(outside_), others);
}

TEST_F(LinkedFolder, OfTheCheckoutsStateLetsNothingOut) {
    const auto others = damage_snapshot(outside_);
    std::filesystem::remove_all(reader_ / ".tome/tmp");
    std::filesystem::create_directory_symlink(outside_, reader_ / ".tome/tmp");
    reader_.switch_to("side");
    reader_.stage({"top.txt"});
    EXPECT_EQ(damage_snapshot(outside_), others);
}

TEST_F(LinkedFolder, InThePlaceOfTheStateFolderIsRefused) {
    std::filesystem::rename(reader_ / ".tome", folder_ / "state");
    std::filesystem::create_directory_symlink(folder_ / "state", reader_ / ".tome");
    EXPECT_EQ(reader_.switch_to("side").code, file_system);
    EXPECT_EQ(reader_.status().code, file_system);
    EXPECT_EQ(read_file(reader_ / "top.txt"), "top");
}

// A link or FIFO where a file belongs.
TEST_F(LinkedFolder, OrFifoInThePlaceOfAFileIsNeitherReplacedNorRead) {
    const auto others = damage_snapshot(outside_);
    const std::string refusal = "uncommitted changes would be overwritten: Sub/a.txt";
    for (const bool fifo : {false, true}) {
        SCOPED_TRACE(fifo ? "FIFO" : "link");
        std::filesystem::remove(reader_ / "Sub/a.txt");
        if (fifo) {
            ASSERT_EQ(mkfifo((reader_ / "Sub/a.txt").c_str(), 0666), 0);
        } else {
            std::filesystem::create_symlink(outside_ / "a.txt", reader_ / "Sub/a.txt");
        }
        const auto files = damage_snapshot(reader_.path());
        for (const DamageReply& reply : {reader_.switch_to("side"), reader_.merge("side"), reader_.sync({{}, side_}),
                                         reader_.sync({{}, side_, true}), reader_.sync({{"Sub/a.txt"}, side_, true})}) {
            EXPECT_EQ(reply.code, would_overwrite);
            EXPECT_EQ(reply.text(), refusal);
        }
        for (const std::string path : {"Sub/a.txt", "Sub"}) {
            const DamageReply reply = reader_.stage({path});
            EXPECT_EQ(reply.code, file_system);
            EXPECT_EQ(reply.text(), "not a regular file: Sub/a.txt");
        }
        EXPECT_EQ(reader_.status().paths, std::vector<std::string>{"Sub/a.txt"});
        EXPECT_EQ(damage_snapshot(reader_.path()), files);
        EXPECT_EQ(damage_snapshot(outside_), others);
    }
}

}  // namespace
}  // namespace quill_test
