// A power cut at any point of a command leaves what was acknowledged, and every sync that the command makes is needed
// for that: without it, some cut loses something.
#include <gtest/gtest.h>

#include "content/content_key.h"
#include "tests/faults/power_cut_study.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;

const std::string new_scene = "#usda 1.0\n# new\n";
const std::string new_asset = asset_bytes(4);

// What syncs are made for nothing: by the database, which does not know what its log is for, and for checkouts, which
// are made by one function whatever they are for.
const std::vector<NeedlessSync> needless{
    {R"(P\.quillproject/\.derived/tome-workspaces/(\.[a-z]+(-[a-z]+)*-[0-9]+-|metadata-).*)", false,
     "the checkout of one process, which the next command removes"},
    {R"(P\.quillproject/\.derived/tome-workspaces/\.branch-ops(/Scenes|/\.tome/tmp/.*|/\.tome/index\.db-wal)?)", false,
     "a checkout that no one works in: it learns anew what the branches are"},
    {R"(P\.quillproject/\.derived/tome-workspaces/[a-z]+/\.tome/index\.db-wal)", false,
     "the checkout sees from the bytes which files it holds, and asks the remote for the head"},
    {R"(P\.quillproject/\.derived/tome-workspaces/\.package-base(/.*)?)", false,
     "what the package stands on is found out again from the history, or shows as the same change on both sides"},
    {R"(P\.quillproject/\.derived/tome-workspaces(/\.branch-memory(-journal|-wal)?)?)", false,
     "what was last seen of the remote is a hint, and without it nothing is lost"},
    {R"(remote/[^/]*\.making-[^/]*/store\.db-journal)", false,
     "a database that was not finished, in a store that has no name yet, is never opened"},
    {R"(remote|remote/[^/]*\.making-[^/]*(/store\.db)?)", true,
     "the next sync covers it, before anybody uses what is in it"},
    {R"(P\.quillproject/Workspaces)", false, "the remote has what is new in the index of workspaces"},
    {R"(P\.quillproject/\.tome/objects/.*)", false, "the remote has the blob, too"},
    {R"(.*\.db-wal)", true, "the next sync of a log covers it; behind a damaged place nothing in a log is read"},
};

class PowerCut : public testing::Test {
  protected:
    void edit(const std::string& source) const {
        project.write(source + scene_path, new_scene);
        project.write(source + asset_path, new_asset);
    }

    std::string repository() const {
        for (const auto& entry : fs::directory_iterator(project.path("remote"))) {
            if (entry.is_directory()) {
                return "remote/" + entry.path().filename().string();
            }
        }
        throw std::runtime_error("the remote has no repository");
    }

    static void expect_nothing_lost(PowerCutStudy study) {
        EXPECT_EQ(study.unexplained(), "");
        EXPECT_EQ(study.failures(), "");
    }

    static void expect_each_sync_needed(PowerCutStudy study, std::size_t syncs) {
        EXPECT_GE(study.needed_syncs(), syncs);
        EXPECT_EQ(study.unnoticed(), "");
    }

    FaultProject project;
};

const Arguments commit_to_main{"commit-workspace", package, "main", scene_path, asset_path};
const Arguments commit_to_feature{"commit-workspace", package, "feature", scene_path, asset_path};
const Arguments merge{"library", "merge", package, "feature", "main"};
const Arguments put{"library", "put", package, "text"};

class PowerCutInCommitToMain : public PowerCut {
  protected:
    PowerCutInCommitToMain() { edit(package + "/"); }
    PowerCutStudy study() const { return {project, {commit_to_main, commit_to_main}, needless}; }
};

TEST_F(PowerCutInCommitToMain, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInCommitToMain, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

TEST_F(PowerCutInCommitToMain, LosesNoContentInAFolderThatAKilledWriterMade) {
    StudiedCommand commit{commit_to_main, commit_to_main};
    const std::string key = quill::sha256_content_key(std::as_bytes(std::span(new_asset)));
    commit.made_by_a_killed_writer = repository() + "/content/" + key.substr(key.find(':') + 1, 2);
    fs::create_directory(project.path(commit.made_by_a_killed_writer));
    expect_nothing_lost({project, commit, needless});
}

class PowerCutInCommitToAWorkspace : public PowerCut {
  protected:
    PowerCutInCommitToAWorkspace() { edit(checkouts + "feature/"); }
    PowerCutStudy study() const { return {project, {commit_to_feature, commit_to_feature, "feature"}, needless}; }
};

TEST_F(PowerCutInCommitToAWorkspace, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInCommitToAWorkspace, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

class PowerCutInWorkspaceCreation : public PowerCut {
  protected:
    PowerCutInWorkspaceCreation() { edit(package + "/"); }
    PowerCutStudy study() const {
        return {project,
                {{"create-workspace", package, "main", "Fresh One"},
                 {"create-workspace", package, "main", "another"},
                 "fresh-one",
                 {"workspace fresh-one", "shown fresh-one"}},
                needless};
    }
};

TEST_F(PowerCutInWorkspaceCreation, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInWorkspaceCreation, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 6);
}

class PowerCutInHistoryInitialization : public PowerCut {
  protected:
    PowerCutInHistoryInitialization() {
        fs::remove_all(project.path("remote"));
        fs::remove_all(project.path(package));
        project.must({"create", package});
        project.write(package + "/project.json",
                      R"({"version": 1, "id": "0RjdzbOREBgovWno", "name": "P", "mainScene": "Scenes/Main.usda"})");
        project.write(package + "/" + asset_path, new_asset);
    }
    PowerCutStudy study() const {
        const Arguments initialize{"initialize-history", package};
        return {project, {initialize, initialize, "main", {"workspace main", "shown main"}}, needless};
    }
};

TEST_F(PowerCutInHistoryInitialization, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInHistoryInitialization, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 6);
}

class PowerCutInWorkspaceSync : public PowerCut {
  protected:
    PowerCutInWorkspaceSync() {
        edit(checkouts + "feature/");
        project.must(commit_to_feature);
        project.write(package + "/" + scene_path, "#usda 1.0\n# edited\n");
        project.write(package + "/" + asset_path, asset_bytes(5));
    }
    PowerCutStudy study() const {
        const Arguments sync{"sync-workspace", package, "feature", scene_path, asset_path};
        return {project, {sync, sync, "feature", {}, {scene_path, asset_path}}, needless};
    }
};

TEST_F(PowerCutInWorkspaceSync, LosesNothingNotEvenWhatItReplaces) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInWorkspaceSync, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

class PowerCutInRestore : public PowerCut {
  protected:
    PowerCutInRestore() {
        edit(package + "/");
        project.must(commit_to_main);
        project.write(package + "/" + scene_path, "#usda 1.0\n# edited\n");
    }
    PowerCutStudy study() const {
        return {project,
                {{"library", "restore", package, "main"},
                 {"commit-workspace", package, "main", "Assets/a.txt"},
                 "main",
                 {},
                 {scene_path, asset_path}},
                needless};
    }
};

TEST_F(PowerCutInRestore, LosesNothingNotEvenWhatItReplaces) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInRestore, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 5);
}

class PowerCutInRestoreOfKeptFiles : public PowerCut {
  protected:
    PowerCutInRestoreOfKeptFiles() {
        edit(package + "/");
        project.must({"sync-workspace", package, "main", scene_path, asset_path});
        project.write(package + "/" + scene_path, "#usda 1.0\n# edited\n");
        project.write(package + "/" + asset_path, asset_bytes(5));
    }
    PowerCutStudy study() const {
        return {project,
                {{"library", "restore-kept", package},
                 {"commit-workspace", package, "main", "Assets/a.txt"},
                 "main",
                 {},
                 {scene_path, asset_path}},
                needless};
    }
};

TEST_F(PowerCutInRestoreOfKeptFiles, LosesNothingNotEvenWhatItReplaces) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInRestoreOfKeptFiles, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

class PowerCutInMerge : public PowerCut {
  protected:
    PowerCutInMerge() {
        edit(checkouts + "feature/");
        project.must(commit_to_feature);
    }
    PowerCutStudy study() const { return {project, {merge, merge}, needless}; }
};

TEST_F(PowerCutInMerge, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInMerge, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

class PowerCutInPutOfABlob : public PowerCut {
  protected:
    PowerCutInPutOfABlob() {
        project.save();
        command.blobs = {project.must(put)};
        project.restore();
    }
    PowerCutStudy study() const { return {project, command, needless}; }
    StudiedCommand command{put, put};
};

TEST_F(PowerCutInPutOfABlob, LosesNothing) {
    expect_nothing_lost(study());
}

TEST_F(PowerCutInPutOfABlob, WouldLoseSomethingWithoutAnyOfTheSyncs) {
    expect_each_sync_needed(study(), 4);
}

}  // namespace
}  // namespace quill_test
