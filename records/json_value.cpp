#include "records/json_value.h"

#include <algorithm>

namespace quill {
namespace {

constexpr int max_depth = 64;

bool is_word(std::string_view text) {
    return text == "true" || text == "false" || text == "null";
}

bool is_number(std::string_view text) {
    const bool starts = text.front() == '-' || (text.front() >= '0' && text.front() <= '9');
    return starts && text.find_first_not_of("0123456789+-.eE") == text.npos;
}

// Takes a text apart, value by value, from its start on. Where a value could not be taken, the place in the text is
// undefined.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : text_(text) {}

    bool at_end() {
        skip_white_space();
        return at_ == text_.size();
    }

    bool take(char c) {
        skip_white_space();
        if (at_ == text_.size() || text_[at_] != c) {
            return false;
        }
        ++at_;
        return true;
    }

    // Gives what stands between the quotes, its escapes untouched.
    std::optional<std::string_view> take_string() {
        const std::size_t start = take('"') ? at_ : text_.npos;
        const std::size_t end = start == text_.npos ? start : json_string_end(text_, start);
        if (end == text_.npos) {
            return std::nullopt;
        }
        at_ = end + 1;
        return text_.substr(start, end - start);
    }

    std::optional<std::string_view> take_value(int depth) {
        skip_white_space();
        const std::size_t start = at_;
        const char first = start < text_.size() ? text_[start] : '\0';
        const bool whole = first == '{'   ? depth > 0 && take_members(depth - 1).has_value()
                           : first == '[' ? depth > 0 && take_values(depth - 1).has_value()
                           : first == '"' ? take_string().has_value()
                                          : take_bare();
        return whole ? std::optional(text_.substr(start, at_ - start)) : std::nullopt;
    }

    std::optional<std::vector<JsonMember>> take_members(int depth) {
        std::vector<JsonMember> members;
        const bool closed = take_list('{', '}', [&] {
            const auto key = take_string();
            const auto value = key && take(':') ? take_value(depth) : std::nullopt;
            if (value) {
                members.push_back({*key, *value});
            }
            return value.has_value();
        });
        return closed ? std::optional(std::move(members)) : std::nullopt;
    }

    std::optional<std::vector<std::string_view>> take_values(int depth) {
        std::vector<std::string_view> values;
        const bool closed = take_list('[', ']', [&] {
            const auto value = take_value(depth);
            if (value) {
                values.push_back(*value);
            }
            return value.has_value();
        });
        return closed ? std::optional(std::move(values)) : std::nullopt;
    }

  private:
    void skip_white_space() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }

    bool take_bare() {
        const std::size_t end = std::min(text_.find_first_of(",]} \t\r\n", at_), text_.size());
        const std::string_view bare = text_.substr(at_, end - at_);
        at_ = end;
        return !bare.empty() && (is_word(bare) || is_number(bare));
    }

    template <typename TakeItem>
    bool take_list(char open, char close, TakeItem take_item) {
        if (!take(open)) {
            return false;
        }
        if (take(close)) {
            return true;
        }
        do {
            if (!take_item()) {
                return false;
            }
        } while (take(','));
        return take(close);
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

std::size_t json_string_end(std::string_view text, std::size_t start) {
    while (start < text.size() && text[start] != '"') {
        start += text[start] == '\\' ? 2 : 1;
    }
    return start < text.size() ? start : std::string_view::npos;
}

std::optional<std::vector<JsonMember>> json_object_members(std::string_view text) {
    Cursor cursor(text);
    auto members = cursor.take_members(max_depth);
    return cursor.at_end() ? std::move(members) : std::nullopt;
}

std::optional<std::vector<std::string_view>> json_array_values(std::string_view text) {
    Cursor cursor(text);
    auto values = cursor.take_values(max_depth);
    return cursor.at_end() ? std::move(values) : std::nullopt;
}

}  // namespace quill
