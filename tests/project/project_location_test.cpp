#include "project/project_location.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/package_folder.h"

namespace quill_test {
namespace {

using quill::canonical_project_content_root;
using quill::workspace_independent_project_path;

const std::string package = "/srv/P.quillproject";

TEST(ProjectLocation, OfAPathInACheckoutIsTheOwningPackage) {
    for (const std::string inside :
         {"tome-workspaces/feature", "tome-workspaces/feature/", "tome-workspaces/feature/Scenes/Main.usda",
          "tome-workspaces/a/../feature", ".history-preview/main--1", ".history-preview/main--1/Assets/x",
          "tome-workspaces/.history-preview/x", "tome-workspaces/.main-commit-1-2/Scenes", "./tome-workspaces//feature",
          "../.derived/tome-workspaces/feature", "tome-workspaces/it's \"q\"\n\xc3\xa4", "tome-workspaces/..."}) {
        EXPECT_EQ(workspace_independent_project_path(package + "/.derived/" + inside), package) << inside;
        EXPECT_EQ(canonical_project_content_root(package + "/.derived/" + inside), package) << inside;
    }
}

TEST(ProjectLocation, OfACheckoutInACheckoutIsTheOuterPackage) {
    EXPECT_EQ(workspace_independent_project_path(package + "/.derived/tome-workspaces/a/.derived/tome-workspaces/b/c"),
              package);
    EXPECT_EQ(workspace_independent_project_path(package + "/.derived/.history-preview/a/Q.quillproj/.derived/"
                                                           "tome-workspaces/b"),
              package);
}

TEST(ProjectLocation, DependsOnTheFolderNamesAlone) {
    EXPECT_EQ(workspace_independent_project_path("/.derived/tome-workspaces/x"), "/");
    EXPECT_EQ(workspace_independent_project_path("/any folder/.derived/tome-workspaces/x/y"), "/any folder");
    EXPECT_EQ(workspace_independent_project_path("/a/.derived/.derived/tome-workspaces/x"), "/a/.derived");
    EXPECT_EQ(workspace_independent_project_path("/a/.derived/b/.derived/tome-workspaces/x"), "/a/.derived/b");
}

TEST(ProjectLocation, OfAnyOtherPathIsThePathNormalised) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {package, package},
        {"/", "/"},
        {"/srv/./x//../P.quillproject/Scenes/Main.usda", package + "/Scenes/Main.usda"},
        {package + "/.derived", package + "/.derived"},
        {package + "/.derived/tome-workspaces", package + "/.derived/tome-workspaces"},
        {package + "/.derived/.history-preview", package + "/.derived/.history-preview"},
        {package + "/.derived/tome-shared-store/x/y", package + "/.derived/tome-shared-store/x/y"},
        {package + "/.Derived/tome-workspaces/x", package + "/.Derived/tome-workspaces/x"},
        {package + "/.derived/Tome-Workspaces/x", package + "/.derived/Tome-Workspaces/x"},
        {package + "/.derived/tome-workspaces2/x", package + "/.derived/tome-workspaces2/x"},
        {package + "/.derived/history-preview/x", package + "/.derived/history-preview/x"},
        {package + "/derived/tome-workspaces/x", package + "/derived/tome-workspaces/x"},
        {package + "/.derived/a/tome-workspaces/x", package + "/.derived/a/tome-workspaces/x"},
        {package + "/tome-workspaces/x", package + "/tome-workspaces/x"},
        {package + "/.derived/tome-workspaces/x/../../../Scenes", package + "/Scenes"},
    };
    for (const auto& [path, location] : cases) {
        EXPECT_EQ(workspace_independent_project_path(path), location) << path;
        EXPECT_EQ(canonical_project_content_root(path), location) << path;
    }
}

TEST(ProjectLocation, OfARelativePathIsThePathNormalised) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"P.quillproject/.derived/tome-workspaces/feature/x", "P.quillproject/.derived/tome-workspaces/feature/x"},
        {".derived/.history-preview/x", ".derived/.history-preview/x"},
        {"a/../b/./c", "b/c"},
        {"../a", "../a"},
        {"", ""},
    };
    for (const auto& [path, location] : cases) {
        EXPECT_EQ(workspace_independent_project_path(path), location) << path;
    }
}

TEST(ContentRoot, OfARelativePathIsAbsolute) {
    const TemporaryFolder folder;
    const CurrentFolder here(folder.path());
    const std::filesystem::path project = folder / "P.quillproject";
    EXPECT_EQ(canonical_project_content_root("P.quillproject"), project);
    EXPECT_EQ(canonical_project_content_root("x/.././P.quillproject"), project);
    EXPECT_EQ(canonical_project_content_root("P.quillproject/.derived/tome-workspaces/feature/x"), project);
}

TEST(ContentRoot, OfAPackageDoesNotDependOnHowItIsWritten) {
    EXPECT_EQ(canonical_project_content_root(package + "/"), package);
    EXPECT_EQ(canonical_project_content_root(package + "/."), package);
    EXPECT_EQ(canonical_project_content_root("/srv//P.quillproject/Scenes/.."), package);
}

TEST(ContentRoot, AsksNoFileSystem) {
    const TemporaryFolder folder;
    write_file(folder / "elsewhere/file", "x");
    std::filesystem::create_directory_symlink("elsewhere", folder / "Link.quillproject");
    EXPECT_EQ(canonical_project_content_root(folder / "Link.quillproject"), folder / "Link.quillproject");
    EXPECT_EQ(canonical_project_content_root(folder / "Link.quillproject/.derived/tome-workspaces/x"),
              folder / "Link.quillproject");
}

}  // namespace
}  // namespace quill_test
