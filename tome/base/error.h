// Errors of the engine. Inside the engine every failure is an exception of this type; operation.cpp turns it into the
// two error events.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tome {

/// The code that an operation returns. Callers tell cases apart by the text; the code tells what sort of failure it is.
enum class ErrorCode : std::int32_t {
    Invalid = 1,         ///< an argument that makes no sense
    NotFound = 2,        ///< a repository, branch, revision or path that is not there
    AlreadyExists = 3,   ///< a repository, branch or checkout that is there
    NothingStaged = 4,   ///< a commit without changes
    Moved = 5,           ///< the remote branch is not where it was
    WouldOverwrite = 6,  ///< bytes that exist nowhere else stand in the way
    Corrupt = 7,         ///< stored bytes that do not hash to their name, or do not parse
    Io = 8,              ///< the file system or the database refused
    Internal = 9         ///< memory, or a mistake of this library
};

class Error : public std::runtime_error {
  public:
    Error(ErrorCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
    ErrorCode code() const { return code_; }

  private:
    ErrorCode code_;
};

/// An Io error: `what`, ": " and the text of the system's error number `number`.
Error system_error(const std::string& what, int number);

}  // namespace tome
