// A small project with a workspace and a directory remote, on which commands of the tool are struck by faults, each
// time from the same state. One thread.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engine/workspace_record.h"
#include "tests/faults/written_record.h"
#include "tests/support/run_process.h"
#include "tests/support/temporary_folder.h"

namespace quill_test {

inline const std::string package = "P.quillproject";
inline const std::string scene_path = "Scenes/Main.usda";
inline const std::string asset_path = "Assets/big.bin";
inline const std::string checkouts = package + "/.derived/tome-workspaces/";

/// A command of the tool; after "library" one of library_commands/main.cpp.
using Arguments = std::vector<std::string>;

/// The newest revision of a workspace, with the files that faults could tear.
struct WorkspaceHead {
    std::uint64_t order = 0;
    std::string scene;
    std::string asset;

    bool operator==(const WorkspaceHead&) const = default;
};

class FaultProject {
  public:
    /// Makes the project with a scene, an asset of 100 KiB and two small files, all committed, and a workspace
    /// "feature" whose checkout holds them.
    FaultProject();

    /// Remembers the state that every fault starts from; goes back to it.
    void save() const;
    void restore() const;

    /// How many calls of the command, run from the saved state, a fault of this kind can strike: one of
    /// fault_injector.c, "error" with the number of the error behind a colon.
    unsigned long count_steps(const Arguments& arguments, const std::string& kind) const;
    /// Runs the command from the saved state with a fault at its `step`-th call.
    ProcessResult run_struck(const Arguments& arguments, const std::string& kind, unsigned long step) const;
    /// The call that the last fault struck, or "".
    std::string struck_call() const;

    /// Runs the command, which is to succeed, from the present state, with a record of what it writes.
    WrittenRecord record(const Arguments& arguments) const;

    ProcessResult run(const Arguments& arguments) const;
    /// The same; throws when it does not succeed.
    std::string must(const Arguments& arguments) const;

    /// What `look` returns or throws, called in another process on a copy of the state, which stays as it is.
    std::string look_aside(const std::function<std::string()>& look) const;
    /// The same without the copy: what `look` changes stays changed.
    std::string look(const std::function<std::string()>& look) const;
    WorkspaceHead head(const std::string& workspace) const;
    /// The ids of the remote's workspaces, each with a line feed.
    std::string workspaces() const;

    const std::filesystem::path& folder() const { return work_; }
    std::filesystem::path path(const std::string& relative) const { return work_ / relative; }
    std::string text(const std::string& relative) const { return read_file(work_ / relative); }
    void write(const std::string& relative, std::string_view bytes) const { write_file(work_ / relative, bytes); }

  private:
    ProcessResult run_with(const char* preloaded, const Arguments& arguments,
                           std::map<std::string, std::string> variables) const;
    ProcessResult run_injected(const Arguments& arguments, std::map<std::string, std::string> faults) const;
    std::map<std::string, std::string> environment() const;

    TemporaryFolder folder_;
    std::filesystem::path work_ = folder_ / "work";
    std::filesystem::path saved_ = folder_ / "saved";
};

/// Bytes that do not compress and differ with the seed.
std::string asset_bytes(unsigned seed);

}  // namespace quill_test
