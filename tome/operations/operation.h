// What every C operation does: check the records, run the body, turn an exception into the two error events. And the
// conversions between the engine's values and the records of tome.h.
#pragma once

#include <tome/tome.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tome/base/error.h"
#include "tome/checkout/checkout.h"
#include "tome/object/tree_diff.h"

namespace tome {

/// Sends the events of one call. Not called from two threads.
class Events {
  public:
    Events(tome_callback_t callback, uint64_t user) : callback_(callback), user_(user) {}

    void error(const std::string& text, ErrorCode code) const;
    void path(tome_event_kind_t kind, const std::string& path) const;
    void paths(tome_event_kind_t kind, const std::vector<std::string>& paths) const;
    void identity(tome_event_kind_t kind, const Digest& digest, std::uint64_t number) const;
    void change(tome_event_kind_t kind, const PathChange& change) const;
    void send(const tome_event_t& event) const;

  private:
    tome_callback_t callback_;
    uint64_t user_;
};

/// Text of a caller. Throws Error(Invalid) for a length without data.
std::string to_text(const tome_string_t& text);
std::vector<std::string> to_texts(const tome_string_array_t& texts);
tome_string_t view_of(std::string_view text);
tome_hash_t to_hash(const Digest& digest);
Digest to_digest(const tome_hash_t& hash);

/// The paths of a caller, checked.
std::vector<std::string> to_paths(const tome_string_array_t& texts);

/// globals.checkout, which must be an absolute path.
std::filesystem::path checkout_directory(const tome_globals_t& globals);

/// Whether the operation is to do without the remote.
bool is_offline(const tome_globals_t& globals);

/// globals.working_folder: absolute, or empty.
std::filesystem::path working_folder(const tome_globals_t& globals);

/// Opens the checkout that the globals name.
Checkout open_checkout(const tome_globals_t& globals, Checkout::Access access);

/// Runs `body` and reports its outcome as tome.h says. `name` is that of the calling operation, for the trace.
int32_t run_operation(const tome_globals_t* globals, const void* params, uint64_t user, tome_callback_t callback,
                      const std::function<void(const Events&)>& body, const char* name = __builtin_FUNCTION());

}  // namespace tome
