// Changing a record file without losing anything that it holds: a damaged file and one of a newer version are refused,
// and members that another program added stay.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "records/json_value.h"

namespace quill {

/// The frame around the records of one kind of file (docs/formats.md).
struct RecordFileFormat {
    std::uint64_t version;
    std::vector<JsonMember> head;  ///< members between the version and the records
    std::string_view array;        ///< the member that holds the records
    std::string_view ignored;      ///< the "id" of a record that readers pass over; empty: there is none
};

/// The file's text. `records` are the objects' texts.
std::string record_file_text(const RecordFileFormat& format, const std::vector<std::string>& records);

/// A record file as it is on disk. Lock its folder (RecordFolderLock) before making the object, and keep it locked
/// until the new text is written.
class RecordFile {
  public:
    /// Reads the file; a missing one is empty. Throws std::runtime_error "Could not open " + path.
    RecordFile(std::filesystem::path path, RecordFileFormat format);
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    const std::string& text() const { return text_; }

    /// Checks that writing the file again would lose nothing. `written` is what the writer gives for each record that
    /// was read. Throws std::runtime_error "damaged record file, nothing was written: " + path when the file holds
    /// anything that the records and the frame do not explain, and "record file of a newer version, nothing was
    /// written: " + path.
    void require_read_whole(std::vector<std::string> written);

    /// The file's new text: the records `changed`, and every member of the file that the writers do not know. Call
    /// `require_read_whole` first.
    std::string text_with(const std::vector<std::string>& changed) const;

  private:
    std::filesystem::path path_;
    RecordFileFormat format_;
    std::string text_;
    std::vector<JsonMember> members_;       // the file's, views into the text
    std::vector<std::string_view> stored_;  // the records' texts, too
    std::vector<std::string> written_;      // what the writer gives for them
};

}  // namespace quill
