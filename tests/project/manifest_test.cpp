#include "project/manifest.h"

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/package_folder.h"

namespace quill_test {
namespace {

namespace fs = std::filesystem;
using quill::Project;
using quill::ProjectManifest;

class Manifest : public PackageFolder {
  protected:
    ProjectManifest read(std::string_view text) const {
        write_manifest(text);
        return quill::read_project(project_).manifest;
    }
};

void expect_defaults(const ProjectManifest& manifest, const std::string& name) {
    EXPECT_EQ(manifest.version, 1);
    EXPECT_EQ(manifest.id, "");
    EXPECT_EQ(manifest.name, name);
    EXPECT_EQ(manifest.main_scene, "Scenes/Main.usda");
    EXPECT_EQ(manifest.content_store, "tome");
    EXPECT_EQ(manifest.tome_repository, ".");
    EXPECT_EQ(manifest.tome_remote_url, "");
    EXPECT_EQ(manifest.tome_repository_url, "");
}

TEST_F(Manifest, StartsWithItsDefaults) {
    expect_defaults({}, "Untitled");
    static_assert(std::is_same_v<decltype(ProjectManifest::version), std::int32_t>);
}

TEST_F(Manifest, FieldsAndProjectsAreInTheirOrder) {
    const ProjectManifest manifest{7, "i", "n", "m", "c", "t", "r", "u"};
    const Project project{"/root", manifest};
    const auto& [root, copy] = project;
    const auto& [version, id, name, scene, store, repository, remote, url] = copy;
    EXPECT_EQ(root, "/root");
    EXPECT_EQ(version, 7);
    EXPECT_EQ(id + name + scene + store + repository + remote + url, "inmctru");
}

TEST_F(Manifest, OnlyTheTwoExtensionsMakeAPackagePath) {
    const std::vector<std::pair<std::string, bool>> cases{
        {"Scene.quillproject", true},
        {"Scene.quillproj", true},
        {"/a/b/Scene.quillproject", true},
        {"../Scene.quillproj", true},
        {"a.b.quillproject", true},
        {"\xc3\xa4 '\"\n.quillproject", true},
        {"..quillproject", true},
        {"Scene.QUILLPROJECT", false},
        {"Scene.Quillproj", false},
        {"Scene.quillprojects", false},
        {"Scene.quillpro", false},
        {"Scene.quillproject.usda", false},
        {"Scene.quillproject ", false},
        {"Scene.quillproject/Scenes", false},
        {"Scene.quillproject/", false},
        {"quillproject", false},
        {".quillproject", false},
        {"model.usda", false},
        {"", false},
    };
    for (const auto& [path, package] : cases) {
        EXPECT_EQ(quill::is_project_package_path(path), package) << path;
    }
}

TEST_F(Manifest, PathIsTheRootAndTheNameAlone) {
    EXPECT_EQ(quill::project_manifest_path("P.quillproject"), "P.quillproject/project.json");
    EXPECT_EQ(quill::project_manifest_path("/a/../b"), "/a/../b/project.json");
    EXPECT_EQ(quill::project_manifest_path(""), "project.json");
}

TEST_F(Manifest, EmptyObjectReadsAsTheDefaults) {
    expect_defaults(read("{}"), "P");
}

TEST_F(Manifest, EmptyAndForeignTextsReadAsTheDefaults) {
    for (const std::string text : {"", " \n", "{", "}", "null", "[]", "not json", "id name mainScene", "\""}) {
        SCOPED_TRACE(text);
        expect_defaults(read(text), "P");
    }
    expect_defaults(read(std::string(4096, '\0')), "P");
}

TEST_F(Manifest, EveryKeyFillsItsField) {
    const ProjectManifest manifest = read(
        "{\n  \"version\": 9,\n  \"id\": \"k3Vq9TzA0bLm7XcP\",\n  \"name\": \"Garden\",\n  \"mainScene\": "
        "\"A/B.usda\",\n"
        "  \"contentStore\": \"local\",\n  \"tomeRepository\": \"History\",\n  \"tomeRemoteURL\": \"file:///r/\",\n"
        "  \"tomeRepositoryURL\": \"file:///r/x\"\n}\n");
    EXPECT_EQ(manifest.version, 1);
    EXPECT_EQ(manifest.id, "k3Vq9TzA0bLm7XcP");
    EXPECT_EQ(manifest.name, "Garden");
    EXPECT_EQ(manifest.main_scene, "A/B.usda");
    EXPECT_EQ(manifest.content_store, "local");
    EXPECT_EQ(manifest.tome_repository, "History");
    EXPECT_EQ(manifest.tome_remote_url, "file:///r/");
    EXPECT_EQ(manifest.tome_repository_url, "file:///r/x");
}

TEST_F(Manifest, OrderAndWhiteSpaceOfTheKeysDoNotMatter) {
    const ProjectManifest manifest = read(
        "\xef\xbb\xbf{\"tomeRepositoryURL\":\"u\"\r\n,\t\"tomeRemoteURL\"  :\n\n\"r\",\"tomeRepository\":\"t\","
        "\"contentStore\":\"c\",\"mainScene\":\"m\",\"name\":\"n\",\"id\":\"i\",\"version\":\"2\"}");
    EXPECT_EQ(manifest.version, 1);
    EXPECT_EQ(manifest.id, "i");
    EXPECT_EQ(manifest.name, "n");
    EXPECT_EQ(manifest.main_scene, "m");
    EXPECT_EQ(manifest.content_store, "c");
    EXPECT_EQ(manifest.tome_repository, "t");
    EXPECT_EQ(manifest.tome_remote_url, "r");
    EXPECT_EQ(manifest.tome_repository_url, "u");
}

TEST_F(Manifest, EmptyValuesAreKept) {
    const ProjectManifest manifest =
        read("{\"id\": \"\", \"name\": \"\", \"mainScene\": \"\", \"contentStore\": \"\", \"tomeRepository\": \"\"}");
    EXPECT_EQ(manifest.name, "");
    EXPECT_EQ(manifest.main_scene, "");
    EXPECT_EQ(manifest.content_store, "");
    EXPECT_EQ(manifest.tome_repository, "");
}

TEST_F(Manifest, IdIsNotValidated) {
    for (const std::string id : {"x", "../../etc", "two words here", "\xc3\xa4"}) {
        EXPECT_EQ(read("{\"id\": \"" + id + "\"}").id, id);
    }
}

TEST_F(Manifest, EscapedQuotesAndLineFeedsComeBack) {
    EXPECT_EQ(read("{\"name\": \"a \\\"b\\\"\\nc \\\\n\"}").name, "a \"b\"\nc \\n");
}

TEST_F(Manifest, CutOffManifestKeepsWhatStandsBeforeTheCut) {
    const std::string whole = "{\n  \"id\": \"k3Vq9TzA0bLm7XcP\",\n  \"name\": \"Garden\"\n}\n";
    const std::size_t id_end = whole.find("P\"") + 2;
    const std::size_t name_end = whole.find("n\"", id_end + 12) + 2;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const ProjectManifest manifest = read(whole.substr(0, length));
        EXPECT_EQ(manifest.id, length < id_end ? "" : "k3Vq9TzA0bLm7XcP") << length;
        EXPECT_EQ(manifest.name, length < name_end ? "P" : "Garden") << length;
    }
}

TEST_F(Manifest, HugeManifestIsReadWhole) {
    const std::string long_name = repeated("\\\"\xc3\xa4\\\\", 400'000);
    const ProjectManifest manifest =
        read("{\"other\": \"" + std::string(2'000'000, '{') + "\", \"name\": \"" + long_name + "\", \"id\": \"end\"}");
    EXPECT_EQ(manifest.name, repeated("\"\xc3\xa4\\", 400'000));
    EXPECT_EQ(manifest.id, "end");
}

TEST_F(Manifest, BytesOfAnyKindComeBackUnchanged) {
    std::string bytes;
    for (int c = 0; c < 256; ++c) {
        if (c != '"' && c != '\\') {
            bytes += static_cast<char>(c);
        }
    }
    EXPECT_EQ(read("{\"name\": \"" + bytes + "\"}").name, bytes);
}

TEST_F(Manifest, NameIsTheStemOfThePackage) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"Garden.quillproj", "Garden"},
        {"a.b.quillproject", "a.b"},
        {"plain", "plain"},
        {".quillproject", ".quillproject"},
        {"\xc3\xa4 \"q\"\n'.quillproject", "\xc3\xa4 \"q\"\n'"},
    };
    for (const auto& [package, name] : cases) {
        write_file(folder_ / package / "project.json", "{}");
        EXPECT_EQ(quill::read_project(folder_ / package).manifest.name, name);
    }
}

TEST_F(Manifest, RootIsAbsoluteAndNormalised) {
    write_manifest("{}");
    fs::create_directories(folder_ / "other/deep");
    const CurrentFolder here(folder_ / "other");
    for (const std::string path : {"../P.quillproject", "./deep/../.././P.quillproject", "..//P.quillproject"}) {
        const Project project = quill::read_project(path);
        EXPECT_EQ(project.root, project_) << path;
        EXPECT_EQ(project.manifest.name, "P") << path;
    }
}

TEST_F(Manifest, TrailingSeparatorsAndDotsNameTheSamePackage) {
    write_manifest("{}");
    const CurrentFolder here(project_);
    for (const std::string path : {".", "./", "../P.quillproject/", "../P.quillproject/."}) {
        const Project project = quill::read_project(path);
        EXPECT_EQ(project.root, project_) << path;
        EXPECT_EQ(project.manifest.name, "P") << path;
    }
}

TEST_F(Manifest, RootKeepsLinks) {
    write_manifest("{\"id\": \"through the link\"}");
    fs::create_directory_symlink(project_, folder_ / "Link.quillproject");
    const Project project = quill::read_project(folder_ / "Link.quillproject");
    EXPECT_EQ(project.root, folder_ / "Link.quillproject");
    EXPECT_EQ(project.manifest.id, "through the link");
    EXPECT_EQ(project.manifest.name, "Link");
}

TEST_F(Manifest, WhatIsNoDirectoryIsRefusedWithThePathAsGiven) {
    const CurrentFolder here(folder_.path());
    write_file(folder_ / "file.quillproject", "{}");
    fs::create_symlink("nowhere", "dangling.quillproject");
    fs::create_symlink("loop.quillproject", "loop.quillproject");
    for (const std::string path : {"file.quillproject", "missing.quillproject", "./x/../missing.quillproject", "",
                                   "dangling.quillproject", "loop.quillproject", "file.quillproject/below"}) {
        EXPECT_EQ(failure_of([&] { quill::read_project(path); }), "Project is not a directory: " + path);
    }
}

TEST_F(Manifest, MissingOneIsRefusedWithItsPath) {
    const CurrentFolder here(folder_.path());
    fs::create_directories("P.quillproject");
    EXPECT_EQ(failure_of([] { quill::read_project("P.quillproject"); }), "Could not open P.quillproject/project.json");
    EXPECT_EQ(failure_of([] { quill::read_project("./P.quillproject/"); }),
              "Could not open ./P.quillproject/project.json");
}

TEST_F(Manifest, FolderInItsPlaceIsRefused) {
    fs::create_directories(manifest_);
    EXPECT_EQ(failure_of([&] { quill::read_project(project_); }), "Could not open " + manifest_.string());
}

TEST_F(Manifest, ScenePathOfAnythingButAPackageComesBackUnchanged) {
    for (const std::string path : {"model.usda", "a/../b/./model.usda", "missing", "", "/x//y", "P.QUILLPROJECT"}) {
        EXPECT_EQ(quill::resolve_project_scene_path(path).string(), path);
    }
}

TEST_F(Manifest, ScenePathOfAPackageIsJoinedAndNormalised) {
    const std::vector<std::pair<std::string, fs::path>> cases{
        {"{}", project_ / "Scenes/Main.usda"},
        {"{\"mainScene\": \"Sets/.././A.usda\"}", project_ / "A.usda"},
        {"{\"mainScene\": \"../Other.quillproject/B.usda\"}", folder_ / "Other.quillproject/B.usda"},
        {"{\"mainScene\": \"/srv//scenes/../C.usda\"}", "/srv/C.usda"},
        {"{\"mainScene\": \"\xc3\xa4 '\\\"\\n.usda\"}", project_ / "\xc3\xa4 '\"\n.usda"},
    };
    for (const auto& [text, scene] : cases) {
        write_manifest(text);
        EXPECT_EQ(quill::resolve_project_scene_path(project_), scene);
    }
}

TEST_F(Manifest, ScenePathOfARelativePackageIsAbsolute) {
    write_manifest("{}");
    const CurrentFolder here(folder_.path());
    EXPECT_EQ(quill::resolve_project_scene_path("./P.quillproject"), project_ / "Scenes/Main.usda");
}

TEST_F(Manifest, ScenePathOfAMissingPackageIsRefused) {
    EXPECT_EQ(failure_of([] { quill::resolve_project_scene_path("No.quillproj"); }),
              "Project is not a directory: No.quillproj");
}

}  // namespace
}  // namespace quill_test
