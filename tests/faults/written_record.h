// What the recorder (write_recorder.c) saw a process do to files and folders.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quill_test {

struct RecordEntry {
    char kind = 0;  ///< as write_recorder.c tells
    std::uint64_t folder = 0;
    std::uint64_t file = 0;
    std::uint64_t number = 0;
    std::string name;
    std::string bytes;

    bool is_sync() const { return kind == 's' || kind == 'S'; }
};

using WrittenRecord = std::vector<RecordEntry>;

/// Throws std::runtime_error when the record is not there or is cut.
WrittenRecord read_written_record(const std::filesystem::path& path);

}  // namespace quill_test
