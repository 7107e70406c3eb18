#include "tests/fuzz/fuzz_input.h"

#include <cstdio>
#include <cstdlib>

namespace quill_test {

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

std::uint8_t FuzzInput::byte() {
    if (rest_.empty()) {
        return 0;
    }
    const char first = rest_.front();
    rest_.remove_prefix(1);
    return static_cast<std::uint8_t>(first);
}

std::uint64_t FuzzInput::number() {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        value = value << 8U | byte();
    }
    return value;
}

std::string FuzzInput::text() {
    const std::size_t size = byte();
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return std::string(taken);
}

std::string_view whole_text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace quill_test
