#include "tests/faults/written_record.h"

#include <cstring>
#include <stdexcept>
#include <string_view>

#include "tests/support/temporary_folder.h"

namespace quill_test {
namespace {

std::string take(std::string_view& text, std::uint64_t size) {
    if (text.size() < size) {
        throw std::runtime_error("the record of what was written is cut");
    }
    std::string taken(text.substr(0, size));
    text.remove_prefix(size);
    return taken;
}

}  // namespace

WrittenRecord read_written_record(const std::filesystem::path& path) {
    const std::string text = read_file(path);
    std::string_view rest = text;
    WrittenRecord record;
    while (!rest.empty()) {
        std::uint64_t header[6];
        std::memcpy(header, take(rest, sizeof header).data(), sizeof header);
        RecordEntry entry{static_cast<char>(header[0]), header[1], header[2], header[3], {}, {}};
        entry.name = take(rest, header[4]);
        entry.bytes = take(rest, header[5]);
        record.push_back(std::move(entry));
    }
    return record;
}

}  // namespace quill_test
