// A scripted engine: the functions of tome.h, standing in the test program itself and so found before those of
// libtome. Every call is recorded; what it does is a handler that a test may replace, for one call or for all.
//
// Threads: everything here may be used from any thread; handlers run on the calling thread without a lock held.
#pragma once

#include <tome/tome.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace fake_tome {

/// One call of the engine, copied out of its records.
struct Call {
    std::size_t number = 0;  ///< 1 for the first call after reset()
    std::string operation;   ///< name of the C function
    std::string checkout;
    std::string remote_url;
    std::string working_folder;
    std::uint64_t globals_size = 0;
    bool checkout_given = false;  ///< the checkout's pointer is not null
    bool offline = false;
    bool no_remote = false;
    bool use_remote = false;
    bool non_interactive = false;
    bool force = false;
    std::map<std::string, std::string> values;              ///< scalar parameters; hashes in hex, booleans "0" or "1"
    std::map<std::string, std::vector<std::string>> lists;  ///< array parameters

    const std::string& value(const std::string& name) const { return values.at(name); }
    const std::vector<std::string>& list(const std::string& name) const { return lists.at(name); }
};

/// Sends events to the caller of one operation. Texts must outlive the single call of a member.
class Events {
  public:
    Events(std::uint64_t user, tome_callback_t callback) : user_(user), callback_(callback) {}

    void send(const tome_event_t& event) const { callback_(&event, user_); }
    void text(std::int32_t kind, std::string_view text) const;
    void code(std::int32_t code) const;
    void path(std::int32_t kind, std::string_view path) const { text(kind, path); }
    void identity(std::int32_t kind, const tome_hash_t& hash, std::uint64_t number = 0) const;
    void file(std::int32_t kind, std::string_view path, const tome_hash_t& hash, std::uint64_t size,
              bool present = true) const;
    void status(const tome_hash_t& local, std::uint64_t local_order, const tome_hash_t& remote,
                std::uint64_t remote_order) const;
    void branch(std::string_view name, std::string_view kind, const tome_hash_t& head) const;
    void metadata(std::string_view key, std::string_view value) const;

    void storage_opened(std::uint64_t handle) const;
    void size(std::uint64_t bytes) const;
    void chunk(std::uint64_t offset, std::string_view bytes) const;

    /// Sends the two error events; returns `code` for the handler to return.
    std::int32_t fail(std::int32_t code, std::string_view text) const;

  private:
    std::uint64_t user_;
    tome_callback_t callback_;
};

/// Returns what the operation returns.
using Handler = std::function<std::int32_t(const Call&, const Events&)>;

/// Forgets calls, handlers and failures; every operation does its default again. The defaults succeed: create and clone
/// write .tome/config.toml (clone with the shared store's section when one is used), a commit and a restore report
/// revisions that count up from make_hash(1), a file's identity is that of the file on disk, the rest reports nothing
/// or as little as the header promises.
void reset();

/// Replaces what `operation` does.
void on(const std::string& operation, Handler handler);

/// Queues `handler` for one call of `operation`; the queue comes before on() and the default.
void once(const std::string& operation, Handler handler);

/// The default of `operation`, for handlers that do a little more than it.
std::int32_t do_default(const Call& call, const Events& events);

/// Lets the n-th call overall (from 1) fail, whatever its operation, without running its handler.
void fail_call(std::size_t n, std::int32_t code, std::string text);

std::vector<Call> calls();
std::vector<Call> calls(const std::string& operation);

/// Names of the operations in the order of the calls.
std::vector<std::string> operations();

/// A hash whose last byte is `last`, the other bytes 0xab, so that it is never zero; and its text.
tome_hash_t make_hash(std::uint8_t last);
std::string make_hash_hex(std::uint8_t last);

}  // namespace fake_tome
