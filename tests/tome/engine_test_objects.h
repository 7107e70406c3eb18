// Trees and revisions in memory, for tests of what works on objects alone.
#pragma once

#include <exception>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tome/object/object_sink.h"
#include "tome/object/object_source.h"
#include "tome/object/tree_edit.h"

namespace quill_test {

class EngineTestObjects final : public tome::ObjectSource, public tome::ObjectSink {
  public:
    std::optional<std::string> find_object(const tome::Digest& digest) override {
        ++reads;
        const auto found = objects_.find(digest);
        return found != objects_.end() ? std::optional(found->second) : std::nullopt;
    }
    std::optional<tome::Content> find_content(const tome::Digest&) override { return std::nullopt; }
    bool contains(tome::ObjectKind, const tome::Digest& digest) override { return objects_.contains(digest); }
    std::vector<tome::Digest> lost(const std::vector<tome::Digest>&) override { return {}; }
    tome::Digest add(tome::ObjectKind, const std::string& bytes) override {
        ++writes;
        const tome::Digest digest = tome::digest_of(bytes);
        objects_[digest] = bytes;
        return digest;
    }

    /// A file whose content is this text; one that ends in "*" is executable.
    static tome::TreeEntry file(const std::string& text) {
        const bool executable = text.ends_with('*');
        const std::string bytes = executable ? text.substr(0, text.size() - 1) : text;
        return {"", tome::TreeEntry::Kind::File, executable, bytes.size(), tome::digest_of(bytes)};
    }
    static tome::TreeEntry named(const std::string& name, tome::TreeEntry entry) {
        entry.name = name;
        return entry;
    }
    static tome::TreeEntry folder(const std::string& name, const tome::Digest& tree) {
        return {name, tome::TreeEntry::Kind::Folder, false, 0, tree};
    }

    tome::Digest encoded(const tome::Tree& entries) { return add(tome::ObjectKind::Tree, tome::encode_tree(entries)); }

    /// The tree with these files, built folder by folder.
    tome::Digest tree(const std::map<std::string, std::string>& files) {
        std::map<std::string, tome::TreeEntry> entries;
        std::map<std::string, std::map<std::string, std::string>> folders;
        for (const auto& [path, text] : files) {
            const std::size_t slash = path.find('/');
            if (slash == std::string::npos) {
                entries.emplace(path, named(path, file(text)));
            } else {
                folders[path.substr(0, slash)].emplace(path.substr(slash + 1), text);
            }
        }
        for (const auto& [name, below] : folders) {
            entries.emplace(name, folder(name, tree(below)));
        }
        tome::Tree result;
        for (const auto& [name, entry] : entries) {
            result.push_back(entry);
        }
        return encoded(result);
    }

    /// The files of a tree; `texts` holds every text that may be one's content.
    std::map<std::string, std::string> files(const tome::Digest& root, const std::set<std::string>& texts) {
        std::map<std::string, std::string> result;
        tome::TreeLookup(*this, root).visit_files("", [&](const std::string& path, const tome::TreeEntry& entry) {
            result[path] = "?";
            for (const std::string& text : texts) {
                if (file(text).same_state(entry) && file(text).size == entry.size) {
                    result[path] = text;
                }
            }
        });
        return result;
    }

    /// A revision with up to two parents; each call makes another one.
    tome::Digest revision(const std::vector<tome::Digest>& parents, std::uint64_t order) {
        tome::Revision revision;
        revision.tree = tome::digest_of("a tree");
        revision.first_parent = parents.empty() ? tome::Digest{} : parents[0];
        revision.second_parent = parents.size() < 2 ? tome::Digest{} : parents[1];
        revision.order = order;
        revision.message = std::to_string(++revisions_);
        return add(tome::ObjectKind::Revision, tome::encode_revision(revision));
    }

    /// As many folders in one another as `depth`, with a file in the last.
    tome::Digest nested(std::size_t depth, const std::string& text) {
        tome::Digest tree = encoded({named("f", file(text))});
        for (std::size_t i = 0; i < depth; ++i) {
            tree = encoded({folder("d", tree)});
        }
        return tree;
    }

    void forget(const tome::Digest& digest) { objects_.erase(digest); }

    int reads = 0;
    int writes = 0;

  private:
    std::map<tome::Digest, std::string> objects_;
    int revisions_ = 0;
};

/// The text of the exception that `action` throws, or "no failure".
template <typename Action>
std::string engine_failure_of(Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "no failure";
}

}  // namespace quill_test
