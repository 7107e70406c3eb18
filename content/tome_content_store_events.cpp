// The callback of the storage calls: what becomes of each event of the engine.
#include <tome/tome.h>

#include <algorithm>
#include <cstring>
#include <exception>

#include "content/tome_content_store.h"

namespace quill {
namespace {

constexpr std::uint32_t not_recorded = ~std::uint32_t{0};

void record_chunk(TomeCallState& state, const tome_storage_chunk_event_t& chunk) {
    const std::size_t end = static_cast<std::size_t>(chunk.offset) + static_cast<std::size_t>(chunk.length);
    if (state.bytes.size() < end) {
        state.bytes.resize(end);
    }
    if (chunk.length != 0 && chunk.data != nullptr) {
        std::memcpy(state.bytes.data() + chunk.offset, chunk.data, static_cast<std::size_t>(chunk.length));
    }
}

void record(TomeCallState& state, const tome_event& event) {
    switch (event.kind) {
        case TOME_EVENT_ERROR_TEXT:
            state.message.assign(event.as.text.data != nullptr ? event.as.text.data : "",
                                 event.as.text.data != nullptr ? static_cast<std::size_t>(event.as.text.length) : 0);
            break;
        case TOME_EVENT_ERROR_CODE:
            state.status = static_cast<std::uint32_t>(event.as.code);
            break;
        case TOME_EVENT_STORAGE_OPENED:
            state.handle = event.as.handle;
            break;
        case TOME_EVENT_STORAGE_ITEM:
            std::copy(std::begin(event.as.item.digest.bytes), std::end(event.as.item.digest.bytes),
                      state.item.name.begin());
            std::copy(std::begin(event.as.item.context), std::end(event.as.item.context), state.item.name.begin() + 32);
            state.item.failed = event.as.item.failed;
            break;
        case TOME_EVENT_STORAGE_SIZE:
            state.bytes.resize(static_cast<std::size_t>(event.as.size));
            break;
        case TOME_EVENT_STORAGE_CHUNK:
            record_chunk(state, event.as.chunk);
            break;
        case TOME_EVENT_STORAGE_FAILED:
            state.item_flag = static_cast<std::uint32_t>(event.as.code);
            break;
        default:
            break;
    }
}

}  // namespace

void tome_callback(const tome_event* event, std::uint64_t user) {
    auto* state = reinterpret_cast<TomeCallState*>(static_cast<std::uintptr_t>(user));
    if (event == nullptr || state == nullptr) {
        return;
    }
    try {
        record(*state, *event);
    } catch (const std::exception&) {
        state->status = not_recorded;
    }
}

}  // namespace quill
