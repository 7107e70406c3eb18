#include "engine/tome_call.h"

#include <tome/tome.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "content/content_key.h"
#include "files/absolute_path.h"
#include "project/checkout_configuration.h"

namespace quill {
namespace {

// What the globals of the calling thread's current call point into.
struct GlobalsText {
    std::string checkout;
    std::string remote_url;
};

GlobalsText& globals_text() {
    thread_local GlobalsText text;
    return text;
}

bool is_zero(const tome_hash_t& hash) {
    return std::all_of(std::begin(hash.bytes), std::end(hash.bytes), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

tome_globals tome_globals_for(const std::filesystem::path& checkout_root, const std::string& remote_url) {
    // An empty path must not become the current directory: the engine gets none and says so.
    const std::filesystem::path root = checkout_root.empty() ? checkout_root : absolute_normalized(checkout_root);
    GlobalsText& text = globals_text();
    text.checkout = root.string();
    text.remote_url = remote_url.empty() ? quoted_tome_configuration(root, "remote_url").value_or("") : remote_url;

    tome_globals_t globals = {};
    globals.size = sizeof globals;
    globals.checkout = tome_string_of(text.checkout);
    globals.remote_url = tome_string_of(text.remote_url);
    globals.offline = text.remote_url.empty();
    globals.no_remote = text.remote_url.empty();
    globals.non_interactive = 1;
    return globals;
}

void require_tome_success(std::string_view operation, std::int32_t result, const TomeWorkspaceState& state) {
    if (result == 0 && state.status == 0) {
        return;
    }
    const std::string name(operation);
    throw std::runtime_error(state.message.empty() ? name + " failed" : name + ": " + state.message);
}

tome_string tome_string_of(const std::string& text) {
    return {text.empty() ? nullptr : text.data(), text.size()};
}

std::string tome_string_to_std(const tome_string& text) {
    return text.data == nullptr ? std::string() : std::string(text.data, text.length);
}

std::string tome_hash_hex(const tome_hash& hash) {
    return is_zero(hash) ? std::string() : bytes_to_hex(hash.bytes, sizeof hash.bytes);
}

TomeStringArrayView tome_string_array_view(const std::vector<std::string>& texts, std::vector<tome_string>& storage) {
    storage.clear();
    storage.reserve(texts.size());
    for (const std::string& text : texts) {
        storage.push_back(tome_string_of(text));
    }
    return {storage.data(), storage.size()};
}

}  // namespace quill
