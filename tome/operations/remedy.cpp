#include "tome/operations/remedy.h"

#include <optional>

#include "tome/base/damage.h"
#include "tome/base/error.h"
#include "tome/checkout/checkout_config.h"
#include "tome/checkout/checkout_folder.h"
#include "tome/remote/repository.h"

namespace tome {
namespace {

// `damaged` begins with a path and may go on with more words.
bool lies_in(std::string_view damaged, const std::string& folder) {
    return damaged.starts_with(folder) &&
           (damaged.size() == folder.size() || damaged[folder.size()] == '/' || damaged[folder.size()] == ' ');
}

std::optional<CheckoutConfig> config_of(const std::filesystem::path& checkout) {
    try {
        return read_config(config_path(checkout));
    } catch (const Error&) {
        return std::nullopt;
    }
}

}  // namespace

std::string remedy_for(std::string_view text, const std::filesystem::path& checkout) {
    const std::string_view damaged = what_is_damaged(text);
    const std::optional<CheckoutConfig> config = damaged.empty() ? std::nullopt : config_of(checkout);
    if (!config) {
        return {};
    }
    const std::string state = state_folder(checkout).string();
    if (lies_in(damaged, state)) {
        return config->repository_url.empty()
                   ? "; restore " + state + " from a backup"
                   : "; move edited files aside and delete " + state + " to have the checkout made anew";
    }
    if (config->use_shared_store && lies_in(damaged, config->shared_store.string())) {
        return "; delete " + config->shared_store.string() + ", the remote has what was pushed";
    }
    if (!config->repository_url.empty()) {
        const std::string repository = repository_place(parse_repository_url(config->repository_url));
        if (lies_in(damaged, repository)) {
            return "; restore " + repository + " from a backup";
        }
    }
    return {};
}

}  // namespace tome
