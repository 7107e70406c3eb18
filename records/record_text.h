// The text of one record: as a file holds it, compared and joined with the text that our writers give for it. Record
// texts are JSON objects; their first string member names the record among those beside it. Pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quill {

/// Whether writing the record again would lose nothing of `stored`. `written` is the writer's text of the record as it
/// was read. False when a member that both have is of another kind, has another value or holds fewer records, and when
/// `stored` has a member twice. Members that `written` lacks do not count: `merged_record_texts` keeps them.
bool record_is_read_whole(std::string_view stored, std::string_view written);

/// The texts of the records `changed`, which are to be written now, each completed by the members of its stored record
/// that the writers do not know. They follow the others, in records within records as well. A string or number whose
/// value is the one to be written keeps its stored form. `written[i]` is the writer's text of `stored[i]`, for which
/// `record_is_read_whole` is true.
std::vector<std::string> merged_record_texts(const std::vector<std::string>& changed,
                                             const std::vector<std::string>& written,
                                             const std::vector<std::string_view>& stored);

}  // namespace quill
