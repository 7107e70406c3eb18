// Studies a command by its record: what a power cut at any point of it may leave, and which of its syncs that depends
// on.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/fault_project.h"
#include "tests/faults/power_cut_disk.h"

namespace quill_test {

/// What a project promises to keep: for each workspace what is shown of it and its revisions, for each file of the
/// package and of a workspace's checkout its content.
using Promises = std::map<std::string, std::string>;

struct StudiedCommand {
    Arguments command;
    /// Run after the cut: it is to succeed, and to lead where it leads without a cut.
    Arguments next;
    /// The workspace whose newest two revisions are looked at file by file.
    std::string workspace = "main";
    /// Promises (their beginnings) that the command first makes, and that may be anything until then.
    std::vector<std::string> made = {};
    /// Files of the package that the command replaces: each is to be there, or among the kept files.
    std::vector<std::string> replaced = {};
    /// Keys of blobs that the project's content store is to have.
    std::vector<std::string> blobs = {};
    /// A folder whose maker was killed before it synced the name.
    std::string made_by_a_killed_writer = {};
};

/// A sync that no promise depends on.
struct NeedlessSync {
    std::string path;           ///< regular expression for all of the path
    bool but_the_last = false;  ///< the command's last sync of the path is needed
    std::string reason;         ///< for the reader
};

class PowerCutStudy {
  public:
    /// Records the command, run from the project's present state. At syncs that are `needless` fewer cuts are tried.
    PowerCutStudy(const FaultProject& project, const StudiedCommand& command,
                  const std::vector<NeedlessSync>& needless);

    /// What the record, followed to its end without a cut, does not explain of the files that the command left.
    std::string unexplained() const;

    /// What is wrong after cuts at all points, a line for each state.
    std::string failures();

    /// The syncs without which every state would still be right, and that are not needless, a line for each.
    std::string unnoticed();

    /// How many syncs the command makes that something depends on.
    std::size_t needed_syncs() const { return needed_.size(); }

    std::size_t states() const { return verdicts_.size(); }

  private:
    struct Cut {
        std::size_t point = 0;  // entries done before it
        Loss loss;
    };
    void follow(const std::vector<NeedlessSync>& needless);
    bool is_needless(std::size_t sync, const std::vector<NeedlessSync>& needless) const;
    void find_published();
    std::vector<Cut> cuts() const;
    std::vector<Cut> cuts_behind(std::size_t sync) const;
    DiskTree state(const Cut& cut, std::size_t without) const;
    std::string verdict(const Cut& cut, std::size_t without);
    std::string judge(const DiskTree& tree, const Cut& cut);
    bool is_settled(const std::string& promise, const Cut& cut) const;
    bool is_made(const std::string& promise) const;
    bool is_kept(const std::string& promise, const Promises& found, const Cut& cut) const;
    bool is_kept_next(const std::string& promise, const Promises& found, const Cut& cut) const;
    std::string broken(const Promises& found, const Cut& cut) const;
    std::string broken_next(const Promises& found, const Cut& cut) const;
    Promises look() const;
    void put(const DiskTree& tree) const;
    std::size_t end() const { return record_.size(); }

    const FaultProject& project_;
    StudiedCommand command_;
    std::unique_ptr<PowerCutDisk> start_;
    WrittenRecord record_;
    DiskTree left_;
    std::vector<std::size_t> syncs_;   // those that make anything safe
    std::vector<std::size_t> needed_;  // those of them that are not needless
    std::vector<std::string> paths_;   // of what each entry syncs
    std::vector<std::uint64_t> identities_;
    std::vector<std::size_t> pushes_;               // entries done when the remote's log was synced
    std::map<std::string, std::size_t> published_;  // how many entries were done when a cut no longer took it back
    Promises before_;
    Promises after_;
    Promises after_next_;
    std::map<std::string, std::string> verdicts_;
};

}  // namespace quill_test
