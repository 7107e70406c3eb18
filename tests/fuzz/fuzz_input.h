// What the fuzzers share: an input cut into values, and the failure that an engine and a test notice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quill_test {

/// Prints `what` and aborts unless `holds`.
void require(bool holds, const char* what);

/// Cuts a fuzzer's input into values, from its first byte on; one that is used up yields zeros and empty texts. A view:
/// the input outlives it.
class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool at_end() const { return rest_.empty(); }
    /// The next byte.
    std::uint8_t byte();
    /// The next eight bytes, the most significant first.
    std::uint64_t number();
    /// As many bytes as the next byte says, or all that are left.
    std::string text();

  private:
    std::string_view rest_;
};

/// The whole input as a text.
std::string_view whole_text(const std::uint8_t* data, std::size_t size);

}  // namespace quill_test
