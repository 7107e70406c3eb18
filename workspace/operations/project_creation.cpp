#include "workspace/operations/project_creation.h"

#include <cstdlib>
#include <stdexcept>

#include "files/absolute_path.h"
#include "files/text_file.h"
#include "project/manifest.h"
#include "project/manifest_text.h"
#include "project/project_id.h"
#include "project/repository_configuration.h"
#include "workspace/operations/repository_bootstrap.h"

namespace quill {
namespace {

constexpr const char* set_file_program = "/usr/bin/SetFile";

constexpr const char* default_scene =
    "#usda 1.0\n"
    "(\n"
    "    defaultPrim = \"World\"\n"
    "    metersPerUnit = 1\n"
    "    upAxis = \"Y\"\n"
    ")\n"
    "\n"
    "def Xform \"World\"\n"
    "{\n"
    "    custom bool quill:entity = false\n"
    "}\n";

void require_directory_or_nothing(const std::filesystem::path& path) {
    if (path.empty()) {
        throw std::runtime_error("Project path is empty");
    }
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::status(path, ignored).type();
    const bool nothing = type == std::filesystem::file_type::none || type == std::filesystem::file_type::not_found;
    if (!nothing && type != std::filesystem::file_type::directory) {
        throw std::runtime_error("Project path exists and is not a directory: " + path.string());
    }
}

std::string manifest_text(const std::string& id, const std::string& name) {
    std::string text = "{\n  \"version\": 1,\n  \"id\": \"" + id + "\",\n  \"name\": \"" +
                       escape_manifest_string(name) +
                       "\",\n  \"mainScene\": \"Scenes/Main.usda\",\n  \"contentStore\": \"tome\",\n"
                       "  \"tomeRepository\": \".\"";
    const std::string remote = environment_tome_remote_url();
    if (!remote.empty()) {
        text += ",\n  \"tomeRemoteURL\": \"" + escape_manifest_string(remote) + "\",\n  \"tomeRepositoryURL\": \"" +
                escape_manifest_string(project_tome_repository_url_for_id(remote, id)) + "\"";
    }
    return text + "\n}\n";
}

std::string escape_xml(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

std::string information_property_list(const std::string& name) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n"
           "<dict>\n"
           "  <key>CFBundleName</key>\n"
           "  <string>" +
           escape_xml(name) +
           "</string>\n"
           "  <key>CFBundlePackageType</key>\n"
           "  <string>QPRJ</string>\n"
           "  <key>CFBundleSignature</key>\n"
           "  <string>QUIL</string>\n"
           "</dict>\n"
           "</plist>\n";
}

void set_bundle_bit(const std::filesystem::path& path) {
    std::error_code ignored;
    if (std::filesystem::exists(set_file_program, ignored)) {
        // Only how the folder looks in the desktop depends on it, so its outcome does not matter.
        static_cast<void>(std::system(bundle_bit_command(path).c_str()));
    }
}

void write_main_scene(const std::filesystem::path& scene, const std::filesystem::path& template_scene) {
    std::error_code ignored;
    if (!template_scene.empty()) {
        if (!std::filesystem::equivalent(template_scene, scene, ignored)) {
            std::filesystem::copy_file(template_scene, scene, std::filesystem::copy_options::overwrite_existing);
        }
    } else if (!std::filesystem::exists(scene, ignored)) {
        write_text_file(scene, default_scene);
    }
}

}  // namespace

std::string bundle_bit_command(const std::filesystem::path& path) {
    std::string command = std::string(set_file_program) + " -a B '";
    for (const char c : path.string()) {
        c == '\'' ? void(command += "'\\''") : void(command += c);
    }
    return command + "'";
}

void create_project_package(const std::filesystem::path& path, const std::string& name,
                            const std::filesystem::path& template_scene) {
    require_directory_or_nothing(path);
    check_tome_remote_url(environment_tome_remote_url());
    for (const char* folder : {"Scenes", "Assets", "Build", "Contents"}) {
        std::filesystem::create_directories(path / folder);
    }
    const std::string display_name = name.empty() ? absolute_normalized(path).stem().string() : name;
    write_text_file(project_manifest_path(path), manifest_text(generate_project_id(), display_name));
    write_text_file(path / "Contents" / "Info.plist", information_property_list(display_name));
    set_bundle_bit(path);

    const std::filesystem::path scene = path / "Scenes" / "Main.usda";
    std::error_code ignored;
    std::filesystem::remove(scene.string() + ".keel-runtime-snapshot-v1", ignored);
    write_main_scene(scene, template_scene);
    if (read_project(path).manifest.content_store == "tome" && project_has_tome_remote(path)) {
        initialize_new_project_tome_repository(path);
    }
}

}  // namespace quill
