#include "project/repository_configuration.h"

#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "files/absolute_path.h"
#include "files/file_url.h"
#include "files/text_file.h"
#include "files/url_credentials.h"
#include "project/checkout_configuration.h"
#include "project/manifest.h"
#include "project/manifest_text.h"
#include "project/project_id.h"

namespace quill {
namespace {

std::mutex& configuration_mutex() {
    static std::mutex mutex;
    return mutex;
}

std::string without_trailing_slashes(std::string text) {
    while (text.ends_with('/')) {
        text.pop_back();
    }
    return text;
}

// The directory that a URL names; any other URL as it is.
std::string directory_or_text(const std::string& url) {
    const std::optional<std::string> path = path_named_by(url);
    return path ? without_trailing_slashes(std::filesystem::path(*path).lexically_normal().string()) : url;
}

std::string fallback_repository_name(const std::filesystem::path& project_path) {
    std::string name;
    for (const char c : absolute_normalized(project_path).stem().string()) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (letter || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_') {
            name += c;
        }
    }
    return name.empty() ? "KeelProject" : name;
}

}  // namespace

std::string environment_tome_remote_url() {
    for (const char* name : {"KEEL_TOME_REMOTE_URL", "QUILL_TOME_REMOTE_URL"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return value;
        }
    }
    return {};
}

void check_tome_remote_url(const std::string& remote) {
    if (has_credentials(remote)) {
        throw std::runtime_error("Tome remote URL must not hold a user name or password: " +
                                 without_credentials(remote));
    }
    if (!remote.empty() && without_trailing_slashes(remote).empty()) {
        throw std::runtime_error("Tome remote URL names nothing: " + remote);
    }
}

bool is_same_tome_repository(const std::string& a, const std::string& b) {
    return a == b || directory_or_text(a) == directory_or_text(b);
}

void ensure_project_tome_configuration(const std::filesystem::path& project_path) {
    const std::lock_guard lock(configuration_mutex());
    const std::filesystem::path path = project_manifest_path(project_path);
    std::string text = read_text_file(path);
    const ProjectManifest manifest = read_project(project_path).manifest;
    if (manifest.content_store != "tome") {
        return;
    }
    const std::string remote =
        manifest.tome_remote_url.empty() ? environment_tome_remote_url() : manifest.tome_remote_url;
    if (remote.empty()) {
        throw std::runtime_error("Tome project configuration requires a remote URL");
    }
    check_tome_remote_url(remote);
    if (!is_valid_project_id(manifest.id)) {
        throw std::runtime_error("Tome project configuration requires a valid project ID");
    }
    const std::string url = manifest.tome_repository_url.empty()
                                ? project_tome_repository_url_for_id(remote, manifest.id)
                                : manifest.tome_repository_url;
    text = set_manifest_key(std::move(text), "tomeRemoteURL", remote, path);
    text = set_manifest_key(std::move(text), "tomeRepositoryURL", url, path);
    write_text_file_atomically(path, text);
}

std::filesystem::path project_tome_repository_path(const std::filesystem::path& project_path) {
    const Project project = read_project(absolute_normalized(project_path));
    const std::string& repository = project.manifest.tome_repository;
    return absolute_normalized(project.root / (repository.empty() ? "." : repository));
}

std::string project_tome_remote_url(const std::filesystem::path& project_path) {
    if (std::string remote = environment_tome_remote_url(); !remote.empty()) {
        return remote;
    }
    std::string remote = read_project(absolute_normalized(project_path)).manifest.tome_remote_url;
    if (remote.empty()) {
        // Where there is no repository yet, there is no configuration that could name one.
        remote = assigned_tome_configuration(project_tome_repository_path(project_path), "remote_url").value_or("");
    }
    return remote;
}

bool project_has_tome_remote(const std::filesystem::path& project_path) {
    try {
        return !project_tome_remote_url(project_path).empty();
    } catch (const std::exception&) {
        return false;
    }
}

std::string project_tome_repository_url(const std::filesystem::path& project_path) {
    const Project project = read_project(absolute_normalized(project_path));
    if (!project.manifest.tome_repository_url.empty()) {
        return project.manifest.tome_repository_url;
    }
    return project_tome_repository_url_for_remote(project.root, project_tome_remote_url(project.root));
}

std::string project_tome_repository_url_for_remote(const std::filesystem::path& project_path,
                                                   const std::string& remote) {
    std::string id;
    try {
        id = read_project(absolute_normalized(project_path)).manifest.id;
    } catch (const std::exception&) {
        // A package that cannot be read has no ID; its name serves.
    }
    if (is_valid_project_id(id)) {
        return project_tome_repository_url_for_id(remote, id);
    }
    const std::string base = without_trailing_slashes(remote);
    return base.empty() ? base : base + "/" + fallback_repository_name(project_path);
}

std::string project_tome_repository_url_for_id(const std::string& remote, const std::string& id) {
    const std::string base = without_trailing_slashes(remote);
    if (base.empty()) {
        return base;
    }
    if (!is_valid_project_id(id)) {
        throw std::runtime_error("cannot derive a Tome repository URL without a valid project ID");
    }
    return base + "/" + id;
}

}  // namespace quill
