// Making project packages. Formats of what is written: docs/formats.md.
#pragma once

#include <filesystem>
#include <string>

namespace quill {

/// Makes the directory `path` a project package: folders, a manifest with a new ID, Contents/Info.plist and a main
/// scene, which is a copy of the file `template_scene` when that is given, else what stands there, else a default. The
/// display name is `name`, or the path's stem when that is empty. With a remote the project's history is started.
/// Throws std::runtime_error "Project path exists and is not a directory: " + path, "Project path is empty",
/// file-system errors, and what starting the history throws; steps already done stay.
void create_project_package(const std::filesystem::path& path, const std::string& name,
                            const std::filesystem::path& template_scene);

/// The shell command that marks `path` as a bundle, the path quoted.
std::string bundle_bit_command(const std::filesystem::path& path);

}  // namespace quill
