#include "tests/faults/fault_project.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <stdexcept>

#include "workspace/history/history_preview.h"
#include "workspace/history/revision_history.h"
#include "workspace/index/workspace_index.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t asset_size = 100 << 10U;

void copy_tree(const fs::path& from, const fs::path& to) {
    fs::remove_all(to);
    const ProcessResult result = run_process({"/bin/cp", "-a", from.string(), to.string()});
    if (result.status != 0) {
        throw std::runtime_error("could not copy " + from.string() + ": " + result.err);
    }
}

// What `look` returns; a process of its own for it, so that nothing is remembered from one state to the next.
std::string in_child(const std::function<std::string()>& look, const fs::path& answer) {
    fs::remove(answer);
    const pid_t child = fork();
    if (child == 0) {
        try {
            write_file(answer, look());
            _exit(0);
        } catch (const std::exception& error) {
            write_file(answer, error.what());
            _exit(1);
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(fs::exists(answer) ? read_file(answer) : "the looking process died");
    }
    return read_file(answer);
}

}  // namespace

std::string asset_bytes(unsigned seed) {
    std::minstd_rand random(seed);
    std::string bytes(asset_size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() & 0xffU);
    }
    return bytes;
}

FaultProject::FaultProject() {
    // What waits in the buffer would be written by every child, too.
    std::fflush(stdout);
    fs::create_directories(work_);
    must({"create", package});
    write(package + "/" + asset_path, asset_bytes(1));
    write(package + "/Assets/a.txt", "a");
    write(package + "/Notes/b.txt", "b");
    must({"create-workspace", package, "main", "feature"});
    must({"sync-workspace", package, "feature", scene_path, asset_path});
}

void FaultProject::save() const {
    copy_tree(work_, saved_);
}

void FaultProject::restore() const {
    copy_tree(saved_, work_);
}

std::map<std::string, std::string> FaultProject::environment() const {
    return {{"QUILL_TOME_REMOTE_URL", "file://" + (work_ / "remote").string()}};
}

ProcessResult FaultProject::run_with(const char* preloaded, const Arguments& arguments,
                                     std::map<std::string, std::string> variables) const {
    variables.merge(environment());
    variables["LD_PRELOAD"] = preloaded;
    const bool library = arguments.front() == "library";
    Arguments command{library ? QUILL_LIBRARY_COMMANDS : QUILL_TOOL};
    command.insert(command.end(), arguments.begin() + (library ? 1 : 0), arguments.end());
    return run_process(command, variables, work_);
}

ProcessResult FaultProject::run_injected(const Arguments& arguments, std::map<std::string, std::string> faults) const {
    faults["QUILL_FAULT_ROOT"] = work_.string();
    if (const std::size_t colon = faults["QUILL_FAULT_KIND"].find(':'); colon != std::string::npos) {
        faults["QUILL_FAULT_ERROR"] = faults["QUILL_FAULT_KIND"].substr(colon + 1);
        faults["QUILL_FAULT_KIND"].resize(colon);
    }
    return run_with(QUILL_FAULT_INJECTOR, arguments, std::move(faults));
}

WrittenRecord FaultProject::record(const Arguments& arguments) const {
    const fs::path record = folder_ / "record";
    fs::remove(record);
    const ProcessResult result = run_with(QUILL_WRITE_RECORDER, arguments, {{"QUILL_RECORD_FILE", record.string()}});
    if (result.status != 0 || !result.err.empty()) {
        throw std::runtime_error("the recorded command failed: " + result.err);
    }
    return read_written_record(record);
}

unsigned long FaultProject::count_steps(const Arguments& arguments, const std::string& kind) const {
    restore();
    const fs::path count = folder_ / "count";
    const ProcessResult result =
        run_injected(arguments, {{"QUILL_FAULT_KIND", kind}, {"QUILL_FAULT_COUNT_FILE", count.string()}});
    if (result.status != 0) {
        throw std::runtime_error("the command fails without a fault: " + result.err);
    }
    return std::stoul(read_file(count));
}

ProcessResult FaultProject::run_struck(const Arguments& arguments, const std::string& kind, unsigned long step) const {
    restore();
    const fs::path report = folder_ / "report";
    fs::remove(report);
    return run_injected(arguments, {{"QUILL_FAULT_KIND", kind},
                                    {"QUILL_FAULT_AT", std::to_string(step)},
                                    {"QUILL_FAULT_REPORT_FILE", report.string()}});
}

std::string FaultProject::struck_call() const {
    const fs::path report = folder_ / "report";
    return fs::exists(report) ? read_file(report) : std::string();
}

ProcessResult FaultProject::run(const Arguments& arguments) const {
    return run_injected(arguments, {});
}

std::string FaultProject::must(const Arguments& arguments) const {
    const ProcessResult result = run(arguments);
    if (result.status != 0 || !result.err.empty()) {
        throw std::runtime_error(arguments.front() + " failed: " + result.err);
    }
    return result.out;
}

std::string FaultProject::look(const std::function<std::string()>& look) const {
    return in_child(
        [&] {
            for (const auto& [name, value] : environment()) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            return look();
        },
        folder_ / "answer");
}

std::string FaultProject::look_aside(const std::function<std::string()>& look) const {
    const fs::path aside = folder_ / "aside";
    fs::rename(work_, aside);
    copy_tree(aside, work_);
    const auto put_back = [&] {
        fs::remove_all(work_);
        fs::rename(aside, work_);
    };
    try {
        std::string answer = this->look(look);
        put_back();
        return answer;
    } catch (...) {
        put_back();
        throw;
    }
}

WorkspaceHead FaultProject::head(const std::string& workspace) const {
    const fs::path project = path(package);
    const std::string answer = look_aside([&] {
        const auto revisions = quill::list_project_workspace_revisions(project, workspace, 1);
        const auto resolution = quill::resolve_project_workspace_revision_scene(project, project / scene_path,
                                                                                workspace, revisions.at(0).id);
        return std::to_string(revisions.at(0).order) + "\n" + std::to_string(fs::file_size(resolution.absoluteScene)) +
               "\n" + read_file(resolution.absoluteScene) + read_file(resolution.checkoutRoot / asset_path);
    });
    std::istringstream fields(answer);
    WorkspaceHead head;
    std::size_t scene_size = 0;
    fields >> head.order >> scene_size;
    const std::string bytes = answer.substr(static_cast<std::size_t>(fields.tellg()) + 1);
    head.scene = bytes.substr(0, scene_size);
    head.asset = bytes.substr(scene_size);
    return head;
}

std::string FaultProject::workspaces() const {
    return look_aside([&] {
        std::string ids;
        for (const auto& workspace : quill::refresh_project_workspaces(path(package), true)) {
            ids += workspace.id + "\n";
        }
        return ids;
    });
}

}  // namespace quill_test
