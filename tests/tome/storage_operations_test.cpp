// tome_storage_*, called as the library's callers do.
#include <gtest/gtest.h>
#include <tome/tome.h>

#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "digest/sha256.h"
#include "tests/support/temporary_folder.h"
#include "tests/tome/damage_fixture.h"

namespace {

namespace fs = std::filesystem;

// What one call reported.
struct Reply {
    std::int32_t code = 0;
    std::string error;
    std::uint64_t handle = 0;
    std::uint64_t size = 0;
    std::uint32_t item_failed = 0;
    std::int32_t failure = 0;
    std::size_t chunks = 0;
    std::string bytes;
    std::vector<std::int32_t> kinds;
};

void collect(const tome_event_t* event, std::uint64_t user) {
    auto& reply = *reinterpret_cast<Reply*>(user);
    reply.kinds.push_back(event->kind);
    switch (event->kind) {
        case TOME_EVENT_ERROR_TEXT:
            reply.error.assign(event->as.text.data, event->as.text.length);
            break;
        case TOME_EVENT_STORAGE_OPENED:
            reply.handle = event->as.handle;
            break;
        case TOME_EVENT_STORAGE_ITEM:
            reply.item_failed = event->as.item.failed;
            break;
        case TOME_EVENT_STORAGE_SIZE:
            reply.size = event->as.size;
            reply.bytes.resize(event->as.size);
            break;
        case TOME_EVENT_STORAGE_CHUNK:
            ++reply.chunks;
            std::memcpy(reply.bytes.data() + event->as.chunk.offset, event->as.chunk.data, event->as.chunk.length);
            break;
        case TOME_EVENT_STORAGE_FAILED:
            reply.failure = event->as.code;
            break;
        default:
            break;
    }
}

tome_string_t view(const std::string& text) {
    return {text.data(), text.size()};
}

tome_blob_key_t key_of(const std::string& bytes, std::uint8_t context = 1) {
    tome_blob_key_t key{};
    std::memset(key.partition, 7, sizeof key.partition);
    std::memset(key.context, context, sizeof key.context);
    quill::Sha256 hash;
    hash.update(bytes);
    const auto digest = hash.finish();
    std::memcpy(key.digest.bytes, digest.data(), digest.size());
    return key;
}

// A checkout and the storage of its repository.
class Storage {
  public:
    Storage(fs::path checkout, const std::string& locator)
        : checkout_(std::move(checkout)), local_(locator.empty()), locator_(locator) {
        fs::create_directories(checkout_);
        if (!fs::exists(checkout_ / ".tome")) {
            const std::string name = "plain";
            call(tome_repository_create, tome_repository_create_params_t{view(name), {}, {}});
        }
        handle_ = call(tome_storage_open, tome_storage_open_params_t{view(locator_), {}}).handle;
    }
    ~Storage() { call(tome_storage_close, tome_storage_close_params_t{handle_}); }
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    template <typename Params>
    Reply call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t),
               const Params& params) const {
        tome_globals_t globals{};
        const std::string checkout = checkout_.string();
        globals.size = sizeof globals;
        globals.checkout = view(checkout);
        globals.no_remote = local_ ? 1 : 0;
        Reply reply;
        reply.code = operation(&globals, &params, reinterpret_cast<std::uintptr_t>(&reply), collect);
        return reply;
    }

    Reply put(const std::string& bytes, std::uint8_t context = 1, bool local_only = false) const {
        tome_storage_put_params_t params{};
        params.handle = handle_;
        params.key = key_of(bytes, context);
        params.data = bytes.data();
        params.length = bytes.size();
        params.local_only = local_only ? 1 : 0;
        params.options.verify = 1;
        return call(tome_storage_put, params);
    }

    Reply get(const std::string& bytes, std::uint8_t context = 1, std::uint32_t chunk_kibibytes = 0) const {
        tome_storage_get_params_t params{};
        params.handle = handle_;
        params.key = key_of(bytes, context);
        params.options.chunk_kibibytes = chunk_kibibytes;
        return call(tome_storage_get, params);
    }

    Reply flush() const { return call(tome_storage_flush, tome_storage_flush_params_t{handle_}); }
    std::uint64_t handle() const { return handle_; }
    const fs::path& checkout() const { return checkout_; }

  private:
    fs::path checkout_;
    bool local_;
    std::string locator_;
    std::uint64_t handle_ = 0;
};

class StorageOperations : public testing::Test {
  protected:
    quill_test::TemporaryFolder folder_;
    std::string url_ = "file://" + (folder_ / "remote").string() + "/blobs";
};

const std::string large(3'000'000, 'x');

std::string not_found(const std::string& bytes) {
    return "Not found: blob " + quill::sha256_hex(std::as_bytes(std::span(bytes)));
}

TEST_F(StorageOperations, GiveBackWhatWasPut) {
    const Storage storage(folder_ / "checkout", "");
    for (const std::string& bytes :
         {std::string(), std::string("small"), std::string(65'536, 'a'), std::string(65'537, 'b'), large}) {
        const Reply put = storage.put(bytes);
        EXPECT_EQ(put.code, 0) << put.error;
        EXPECT_EQ(put.kinds, std::vector<std::int32_t>{TOME_EVENT_STORAGE_ITEM});
        EXPECT_EQ(put.item_failed, 0U);
        const Reply got = storage.get(bytes);
        EXPECT_EQ(got.code, 0) << got.error;
        EXPECT_EQ(got.size, bytes.size());
        EXPECT_TRUE(got.bytes == bytes);
        EXPECT_EQ(got.kinds.front(), TOME_EVENT_STORAGE_SIZE);
    }
}

TEST_F(StorageOperations, DeliverInChunksNoLargerThanAsked) {
    const Storage storage(folder_ / "checkout", "");
    storage.put(large);
    EXPECT_EQ(storage.get(large, 1, 1000).chunks, 5U) << "of 1,024,000 bytes within blocks of 1 MiB";
    EXPECT_TRUE(storage.get(large, 1, 1).bytes == large);
}

TEST_F(StorageOperations, TellContextsApart) {
    const Storage storage(folder_ / "checkout", "");
    storage.put("abc", 1);
    EXPECT_EQ(storage.get("abc", 2).error, not_found("abc"));
    storage.put("abc", 2);
    EXPECT_EQ(storage.get("abc", 2).bytes, "abc");
}

TEST_F(StorageOperations, RefuseBytesOfAnotherDigestWithoutFailing) {
    const Storage storage(folder_ / "checkout", "");
    tome_storage_put_params_t params{};
    const std::string bytes = "abd";
    params.handle = storage.handle();
    params.key = key_of("abc");
    params.data = bytes.data();
    params.length = bytes.size();
    const Reply reply = storage.call(tome_storage_put, params);
    EXPECT_EQ(reply.code, 0);
    EXPECT_EQ(reply.kinds, (std::vector<std::int32_t>{TOME_EVENT_STORAGE_ITEM, TOME_EVENT_STORAGE_FAILED}));
    EXPECT_EQ(reply.item_failed, 1U);
    EXPECT_NE(reply.failure, 0);
    EXPECT_EQ(storage.get("abc").error, not_found("abc"));
}

TEST_F(StorageOperations, KeepBlobsBesideTheHistory) {
    { Storage(folder_ / "checkout", "").put("abc"); }
    const Storage storage(folder_ / "checkout", "");
    EXPECT_EQ(storage.get("abc").bytes, "abc");
}

TEST_F(StorageOperations, FlushBringsBlobsToAnotherCheckout) {
    const Storage here(folder_ / "here", url_);
    here.put("abc");
    here.put(large);
    const Storage there(folder_ / "there", url_);
    EXPECT_EQ(there.get("abc").error, not_found("abc"));
    EXPECT_EQ(here.flush().error, "");
    EXPECT_EQ(there.get("abc").bytes, "abc");
    EXPECT_TRUE(there.get(large).bytes == large);
}

TEST_F(StorageOperations, FlushPassesOverWhatIsLocalOnly) {
    const Storage here(folder_ / "here", url_);
    here.put("abc", 1, true);
    EXPECT_EQ(here.flush().error, "");
    EXPECT_EQ(Storage(folder_ / "there", url_).get("abc").error, not_found("abc"));
    here.put("abc", 1, false);
    EXPECT_EQ(here.flush().error, "");
    EXPECT_EQ(Storage(folder_ / "there", url_).get("abc").bytes, "abc");
}

TEST_F(StorageOperations, FlushAgainDoesNothingAndWithoutARemoteNeither) {
    const Storage here(folder_ / "here", url_);
    here.put("abc");
    EXPECT_EQ(here.flush().code, 0);
    EXPECT_EQ(here.flush().code, 0);
    const Storage alone(folder_ / "alone", "");
    alone.put("abc");
    EXPECT_EQ(alone.flush().code, 0);
}

TEST_F(StorageOperations, FollowARemoteThatIsReplacedWhileTheyAreOpen) {
    const Storage here(folder_ / "here", url_);
    const Storage there(folder_ / "there", url_);
    here.put("abc");
    EXPECT_EQ(here.flush().error, "");
    EXPECT_EQ(there.get("abc").bytes, "abc");
    fs::remove_all(folder_ / "remote");
    here.put("def");
    EXPECT_EQ(here.flush().error, "");
    EXPECT_EQ(there.get("def").bytes, "def");
    EXPECT_EQ(Storage(folder_ / "new", url_).get("def").bytes, "def");
}

TEST_F(StorageOperations, FlushToAnotherRemoteBringsWhatTheFirstHasToo) {
    {
        const Storage here(folder_ / "here", url_);
        here.put("abc");
        EXPECT_EQ(here.flush().error, "");
    }
    const std::string other = "file://" + (folder_ / "other").string() + "/blobs";
    EXPECT_EQ(Storage(folder_ / "here", other).flush().error, "");
    EXPECT_EQ(Storage(folder_ / "there", other).get("abc").bytes, "abc");
}

TEST_F(StorageOperations, FlushNamesADamagedBlobOnceAndBringsItWhenItIsStoredAgain) {
    const Storage here(folder_ / "here", url_);
    here.put(large);
    for (const auto& entry : fs::recursive_directory_iterator(here.checkout() / ".tome/objects/content")) {
        if (entry.is_regular_file()) {
            std::fstream(entry.path(), std::ios::in | std::ios::out) << "damage";
        }
    }
    EXPECT_NE(here.flush().error.find("corrupt object"), std::string::npos);
    here.put("abc");
    EXPECT_EQ(here.flush().error, "");
    here.put(large);
    EXPECT_EQ(here.flush().error, "");
    const Storage there(folder_ / "there", url_);
    EXPECT_EQ(there.get("abc").bytes, "abc");
    EXPECT_TRUE(there.get(large).bytes == large);
}

TEST_F(StorageOperations, FlushToARemoteThatIsAFileIsRefusedAndMayBeRepeated) {
    quill_test::write_file(folder_ / "remote", "");
    const Storage here(folder_ / "here", url_);
    here.put("abc");
    EXPECT_EQ(here.flush().error, "the remote is not a directory: " + (folder_ / "remote").string());
    fs::remove(folder_ / "remote");
    EXPECT_EQ(here.flush().error, "");
}

TEST_F(StorageOperations, DamagedBlobIsFetchedFromTheRemoteOrNamed) {
    const Storage here(folder_ / "here", url_);
    here.put(large);
    const auto damage = [&](const fs::path& store) {
        for (const auto& entry : fs::recursive_directory_iterator(store / "content")) {
            if (entry.is_regular_file()) {
                std::fstream(entry.path(), std::ios::in | std::ios::out) << "damage";
            }
        }
    };
    damage(here.checkout() / ".tome/objects");
    const std::string digest = quill::sha256_hex(std::as_bytes(std::span(large)));
    EXPECT_EQ(here.get(large).error,
              "corrupt object " + digest + " in " + (here.checkout() / ".tome/objects").string());
    here.flush();
    EXPECT_NE(here.get(large).code, 0) << "what is damaged is not handed on";
    const Storage there(folder_ / "there", url_);
    there.put(large);
    EXPECT_EQ(there.flush().error, "");
    EXPECT_TRUE(here.get(large).bytes == large);
}

TEST_F(StorageOperations, BlobThatIsDamagedOnTheRemoteNamesTheRemotesStore) {
    const Storage here(folder_ / "here", url_);
    const fs::path store = folder_ / "remote/blobs";
    for (const std::string& blob : {large, std::string("small")}) {
        SCOPED_TRACE(blob.size());
        here.put(blob);
        EXPECT_EQ(here.flush().error, "");
        const tome::Digest digest = tome::digest_of(blob);
        quill_test::damage_replace_object(store, digest, "!" + blob.substr(1));
        EXPECT_EQ(Storage(folder_ / "there", url_).get(blob).error,
                  "corrupt object " + tome::to_hex(digest) + " in " + store.string());
    }
}

TEST_F(StorageOperations, DamagedBlobHoldsUpNoOtherAndIsMadeGoodWhenItIsPutAgain) {
    const Storage here(folder_ / "here", url_);
    here.put(large);
    here.put("small");
    for (const auto& entry : fs::recursive_directory_iterator(here.checkout() / ".tome/objects/content")) {
        if (entry.is_regular_file()) {
            std::fstream(entry.path(), std::ios::in | std::ios::out) << "damage";
        }
    }
    EXPECT_NE(here.flush().code, 0);
    const Storage there(folder_ / "there", url_);
    EXPECT_EQ(there.get("small").bytes, "small");
    here.put(large);
    EXPECT_EQ(here.flush().error, "");
    EXPECT_TRUE(there.get(large).bytes == large);
}

TEST_F(StorageOperations, HandlesThatAreNotOpenAreRefused) {
    std::uint64_t closed = 0;
    {
        const Storage storage(folder_ / "checkout", "");
        closed = storage.handle();
    }
    const Storage storage(folder_ / "checkout", "");
    EXPECT_NE(storage.handle(), closed);
    const std::string text = "no open storage has the handle " + std::to_string(closed);
    EXPECT_EQ(storage.call(tome_storage_flush, tome_storage_flush_params_t{closed}).error, text);
    EXPECT_EQ(storage.call(tome_storage_close, tome_storage_close_params_t{closed}).error, text);
    EXPECT_EQ(storage.call(tome_storage_get, tome_storage_get_params_t{closed, {}, {}}).error, text);
}

TEST_F(StorageOperations, FolderThatIsNoCheckoutIsRefused) {
    const Storage storage(folder_ / "checkout", "");
    tome_globals_t globals{};
    const std::string folder = (folder_ / "elsewhere").string();
    globals.size = sizeof globals;
    globals.checkout = view(folder);
    globals.no_remote = 1;
    const tome_storage_open_params_t params{};
    Reply reply;
    EXPECT_NE(tome_storage_open(&globals, &params, reinterpret_cast<std::uintptr_t>(&reply), collect), 0);
    EXPECT_EQ(reply.error, "not a checkout: " + folder);
}

TEST_F(StorageOperations, ServeManyThreadsThroughOneHandle) {
    const Storage storage(folder_ / "checkout", "");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 5; ++i) {
                const std::string bytes = "blob " + std::to_string(thread + i);
                EXPECT_EQ(storage.put(bytes).code, 0);
                EXPECT_EQ(storage.get(bytes).bytes, bytes);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
