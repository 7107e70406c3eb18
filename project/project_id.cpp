#include "project/project_id.h"

#include <algorithm>
#include <mutex>
#include <random>

#include "files/text_file.h"
#include "project/manifest.h"
#include "project/manifest_text.h"

namespace quill {
namespace {

constexpr std::string_view alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool is_id_byte(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-';
}

std::mutex& id_mutex() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

std::string generate_project_id() {
    std::random_device source("/dev/urandom");
    std::uniform_int_distribution<std::size_t> index(0, alphabet.size() - 1);
    std::string id;
    for (int i = 0; i < 16; ++i) {
        id += alphabet[index(source)];
    }
    return id;
}

bool is_valid_project_id(std::string_view id) {
    return id.size() >= 12 && id.size() <= 64 && std::all_of(id.begin(), id.end(), is_id_byte);
}

std::string ensure_project_id(const std::filesystem::path& project_path) {
    const std::lock_guard lock(id_mutex());
    const std::filesystem::path path = project_manifest_path(project_path);
    const std::string text = read_text_file(path);
    std::string id = manifest_string(text, "id", "");
    if (!is_valid_project_id(id)) {
        id = generate_project_id();
        write_text_file_atomically(path, insert_manifest_id(text, id, path));
    }
    return id;
}

}  // namespace quill
