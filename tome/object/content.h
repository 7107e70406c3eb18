// The bytes of one file in a tree. Small contents are held in memory. Large ones are read block by block from a file,
// or from wherever else they are stored.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "tome/base/digest.h"
#include "tome/base/file_io.h"

namespace tome {

/// Takes the next block of some bytes.
using BlockConsumer = std::function<void(std::string_view)>;

/// Where the bytes of a large content come from.
class ContentReader {
  public:
    virtual ~ContentReader() = default;

    /// Passes all bytes to `consume`, block by block, from the first one on. Call it once at most. Errors call the
    /// content `name`.
    virtual void read(const std::string& name, const BlockConsumer& consume) = 0;

    /// A file that holds these bytes, positioned at its start, so that the system can clone it. -1 if there is none.
    virtual int file() const { return -1; }
};

/// A content that is a file here.
class FileContent final : public ContentReader {
  public:
    /// `file`: open for reading, at its start.
    explicit FileContent(FileDescriptor file) : file_(std::move(file)) {}

    void read(const std::string& name, const BlockConsumer& consume) override;
    int file() const override { return file_.get(); }

  private:
    FileDescriptor file_;
};

struct Content {
    std::uint64_t size = 0;
    std::string bytes;                      ///< all of them, of a small content
    std::unique_ptr<ContentReader> reader;  ///< of a large one; null: `bytes` has them

    /// Passes all bytes on, block by block. Call it once at most.
    void read(const std::string& name, const BlockConsumer& consume) const;
};

/// Reads all bytes and returns their digest.
Digest digest_of(const Content& content, const std::string& name);

/// All bytes of a content that is small enough for memory. Throws Error(Corrupt) "corrupt object HEX" when they do not
/// hash to `digest`.
std::string read_whole(const Content& content, const Digest& digest);

}  // namespace tome
