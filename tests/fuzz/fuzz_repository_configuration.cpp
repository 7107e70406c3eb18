// A project's manifest and its repository's config.toml as files: reading takes any bytes, completing the manifest
// either refuses and leaves it or adds to it. The input is the manifest, a NUL and the text of config.toml.
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>

#include "project/manifest.h"
#include "project/project_id.h"
#include "project/repository_configuration.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill_test::require;

const std::string remote = "file:///srv/scenes";

const std::filesystem::path& project() {
    static const quill_test::TemporaryFolder folder;
    static const std::filesystem::path path = [] {
        std::filesystem::create_directories(folder / "P.quillproject/.tome");
        unsetenv("KEEL_TOME_REMOTE_URL");
        return folder / "P.quillproject";
    }();
    return path;
}

std::filesystem::path manifest_path() {
    return project() / "project.json";
}

void write(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Whether `change` refuses the manifest with one of `messages`, which leaves it as it is.
template <typename Change>
bool refuses(Change change, const std::set<std::string>& messages) {
    const std::string before = quill_test::read_file(manifest_path());
    try {
        change();
        return false;
    } catch (const std::runtime_error& error) {
        require(messages.contains(error.what()), error.what());
        require(quill_test::read_file(manifest_path()) == before, "a refused manifest stays as it is");
        return true;
    }
}

// Whether `longer` is `text` with more between its bytes.
bool has_all_bytes_of(const std::string& longer, const std::string& text) {
    auto at = longer.begin();
    for (const char c : text) {
        at = std::find(at, longer.end(), c);
        if (at == longer.end()) {
            return false;
        }
        ++at;
    }
    return true;
}

void check_reading() {
    unsetenv("QUILL_TOME_REMOTE_URL");
    const quill::Project opened = quill::read_project(project());
    require(opened.root == project(), "a project's root is its package");
    static_cast<void>(quill::resolve_project_scene_path(project()));
    const std::string url = quill::project_tome_remote_url(project());
    require(quill::project_has_tome_remote(project()) == !url.empty(), "a remote is one that is named");
    if (opened.manifest.tome_remote_url.empty()) {
        require(url.find_first_of("\n#") == url.npos, "the configuration names the remote on one line");
    }
    const std::string repository = quill::project_tome_repository_url(project());
    if (opened.manifest.tome_repository_url.empty()) {
        require(repository.empty() == (url.find_first_not_of('/') == url.npos), "a remote's repository has a URL");
    }
}

void check_completion() {
    setenv("QUILL_TOME_REMOTE_URL", remote.c_str(), 1);
    const std::string before = quill_test::read_file(manifest_path());
    const quill::ProjectManifest old = quill::read_project(project()).manifest;
    const auto complete = [] { quill::ensure_project_tome_configuration(project()); };
    std::set<std::string> messages{"Tome project configuration requires a valid project ID",
                                   "Invalid project manifest: " + manifest_path().string()};
    try {
        quill::check_tome_remote_url(old.tome_remote_url);
    } catch (const std::runtime_error& error) {
        messages.insert(error.what());
    }
    if (refuses(complete, messages)) {
        return;
    }
    const std::string after = quill_test::read_file(manifest_path());
    require(old.content_store == "tome" || after == before, "other content stores are left alone");
    require(has_all_bytes_of(after, before), "completing a manifest takes nothing away");
    const quill::ProjectManifest completed = quill::read_project(project()).manifest;
    // Documented: an empty value is added once more each time and still read as empty. A value that stood behind the
    // last brace of a text that is no JSON is another one now.
    const bool had_key =
        before.find("\"tomeRemoteURL\"") != before.npos || before.find("\"tomeRepositoryURL\"") != before.npos;
    if (had_key || completed.id != old.id || completed.content_store != old.content_store) {
        return;
    }
    complete();
    require(quill_test::read_file(manifest_path()) == after, "a complete manifest stays as it is");
    require(old.content_store != "tome" || completed.tome_repository_url == remote + "/" + old.id,
            "the repository's URL is put in");
}

void check_identity(const std::string& before) {
    std::string id;
    const auto identify = [&] { id = quill::ensure_project_id(project()); };
    if (refuses(identify, {"Invalid project manifest: " + manifest_path().string()})) {
        return;
    }
    require(quill::is_valid_project_id(id), "a project's ID is valid");
    require(has_all_bytes_of(quill_test::read_file(manifest_path()), before), "an ID takes nothing away");
    if (before.substr(0, before.find('{')).find("\"id\"") == before.npos) {
        require(quill::ensure_project_id(project()) == id, "a project keeps its ID");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = quill_test::whole_text(data, size);
    const std::string manifest(text.substr(0, text.find('\0')));
    write(manifest_path(), manifest);
    write(project() / ".tome/config.toml", text.substr(std::min(text.size(), manifest.size() + 1)));
    check_reading();
    check_completion();
    write(manifest_path(), manifest);
    check_identity(manifest);
    return 0;
}
