#include "tome/checkout/local_branches.h"

#include "tome/checkout/checkout_folder.h"

namespace tome {

LocalBranches::LocalBranches(const std::filesystem::path& directory) : StoreRemote(own_store_path(directory)) {}

bool LocalBranches::create(const std::filesystem::path& directory) {
    return create_repository_store(own_store_path(directory));
}

}  // namespace tome
