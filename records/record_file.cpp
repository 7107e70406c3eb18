#include "records/record_file.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>

#include "records/json_records.h"
#include "records/json_value.h"
#include "records/record_folder.h"
#include "records/record_text.h"

namespace quill {
namespace {

using Members = std::vector<JsonMember>;

const JsonMember* member_in(const Members& members, std::string_view key) {
    const auto found =
        std::find_if(members.begin(), members.end(), [&](const JsonMember& member) { return member.key == key; });
    return found != members.end() ? &*found : nullptr;
}

std::string text_of(const JsonMember& member) {
    return "  \"" + std::string(member.key) + "\": " + std::string(member.value);
}

// `stored` are the members of the file that is replaced. Those that the format does not know follow the records.
std::string file_text(const RecordFileFormat& format, const std::vector<std::string>& records, const Members& stored) {
    std::string text = "{\n  \"version\": " + std::to_string(format.version) + ",\n";
    for (const JsonMember& member : format.head) {
        const JsonMember* there = member_in(stored, member.key);
        text += text_of(there != nullptr ? *there : member) + ",\n";
    }
    text += "  \"" + std::string(format.array) + "\": [\n" +
            json_joined(records, ",\n", [](const std::string& record) { return "    " + record; }) + "\n  ]";
    for (const JsonMember& member : stored) {
        const bool known =
            member.key == "version" || member.key == format.array || member_in(format.head, member.key) != nullptr;
        text += known ? "" : ",\n" + text_of(member);
    }
    return text + "\n}\n";
}

// A number too large to be read counts as the newest version.
std::uint64_t version_in(const Members& members) {
    const JsonMember* member = member_in(members, "version");
    const std::string_view digits = member != nullptr ? member->value : "0";
    std::uint64_t version = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), version);
    return result.ec == std::errc() ? version : std::numeric_limits<std::uint64_t>::max();
}

bool has_twice_the_same(const Members& members) {
    std::set<std::string_view> keys;
    return !std::all_of(members.begin(), members.end(),
                        [&](const JsonMember& member) { return keys.insert(member.key).second; });
}

bool is_ignored(const RecordFileFormat& format, std::string_view record) {
    return !format.ignored.empty() && json_written_string(record, "id") == format.ignored;
}

// Nothing when the file is damaged.
std::optional<std::vector<std::string_view>> records_in(const Members& members, const RecordFileFormat& format) {
    const JsonMember* array = member_in(members, format.array);
    auto records = json_array_values(array != nullptr ? array->value : "[]");
    if (records) {
        std::erase_if(*records, [&](std::string_view record) { return is_ignored(format, record); });
    }
    return records;
}

}  // namespace

std::string record_file_text(const RecordFileFormat& format, const std::vector<std::string>& records) {
    return file_text(format, records, {});
}

RecordFile::RecordFile(std::filesystem::path path, RecordFileFormat format)
    : path_(std::move(path)), format_(std::move(format)), text_(read_record_file(path_)) {}

void RecordFile::require_read_whole(std::vector<std::string> written) {
    written_ = std::move(written);
    const bool empty = text_.find_first_not_of(" \t\r\n") == text_.npos;
    const auto members = json_object_members(empty ? std::string_view("{}") : text_);
    if (members && version_in(*members) > format_.version) {
        throw std::runtime_error("record file of a newer version, nothing was written: " + path_.string());
    }
    const auto records = members && !has_twice_the_same(*members) ? records_in(*members, format_) : std::nullopt;
    if (!records ||
        !std::equal(records->begin(), records->end(), written_.begin(), written_.end(), record_is_read_whole)) {
        throw std::runtime_error("damaged record file, nothing was written: " + path_.string());
    }
    members_ = *members;
    stored_ = *records;
}

std::string RecordFile::text_with(const std::vector<std::string>& changed) const {
    return file_text(format_, merged_record_texts(changed, written_, stored_), members_);
}

}  // namespace quill
