#include "tool/restore_proof_commands.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "files/absolute_path.h"
#include "project/manifest.h"
#include "workspace/history/history_preview.h"
#include "workspace/history/revision_history.h"
#include "workspace/history/revision_restore.h"
#include "workspace/operations/workspace_commit.h"

namespace quill_tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* proof_scene = "Scenes/Main.usda";
constexpr const char* proof_author = "restore-proof";
constexpr std::uint64_t listed_revisions = 100;

constexpr const char* state_b_addition =
    "\n"
    "def Xform \"KeelRestoreProofB\" {\n"
    "  def Cube \"VisibleCube\" {\n"
    "    double size = 4\n"
    "    color3f[] primvars:displayColor = [(0.05, 0.8, 0.15)]\n"
    "  }\n"
    "}\n";

std::string read_file(const fs::path& path) {
    std::error_code ignored;
    std::ifstream in;
    if (fs::is_regular_file(path, ignored)) {  // Opening a named pipe would wait for somebody to write to it.
        in.open(path, std::ios::binary);
    }
    if (!in.is_open()) {
        throw std::runtime_error("could not read " + path.string());
    }
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_file(const fs::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        throw std::runtime_error("could not write " + path.string());
    }
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

bool is_below(const fs::path& path, const fs::path& folder) {
    const fs::path relative = path.lexically_relative(folder);
    return !relative.empty() && relative != "." && *relative.begin() != "..";
}

// Whether the path lies in the folder, and still does when its links are followed: through a link that leads out, the
// proof would write to somebody else's file.
bool is_inside(const fs::path& path, const fs::path& folder) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    const fs::path real_folder = error ? fs::path() : fs::weakly_canonical(folder, error);
    return !error && is_below(quill::absolute_normalized(path), quill::absolute_normalized(folder)) &&
           is_below(real, real_folder);
}

struct ProofStates {
    fs::path package;
    quill::Project project;
    fs::path scene;
    std::string state_a_bytes;
    std::string state_a;  // revision
    std::string state_b;  // revision
};

ProofStates author_state_b(const fs::path& package) {
    ProofStates proof;
    proof.package = package;
    proof.project = quill::read_project(package);
    proof.scene = quill::resolve_project_scene_path(package);
    if (!is_inside(proof.scene, package)) {
        throw std::runtime_error("scene lies outside the project: " + proof.scene.string());
    }
    proof.state_a_bytes = read_file(proof.scene);
    const auto before = quill::list_project_workspace_revisions(package, "main", listed_revisions);
    if (before.empty()) {
        throw std::runtime_error("restore proof requires an initial revision");
    }
    proof.state_a = before.front().id;
    write_file(proof.scene, proof.state_a_bytes + state_b_addition);
    quill::update_project_workspace_head(package, "main", package, {proof_scene}, proof_author,
                                         "Authored restore proof state B");
    const auto after = quill::list_project_workspace_revisions(package, "main", listed_revisions);
    if (after.empty() || after.front().id == proof.state_a) {
        throw std::runtime_error("state B did not create a distinct current revision");
    }
    proof.state_b = after.front().id;
    return proof;
}

void require(bool holds, const char* message) {
    if (!holds) {
        throw std::runtime_error(message);
    }
}

quill::ProjectWorkspaceRestoreResult restore_state_a(const ProofStates& proof) {
    return quill::restore_project_workspace_revision(
        proof.package, "main", proof.state_a, proof.state_b, proof_author, "Restore exact proof state A",
        proof.project.manifest.id, [&](const fs::path& checkout) {
            require(read_file(checkout / proof_scene) == proof.state_a_bytes,
                    "historical checkout does not contain state A");
        });
}

void check_restore(const ProofStates& proof, const quill::ProjectWorkspaceRestoreResult& result) {
    require(result.liveVerified && result.verifiedLiveFileCount != 0, "restore did not verify the live checkout");
    require(
        !result.restoredHead.empty() && result.restoredHead != proof.state_a && result.restoredHead != proof.state_b,
        "restore did not create a distinct new revision");
    require(read_file(proof.scene) == proof.state_a_bytes, "live scene bytes do not equal restored state A");
    const quill::ProjectWorkspaceResolution head =
        quill::resolve_project_workspace_revision_scene(proof.package, proof.scene, "main", result.restoredHead);
    require(read_file(head.absoluteScene) == proof.state_a_bytes, "restored Tome head bytes do not equal state A");
}

void print_states(const char* marker, const ProofStates& proof) {
    std::cout << marker << "\nproject=" << proof.project.manifest.id << "\nstate_a=" << proof.state_a
              << "\nstate_b=" << proof.state_b << '\n';
}

}  // namespace

void run_prepare_visual_restore_proof(const std::vector<std::string>& arguments) {
    print_states("VISUAL_RESTORE_PROOF_READY", author_state_b(arguments[2]));
}

void run_restore_proof(const std::vector<std::string>& arguments) {
    const ProofStates proof = author_state_b(arguments[2]);
    const quill::ProjectWorkspaceRestoreResult result = restore_state_a(proof);
    check_restore(proof, result);
    print_states("RESTORE_PROOF_PASS", proof);
    std::cout << "restored_head=" << result.restoredHead << "\nverified_live_files=" << result.verifiedLiveFileCount
              << '\n';
}

}  // namespace quill_tool
