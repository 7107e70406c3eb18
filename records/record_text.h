// One record's text as it stands in a record file, compared and joined with the text that the writers give for it.
// Record texts are JSON objects; their first string member names the record among those beside it. Pure functions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quill {

/// Whether the record `written` holds all that `stored` holds, as far as writing it again could lose it: false when a
/// member that both have is of another kind, reads otherwise or holds fewer records, and when one stands there twice.
/// What `written` lacks, stays (`merged_record_texts`). `written` is the writer's text of the record as it was read.
bool record_is_read_whole(std::string_view stored, std::string_view written);

/// The texts of `changed`, each with the members of its stored record that the writers do not know, behind the others,
/// down to the records within records. A string or number that reads as what is to be written keeps its stored form.
/// `stored[i]` was read and is written as `written[i]`, whole; `changed` are the records to write now.
std::vector<std::string> merged_record_texts(const std::vector<std::string>& changed,
                                             const std::vector<std::string>& written,
                                             const std::vector<std::string_view>& stored);

}  // namespace quill
