#include "tome/remote/repository.h"

#include <algorithm>
#include <array>

#include "files/file_url.h"
#include "tome/remote/directory_remote.h"
#include "tome/remote/traced_remote.h"
#include "tome/remote/url_error.h"

namespace tome {
namespace {

struct RemoteKind {
    std::string_view scheme;  // what its canonical URLs begin with
    std::unique_ptr<Remote> (*open)(const RepositoryLocation&);
    void (*create)(const RepositoryLocation&);
    bool (*is_there)(const RepositoryLocation&);
    std::string (*place_of)(const RepositoryLocation&);
};

constexpr std::array kinds{RemoteKind{quill::file_scheme, DirectoryRemote::open, DirectoryRemote::create_repository,
                                      DirectoryRemote::is_there, DirectoryRemote::place_of}};

const RemoteKind& kind_of(const RepositoryLocation& location) {
    const auto* const found = std::find_if(kinds.begin(), kinds.end(), [&](const RemoteKind& kind) {
        return location.remote_url.starts_with(kind.scheme);
    });
    if (found == kinds.end()) {
        refuse_url(location.remote_url, "unknown scheme");
    }
    return *found;
}

}  // namespace

std::unique_ptr<Remote> open_repository(const RepositoryLocation& location) {
    return traced(kind_of(location).open(location));
}

void create_repository(const RepositoryLocation& location) {
    kind_of(location).create(location);
}

bool repository_is_there(const RepositoryLocation& location) {
    return kind_of(location).is_there(location);
}

std::string repository_place(const RepositoryLocation& location) {
    return kind_of(location).place_of(location);
}

}  // namespace tome
