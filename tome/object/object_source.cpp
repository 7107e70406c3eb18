#include "tome/object/object_source.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <numeric>
#include <set>
#include <utility>

#include "digest/sha256.h"
#include "files/platform.h"
#include "tome/base/error.h"

namespace tome {
namespace {

template <typename Result, typename Find>
std::optional<Result> first_sound(const std::vector<std::shared_ptr<ObjectSource>>& sources, Find find) {
    std::optional<Error> damage;
    for (const auto& source : sources) {
        try {
            if (std::optional<Result> result = find(*source)) {
                return result;
            }
        } catch (const Error& error) {
            if (error.code() != ErrorCode::Corrupt) {
                throw;
            }
            damage = error;
        }
    }
    if (damage) {
        throw no_sound_copy(damage->what());
    }
    return std::nullopt;
}

template <typename Parse>
auto parse_object(const std::optional<std::string>& bytes, const Digest& digest, Parse parse) {
    if (!bytes) {
        throw missing_object(digest);
    }
    try {
        return parse(*bytes);
    } catch (const Error& error) {
        throw Error(ErrorCode::Corrupt, std::string(error.what()) + " (object " + to_hex(digest) + ")");
    }
}

template <typename Parse>
auto read_object(ObjectSource& source, const Digest& digest, Parse parse) {
    return parse_object(source.find_object(digest), digest, parse);
}

// The names for which `is_wanted` holds.
template <typename Condition>
ObjectNames names_where(const ObjectNames& names, Condition is_wanted) {
    ObjectNames result;
    std::copy_if(names.begin(), names.end(), std::back_inserter(result),
                 [&](const ObjectName& name) { return is_wanted(name.first, name.second); });
    return result;
}

Error missing_content(const Digest& digest, const std::string& name) {
    return Error(ErrorCode::NotFound, "missing content of " + name + ": " + to_hex(digest));
}

void empty_file(int file, const std::string& name) {
    if (ftruncate(file, 0) != 0 || lseek(file, 0, SEEK_SET) != 0) {
        throw system_error("could not write " + name, errno);
    }
}

void write_checked(const Digest& digest, const Content& content, int to, const std::string& name) {
    if (!content.reader) {
        write_all(to, content.bytes, name);
        return;
    }
    const int file = content.reader->file();
    const bool cloned = file >= 0 && quill::clone_file(file, to);
    quill::Sha256 hash;
    content.read(name, [&](std::string_view block) {
        hash.update(block.data(), block.size());
        if (!cloned) {
            write_all(to, block, name);
        }
    });
    if (Digest{hash.finish()} != digest) {
        throw Error(ErrorCode::Corrupt, "corrupt object " + to_hex(digest) + " (content of " + name + ")");
    }
}

}  // namespace

bool ObjectSource::is_sound(ObjectKind kind, const Digest& digest) {
    try {
        if (kind != ObjectKind::Content) {
            return contains(kind, digest) && find_object(digest).has_value();
        }
        const std::optional<Content> content = find_content(digest);
        return content && (!content->reader || digest_of(*content, to_hex(digest)) == digest);
    } catch (const Error& error) {
        if (error.code() != ErrorCode::Corrupt) {
            throw;
        }
        return false;
    }
}

std::vector<std::optional<std::string>> ObjectSource::find_objects(const std::vector<Digest>& digests) {
    std::vector<std::optional<std::string>> found;
    found.reserve(digests.size());
    for (const Digest& digest : digests) {
        found.push_back(find_object(digest));
    }
    return found;
}

ObjectNames ObjectSource::missing(const ObjectNames& names) {
    return names_where(names, [&](ObjectKind kind, const Digest& digest) { return !contains(kind, digest); });
}

ObjectNames ObjectSource::unsound(const ObjectNames& names) {
    return names_where(names, [&](ObjectKind kind, const Digest& digest) { return !is_sound(kind, digest); });
}

std::uint64_t ObjectSource::write_content(const Digest& digest, int to, const std::string& name) {
    const std::optional<Content> content = find_content(digest);
    if (!content) {
        throw missing_content(digest, name);
    }
    write_checked(digest, *content, to, name);
    return content->size;
}

std::optional<std::string> ObjectSource::read_content(const Digest& digest) {
    std::optional<Content> content = find_content(digest);
    if (!content || !content->reader) {
        return content ? std::optional(std::move(content->bytes)) : std::nullopt;
    }
    return read_whole(*content, digest);
}

std::optional<std::uint64_t> ObjectSource::content_size(const Digest& digest) {
    const std::optional<Content> content = find_content(digest);
    return content ? std::optional(content->size) : std::nullopt;
}

std::optional<std::uint64_t> ObjectSources::content_size(const Digest& digest) {
    return first_sound<std::uint64_t>(sources_, [&](ObjectSource& source) { return source.content_size(digest); });
}

std::optional<std::string> ObjectSources::read_content(const Digest& digest) {
    return first_sound<std::string>(sources_, [&](ObjectSource& source) { return source.read_content(digest); });
}

std::optional<std::string> ObjectSources::find_object(const Digest& digest) {
    return first_sound<std::string>(sources_, [&](ObjectSource& source) { return source.find_object(digest); });
}

std::vector<std::optional<std::string>> ObjectSources::find_objects(const std::vector<Digest>& digests) {
    std::vector<std::optional<std::string>> found(digests.size());
    std::vector<std::size_t> wanted(digests.size());
    std::iota(wanted.begin(), wanted.end(), std::size_t{0});
    for (const auto& source : sources_) {
        std::vector<Digest> asked;
        std::transform(wanted.begin(), wanted.end(), std::back_inserter(asked),
                       [&](std::size_t i) { return digests[i]; });
        try {
            std::vector<std::optional<std::string>> answers = source->find_objects(asked);
            for (std::size_t i = 0; i < answers.size(); ++i) {
                found[wanted[i]] = std::move(answers[i]);
            }
        } catch (const Error& error) {
            if (error.code() != ErrorCode::Corrupt) {
                throw;
            }
            return ObjectSource::find_objects(digests);  // One by one, each from the source that has it sound.
        }
        std::erase_if(wanted, [&](std::size_t i) { return found[i].has_value(); });
    }
    return found;
}

ObjectNames ObjectSources::missing(const ObjectNames& names) {
    ObjectNames left = names;
    for (const auto& source : sources_) {
        left = source->missing(left);
    }
    return left;
}

std::vector<Digest> ObjectSources::lost(const std::vector<Digest>& contents) {
    std::set<Digest> lost;
    std::set<Digest> kept;  // by another source
    for (const auto& source : sources_) {
        const std::vector<Digest> lost_there = source->lost(contents);
        const std::set<Digest> gone(lost_there.begin(), lost_there.end());
        for (const Digest& digest : contents) {
            if (gone.contains(digest)) {
                lost.insert(digest);
            } else if (source->contains(ObjectKind::Content, digest)) {
                kept.insert(digest);
            }
        }
    }
    std::vector<Digest> result;
    std::set_difference(lost.begin(), lost.end(), kept.begin(), kept.end(), std::back_inserter(result));
    return result;
}

std::optional<Content> ObjectSources::find_content(const Digest& digest) {
    return first_sound<Content>(sources_, [&](ObjectSource& source) { return source.find_content(digest); });
}

bool ObjectSources::contains(ObjectKind kind, const Digest& digest) {
    for (const auto& source : sources_) {
        if (source->contains(kind, digest)) {
            return true;
        }
    }
    return false;
}

std::uint64_t ObjectSources::write_content(const Digest& digest, int to, const std::string& name) {
    bool begun = false;
    const auto copied = first_sound<std::uint64_t>(sources_, [&](ObjectSource& source) -> std::optional<std::uint64_t> {
        const std::optional<Content> content = source.find_content(digest);
        if (!content) {
            return std::nullopt;
        }
        if (std::exchange(begun, true)) {
            empty_file(to, name);  // The source before was damaged. Not otherwise: ext4 writes out what was emptied.
        }
        write_checked(digest, *content, to, name);
        return content->size;
    });
    if (!copied) {
        throw missing_content(digest, name);
    }
    return *copied;
}

void ObjectSources::copy_content(const TreeEntry& entry, int to, const std::string& name) {
    check_size(entry, write_content(entry.digest, to, name), name);
}

bool ObjectSources::is_sound(ObjectKind kind, const Digest& digest) {
    return std::any_of(sources_.begin(), sources_.end(),
                       [&](const auto& source) { return source->is_sound(kind, digest); });
}

Tree read_tree(ObjectSource& source, const Digest& digest) {
    return read_object(source, digest, parse_tree);
}

std::vector<Tree> read_trees(ObjectSource& source, const std::vector<Digest>& digests) {
    const std::vector<std::optional<std::string>> found = source.find_objects(digests);
    std::vector<Tree> trees;
    trees.reserve(digests.size());
    for (std::size_t i = 0; i < digests.size(); ++i) {
        trees.push_back(parse_object(found[i], digests[i], parse_tree));
    }
    return trees;
}

Revision read_revision(ObjectSource& source, const Digest& digest) {
    return read_object(source, digest, parse_revision);
}

MetadataNode read_metadata_node(ObjectSource& source, const Digest& digest) {
    return read_object(source, digest, parse_metadata_node);
}

void check_size(const TreeEntry& entry, std::uint64_t size, const std::string& path) {
    if (entry.size != size) {
        throw Error(ErrorCode::Corrupt, "corrupt object: size of " + path + " in its tree");
    }
}

std::string corrupt_object_text(const Digest& digest, const std::string& where) {
    return "corrupt object " + to_hex(digest) + " in " + where;
}

Error missing_object(const Digest& digest) {
    return {ErrorCode::NotFound, "missing object: " + to_hex(digest)};
}

Error no_sound_copy(const std::string& damage) {
    return Error(ErrorCode::Corrupt, damage +
                                         "; no sound copy is known: commit a changed file in its place, or bring "
                                         "the store back from a backup");
}

}  // namespace tome
