#include "files/file_url.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FileUrl, GivesThePathBackWhateverBytesItHas) {
    for (int value = 1; value < 256; ++value) {
        const std::string path = std::string("/a/") + static_cast<char>(value) + "b";
        EXPECT_EQ(quill::path_of_file_url(quill::file_url_of(path)), path) << value;
    }
}

TEST(FileUrl, IsEncodedButForWhatEveryUrlTakes) {
    EXPECT_EQ(quill::file_url_of("/a b/100%/~x-y_z.9"), "file:///a%20b/100%25/~x-y_z.9");
    EXPECT_EQ(quill::path_of_file_url("file:///a%2fb%2Fc"), "/a/b/c");
}

TEST(FileUrl, IsNoOtherText) {
    for (const char* text : {"", "/a", "file://host/a", "file://", "http:///a", "FILE:///a"}) {
        EXPECT_EQ(quill::path_of_file_url(text), std::nullopt) << text;
    }
}

TEST(FileUrl, IsNoTextWithMalformedEncoding) {
    for (const char* text : {"file:///a%", "file:///a%2", "file:///%zz", "file:///%2g", "file:///%%20"}) {
        EXPECT_EQ(quill::path_of_file_url(text), std::nullopt) << text;
    }
}

}  // namespace
