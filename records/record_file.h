// A record file that is to be changed: nothing of what it holds is lost, be it damaged, written by a newer version, or
// completed by another program.
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

/// The file as it stands. Hold the lock on its folder from before it is made until the new text is written.
class RecordFile {
  public:
    /// Reads the file; a missing one is empty. Throws std::runtime_error "Could not open " + path.
    RecordFile(std::filesystem::path path, RecordFileFormat format);
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    const std::string& text() const { return text_; }

    /// Takes what the writer gives for each record that was read. Throws std::runtime_error "damaged record file,
    /// nothing was written: " + path when the file holds more than that, of which any part would be lost, and "record
    /// file of a newer version, nothing was written: " + path.
    void require_read_whole(std::vector<std::string> written);

    /// The file's new text with the records `changed`, and all that it holds besides what the writers know. After
    /// `require_read_whole`.
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
