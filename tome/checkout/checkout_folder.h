// Where things are in the folder ".tome" of a checkout.
#pragma once

#include <filesystem>

namespace tome {

/// ".tome" in the checkout's `directory`.
std::filesystem::path state_folder(const std::filesystem::path& directory);

/// Its configuration.
std::filesystem::path config_path(const std::filesystem::path& directory);

/// Its index.
std::filesystem::path index_path(const std::filesystem::path& directory);

/// The folder of files that are being written.
std::filesystem::path temporary_folder(const std::filesystem::path& directory);

/// Its own store, once something was stored here.
std::filesystem::path own_store_path(const std::filesystem::path& directory);

}  // namespace tome
