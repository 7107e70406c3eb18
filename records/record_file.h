// Changing a record file without losing anything that it holds: a damaged file and one of a newer version are refused,
// and members that another program added stay.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "files/text_file.h"
#include "records/json_value.h"
#include "records/record_folder.h"

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

/// One kind of record file: its frame, and how its records are read and written.
template <typename Record>
struct RecordFileKind {
    RecordFileFormat format;
    std::vector<Record> (*records_in)(std::string_view text);  ///< of the file's whole text
    std::string (*text_of)(const Record& record);
    void (*replace)(const std::filesystem::path& path, std::string_view text) = write_text_file_atomically;
};

/// What the writer gives for each of the records.
template <typename Record>
std::vector<std::string> record_texts(const RecordFileKind<Record>& kind, const std::vector<Record>& records) {
    std::vector<std::string> texts;
    std::transform(records.begin(), records.end(), std::back_inserter(texts), kind.text_of);
    return texts;
}

/// A record file as it is on disk. Who is to write it locks its folder (RecordFolderLock) before making the object, and
/// keeps it locked until the new text is written; `update_record_file` does it all.
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

/// The file's records. Throws what `require_read_whole` throws.
template <typename Record>
std::vector<Record> records_read_whole(RecordFile& file, const RecordFileKind<Record>& kind) {
    std::vector<Record> records = kind.records_in(file.text());
    file.require_read_whole(record_texts(kind, records));
    return records;
}

/// Reads the project's record file at `path`, and replaces it when `change`, given its records, returns true, under the
/// lock on its folder: neither another thread nor another process loses a change. What `change` throws leaves the file
/// as it is. Throws what RecordFolderLock, RecordFile and the kind's `replace` throw; `change` is not called for a file
/// that must not be written.
template <typename Record, typename Change>
void update_record_file(const std::filesystem::path& project, const std::filesystem::path& path,
                        const RecordFileKind<Record>& kind, const Change& change) {
    const RecordFolderLock lock(project);
    RecordFile file(path, kind.format);
    std::vector<Record> records = records_read_whole(file, kind);
    if (change(records)) {
        kind.replace(path, file.text_with(record_texts(kind, records)));
    }
}

}  // namespace quill
