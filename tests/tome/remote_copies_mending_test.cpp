// What is damaged or gone on the remote is sent again when its bytes are committed or named again.
#include <gtest/gtest.h>

#include <functional>

#include "tests/tome/damage_fixture.h"
#include "tome/object/object_encoding.h"
#include "tome/remote/remote_copies.h"

namespace quill_test {
namespace {

using tome::Digest;
using tome::ObjectKind;
using tome::Store;
using tome::to_hex;

constexpr std::int32_t corrupt = 7;

const std::string large_bytes(100'000, 'L');

std::string flipped(std::string bytes) {
    bytes.at(bytes.size() / 2) ^= 4;
    return bytes;
}

struct Harm {
    std::string what;
    std::string bytes;  // of the content that it is done to
    std::function<void(const std::filesystem::path& store, const std::string& bytes)> apply;
};

const std::vector<Harm> harms{
    {"large content flipped", large_bytes,
     [](const auto& store, const std::string& bytes) {
         damage_replace_object(store, tome::digest_of(bytes), flipped(bytes));
     }},
    {"large content cut short", large_bytes,
     [](const auto& store, const std::string& bytes) {
         damage_replace_object(store, tome::digest_of(bytes), bytes.substr(0, 10));
     }},
    {"large content's file gone", large_bytes,
     [](const auto& store, const std::string& bytes) {
         std::filesystem::remove(damage_content_file(store, tome::digest_of(bytes)));
     }},
    {"large content's row gone", large_bytes,
     [](const auto& store, const std::string& bytes) { damage_remove_object(store, tome::digest_of(bytes)); }},
    {"small content flipped", "small",
     [](const auto& store, const std::string& bytes) {
         damage_replace_object(store, tome::digest_of(bytes), flipped(bytes));
     }},
    {"small content gone", "small",
     [](const auto& store, const std::string& bytes) { damage_remove_object(store, tome::digest_of(bytes)); }},
};

class DamageMending : public DamagedRepository {
  protected:
    DamageMending() {
        head_ = author_.publish_files({{"Assets/file.bin", large_bytes},
                                       {"Assets/file.txt", "small"},
                                       {"Other/kept.txt", "kept"},
                                       {"top", "top"}});
    }

    // The file with the bytes that the harm was done to.
    static std::string file_of(const Harm& harm) {
        return harm.bytes == large_bytes ? "Assets/file.bin" : "Assets/file.txt";
    }

    // A new clone gets everything from the remote alone.
    void expect_whole_remote() {
        const DamageCheckout reader = checkout("reader" + std::to_string(++readers_));
        EXPECT_EQ(reader.clone().text(), "done");
        EXPECT_EQ(read_file(reader / "Assets/file.bin"), large_bytes);
        EXPECT_EQ(read_file(reader / "Assets/file.txt"), "small");
    }

    Digest tree_of_assets() {
        Store store(remote_store_);
        return tome::read_tree(store, tome::read_revision(store, head_).tree).at(0).digest;
    }

    Digest head_;
    int readers_ = 0;
};

TEST_F(DamageMending, AFileThatWasChangedAndIsChangedBackIsWholeOnTheRemoteAgain) {
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        author_.publish_files({{file_of(harm), "changed"}});
        harm.apply(remote_store_, harm.bytes);
        author_.publish_files({{file_of(harm), harm.bytes}});
        expect_whole_remote();
    }
}

TEST_F(DamageMending, TheSameBytesUnderAnotherNameAreWholeOnTheRemoteAgain) {
    int copies = 0;
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        harm.apply(remote_store_, harm.bytes);
        author_.publish_files({{"Copies/" + std::to_string(++copies), harm.bytes}});
        expect_whole_remote();
    }
}

TEST_F(DamageMending, AFileThatIsStagedAsItWasIsWholeOnTheRemoteAgain) {
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        harm.apply(remote_store_, harm.bytes);
        EXPECT_EQ(author_.stage({file_of(harm)}).text(), "done");
        expect_whole_remote();
        EXPECT_EQ(author_.commit().text(), "Nothing staged for commit");
    }
}

// A clone has the files and no store of its own.
TEST_F(DamageMending, AFileThatIsStagedAsItWasIsMadeGoodFromItsWorkingFile) {
    for (const Harm& harm : harms) {
        SCOPED_TRACE(harm.what);
        const DamageCheckout other = clone("other " + harm.what);
        harm.apply(remote_store_, harm.bytes);
        EXPECT_EQ(other.stage({file_of(harm)}).text(), "done");
        expect_whole_remote();
    }
}

TEST_F(DamageMending, TheFoldersOnTheWayToANamedFileAreWholeOnTheRemoteAgain) {
    const Digest assets = tree_of_assets();
    Store store(remote_store_);
    const Digest root = tome::read_revision(store, head_).tree;
    for (const Digest& tree : {assets, root}) {
        damage_replace_object(remote_store_, tree, flipped(damage_object_bytes(remote_store_, tree)));
        EXPECT_EQ(author_.stage({"Assets/file.txt"}).text(), "done");
        expect_whole_remote();
        damage_remove_object(remote_store_, tree);
        EXPECT_EQ(author_.stage({"Assets/file.txt"}).text(), "done");
        expect_whole_remote();
    }
}

TEST_F(DamageMending, AFolderThatIsChangedAndChangedBackIsWholeOnTheRemoteAgain) {
    const Digest assets = tree_of_assets();
    author_.publish_files({{"Assets/file.txt", "changed"}});
    damage_replace_object(remote_store_, assets, flipped(damage_object_bytes(remote_store_, assets)));
    author_.publish_files({{"Assets/file.txt", "small"}});
    expect_whole_remote();
}

TEST_F(DamageMending, AFileThatIsStagedAsItWasNeedsNoRemote) {
    author_.offline = true;
    EXPECT_EQ(author_.stage({"Assets/file.bin"}).text(), "done");
    author_.offline = false;
    std::filesystem::rename(remote_store_, folder_ / "gone");
    EXPECT_EQ(author_.stage({"Assets/file.bin"}).text(), "done");
}

TEST_F(DamageMending, AFileOfARevisionThatIsNotPublishedYetIsSentByItsPushAlone) {
    const std::string bytes = large_bytes + "not published";
    author_.commit_files({{"Assets/new.bin", bytes}});
    EXPECT_EQ(author_.stage({"Assets/new.bin"}).text(), "done");
    EXPECT_FALSE(Store(remote_store_).contains(ObjectKind::Content, tome::digest_of(bytes)));
}

TEST_F(DamageMending, OfWhatIsWholeNowhereFailsThePushAndMovesNoBranch) {
    author_.publish_files({{"Assets/file.bin", "changed"}, {"Assets/file.txt", "changed"}});
    for (const std::string& bytes : {large_bytes, std::string("small")}) {
        SCOPED_TRACE(bytes.size());
        const DamageCheckout other = clone("other" + std::to_string(bytes.size()));
        const auto heads = remote_heads();
        damage_replace_object(remote_store_, tome::digest_of(bytes), flipped(bytes));
        EXPECT_EQ(other.restore(head_).text(), "done");
        const DamageReply reply = other.push();
        EXPECT_EQ(reply.code, corrupt);
        EXPECT_EQ(reply.text(), "corrupt object " + to_hex(tome::digest_of(bytes)) + " (content of Assets/file." +
                                    (bytes == "small" ? "txt" : "bin") +
                                    "); no sound copy is known: commit a changed file in its place, or bring the store "
                                    "back from a backup");
        EXPECT_EQ(remote_heads(), heads);
        damage_replace_object(remote_store_, tome::digest_of(bytes), bytes);
        EXPECT_EQ(other.push().text(), "done");
        author_.sync();
        author_.publish_files({{"Assets/file.bin", "changed again"}, {"Assets/file.txt", "changed again"}});
    }
}

TEST_F(DamageMending, ADamagedCopyHereIsPassedOverWhenAnotherStoreHasTheContentWhole) {
    const std::filesystem::path shared = folder_ / "shared";
    ASSERT_TRUE(Store::create(shared));
    const DamageCheckout writer = checkout("writer");
    ASSERT_EQ(writer.clone("main", shared).text(), "done");
    writer.publish_files({{"Assets/new.bin", large_bytes + "new"}});
    const Digest digest = tome::digest_of(large_bytes + "new");
    ASSERT_TRUE(Store::create(writer.own_store()));
    Store own(writer.own_store());
    own.add_bytes(digest, large_bytes + "new");
    damage_replace_object(writer.own_store(), digest, flipped(large_bytes + "new"));
    damage_replace_object(remote_store_, digest, flipped(large_bytes + "new"));
    writer.publish_files({{"Assets/copy.bin", large_bytes + "new"}});
    expect_whole_remote();
}

// A remote that notes which contents are read.
class WatchedSource : public tome::ObjectSource {
  public:
    explicit WatchedSource(tome::ObjectSource& source) : source_(source) {}
    std::optional<std::string> find_object(const Digest& digest) override { return source_.find_object(digest); }
    std::optional<tome::Content> find_content(const Digest& digest) override {
        contents.push_back(digest);
        return source_.find_content(digest);
    }
    bool contains(ObjectKind kind, const Digest& digest) override {
        ++questions;
        return source_.contains(kind, digest);
    }
    tome::ObjectNames missing(const tome::ObjectNames& names) override {
        ++questions;
        return source_.missing(names);
    }
    std::vector<Digest> lost(const std::vector<Digest>& digests) override {
        ++questions;
        return source_.lost(digests);
    }

    std::vector<Digest> contents;
    int questions = 0;  // whether objects are there

  private:
    tome::ObjectSource& source_;
};

class PushedObjects : public DamageMending {
  protected:
    // What a push of `head` reads on the remote.
    std::vector<Digest> contents_read(const Digest& head) {
        Store local(author_.own_store());
        Store store(remote_store_);
        WatchedSource remote(store);
        tome::objects_to_push(local, remote, head);
        questions_ = remote.questions;
        return remote.contents;
    }

    int questions_ = 0;
};

TEST_F(PushedObjects, AreAskedForALevelOfFoldersAtATime) {
    const auto questions = [&](const std::string& folder, int count) {
        std::map<std::string, std::string> files;
        for (int i = 0; i < count; ++i) {
            const std::string name = folder + "/" + std::to_string(i % 10) + "/" + std::to_string(i);
            files.emplace(name, name);
        }
        const Digest head = author_.commit_files(files);
        contents_read(head);
        author_.push();
        return questions_;
    };
    const int of_few = questions("Few", 2);
    EXPECT_EQ(questions("Many", 100), of_few);
}

TEST_F(PushedObjects, OfNewContentAreNotReadOnTheRemote) {
    EXPECT_EQ(contents_read(author_.commit_files({{"Assets/new.bin", large_bytes + "new"}, {"new", "new"}})),
              std::vector<Digest>());
}

TEST_F(PushedObjects, OfContentThatTheRemoteHasAreReadThereOnceAndNoOthers) {
    EXPECT_EQ(contents_read(author_.commit_files({{"Copies/1", "small"}, {"Copies/2", "small"}})),
              std::vector<Digest>{tome::digest_of("small")});
}

}  // namespace
}  // namespace quill_test
