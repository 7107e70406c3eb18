// The manifest's text: no text does the scanner harm, a written value is read back, and setting a key adds that key and
// leaves every other byte. The input is the manifest and, cut into values, the values of a well-formed one.
#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>

#include "project/manifest_text.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

using quill_test::FuzzInput;
using quill_test::require;

const std::string key = "tomeRemoteURL";
constexpr std::array<const char*, 4> names{"name", "mainScene", "contentStore", "tomeRepository"};
const std::string id = "hpqSFkHJCYnB4cfI";

bool has_key(std::string_view text, const std::string& name) {
    return text.find('"' + name + '"') != text.npos;
}

// What `change` makes of the text; nothing when it calls it invalid.
template <typename Change>
std::optional<std::string> changed(Change change) {
    try {
        return change();
    } catch (const std::runtime_error& error) {
        require(error.what() == std::string("Invalid project manifest: p/project.json"), "an error names the manifest");
        return std::nullopt;
    }
}

// Whether `longer` is `text` with `added` put at one place, `before` it or not.
bool adds(const std::string& longer, std::string_view text, const std::string& before, const std::string& added) {
    const std::size_t at = static_cast<std::size_t>(
        std::mismatch(text.begin(), text.end(), longer.begin(), longer.end()).first - text.begin());
    for (const std::string& inserted : {before + added, added}) {
        // White space that text and insertion begin with alike is counted to the text.
        for (std::size_t start = at + 1; start-- > at - std::min(at, inserted.size());) {
            if (longer == std::string(text.substr(0, start)) + inserted + std::string(text.substr(start))) {
                return true;
            }
        }
    }
    return false;
}

void check_scanner(std::string_view text) {
    for (const char* name : {"id", "name", "contentStore", "tomeRemoteURL"}) {
        const std::string value = quill::manifest_string(text, name, "no such value");
        const std::string written = "\"" + key + "\": \"" + quill::escape_manifest_string(value) + "\"";
        require(value == "no such value" || value.size() < text.size(), "a value lies in the text");
        require(quill::manifest_string(written, key, "") == value, "a written value is read back");
    }
}

void check_id(const std::string& text) {
    const auto result = changed([&] { return quill::insert_manifest_id(text, id, "p/project.json"); });
    const std::size_t brace = text.find('{');
    require(result.has_value() == (brace != text.npos), "a manifest without a brace is invalid");
    if (result) {
        require(result->substr(0, brace + 1) == text.substr(0, brace + 1), "the ID comes after the brace");
        require(result->ends_with(text.substr(brace + 1)), "all other bytes stay");
        require(has_key(text.substr(0, brace), "id") || quill::manifest_string(*result, "id", "") == id,
                "the ID put in is the one that is read");
    }
}

void check_key(const std::string& text, const std::string& value) {
    const auto result = changed([&] { return quill::set_manifest_key(text, key, value, "p/project.json"); });
    if (!quill::manifest_string(text, key, "").empty()) {
        require(result == text, "a value that is there stays");
        return;
    }
    const std::size_t close = text.rfind('}');
    require(result.has_value() == (close != text.npos && text.find('{') < close),
            "a manifest without braces is invalid");
    if (!result) {
        return;
    }
    const std::string added = "\n  \"" + key + "\": \"" + quill::escape_manifest_string(value) + "\"";
    require(adds(*result, text, ",", added), "the key is added and all other bytes stay");
    if (!has_key(text, key)) {
        require(quill::manifest_string(*result, key, "none") == value, "the value put in is the one that is read");
        require(value.empty() || quill::set_manifest_key(*result, key, "other", "") == *result, "a key is set once");
    }
}

// Documented blind spot: a value that ends in a key after a quote, its own or one in it, is taken for that key.
bool reads_like_a_key(const std::string& value) {
    const auto ends_value = [&](const std::string& name) { return ('"' + value).ends_with('"' + name); };
    return ends_value(key) || std::any_of(names.begin(), names.end(), ends_value);
}

// Setting a key changes no other value of a manifest that this system wrote.
void check_written_manifest(FuzzInput input) {
    std::array<std::string, 4> values;
    std::string text = "{\n  \"id\": \"" + id + "\"";
    for (std::size_t i = 0; i < names.size(); ++i) {
        values[i] = input.text();
        if (reads_like_a_key(values[i])) {
            return;
        }
        text += std::string(",\n  \"") + names[i] + "\": \"" + quill::escape_manifest_string(values[i]) + "\"";
    }
    const std::string remote = input.text();
    text = quill::set_manifest_key(text + "\n}\n", key, remote, "");
    for (std::size_t i = 0; i < names.size(); ++i) {
        require(quill::manifest_string(text, names[i], "none") == values[i], "every value is read back");
    }
    require(quill::manifest_string(text, key, "none") == remote, "the value set is read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(quill_test::whole_text(data, size));
    check_scanner(text);
    check_id(text);
    check_key(text, "file:///srv/scenes");
    check_key(text, FuzzInput(data, size).text());
    check_written_manifest(FuzzInput(data, size));
    return 0;
}
