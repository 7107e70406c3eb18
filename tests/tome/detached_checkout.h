// A folder with files beside a remote: a detached checkout, whose state lies in a folder of its own.
#pragma once

#include <map>
#include <string>

#include "tests/tome/engine_client.h"

namespace quill_test {

class DetachedCheckout : public EngineOperations {
  protected:
    /// The files of the remote's first revision, which another checkout published; the folder has the same ones, and
    /// the detached checkout knows that.
    void start(const std::map<std::string, std::string>& files) {
        author_.emplace(new_repository(files));
        for (const auto& [path, bytes] : files) {
            write(path, bytes);
        }
        package_.working_folder = (folder_ / "package").string();
        must(package_.clone(url_, {.sparse = true}));
        first_ = remote_head();
        must(package_.set_base({.revision = first_, .is_base = true}));
    }

    void write(const std::string& path, const std::string& bytes) const {
        write_file(folder_ / "package" / path, bytes);
    }
    std::string read(const std::string& path) const { return read_file(folder_ / "package" / path); }
    bool has(const std::string& path) const { return std::filesystem::exists(folder_ / "package" / path); }
    void remove(const std::string& path) const { std::filesystem::remove(folder_ / "package" / path); }

    /// Another checkout publishes new bytes for the path; none: removes it.
    std::string publish(const std::string& path, const std::optional<std::string>& bytes) const {
        must(author_->sync());
        bytes ? author_->write(path, *bytes) : void(std::filesystem::remove(*author_ / path));
        return author_->publish({path});
    }

    /// Another detached checkout for the same folder, which knows nothing of its files.
    EngineClient without_record() const {
        EngineClient other(folder_ / "other-state");
        other.working_folder = package_.working_folder;
        must(other.clone(url_, {.sparse = true}));
        return other;
    }

    std::vector<EngineFileState> states() const { return must(package_.file_state()).states; }

    std::optional<EngineClient> author_;
    EngineClient package_{folder_ / "state"};
    std::string first_;
};

}  // namespace quill_test
