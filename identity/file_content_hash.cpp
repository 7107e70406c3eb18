#include "identity/file_content_hash.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <system_error>
#include <unordered_map>
#include <unordered_set>

#include "content/content_key.h"
#include "digest/sha256.h"
#include "files/absolute_path.h"
#include "identity/file_identity_cache.h"
#include "identity/repository_identity_worker.h"

namespace quill {
namespace {

using std::filesystem::path;

constexpr std::size_t memo_limit = 65'536;
constexpr std::size_t block_size = 64 * 1024;

std::atomic<bool> lookups_disabled = false;

// The hash of a file's bytes when they were last read. Its size and time tell whether it was written to since.
struct ByteIdentityMemo {
    std::uint64_t size = 0;  // bytes
    std::filesystem::file_time_type modified;
    std::string hash;  // content key
};

struct ByteIdentityMemos {
    std::mutex mutex;
    std::unordered_map<std::string, ByteIdentityMemo> entries;  // by path
};

// The file as it is now, its hash still empty.
std::optional<ByteIdentityMemo> unhashed_memo(const path& file) {
    std::error_code size_error;
    std::error_code time_error;
    ByteIdentityMemo memo;
    memo.size = std::filesystem::file_size(file, size_error);
    memo.modified = std::filesystem::last_write_time(file, time_error);
    return size_error || time_error ? std::nullopt : std::optional(memo);
}

std::optional<std::string> remembered_hash(const path& file, const ByteIdentityMemo& now) {
    ByteIdentityMemos& memos = internal::leaked<ByteIdentityMemos>();
    const std::lock_guard lock(memos.mutex);
    const auto found = memos.entries.find(file.string());
    if (found == memos.entries.end() || found->second.size != now.size || found->second.modified != now.modified) {
        return std::nullopt;
    }
    return found->second.hash;
}

void store_memo(const path& file, const ByteIdentityMemo& memo) {
    ByteIdentityMemos& memos = internal::leaked<ByteIdentityMemos>();
    const std::lock_guard lock(memos.mutex);
    if (memos.entries.size() > memo_limit) {
        memos.entries.clear();
    }
    memos.entries[file.string()] = memo;
}

// Block by block: a file may be larger than the memory.
std::optional<std::string> hash_bytes(const path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    Sha256 digest;
    std::array<char, block_size> block;
    do {
        in.read(block.data(), block.size());
        digest.update(block.data(), static_cast<std::size_t>(in.gcount()));
    } while (in);
    if (in.bad()) {
        return std::nullopt;
    }
    const std::array<std::uint8_t, 32> sum = digest.finish();
    return "sha256:" + bytes_to_hex(sum.data(), sum.size());
}

}  // namespace

std::optional<std::string> project_file_content_hash(const std::filesystem::path& path) {
    if (path.empty()) {
        return std::nullopt;
    }
    const auto file = absolute_normalized(path);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
        return std::nullopt;
    }
    prewarm_project_file_content_hashes({file});
    if (std::optional<std::string> known = find_file_identity(file)) {
        return known;
    }
    // Size and time are taken before the bytes are read. If the file is written to in between, they are those of
    // before, and the next call reads it again.
    std::optional<ByteIdentityMemo> memo = unhashed_memo(file);
    if (memo) {
        if (std::optional<std::string> remembered = remembered_hash(file, *memo)) {
            return remembered;
        }
    }
    std::optional<std::string> key = hash_bytes(file);
    if (key && memo) {
        memo->hash = *key;
        store_memo(file, *memo);
    }
    return key;
}

std::optional<std::string> cached_project_file_content_hash(const std::filesystem::path& path) {
    return path.empty() ? std::nullopt : find_file_identity(absolute_normalized(path));
}

void remember_committed_project_file_identity(const std::filesystem::path& path, const std::string& content_key) {
    if (!path.empty() && !content_key.empty()) {
        store_file_identities({{absolute_normalized(path), content_key}});
    }
}

void prewarm_project_file_content_hashes(const std::vector<std::filesystem::path>& paths) {
    if (lookups_disabled) {
        return;
    }
    RepositoryIdentityRequests requests;
    std::unordered_set<std::string> taken;
    for (const path& path : paths) {
        if (path.empty()) {
            continue;
        }
        auto file = absolute_normalized(path);
        std::error_code ignored;
        if (!taken.insert(file.string()).second || !std::filesystem::is_regular_file(file, ignored)) {
            continue;
        }
        if (const auto root = find_identity_repository(file); root && !find_file_identity(file)) {
            requests[*root].push_back(std::move(file));
        }
    }
    request_repository_identities(requests);
}

void disable_tome_file_identity_lookups() {
    lookups_disabled = true;
}

bool tome_file_identity_lookups_disabled() {
    return lookups_disabled;
}

}  // namespace quill
