// Hands the files of a corpus to a fuzzer, once each and by name, where no fuzzing engine does: FUZZER
// FOLDER-OR-FILE...
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <vector>

#include "tests/support/temporary_folder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> files_at(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<std::filesystem::path> files{std::filesystem::directory_iterator(path), {}};
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path& file) {
    const std::string bytes = quill_test::read_file(file);
    // On the heap and of that very size, so that sanitizers see reads beyond its end.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    std::cout << file.filename().string() << std::endl;  // Seen even when it is the last.
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int count, char** arguments) {
    std::size_t replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::filesystem::path& file : files_at(arguments[i])) {
            replay(file);
            ++replayed;
        }
    }
    std::cout << replayed << " inputs" << std::endl;
    return replayed > 0 ? 0 : 1;
}
