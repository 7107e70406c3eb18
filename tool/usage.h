// The usage text of quill_project_tool.
#pragma once

namespace quill_tool {

/// Writes it to standard error.
void print_usage();

}  // namespace quill_tool
