// The steps of the benchmarks that only the library offers; each prints its seconds. The project must have a history.
//   quill_bench restore P.quillproject FILES   commits FILES changed assets, then restores the revision before
//   quill_bench commits P.quillproject COUNT   commits an edit of the main scene COUNT times
//   quill_bench list P.quillproject LIMIT      lists the newest LIMIT revisions of main
#include <quill/quill.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

template <typename Action>
double seconds_of(Action action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<fs::path> change_assets(const fs::path& project, std::size_t count) {
    std::vector<fs::path> changed;
    for (const auto& entry : fs::recursive_directory_iterator(project / "Assets")) {
        if (changed.size() < count && entry.is_regular_file()) {
            std::ofstream(entry.path(), std::ios::app) << "changed\n";
            changed.push_back(entry.path().lexically_relative(project));
        }
    }
    if (changed.size() < count) {
        throw std::runtime_error("too few assets in " + project.string());
    }
    return changed;
}

void restore(const fs::path& project, std::size_t count) {
    const std::string before = quill::list_project_workspace_revisions(project, "main", 1).at(0).id;
    const auto changed = change_assets(project, count);
    const double commit =
        seconds_of([&] { quill::update_project_workspace_head(project, "main", project, changed, "bench", "change"); });
    const std::string id = quill::read_project(project).manifest.id;
    const double restored = seconds_of(
        [&] { quill::restore_project_workspace_revision(project, "main", before, "", "bench", "back", id, {}); });
    std::cout << "commit " << commit << "\nrestore " << restored << '\n';
}

void commits(const fs::path& project, std::size_t count) {
    const double seconds = seconds_of([&] {
        for (std::size_t i = 0; i < count; ++i) {
            std::ofstream(project / "Scenes" / "Main.usda") << "#usda 1.0\n# " << i << '\n';
            quill::update_project_workspace_head(project, "main", project, {"Scenes/Main.usda"}, "bench", "edit");
        }
    });
    std::cout << "commits " << seconds << '\n';
}

void list(const fs::path& project, std::size_t limit) {
    std::size_t count = 0;
    const double seconds =
        seconds_of([&] { count = quill::list_project_workspace_revisions(project, "main", limit).size(); });
    std::cout << "list " << seconds << "\nrevisions " << count << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 4) {
            throw std::runtime_error("usage: quill_bench restore|commits|list <Project.quillproject> <count>");
        }
        const std::string command = argv[1];
        (command == "restore" ? restore : command == "commits" ? commits : list)(argv[2], std::stoul(argv[3]));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "quill_bench: " << error.what() << '\n';
        return 1;
    }
}
