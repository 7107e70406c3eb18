// Operations whose n-th request for memory is refused, for every n (of long calls, some): an error event, never an
// abort, and the next call succeeds.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <new>

#include "tests/tome/engine_client.h"

namespace {

// Under a sanitizer some of the requests will do: each costs many times as much.
#if defined(QUILL_ADDRESS_SANITIZER) || defined(QUILL_THREAD_SANITIZER)
constexpr long step = 17;
#else
constexpr long step = 1;
#endif

long after(long n) {
    return n + (n < 100 ? step : 9 * step);
}

// Requests until one is refused; below 0: none is.
thread_local long requests_left = -1;
thread_local bool was_refused = false;

bool refuses() {
    if (requests_left < 0 || requests_left-- > 0) {
        return false;
    }
    was_refused = true;
    return true;
}

void* allocate_or_null(std::size_t size) {
    return refuses() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size) {
    void* memory = allocate_or_null(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

sqlite3_mem_methods sqlite_memory;

void* allocate_for_sqlite(int size) {
    return refuses() ? nullptr : sqlite_memory.xMalloc(size);
}

void* reallocate_for_sqlite(void* memory, int size) {
    return refuses() ? nullptr : sqlite_memory.xRealloc(memory, size);
}

// SQLite takes memory without operator new.
[[maybe_unused]] const bool sqlite_asks_here = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &sqlite_memory);
    sqlite3_mem_methods methods = sqlite_memory;
    methods.xMalloc = allocate_for_sqlite;
    methods.xRealloc = reallocate_for_sqlite;
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK;
}();

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate_or_null(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate_or_null(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace quill_test {
namespace {

std::int32_t code_of_call = 0;

void note_error(const tome_event_t* event, std::uint64_t) {
    if (event->kind == TOME_EVENT_ERROR_CODE) {
        code_of_call = event->as.code;
    }
}

tome_string_t view(const std::string& text) {
    return {text.data(), text.size()};
}

class OutOfMemory : public EngineOperations {
  protected:
    OutOfMemory() { EXPECT_TRUE(sqlite_asks_here); }

    // One call, in which the n-th request for memory is refused.
    template <typename Params>
    std::int32_t call(std::int32_t (*operation)(const tome_globals_t*, const Params*, std::uint64_t, tome_callback_t),
                      const Params& params, long n = -1) const {
        tome_globals_t globals{};
        globals.size = sizeof globals;
        globals.checkout = view(checkout_);
        code_of_call = 0;
        was_refused = false;
        requests_left = n;
        const std::int32_t returned = operation(&globals, &params, 0, note_error);
        requests_left = -1;
        EXPECT_EQ(returned, code_of_call) << "request " << n;
        return returned;
    }

    std::int32_t stage(long n = -1) const {
        const std::string path = "a.txt";
        const tome_string_t item = view(path);
        return call(tome_file_stage, tome_file_stage_params_t{{&item, 1}, 1, 1}, n);
    }
    std::int32_t commit(long n = -1) const { return call(tome_revision_commit, tome_revision_commit_params_t{}, n); }
    std::int32_t push(long n = -1) const {
        const std::string main = "main";
        return call(tome_branch_push, tome_branch_push_params_t{view(main), 1}, n);
    }

    void write_next() { client_.write("a.txt", std::to_string(++writes_)); }

    EngineClient client_ = new_repository({{"a.txt", "a"}});
    std::string checkout_ = client_.path().string();
    int writes_ = 0;
};

TEST_F(OutOfMemory, EndsAStageInAnErrorAndTheNextSucceeds) {
    for (long n = 0; n == 0 || was_refused; n += step) {
        write_next();
        stage(n);
        const bool refused = was_refused;
        ASSERT_EQ(stage(), 0) << "after request " << n;
        was_refused = refused;
    }
    EXPECT_EQ(commit(), 0);
}

TEST_F(OutOfMemory, EndsACommitInAnErrorAndTheNextSucceeds) {
    for (long n = 0; n == 0 || was_refused; n += step) {
        write_next();
        ASSERT_EQ(stage(), 0);
        const std::int32_t code = commit(n);
        const bool refused = was_refused;
        if (code != 0) {  // It may have been refused after the commit was made.
            const std::int32_t next = commit();
            ASSERT_TRUE(next == 0 || next == 4) << "after request " << n << ": " << next;
        }
        was_refused = refused;
    }
    EXPECT_EQ(push(), 0);
}

TEST_F(OutOfMemory, EndsAPushInAnErrorAndTheNextSucceeds) {
    for (long n = 0; n == 0 || was_refused; n = after(n)) {
        write_next();
        const std::string head = client_.commit_paths({"a.txt"});
        push(n);
        const bool refused = was_refused;
        ASSERT_EQ(push(), 0) << "after request " << n;
        ASSERT_EQ(remote_head(), head) << "after request " << n;
        was_refused = refused;
    }
}

TEST_F(OutOfMemory, EndsACloneInAnErrorAndTheNextSucceeds) {
    const std::string source = checkout_;
    for (long n = 0; n == 0 || was_refused; n = after(n)) {
        checkout_ = (folder_ / ("clone" + std::to_string(n))).string();
        const std::string main = "main";
        tome_repository_clone_params_t params{};
        params.repository_url = view(url_);
        params.branch = view(main);
        call(tome_repository_clone, params, n);
        const bool refused = was_refused;
        ASSERT_EQ(call(tome_repository_clone, params), 0) << "after request " << n;
        was_refused = refused;
        std::filesystem::remove_all(checkout_);
    }
}

}  // namespace
}  // namespace quill_test
