// What the files of a package stand on: for each the version that was last exchanged with main, by a commit, a sync, a
// merge or a restore. A detached checkout in the package's state knows it, so it travels with a copy of the package. A
// package without that record (an old one, or one whose ".derived" was removed) gets one from the history: a file with
// the bytes of one of the newest 500 versions of its path stands on that version, a file that is not there is one that
// the package never had, and of the other files it is not known what they stand on. Failures are std::runtime_error
// with the texts given or those of the binding. Any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/tome_binding.h"
#include "workspace/checkout/branch_comparison.h"

namespace quill {

class PackageBase {
  public:
    /// Opens the record of the package, and makes it when it is missing. Nothing while the project has no history on
    /// its remote.
    static std::optional<PackageBase> open(const std::filesystem::path& project);

    /// Does the same, and throws "the project's history is gone from its remote: " + URL where it has none.
    static PackageBase require(const std::filesystem::path& project);

    /// Notes that all files of the package were just exchanged with main at `revision`: a history was started with
    /// them, or they were restored. Failing to note it fails nothing: the next comparison finds the files the same on
    /// both sides.
    static void start(const std::filesystem::path& project, const std::string& revision);

    /// compare_with_branch() for the package.
    BranchComparison compare(const std::vector<std::string>& paths = {}) const;

    /// Does the same, and takes a file that seems to conflict and has the bytes of an earlier version for one that
    /// stands on that version: they are no edit that could be lost. A damaged record is made anew.
    BranchComparison compare_and_settle(const std::vector<std::string>& paths = {});

    /// Makes files with the bytes of an earlier version stand on that version. Returns those of the files at `paths`
    /// that are edits all the same.
    std::vector<std::string> settle(const std::vector<std::string>& paths);

    /// The detached checkout that has the record.
    const CheckoutLocation& checkout() const { return checkout_; }

    /// Whether it is not known what the file stands on.
    bool is_of_unknown_origin(const std::string& path) const { return unknown_.contains(path); }

    /// To be called before the package's files are replaced by those of main. Where the process ends before start(),
    /// the next open() notes which files were replaced: those that are as main has them.
    static void announce_replacement(const std::filesystem::path& project);

    /// Opens the record if something that was announced is to be noted, before other files are changed. Failing to do
    /// so fails nothing.
    static void note_announced(const std::filesystem::path& project);

    /// To be called before a commit of the files at `paths` is published as `revision`. Where the process ends before
    /// record(), the next open() finds out whether the commit was published, and records it.
    void announce(const std::string& revision, const std::vector<std::string>& paths) const;

    /// Notes that the files at `paths` were exchanged with main at `revision`. `whole`: no other file differs from it
    /// but by edits here. A file that has changed since counts as changed.
    void record(const std::string& revision, const std::vector<std::string>& paths, bool whole);

    /// Notes that all files were exchanged with main at `revision`.
    void record_all(const std::string& revision);

  private:
    explicit PackageBase(const std::filesystem::path& project);
    bool has_origins() const;
    void record_announced();
    void forget_announcement() const;
    template <typename Call>
    auto repaired(Call call);
    void read_unknown();
    void find_origins();
    void forget_unknown(const std::vector<std::string>& paths);
    void write_unknown() const;

    CheckoutLocation checkout_;
    std::set<std::string> unknown_;
};

}  // namespace quill
