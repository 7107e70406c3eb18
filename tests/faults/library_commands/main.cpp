// Runs one call of the library as a process of its own:
//   restore PROJECT WORKSPACE      the revision before the newest
//   restore-kept PROJECT           the newest set of kept files
//   merge PROJECT SOURCE TARGET
//   put PROJECT TEXT               into the project's content store, many times over, so that it is large; prints the
//   key
#include <quill/quill.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace {

constexpr std::size_t repetitions = 20'000;

void restore_one_before(const std::filesystem::path& project, const std::string& workspace) {
    const auto revisions = quill::list_project_workspace_revisions(project, workspace, 2);
    quill::restore_project_workspace_revision(project, workspace, revisions.at(1).id, "", "", "",
                                              quill::read_project(project).manifest.id, {});
}

void restore_newest_kept(const std::filesystem::path& project) {
    quill::restore_kept_files(project, quill::list_kept_files(project).at(0).id, {});
}

void put(const std::filesystem::path& project, const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < repetitions; ++i) {
        bytes += text;
    }
    const auto store = quill::make_project_content_store(project, "");
    std::printf("%s", store->put(std::as_bytes(std::span(bytes))).key.c_str());
}

void run(const std::vector<std::string>& arguments) {
    if (arguments.at(0) == "restore") {
        restore_one_before(arguments.at(1), arguments.at(2));
    } else if (arguments.at(0) == "restore-kept") {
        restore_newest_kept(arguments.at(1));
    } else if (arguments.at(0) == "merge") {
        quill::merge_project_workspace_into(arguments.at(1), arguments.at(2), arguments.at(3), "");
    } else {
        put(arguments.at(1), arguments.at(2));
    }
}

}  // namespace

int main(int count, char** arguments) {
    try {
        run({arguments + 1, arguments + count});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "library_commands: %s\n", error.what());
        return 1;
    }
}
