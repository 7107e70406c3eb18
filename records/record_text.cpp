#include "records/record_text.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "records/json_records.h"
#include "records/json_value.h"
#include "records/unique_strings.h"

namespace quill {
namespace {

using Members = std::vector<JsonMember>;
using Values = std::vector<std::string_view>;

enum class Kind { object, array, string, boolean, null, number };

Kind kind_of(std::string_view value) {
    switch (value.front()) {
        case '{':
            return Kind::object;
        case '[':
            return Kind::array;
        case '"':
            return Kind::string;
        case 't':
        case 'f':
            return Kind::boolean;
        case 'n':
            return Kind::null;
        default:
            return Kind::number;
    }
}

Members members_of(std::string_view object) {
    return json_object_members(object).value_or(Members());
}

Values values_of(std::string_view array) {
    return json_array_values(array).value_or(Values());
}

const std::string_view* value_in(const Members& members, std::string_view key) {
    const auto found =
        std::find_if(members.begin(), members.end(), [&](const JsonMember& member) { return member.key == key; });
    return found != members.end() ? &found->value : nullptr;
}

std::string string_of(std::string_view quoted) {
    return json_unescape(quoted.substr(1, quoted.size() - 2));
}

bool all_are(const Values& values, Kind kind) {
    return std::all_of(values.begin(), values.end(), [&](std::string_view value) { return kind_of(value) == kind; });
}

std::vector<std::string> strings_of(const Values& values) {
    std::vector<std::string> strings;
    std::transform(values.begin(), values.end(), std::back_inserter(strings), string_of);
    return strings;
}

bool array_is_read_whole(std::string_view stored_array, std::string_view written_array) {
    const Values stored = values_of(stored_array);
    const Values written = values_of(written_array);
    if (!stored.empty() && all_are(stored, Kind::string)) {
        return all_are(written, Kind::string) && unique_non_empty_strings(strings_of(stored)) == strings_of(written);
    }
    return std::equal(stored.begin(), stored.end(), written.begin(), written.end(),
                      [](std::string_view a, std::string_view b) {
                          return kind_of(a) == kind_of(b) && (kind_of(a) == Kind::number || record_is_read_whole(a, b));
                      });
}

bool value_is_read_whole(std::string_view stored, std::string_view written) {
    if (kind_of(stored) != kind_of(written)) {
        return false;
    }
    switch (kind_of(stored)) {
        case Kind::string:  // An empty text may be read as its default.
            return stored == "\"\"" || string_of(stored) == string_of(written);
        case Kind::array:
            return array_is_read_whole(stored, written);
        case Kind::number:  // One number can be written in many ways. The stored one stays where nobody changes it.
            return true;
        default:
            return stored == written;
    }
}

// What tells a record from those beside it: its first text.
std::string name_of(const std::string_view record) {
    for (const JsonMember& member : members_of(record)) {
        if (kind_of(member.value) == Kind::string) {
            return string_of(member.value);
        }
    }
    return {};
}

std::string merged_record(std::string_view changed, std::string_view written, std::string_view stored);

std::vector<std::string> copies_of(const Values& values) {
    return {values.begin(), values.end()};
}

std::string merged_array(std::string_view changed_array, std::string_view written_array,
                         std::string_view stored_array) {
    const Values changed = values_of(changed_array);
    const Values stored = values_of(stored_array);
    if (changed.empty() || kind_of(changed.front()) == Kind::number) {
        return std::string(changed_array);
    }
    if (kind_of(changed.front()) == Kind::object) {
        const std::vector<std::string> written = copies_of(values_of(written_array));
        const auto as_it_is = [](const std::string& text) { return text; };
        return "[" + json_joined(merged_record_texts(copies_of(changed), written, stored), ",", as_it_is) + "]";
    }
    return "[" +
           json_joined(changed, ",",
                       [&](std::string_view text) {
                           const auto same = std::find_if(stored.begin(), stored.end(), [&](std::string_view value) {
                               return string_of(value) == string_of(text);
                           });
                           return std::string(same != stored.end() ? *same : text);
                       }) +
           "]";
}

std::string merged_value(std::string_view changed, std::string_view written, std::string_view stored) {
    switch (kind_of(changed)) {
        case Kind::array:
            return merged_array(changed, written, stored);
        case Kind::string:
            return std::string(string_of(changed) == string_of(stored) ? stored : changed);
        case Kind::number:
            return std::string(changed == written ? stored : changed);
        default:
            return std::string(changed);
    }
}

std::string member_text(std::string_view key, const std::string& value) {
    return '"' + std::string(key) + "\":" + value;
}

std::string merged_record(std::string_view changed, std::string_view written, std::string_view stored) {
    const Members changed_members = members_of(changed);
    const Members written_members = members_of(written);
    const Members stored_members = members_of(stored);
    std::vector<std::string> texts;
    for (const auto& [key, value] : changed_members) {
        const std::string_view* before = value_in(written_members, key);
        const std::string_view* there = value_in(stored_members, key);
        const bool joined = before != nullptr && there != nullptr;
        texts.push_back(member_text(key, joined ? merged_value(value, *before, *there) : std::string(value)));
    }
    for (const auto& [key, value] : stored_members) {
        if (value_in(changed_members, key) == nullptr) {
            texts.push_back(member_text(key, std::string(value)));
        }
    }
    return "{" + json_joined(texts, ",", [](const std::string& text) { return text; }) + "}";
}

}  // namespace

bool record_is_read_whole(std::string_view stored_text, std::string_view written_text) {
    const auto stored = json_object_members(stored_text);
    const Members written = members_of(written_text);
    std::set<std::string_view> keys;
    return stored && std::all_of(stored->begin(), stored->end(), [&](const JsonMember& member) {
               const std::string_view* value = value_in(written, member.key);
               return keys.insert(member.key).second && (value == nullptr || value_is_read_whole(member.value, *value));
           });
}

std::vector<std::string> merged_record_texts(const std::vector<std::string>& changed,
                                             const std::vector<std::string>& written,
                                             const std::vector<std::string_view>& stored) {
    std::multimap<std::string, std::size_t> numbers;  // Records of one name stay in their order.
    for (std::size_t i = 0; i < written.size(); ++i) {
        numbers.emplace(name_of(written[i]), i);
    }
    std::vector<std::string> texts;
    for (const std::string& record : changed) {
        const auto number = numbers.find(name_of(record));
        texts.push_back(number != numbers.end() ? merged_record(record, written[number->second], stored[number->second])
                                                : record);
        if (number != numbers.end()) {
            numbers.erase(number);
        }
    }
    return texts;
}

}  // namespace quill
