#include "tome/remote/traced_remote.h"

#include <string>
#include <string_view>

#include "files/trace.h"

namespace tome {
namespace {

// Calls `ask` as a step of the trace.
template <typename Ask>
auto step(const std::string& place, const std::string& what, const Ask& ask) {
    const std::string subject = what + " at " + place;
    const quill::TraceStep traced_step("remote", subject);
    return ask();
}

std::string counted(std::string_view what, std::size_t count) {
    return std::string(what) + " " + std::to_string(count);
}

class TracedSource final : public ObjectSource {
  public:
    TracedSource(std::shared_ptr<ObjectSource> source, std::string place)
        : source_(std::move(source)), place_(std::move(place)) {}

    std::optional<std::string> find_object(const Digest& digest) override {
        return step(place_, "read object " + to_hex(digest), [&] { return source_->find_object(digest); });
    }
    std::vector<std::optional<std::string>> find_objects(const std::vector<Digest>& digests) override {
        return step(place_, counted("read objects", digests.size()), [&] { return source_->find_objects(digests); });
    }
    std::optional<Content> find_content(const Digest& digest) override {
        return step(place_, "open content " + to_hex(digest), [&] { return source_->find_content(digest); });
    }
    std::optional<std::string> read_content(const Digest& digest) override {
        return step(place_, "read content " + to_hex(digest), [&] { return source_->read_content(digest); });
    }
    std::optional<std::uint64_t> content_size(const Digest& digest) override {
        return step(place_, "size of content " + to_hex(digest), [&] { return source_->content_size(digest); });
    }
    bool contains(ObjectKind kind, const Digest& digest) override {
        return step(place_, "look for object " + to_hex(digest), [&] { return source_->contains(kind, digest); });
    }
    ObjectNames missing(const ObjectNames& names) override {
        return step(place_, counted("look for objects", names.size()), [&] { return source_->missing(names); });
    }
    std::vector<Digest> lost(const std::vector<Digest>& contents) override {
        return step(place_, counted("look for lost contents", contents.size()),
                    [&] { return source_->lost(contents); });
    }
    bool is_sound(ObjectKind kind, const Digest& digest) override {
        return step(place_, "verify object " + to_hex(digest), [&] { return source_->is_sound(kind, digest); });
    }
    ObjectNames unsound(const ObjectNames& names) override {
        return step(place_, counted("verify objects", names.size()), [&] { return source_->unsound(names); });
    }
    std::uint64_t write_content(const Digest& digest, int to, const std::string& name) override {
        return step(place_, "copy content " + to_hex(digest), [&] { return source_->write_content(digest, to, name); });
    }

  private:
    std::shared_ptr<ObjectSource> source_;
    std::string place_;
};

class TracedRemote final : public Remote {
  public:
    explicit TracedRemote(std::unique_ptr<Remote> remote) : remote_(std::move(remote)), place_(remote_->place()) {}

    std::string place() const override { return place_; }
    std::shared_ptr<ObjectSource> objects() override {
        return std::make_shared<TracedSource>(remote_->objects(), place_);
    }
    void add_objects(ObjectSource& source, const ObjectNames& wanted,
                     const std::vector<NewObject>& new_objects) override {
        step(place_, counted("add objects", wanted.size() + new_objects.size()),
             [&] { remote_->add_objects(source, wanted, new_objects); });
    }
    bool has_blob(const BlobKey& key) override {
        return step(place_, "look for blob " + to_hex(key.digest), [&] { return remote_->has_blob(key); });
    }
    void add_blobs(ObjectSource& source, const std::vector<BlobKey>& keys) override {
        step(place_, counted("add blobs", keys.size()), [&] { remote_->add_blobs(source, keys); });
    }
    std::optional<BranchRecord> find_branch(const BranchName& name) override {
        return step(place_, "read branch " + name.text(), [&] { return remote_->find_branch(name); });
    }
    std::vector<BranchRecord> branches() override {
        return step(place_, "list branches", [&] { return remote_->branches(); });
    }
    bool compare_and_set(const BranchRecord& record, std::int64_t above) override {
        return step(place_, "move branch " + record.name, [&] { return remote_->compare_and_set(record, above); });
    }

  private:
    std::unique_ptr<Remote> remote_;
    std::string place_;
};

}  // namespace

std::unique_ptr<Remote> traced(std::unique_ptr<Remote> remote) {
    if (quill::is_traced()) {
        return std::make_unique<TracedRemote>(std::move(remote));
    }
    return remote;
}

}  // namespace tome
