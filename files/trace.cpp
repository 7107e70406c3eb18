#include "files/trace.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <system_error>

#include "files/file_descriptor.h"

namespace quill {
namespace {

std::atomic<const char*> fallback_variable{nullptr};

const char* target_of(const char* variable) {
    const char* target = variable == nullptr ? nullptr : std::getenv(variable);
    return target != nullptr && *target != '\0' ? target : nullptr;
}

int open_target() {
    const char* target = target_of("QUILL_TRACE");
    if (target == nullptr) {
        target = target_of(fallback_variable);
    }
    if (target == nullptr) {
        return -1;
    }
    if (std::string_view(target) == "-") {
        return STDERR_FILENO;
    }
    const int file = open(target, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    if (file < 0) {
        std::fprintf(stderr, "could not write the trace %s: %s\n", target,
                     std::generic_category().message(errno).c_str());
    }
    return file;
}

// Open until the process ends: detached threads may trace until then.
int trace_file() {
    static const int file = open_target();
    return file;
}

// UTC, ISO 8601, in microseconds.
std::string time_text() {
    const auto now = std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
    const auto microseconds = now.time_since_epoch().count();
    const std::time_t seconds = static_cast<std::time_t>(microseconds / 1'000'000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char day[sizeof "2026-01-01T00:00:00"];
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%s.%06dZ", day, static_cast<int>(microseconds % 1'000'000));
    return text;
}

void append_escaped(std::string& line, std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            line += c;
        } else {
            line += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
        }
    }
}

void write_line(std::string_view outcome, std::string_view kind, std::string_view subject) {
    std::string line = time_text() + ' ' + std::to_string(getpid()) + ' ';
    line += outcome;
    line += ' ';
    line += kind;
    line += ' ';
    append_escaped(line, subject);
    line += '\n';
    write_fully(trace_file(), line);  // A trace that cannot be written stops nobody's work.
}

}  // namespace

bool is_traced() {
    return trace_file() >= 0;
}

void set_trace_fallback(const char* name) {
    fallback_variable = name;
}

void trace_line(std::string_view kind, std::string_view text) {
    if (is_traced()) {
        const int number = errno;  // The caller may trace an error that it is about to report.
        write_line("-", kind, text);
        errno = number;
    }
}

TraceStep::TraceStep(std::string_view kind, std::string_view subject)
    : kind_(kind), subject_(subject), is_on_(is_traced()) {
    if (is_on_) {
        exceptions_ = std::uncaught_exceptions();
        start_ = std::chrono::steady_clock::now();
    }
}

TraceStep::~TraceStep() {
    if (!is_on_) {
        return;
    }
    const int number = errno;
    try {
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start_;
        char outcome[64];
        std::snprintf(outcome, sizeof outcome, "%.3fms", taken.count());
        std::string result = outcome;
        if (error_number_ != 0) {
            result += " errno=" + std::to_string(error_number_);
        } else if (std::uncaught_exceptions() > exceptions_) {
            result += " failed";
        }
        write_line(result, kind_, subject_);
    } catch (const std::exception&) {  // No memory for the line.
    }
    errno = number;
}

}  // namespace quill
