// The commands that look at a project, create it and work on its history. Each takes the whole argument list (the
// program's name first), prints its result line and throws what the library throws.
#pragma once

#include <string>
#include <vector>

namespace quill_tool {

using Arguments = std::vector<std::string>;

void run_create(const Arguments& arguments);
void run_scene(const Arguments& arguments);
void run_id(const Arguments& arguments);
void run_scene_ref(const Arguments& arguments);
void run_initialize_history(const Arguments& arguments);
void run_create_workspace(const Arguments& arguments);
void run_sync_workspace(const Arguments& arguments);
void run_commit_workspace(const Arguments& arguments);

}  // namespace quill_tool
