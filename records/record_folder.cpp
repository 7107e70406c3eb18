#include "records/record_folder.h"

#include <stdexcept>
#include <system_error>

#include "files/folder_tree.h"
#include "files/text_file.h"
#include "project/package_state.h"
#include "project/workspace_paths.h"

namespace quill {
namespace {

std::filesystem::path made_record_folder(const std::filesystem::path& project) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(project, ignored)) {
        throw std::runtime_error("Project is not a directory: " + project.string());
    }
    std::filesystem::path folder = project_workspaces_index_path(project).parent_path();
    make_record_folder(project, folder);
    return folder;
}

}  // namespace

std::string read_record_file(const std::filesystem::path& path) {
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::status(path, ignored).type();
    if (type == std::filesystem::file_type::not_found) {
        return {};
    }
    // Opening a named pipe would wait for somebody to write to it.
    if (type != std::filesystem::file_type::regular) {
        throw std::runtime_error("Could not open " + path.string());
    }
    return read_text_file(path);
}

void make_record_folder(const std::filesystem::path& project, const std::filesystem::path& folder) {
    try {
        make_state_folder(project, folder);
    } catch (const FileError& error) {
        throw std::runtime_error("could not create workspace folder: " + error.reason());
    }
}

RecordFolderLock::RecordFolderLock(const std::filesystem::path& project) : lock_(made_record_folder(project)) {}

}  // namespace quill
