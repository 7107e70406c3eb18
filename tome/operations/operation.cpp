#include "tome/operations/operation.h"

#include <new>

#include "files/trace.h"
#include "tome/operations/remedy.h"

namespace tome {
namespace {

constexpr std::uint64_t max_text_bytes = 1U << 24U;

void check_records(const tome_globals_t* globals, const void* params) {
    if (globals == nullptr || params == nullptr) {
        throw Error(ErrorCode::Invalid, "the globals or the parameters are missing");
    }
    if (globals->size != sizeof(tome_globals_t)) {
        throw Error(ErrorCode::Invalid, "the caller was built for another version of this library (globals of " +
                                            std::to_string(globals->size) + " bytes, " +
                                            std::to_string(sizeof(tome_globals_t)) + " expected)");
    }
}

// One line: a name or a path in a text may hold a line feed.
std::string one_line(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

std::string remedy_for_error(const tome_globals_t* globals, const Error& error) {
    try {
        return error.code() == ErrorCode::Corrupt ? remedy_for(error.what(), checkout_directory(*globals))
                                                  : std::string();
    } catch (const std::exception&) {
        return {};  // The error itself is what matters.
    }
}

int32_t run_and_report(const tome_globals_t* globals, const void* params, const Events& events,
                       const std::function<void(const Events&)>& body) {
    const auto fail = [&](const std::string& text, ErrorCode code) {
        quill::trace_line("error", text);
        events.error(one_line(text), code);
        return static_cast<int32_t>(code);
    };
    try {
        check_records(globals, params);
        body(events);
        return 0;
    } catch (const Error& error) {
        return fail(error.what() + remedy_for_error(globals, error), error.code());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return fail(error.what(), ErrorCode::Internal);
    }
}

}  // namespace

void Events::send(const tome_event_t& event) const {
    if (callback_ != nullptr) {
        callback_(&event, user_);
    }
}

void Events::error(const std::string& text, ErrorCode code) const {
    tome_event_t event{};
    event.kind = TOME_EVENT_ERROR_TEXT;
    event.as.text = view_of(text);
    send(event);
    event = {};
    event.kind = TOME_EVENT_ERROR_CODE;
    event.as.code = static_cast<int32_t>(code);
    send(event);
}

void Events::path(tome_event_kind_t kind, const std::string& path) const {
    tome_event_t event{};
    event.kind = kind;
    event.as.path = view_of(path);
    send(event);
}

void Events::paths(tome_event_kind_t kind, const std::vector<std::string>& paths) const {
    for (const std::string& text : paths) {
        path(kind, text);
    }
}

void Events::identity(tome_event_kind_t kind, const Digest& digest, std::uint64_t number) const {
    tome_event_t event{};
    event.kind = kind;
    event.as.identity = {to_hash(digest), number};
    send(event);
}

void Events::change(tome_event_kind_t kind, const PathChange& change) const {
    tome_event_t event{};
    event.kind = kind;
    event.as.change = {view_of(change.path), view_of(change.previous_path), static_cast<int32_t>(change.kind)};
    send(event);
}

std::string to_text(const tome_string_t& text) {
    if (text.length > 0 && text.data == nullptr) {
        return {};
    }
    if (text.length > max_text_bytes) {
        throw Error(ErrorCode::Invalid, "text of " + std::to_string(text.length) + " bytes is too long");
    }
    return text.length == 0 ? std::string() : std::string(text.data, static_cast<std::size_t>(text.length));
}

std::vector<std::string> to_texts(const tome_string_array_t& texts) {
    if (texts.count > 0 && texts.items == nullptr) {
        throw Error(ErrorCode::Invalid, "an array of texts is missing");
    }
    std::vector<std::string> result;
    for (std::uint64_t i = 0; i < texts.count; ++i) {
        result.push_back(to_text(texts.items[i]));
    }
    return result;
}

tome_string_t view_of(std::string_view text) {
    return {text.data(), text.size()};
}

tome_hash_t to_hash(const Digest& digest) {
    tome_hash_t hash{};
    std::copy(digest.bytes.begin(), digest.bytes.end(), hash.bytes);
    return hash;
}

Digest to_digest(const tome_hash_t& hash) {
    Digest digest;
    std::copy(std::begin(hash.bytes), std::end(hash.bytes), digest.bytes.begin());
    return digest;
}

std::vector<std::string> to_paths(const tome_string_array_t& texts) {
    std::vector<std::string> paths;
    for (const std::string& text : to_texts(texts)) {
        paths.push_back(TreePath::parse(text).text());
    }
    return paths;
}

std::filesystem::path checkout_directory(const tome_globals_t& globals) {
    const std::string text = to_text(globals.checkout);
    if (!text.starts_with('/') || text.find('\0') != std::string::npos) {
        throw Error(ErrorCode::Invalid, "the checkout's directory is no absolute path: " + text);
    }
    return std::filesystem::path(text).lexically_normal();
}

std::filesystem::path working_folder(const tome_globals_t& globals) {
    const std::string text = to_text(globals.working_folder);
    if (!text.empty() && (!text.starts_with('/') || text.find('\0') != std::string::npos)) {
        throw Error(ErrorCode::Invalid, "the working folder is no absolute path: " + text);
    }
    return std::filesystem::path(text).lexically_normal();
}

bool is_offline(const tome_globals_t& globals) {
    return globals.offline != 0 && globals.use_remote == 0;
}

Checkout open_checkout(const tome_globals_t& globals, Checkout::Access access) {
    return {checkout_directory(globals), access, is_offline(globals), working_folder(globals)};
}

int32_t run_operation(const tome_globals_t* globals, const void* params, uint64_t user, tome_callback_t callback,
                      const std::function<void(const Events&)>& body, const char* name) {
    quill::set_trace_fallback("TOME_TRACE");
    const Events events(callback, user);
    try {
        const quill::TraceStep step("operation", name);
        return run_and_report(globals, params, events, body);
    } catch (const std::bad_alloc&) {
        // Perhaps the text of another failure took the last memory. This one is short enough to need none.
        events.error("out of memory", ErrorCode::Internal);
        return static_cast<int32_t>(ErrorCode::Internal);
    }
}

}  // namespace tome
