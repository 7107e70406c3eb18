// A checkout's configuration: whatever the file holds is read or refused as an engine error; what is written is read
// back. The input is the file's text and, cut into values, a configuration.
#include <fstream>
#include <tuple>

#include "tests/fuzz/fuzz_input.h"
#include "tests/support/temporary_folder.h"
#include "tome/base/error.h"
#include "tome/checkout/checkout_config.h"

namespace {

using quill_test::FuzzInput;
using quill_test::require;
using tome::CheckoutConfig;

CheckoutConfig read_text(std::string_view text) {
    static const quill_test::TemporaryFolder folder;
    std::ofstream(folder / "config.toml", std::ios::binary | std::ios::trunc) << text;
    return tome::read_config(folder / "config.toml");
}

bool equal(const CheckoutConfig& a, const CheckoutConfig& b) {
    const auto fields = [](const CheckoutConfig& of) {  // Names all members: with another one it does not compile.
        const auto& [remote, repository, description, use_shared_store, shared_store, branch_memory, detached] = of;
        return std::tie(remote, repository, description, use_shared_store, shared_store, branch_memory, detached);
    };
    return fields(a) == fields(b);
}

void check_written(CheckoutConfig config) {
    std::string text;
    try {
        text = tome::config_text(config);
    } catch (const tome::Error& error) {
        require(error.code() == tome::ErrorCode::Invalid, "a configuration that is not written is invalid");
        return;
    }
    if (!config.use_shared_store) {  // A path that is not used is not written.
        config.shared_store.clear();
    }
    require(equal(read_text(text), config), "a written configuration is read back");
}

void check_text(std::string_view text) {
    CheckoutConfig config;
    try {
        config = read_text(text);
    } catch (const tome::Error& error) {
        require(error.code() == tome::ErrorCode::Corrupt || error.code() == tome::ErrorCode::Io,
                "a configuration that is not read is damaged");
        return;
    }
    check_written(config);
}

CheckoutConfig config_in(FuzzInput input) {
    CheckoutConfig config;
    const std::uint8_t choices = input.byte();
    config.use_shared_store = (choices & 1U) != 0;
    config.remote_url = input.text();
    config.repository_url = input.text();
    config.shared_store = input.text();
    config.description = input.text();
    if ((choices & 2U) != 0) {
        std::string folder = input.text();
        std::erase(folder, '\0');  // No path holds one; a configuration that does is refused.
        config.branch_memory = "../" + folder + "/.branch-memory";
    }
    return config;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    check_text(quill_test::whole_text(data, size));
    check_written(config_in(FuzzInput(data, size)));
    return 0;
}
