#include "tome/checkout_config.h"

#include <fcntl.h>

#include <toml++/toml.h>

#include "tome/error.h"
#include "tome/file_io.h"

namespace tome {
namespace {

constexpr std::uint64_t max_config_bytes = 1U << 20U;

// A TOML basic string.
std::string toml_string(std::string_view text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (byte < 0x20 || byte == 0x7f) {
            result += "\\u00";
            result += digits[byte >> 4];
            result += digits[byte & 15];
        } else {
            result += c;
        }
    }
    return result + '"';
}

[[noreturn]] void refuse(const std::filesystem::path& path, std::string_view why) {
    throw Error(ErrorCode::Corrupt, "damaged checkout configuration: " + path.string() + ": " + std::string(why));
}

void read_shared_store(const toml::table& table, const std::filesystem::path& path, CheckoutConfig& config) {
    const toml::node_view section = table["shared_store_to_use"];
    if (!section) {
        return;
    }
    const auto used = section["use_shared_store"].value_exact<bool>();
    if (!used) {
        refuse(path, "use_shared_store is neither true nor false");
    }
    config.use_shared_store = *used;
    config.shared_store = section["path"].value_exact<std::string>().value_or("");
    if (config.use_shared_store && config.shared_store.empty()) {
        refuse(path, "the shared store has no path");
    }
}

}  // namespace

std::string config_text(const CheckoutConfig& config) {
    std::string text = "remote_url = " + toml_string(config.remote_url) + "\n";
    text += "repository_url = " + toml_string(config.repository_url) + "\n";
    text += "description = " + toml_string(config.description) + "\n";
    text += "\n[shared_store_to_use]\n";
    text += std::string("use_shared_store = ") + (config.use_shared_store ? "true" : "false") + "\n";
    if (config.use_shared_store) {
        text += "path = " + toml_string(config.shared_store.string()) + "\n";
    }
    try {
        static_cast<void>(toml::parse(text));
    } catch (const toml::parse_error&) {  // TOML is UTF-8; a path need not be.
        throw Error(ErrorCode::Invalid, "not UTF-8, which a checkout's configuration must be: " + config.remote_url +
                                            " " + config.shared_store.string() + " " + config.description);
    }
    return text;
}

CheckoutConfig read_config(const std::filesystem::path& path) {
    const FileDescriptor file = open_file_at(AT_FDCWD, path.string(), path.string());
    if (!file.is_open()) {
        throw Error(ErrorCode::NotFound, "not a checkout: " + path.parent_path().parent_path().string());
    }
    const std::string text = read_whole(file.get(), path.string(), max_config_bytes);
    try {
        const toml::table table = toml::parse(text);
        CheckoutConfig config;
        config.remote_url = table["remote_url"].value<std::string>().value();
        config.repository_url = table["repository_url"].value<std::string>().value();
        config.description = table["description"].value_or(std::string());
        read_shared_store(table, path, config);
        return config;
    } catch (const toml::parse_error& error) {
        refuse(path, error.description());
    } catch (const std::bad_optional_access&) {
        refuse(path, "a key is missing");
    }
}

}  // namespace tome
