#include "workspace/index/picker_order.h"

#include <gtest/gtest.h>

#include "tests/workspace/workspace_list.h"

namespace {

using quill_test::ids;
using quill_test::workspace;
using Workspaces = std::vector<quill::ProjectWorkspace>;

TEST(PickerOrder, ShowsMainFirstThenTheNewestByTheirText) {
    Workspaces all{workspace("a", "10"), workspace("b", "9"), workspace("main", "0"), workspace("c", "")};
    quill::sort_workspaces_for_picker(all);
    EXPECT_EQ(ids(all), "main b a c");
}

}  // namespace
