// A disk as a power cut leaves it, computed from the state that a command began with and the record of what it did.
//
// The model takes from POSIX only what it grants, whatever a given file system may do beyond that:
//  * The bytes and the size of a file are safe as of its last fsync or fdatasync. Of the writes and truncations since,
//    any may have reached the disk and any may not, the last of them partly; bytes in between are zero.
//  * A name in a folder (made, renamed, linked, removed) is safe as of the last fsync of that folder. Each name by
//    itself is what it was then, or anything that it has been since: a rename may show under both names, one from
//    folder to folder under neither. Syncing a file does not make its name safe. What no safe name leads to is gone.
//  * syncfs makes everything safe. What no call synced may be on the disk all the same.
//  * A folder has one place: of several that a cut would leave, it is found at one.
//  * Permission bits are not lost. Locks and shared memory do not outlive the cut.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/written_record.h"

namespace quill_test {

/// What of the things not synced is lost.
struct Loss {
    enum class Kind {
        Nothing,
        Everything,
        Data,   ///< the names are there, the bytes are not
        Tails,  ///< the names are there, the last write of each file half
        Names,  ///< the bytes are there, the names are not
        Some,   ///< of each file and name what the seed says
        One,    ///< of one file or folder everything, of the others nothing
    };
    Kind kind = Kind::Nothing;
    unsigned seed = 0;
    std::uint64_t one = 0;  ///< PowerCutDisk::identity_of
};

/// The files and folders of a disk, by path.
struct DiskTree {
    struct Entry {
        bool folder = false;
        std::uint64_t identity = 0;  ///< the same for names of one file
        unsigned mode = 0;
        std::string bytes;
    };
    std::map<std::string, Entry> entries;

    /// Equal for equal trees.
    std::string fingerprint() const;
    /// Makes `folder` hold exactly this tree.
    void write_to(const std::filesystem::path& folder) const;
};

class PowerCutDisk {
  public:
    /// Everything below `folder`, synced; without the shared memory of databases.
    explicit PowerCutDisk(const std::filesystem::path& folder);

    /// Lets the folder at `path` be as its maker left it, who was killed before it synced the name.
    void forget_sync_of_name(const std::string& path);

    void apply(const RecordEntry& entry);

    /// Whether there is anything that the sync makes safe.
    bool changes_by(const RecordEntry& sync) const;

    /// Of the file or folder that the entry is about; 0 for what lies elsewhere. The same in all disks that followed
    /// the same record.
    std::uint64_t identity_of(const RecordEntry& entry) const;

    /// The present path of what the entry syncs, from the folder; "" for what lies elsewhere.
    std::string path_of(const RecordEntry& entry) const;

    DiskTree after_power_cut(const Loss& loss) const;

  private:
    using Id = std::uint64_t;  // 0: none
    struct Write {
        std::uint64_t offset = 0;
        bool truncation = false;  // to the offset
        std::string bytes;
    };
    struct Node {
        bool folder = false;
        unsigned mode = 0;
        std::string safe_bytes;
        std::string bytes;
        std::vector<Write> unsynced;
        std::map<std::string, Id> safe_names;
        std::map<std::string, std::vector<Id>> names_since;              // what each has been since, the newest last
        std::vector<std::pair<std::string, std::string>> renames_since;  // within the folder
    };

    Id add_tree(const std::filesystem::path& path);
    Id add(std::uint64_t inode, bool folder, unsigned mode);
    Node* find(std::uint64_t inode);
    Id name_in(const Node& folder, const std::string& name) const;
    static void set_name(Node& folder, const std::string& name, Id id);
    static void write(std::string& bytes, const Write& write, std::size_t size);
    void make(const RecordEntry& entry);
    void rename(const RecordEntry& entry);
    void write_and_note(std::uint64_t inode, Write write);
    static void sync(Node& node);
    std::string bytes_after(Id id, const Loss& loss) const;
    std::map<std::string, Id> names_after(Id id, const Loss& loss) const;
    void add_to(DiskTree& tree, std::map<Id, std::string>& folders, Id id, const std::string& path,
                const Loss& loss) const;

    std::map<Id, Node> nodes_;
    std::map<std::uint64_t, Id> by_inode_;
    Id root_ = 0;
};

}  // namespace quill_test
