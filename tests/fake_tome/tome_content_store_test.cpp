#include "content/tome_content_store.h"

#include <stdlib.h>

#include <memory>

#include "content/tome_content_key.h"
#include "tests/fake_tome/fake_project.h"

namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;
using quill::TomeContentStore;
using quill_test::failure_of;
using Texts = std::vector<std::string>;

const std::string digest_of_abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

std::span<const std::byte> bytes_of(const std::string& text) {
    return std::as_bytes(std::span(text));
}

class TomeContentStores : public quill_test::FakeProject {
  protected:
    TomeContentStores() { setenv("QUILL_TOME_BLOCKING_GET_FALLBACK", "1", 1); }
    ~TomeContentStores() override { unsetenv("QUILL_TOME_BLOCKING_GET_FALLBACK"); }

    std::unique_ptr<TomeContentStore> open(const std::string& remote = quill_test::fake_remote) const {
        return std::make_unique<TomeContentStore>(project_, project_, remote, "http://x");
    }

    // A key that the mirror does not have.
    std::string key() const { return quill::tome_content_key_text({quill::tome_content_partition(project_), {}, {}}); }

    // What a store gets when the engine does this.
    std::string get_when(fake_tome::Handler handler) const {
        fake_tome::on("tome_storage_get", std::move(handler));
        const auto bytes = open()->get(key());
        return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
    }
};

TEST_F(TomeContentStores, OpenTheRepositoryOfTheProjectMakingItFirst) {
    open();
    EXPECT_EQ(fake_tome::operations(), (Texts{"tome_repository_create", "tome_storage_open", "tome_storage_close"}));
    const Call created = fake_tome::calls().at(0);
    EXPECT_EQ(created.checkout, project_.string());
    EXPECT_EQ(created.value("name"), "P.quillproject");
    EXPECT_EQ(created.value("description"), "Keel content-addressed project repository");
    EXPECT_EQ(fake_tome::calls().at(1).value("locator"), quill_test::fake_repository_url);
    EXPECT_EQ(fake_tome::calls().at(2).value("handle"), "7");
}

TEST_F(TomeContentStores, OpenARepositoryThatIsThereAsItIs) {
    fs::create_directories(project_ / ".tome");
    open();
    EXPECT_EQ(count_calls("tome_repository_create"), 0U);
}

TEST_F(TomeContentStores, WithoutAManifestOpenTheRepositorysPath) {
    fs::remove(project_ / "project.json");
    open("");
    EXPECT_EQ(fake_tome::calls("tome_storage_open").at(0).value("locator"), project_.string());
    EXPECT_TRUE(fake_tome::calls("tome_storage_open").at(0).no_remote);
}

TEST_F(TomeContentStores, ReportFailuresOfOpening) {
    fake_tome::on("tome_repository_create",
                  [](const Call&, const Events& events) { return events.fail(8, "no room"); });
    EXPECT_EQ(failure_of([&] { open(); }), "no room");
    fake_tome::on("tome_repository_create", [](const Call&, const Events&) { return 8; });
    EXPECT_EQ(failure_of([&] { open(); }), "tome_repository_create failed");
    fs::create_directories(project_ / ".tome");
    fake_tome::on("tome_storage_open", [](const Call&, const Events& events) { return events.fail(8, "locked"); });
    EXPECT_EQ(failure_of([&] { open(); }), "locked");
    fake_tome::on("tome_storage_open", [](const Call&, const Events&) { return 0; });
    EXPECT_EQ(failure_of([&] { open(); }), "tome_storage_open did not return a store handle");
}

TEST_F(TomeContentStores, PutHandsTheBytesOverAndFlushes) {
    const auto stored = open()->put(bytes_of("abc"), "scene");
    const Call put = fake_tome::calls("tome_storage_put").at(0);
    EXPECT_EQ("tome:v1:" + put.value("key"), stored.key);
    EXPECT_EQ(put.value("data"), "abc");
    EXPECT_EQ(put.value("handle"), "7");
    EXPECT_EQ(put.value("local_only"), "0");
    EXPECT_EQ(stored.sha256, digest_of_abc);
    EXPECT_EQ(count_calls("tome_storage_flush"), 1U);
}

// Checked bytes, a minute for locks, chunks of 256 KiB.
TEST_F(TomeContentStores, GiveTheSameOptionsToEveryCallThatTakesSome) {
    open()->put(bytes_of("abc"));
    get_when([](const Call&, const Events& events) {
        events.size(0);
        return 0;
    });
    for (const char* operation : {"tome_storage_open", "tome_storage_put", "tome_storage_get"}) {
        EXPECT_EQ(fake_tome::calls(operation).at(0).value("options"), "1 60 256") << operation;
    }
}

TEST_F(TomeContentStores, WithoutARemoteNeverFlush) {
    open("")->put(bytes_of("abc"));
    EXPECT_EQ(fake_tome::calls("tome_storage_put").at(0).value("local_only"), "1");
    EXPECT_EQ(count_calls("tome_storage_flush"), 0U);
}

TEST_F(TomeContentStores, ReportFailuresOfPutting) {
    const auto store = open();
    const auto put = [&] { store->put(bytes_of("abc")); };
    fake_tome::on("tome_storage_put", [](const Call&, const Events&) { return 8; });
    EXPECT_EQ(failure_of(put), "tome_storage_put failed");
    fake_tome::on("tome_storage_put", [](const Call&, const Events& events) { return events.fail(8, "disk full"); });
    EXPECT_EQ(failure_of(put), "disk full");
    fake_tome::on("tome_storage_put", [](const Call&, const Events& events) {
        tome_event_t event = {};
        event.kind = TOME_EVENT_STORAGE_FAILED;
        event.as.code = 1;
        events.send(event);
        return 0;
    });
    EXPECT_EQ(failure_of(put), "tome_storage_put item failed");
    fake_tome::on("tome_storage_put", [](const Call&, const Events& events) {
        tome_event_t event = {};
        event.kind = TOME_EVENT_STORAGE_ITEM;
        event.as.item.failed = 1;
        events.send(event);
        return 0;
    });
    EXPECT_EQ(failure_of(put), "tome_storage_put item failed");
    EXPECT_FALSE(fs::exists(project_ / "Content/tome_mirror")) << "no copy of what was not stored";
    fake_tome::on("tome_storage_put", [](const Call&, const Events&) { return 0; });
    fake_tome::on("tome_storage_flush", [](const Call&, const Events& events) { return events.fail(8, "no remote"); });
    EXPECT_EQ(failure_of(put), "no remote");
}

TEST_F(TomeContentStores, TakeChunksInAnyOrder) {
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.size(6);
                  events.chunk(4, "ef");
                  events.chunk(0, "ab");
                  events.chunk(2, "cd");
                  return 0;
              }),
              "abcdef");
}

TEST_F(TomeContentStores, TakeChunksWithoutASize) {
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.chunk(2, "cd");
                  events.chunk(0, "ab");
                  return 0;
              }),
              "abcd");
}

TEST_F(TomeContentStores, TakeTheLastSizeAsTheSize) {
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.chunk(0, "abcd");
                  events.size(2);
                  return 0;
              }),
              "ab");
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.size(2);
                  events.chunk(0, "ab");
                  events.size(3);
                  return 0;
              }),
              std::string("ab\0", 3));
}

TEST_F(TomeContentStores, TakeAnEmptyBlobForABlob) {
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.size(0);
                  events.chunk(0, {});
                  return 0;
              }),
              "");
}

TEST_F(TomeContentStores, HaveNothingWhenFetchingFails) {
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.chunk(0, "half");
                  return events.fail(2, "Not found: blob");
              }),
              "nothing");
    EXPECT_EQ(get_when([](const Call&, const Events& events) {
                  events.size(~std::uint64_t{0});
                  return 0;
              }),
              "nothing")
        << "a size that no memory holds";
}

TEST_F(TomeContentStores, PassOverEventsThatTheyDoNotKnow) {
    quill::TomeCallState state;
    tome_event_t event = {};
    for (const std::int32_t kind : {0, 15, 179, 190, 196, -1}) {
        event.kind = kind;
        quill::tome_callback(&event, reinterpret_cast<std::uintptr_t>(&state));
    }
    quill::tome_callback(nullptr, reinterpret_cast<std::uintptr_t>(&state));
    quill::tome_callback(&event, 0);
    EXPECT_EQ(state.status, 0U);
    EXPECT_TRUE(state.bytes.empty());
}

}  // namespace
