#include "tests/fake_tome/fake_project.h"

#include <stdlib.h>

#include <algorithm>

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using fake_tome::Call;
using fake_tome::Events;

const tome_hash_t head = fake_tome::make_hash(0);

// Brings the asked paths, or all, of the remote's tree into the checkout.
std::int32_t sync_files(const std::map<std::string, std::string>& tree, const Call& call, const Events& events) {
    const std::vector<std::string>& paths = call.list("paths");
    for (const auto& [path, bytes] : tree) {
        if (paths.empty() || std::find(paths.begin(), paths.end(), path) != paths.end()) {
            write_file(fs::path(call.checkout) / path, bytes);
        }
    }
    events.identity(TOME_EVENT_SYNCED, head, 1);
    return 0;
}

// Reports what the checkout holds and the remote's tree holds not or otherwise.
std::int32_t report_status(const std::map<std::string, std::string>& tree, const Call& call, const Events& events) {
    events.status(head, 1, head, 1);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(call.checkout)) {
        const std::string path = entry.path().lexically_relative(call.checkout).generic_string();
        if (!entry.is_regular_file() || path.front() == '.') {
            continue;
        }
        const auto found = tree.find(path);
        if (found == tree.end() || found->second != read_file(entry.path())) {
            events.path(TOME_EVENT_STATUS_PATH, path);
        }
    }
    return 0;
}

}  // namespace

FakeProject::FakeProject() {
    unsetenv("KEEL_TOME_REMOTE_URL");
    unsetenv("QUILL_TOME_REMOTE_URL");
    const std::string manifest = "{\n  \"id\": \"" + fake_project_id +
                                 "\",\n  \"name\": \"P\",\n  \"tomeRemoteURL\": \"" + fake_remote + "\"\n}\n";
    write_file(project_ / "project.json", manifest);
    write_file(project_ / scene, "new scene");
    remote_files_ = {{"project.json", manifest}, {scene, "old scene"}};
    script_healthy_engine();
}

void FakeProject::script_healthy_engine() {
    fake_tome::reset();
    fake_tome::on("tome_revision_sync",
                  [this](const Call& call, const Events& events) { return sync_files(remote_files_, call, events); });
    fake_tome::on("tome_repository_status", [this](const Call& call, const Events& events) {
        return report_status(remote_files_, call, events);
    });
    fake_tome::on("tome_file_stage", [](const Call&, const Events& events) {
        events.identity(TOME_EVENT_BASE_REVISION, head);
        return 0;
    });
    fake_tome::on("tome_branch_list", [](const Call&, const Events& events) {
        events.branch("main", "", head);
        return 0;
    });
}

void FakeProject::list_branches(const std::vector<std::pair<std::string, std::string>>& branches) {
    fake_tome::on("tome_branch_list", [branches](const Call&, const Events& events) {
        for (const auto& [name, kind] : branches) {
            events.branch(name, kind, fake_tome::make_hash(1));
        }
        return 0;
    });
}

std::string FakeProject::index_text() const {
    return std::filesystem::exists(index_path()) ? read_file(index_path()) : "absent";
}

std::string FakeProject::damage_index() const {
    write_file(index_path(), index_text() + "}");
    return "damaged record file, nothing was written: " + index_path().string();
}

}  // namespace quill_test
