// The bytes of a file of a tree. Small ones are in memory; large ones come block by block from wherever they are.
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

    /// Hands all bytes to `consume`, in blocks, from the first one on. At most once. `name` is what the content is
    /// called in errors.
    virtual void read(const std::string& name, const BlockConsumer& consume) = 0;

    /// A file with these bytes, at its start, which the system may be able to clone; -1 where there is none.
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

    /// Hands all bytes on in blocks, at most once.
    void read(const std::string& name, const BlockConsumer& consume) const;
};

/// The digest of all bytes, which are read.
Digest digest_of(const Content& content, const std::string& name);

/// All bytes of a content that is small enough for memory. Throws Error(Corrupt) "corrupt object HEX" when they do not
/// hash to `digest`.
std::string read_whole(const Content& content, const Digest& digest);

}  // namespace tome
