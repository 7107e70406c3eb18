#include "tome/checkout/branch_metadata.h"

#include <algorithm>

#include "tome/base/error.h"
#include "tome/object/metadata_map.h"

namespace tome {

void note_metadata(Checkout& checkout, const BranchName& branch, const std::vector<std::string>& keys,
                   const std::vector<std::string>& values) {
    if (keys.size() != values.size()) {
        throw Error(ErrorCode::Invalid, "metadata of " + branch.text() + " with more keys than values, or fewer");
    }
    Transaction transaction(checkout.state().database());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (keys[i].empty()) {
            throw Error(ErrorCode::Invalid, "empty metadata key for branch " + branch.text());
        }
        checkout.state().note_metadata(branch, keys[i], values[i]);
    }
    transaction.commit();
}

std::map<std::string, std::string> branch_metadata(Checkout& checkout, const BranchName& branch,
                                                   const std::vector<std::string>& keys) {
    const std::optional<BranchRecord> record = checkout.remote().find_branch(branch);
    std::map<std::string, std::string> values;
    if (record) {
        values = keys.empty() ? list_metadata(checkout.sources(), record->metadata)
                              : get_metadata(checkout.sources(), record->metadata, keys);
    } else if (!checkout.state().local_head(branch)) {
        throw missing_branch(branch);
    }
    for (const auto& [key, value] : checkout.state().noted_metadata(branch)) {
        if (keys.empty() || std::find(keys.begin(), keys.end(), key) != keys.end()) {
            values.insert_or_assign(key, value);
        }
    }
    return values;
}

}  // namespace tome
