// A checkout's configuration, .tome/config.toml (TOML 1.0). It is written last, so its presence marks a finished clone.
#pragma once

#include <filesystem>
#include <string>

namespace tome {

struct CheckoutConfig {
    std::string remote_url;      ///< canonical; empty: no remote
    std::string repository_url;  ///< canonical; empty: the checkout keeps its branches itself
    std::string description;     ///< free text
    bool use_shared_store = false;
    std::filesystem::path shared_store;
    std::filesystem::path branch_memory{};  ///< relative to the checkout's directory; empty: none
    bool detached = false;                  ///< the working files lie in a folder that each call names
};

/// The file's text. The key remote_url comes first and its line has no comment and no escape.
std::string config_text(const CheckoutConfig& config);

/// Reads the file at `path`. Throws Error(Corrupt) "damaged checkout configuration: PATH" with the parser's reason.
CheckoutConfig read_config(const std::filesystem::path& path);

}  // namespace tome
