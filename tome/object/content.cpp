#include "tome/object/content.h"

#include "digest/sha256.h"
#include "tome/base/error.h"

namespace tome {

void FileContent::read(const std::string& name, const BlockConsumer& consume) {
    read_blocks(file_.get(), name, consume);
}

void Content::read(const std::string& name, const BlockConsumer& consume) const {
    reader ? reader->read(name, consume) : consume(bytes);
}

Digest digest_of(const Content& content, const std::string& name) {
    quill::Sha256 hash;
    content.read(name, [&](std::string_view block) { hash.update(block.data(), block.size()); });
    return Digest{hash.finish()};
}

std::string read_whole(const Content& content, const Digest& digest) {
    std::string bytes;
    content.read(to_hex(digest), [&](std::string_view block) {
        bytes.append(block);
        if (bytes.size() > content.size) {
            throw Error(ErrorCode::Io, "file is larger than expected: " + to_hex(digest));
        }
    });
    if (digest_of(bytes) != digest) {
        throw Error(ErrorCode::Corrupt, "corrupt object " + to_hex(digest));
    }
    return bytes;
}

}  // namespace tome
