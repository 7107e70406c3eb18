// Writing new trees, revisions and metadata nodes: into a store, or into a list that a remote takes in one step.
#pragma once

#include <string>
#include <vector>

#include "tome/object/object_source.h"

namespace tome {

class ObjectSink {
  public:
    virtual ~ObjectSink() = default;
    /// Adds an object whose references were added before; returns its name.
    virtual Digest add(ObjectKind kind, const std::string& bytes) = 0;
};

struct NewObject {
    ObjectKind kind;
    Digest digest;
    std::string bytes;
};

/// Keeps the objects in the order in which they came, and finds them again.
class ObjectList final : public ObjectSink {
  public:
    Digest add(ObjectKind kind, const std::string& bytes) override {
        objects_.push_back({kind, digest_of(bytes), bytes});
        return objects_.back().digest;
    }
    const std::vector<NewObject>& objects() const { return objects_; }

  private:
    std::vector<NewObject> objects_;
};

}  // namespace tome
