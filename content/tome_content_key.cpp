#include "content/tome_content_key.h"

#include <algorithm>

#include "content/content_key.h"
#include "digest/sha256.h"

namespace quill {
namespace {

constexpr std::string_view prefix = "tome:v1:";

template <std::size_t Count>
bool read_field(std::string_view text, std::array<std::uint8_t, Count>& bytes) {
    return hex_to_bytes(text, bytes.data(), Count);
}

template <std::size_t Count>
std::string hex_of(const std::array<std::uint8_t, Count>& bytes) {
    return bytes_to_hex(bytes.data(), Count);
}

}  // namespace

std::array<std::uint8_t, 16> deterministic_id_128(std::string_view text) {
    Sha256 hash;
    hash.update(text);
    const std::array<std::uint8_t, 32> digest = hash.finish();
    std::array<std::uint8_t, 16> id{};
    std::copy_n(digest.begin(), id.size(), id.begin());
    return id;
}

std::array<std::uint8_t, 16> tome_content_partition(const std::filesystem::path& project) {
    return deterministic_id_128("quill:tome:partition:" + project.string());
}

std::array<std::uint8_t, 16> tome_content_context(std::string_view context) {
    return deterministic_id_128(context.empty() ? "quill:tome:content"
                                                : "quill:tome:content-context:" + std::string(context));
}

std::string tome_content_key_text(const TomeContentKey& key) {
    return std::string(prefix) + hex_of(key.partition_id) + ":" + hex_of(key.digest) + ":" + hex_of(key.context_id);
}

std::optional<TomeContentKey> parse_tome_key(std::string_view key) {
    if (!key.starts_with(prefix)) {
        return std::nullopt;
    }
    const std::string_view fields = key.substr(prefix.size());
    const std::size_t first = fields.find(':');
    const std::size_t second = first == fields.npos ? first : fields.find(':', first + 1);
    if (second == fields.npos) {
        return std::nullopt;
    }
    TomeContentKey parsed;
    const bool whole = read_field(fields.substr(0, first), parsed.partition_id) &&
                       read_field(fields.substr(first + 1, second - first - 1), parsed.digest) &&
                       read_field(fields.substr(second + 1), parsed.context_id);
    return whole ? std::optional(parsed) : std::nullopt;
}

std::filesystem::path tome_mirror_relative_path_for_key(std::string_view key) {
    const std::optional<TomeContentKey> parsed = parse_tome_key(key);
    if (!parsed) {
        return {};
    }
    const std::string digest = hex_of(parsed->digest);
    return std::filesystem::path(hex_of(parsed->partition_id)) / digest.substr(0, 2) / digest /
           (hex_of(parsed->context_id) + ".blob");
}

std::filesystem::path tome_mirror_path_for_key(const std::filesystem::path& mirror_root, std::string_view key) {
    const std::filesystem::path relative = tome_mirror_relative_path_for_key(key);
    return relative.empty() ? relative : mirror_root / relative;
}

std::string tome_content_url(const std::string& url_base, std::string_view key) {
    if (!key.starts_with(prefix)) {
        return {};
    }
    std::string fields(key.substr(prefix.size()));
    std::replace(fields.begin(), fields.end(), ':', '/');
    return url_base + "/tome/v1/" + fields;
}

}  // namespace quill
