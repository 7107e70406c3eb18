#include "tome/object/content.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tome/object/object_source.h"
#include "tome/store/store.h"

namespace quill_test {
namespace {

using tome::Content;
using tome::Digest;
using tome::ObjectKind;

// Bytes that come from no file, half by half.
class TwoBlocks final : public tome::ContentReader {
  public:
    explicit TwoBlocks(std::string bytes) : bytes_(std::move(bytes)) {}
    void read(const std::string&, const tome::BlockConsumer& consume) override {
        const std::string_view all = bytes_;
        consume(all.substr(0, all.size() / 2));
        consume(all.substr(all.size() / 2));
    }

  private:
    std::string bytes_;
};

// A source, as one that is reached over a network is, that has one content and no file of it.
class SourceWithoutFiles final : public tome::ObjectSource {
  public:
    SourceWithoutFiles(std::string bytes, const Digest& digest) : bytes_(std::move(bytes)), digest_(digest) {}
    std::optional<std::string> find_object(const Digest&) override { return std::nullopt; }
    std::optional<Content> find_content(const Digest& digest) override {
        if (digest != digest_) {
            return std::nullopt;
        }
        Content content;
        content.size = bytes_.size();
        content.reader = std::make_unique<TwoBlocks>(bytes_);
        return content;
    }
    bool contains(ObjectKind kind, const Digest& digest) override {
        return kind == ObjectKind::Content && digest == digest_;
    }
    std::vector<Digest> lost(const std::vector<Digest>&) override { return {}; }

  private:
    std::string bytes_;
    Digest digest_;
};

class ContentWithoutFile : public testing::Test {
  protected:
    // The store's own copy of a content that it got from a source without files.
    Content copied(const std::string& bytes) {
        SourceWithoutFiles source(bytes, tome::digest_of(bytes));
        tome::Store::create(folder_ / "store");
        tome::Store store(folder_ / "store");
        if (bytes.size() > tome::max_inline_bytes) {
            store.prepare_content(tome::digest_of(bytes), source);
        }
        store.add_content(tome::digest_of(bytes), *source.find_content(tome::digest_of(bytes)));
        return *store.find_content(tome::digest_of(bytes));
    }

    TemporaryFolder folder_;
};

TEST_F(ContentWithoutFile, BecomesAFileOfTheStoreWhenItIsLarge) {
    const std::string bytes(tome::max_inline_bytes + 1, 'x');
    const Content content = copied(bytes);
    ASSERT_TRUE(content.reader);
    EXPECT_GE(content.reader->file(), 0);
    EXPECT_EQ(read_whole(content, tome::digest_of(bytes)), bytes);
}

TEST_F(ContentWithoutFile, BecomesARowOfTheStoreWhenItIsSmall) {
    const Content content = copied("small");
    EXPECT_FALSE(content.reader);
    EXPECT_EQ(content.bytes, "small");
}

TEST_F(ContentWithoutFile, IsCheckedAgainstItsNameWhereverItGoes) {
    SourceWithoutFiles source("other bytes", tome::digest_of("bytes"));
    tome::Store::create(folder_ / "store");
    tome::Store store(folder_ / "store");
    const Content content = *source.find_content(tome::digest_of("bytes"));
    EXPECT_THROW(store.prepare_content(tome::digest_of("bytes"), source), tome::Error);
    EXPECT_THROW(store.add_content(tome::digest_of("bytes"), content), tome::Error);
    EXPECT_THROW(source.read_content(tome::digest_of("bytes")), tome::Error);
    EXPECT_FALSE(source.is_sound(ObjectKind::Content, tome::digest_of("bytes")));
    EXPECT_FALSE(store.contains(ObjectKind::Content, tome::digest_of("bytes")));
}

}  // namespace
}  // namespace quill_test
