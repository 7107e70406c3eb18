#include "tome/checkout/checkout_folder.h"

namespace tome {

std::filesystem::path state_folder(const std::filesystem::path& directory) {
    return directory / ".tome";
}

std::filesystem::path config_path(const std::filesystem::path& directory) {
    return state_folder(directory) / "config.toml";
}

std::filesystem::path index_path(const std::filesystem::path& directory) {
    return state_folder(directory) / "index.db";
}

std::filesystem::path temporary_folder(const std::filesystem::path& directory) {
    return state_folder(directory) / "tmp";
}

std::filesystem::path own_store_path(const std::filesystem::path& directory) {
    return state_folder(directory) / "objects";
}

}  // namespace tome
