// The scanners of the record files: no text does them harm and what they find lies in it; what the value writers write
// is read back. The input is a text and, cut into values, what is written.
#include <array>
#include <cmath>
#include <cstring>

#include "records/json_records.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using quill_test::FuzzInput;
using quill_test::require;

void check_members(std::string_view text, std::string_view key) {
    if (const auto array = quill::json_array_text(text, key)) {
        require(text.find(*array + "]") != text.npos, "an array's text stands before its bracket");
        require(quill::json_array_text("\"key\":[" + *array + "]", "key") == array, "an array's text is one");
    }
    require(quill::json_string(text, key).size() <= text.size(), "a string is no longer than its text");
    const bool missing = quill::json_bool(text, key, false) != quill::json_bool(text, key, true);
    const std::uint64_t number = quill::json_u64(text, key, 0);
    const bool no_number = number != quill::json_u64(text, key, 1);
    require(no_number || text.find(std::to_string(number)) != text.npos, "a number's digits stand in the text");
    const bool nothing = quill::json_string(text, key).empty() && no_number && !quill::json_array_text(text, key) &&
                         !quill::json_vector3(text, key);
    require(!missing || nothing, "a member that is missing has no value");
}

void check_entries(std::string_view text) {
    std::size_t from = 0;
    for (const std::string& entry : quill::json_top_level_object_entries(text)) {
        require(entry.starts_with('{') && entry.ends_with('}'), "an entry has its braces");
        const std::size_t found = text.find(entry, from);
        require(found != text.npos, "entries stand in the text in their order");
        from = found + entry.size();
        require(quill::json_top_level_object_entries(entry) == std::vector<std::string>{entry}, "an entry is one");
    }
}

void check_written_text(const std::string& text) {
    const std::string escaped = quill::json_escape(text);
    require(escaped.find('\n') == escaped.npos, "a record stays on its line");
    require(quill::json_unescape(escaped) == text, "an escaped text is read back");
    const std::string record = "{\"key\":\"" + escaped + "\",\"next\":7}";
    require(quill::json_u64(record, "next", 0) == 7, "a text does not hide what follows");
    // Documented blind spots: a backslash at the end hides its quote, an escaped quote ends a string for brackets.
    if (!text.ends_with('\\')) {
        require(quill::json_string(record, "key") == text, "a written text is read back");
    }
    if (text.find('"') == text.npos) {
        const auto array = quill::json_array_text("{\"list\":[" + record + ",{\"a\":1}]}", "list");
        require(array && quill::json_top_level_object_entries(*array) == std::vector<std::string>{record, "{\"a\":1}"},
                "written records are told apart");
    }
}

void check_written_numbers(FuzzInput input) {
    const std::uint64_t number = input.number();
    const std::string record = "{\"n\":" + std::to_string(number) + "}";
    require(quill::json_u64(record, "n", number + 1) == number, "a written number is read back");
    std::array<double, 3> vector{};
    std::string text = "{\"v\":[";
    for (double& value : vector) {
        const std::uint64_t bits = input.number();
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) {
            return;
        }
        text += (text.ends_with('[') ? "" : ",") + quill::json_number(value);
    }
    const auto read = quill::json_vector3(text + "]}", "v");
    require(read && std::memcmp(read->data(), vector.data(), sizeof vector) == 0, "a written vector is read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = quill_test::whole_text(data, size);
    for (const std::string_view key : {"workspaces", "id", "archived", "version", "position"}) {
        check_members(text, key);
    }
    check_entries(text);
    check_written_text(std::string(text));
    check_written_numbers(FuzzInput(data, size));
    return 0;
}
