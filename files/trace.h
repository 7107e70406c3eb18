// What the program does, a line for each step, for whoever has to find out what happened: calls of the engine, files
// written, locks waited for, remotes asked, errors with the system's number. docs/architecture.md describes the lines.
//
// The environment's QUILL_TRACE names the file that lines are appended to; "-" is standard error. The engine writes to
// the same place, and where QUILL_TRACE is not set to what TOME_TRACE names. Nothing is traced otherwise, and a step
// then costs one comparison. Lines hold paths and names, never contents, passwords or the values of metadata.
// Any thread; processes may share a file, because each line is written at once.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace quill {

/// Whether steps are traced.
bool is_traced();

/// Has the variable `name` decide where QUILL_TRACE is not set. Without effect once it was asked whether steps are
/// traced.
void set_trace_fallback(const char* name);

/// Writes a line without a duration: `kind` and `text`, in which control characters are escaped.
void trace_line(std::string_view kind, std::string_view text);

/// A step that takes time. Its line is written when it ends: the duration, whether it ended by an exception, `kind` and
/// `subject`, which must outlive it.
class TraceStep {
  public:
    TraceStep(std::string_view kind, std::string_view subject);
    ~TraceStep();
    TraceStep(const TraceStep&) = delete;
    TraceStep& operator=(const TraceStep&) = delete;

    /// The step failed with the system's error `number`.
    void fail(int number) { error_number_ = number; }

  private:
    std::string_view kind_;
    std::string_view subject_;
    std::chrono::steady_clock::time_point start_;
    int exceptions_ = 0;
    int error_number_ = 0;
    bool is_on_;
};

}  // namespace quill
