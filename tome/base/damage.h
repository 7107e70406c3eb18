// Errors about a damaged database: "corrupt KIND: WHAT". WHAT begins with the path of the database where that is known;
// operations/remedy finds the advice for the user by it.
#pragma once

#include <string>
#include <string_view>

#include "tome/base/error.h"

namespace tome {

enum class DatabaseKind {
    Any,    ///< "database": SQLite cannot read it
    Index,  ///< "index": of a checkout
    Store   ///< "store": objects, branches and blobs
};

/// Error(Corrupt) "corrupt KIND: WHAT".
Error damaged(DatabaseKind kind, const std::string& what);

/// WHAT in such a text; empty for any other text.
std::string_view what_is_damaged(std::string_view text);

}  // namespace tome
