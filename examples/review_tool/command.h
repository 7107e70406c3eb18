// One command of review_tool: review_tool <Project.quillproject> <command> <argument>...
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

using Arguments = std::vector<std::string>;

struct Command {
    std::string_view name;
    std::string_view usage;     // of its arguments
    std::size_t min_arguments;  // behind the command's name
    void (*run)(const std::filesystem::path& project, const Arguments& arguments);
};
