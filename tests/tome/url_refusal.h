// What the engine says of URLs that it refuses.
#pragma once

#include <string>

#include "tome/base/error.h"
#include "tome/remote/directory_url.h"
#include "tome/remote/remote_url.h"

namespace quill_test {

// "" when the call succeeds, else the text of the error, which is marked when its code is not Invalid.
template <typename Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const tome::Error& error) {
        return (error.code() == tome::ErrorCode::Invalid ? "" : "not Invalid: ") + std::string(error.what());
    }
    return "";
}

inline std::string remote_refusal(const std::string& url) {
    return refusal([&] { tome::directory_of_url(url); });
}

inline std::string repository_refusal(const std::string& url) {
    return refusal([&] { tome::parse_repository_url(url); });
}

}  // namespace quill_test
