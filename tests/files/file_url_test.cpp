#include "files/file_url.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FileUrl, GivesThePathBackWhateverBytesItHas) {
    for (int value = 1; value < 256; ++value) {
        const std::string path = std::string("/a/") + static_cast<char>(value) + "b";
        EXPECT_EQ(quill::path_named_by(quill::file_url_of(path)), path) << value;
    }
}

TEST(FileUrl, IsEncodedButForWhatEveryUrlTakes) {
    EXPECT_EQ(quill::file_url_of("/a b/100%/~x-y_z.9"), "file:///a%20b/100%25/~x-y_z.9");
    EXPECT_EQ(quill::path_named_by("file:///a%2fb%2Fc"), "/a/b/c");
}

TEST(FileUrl, MayBeAnAbsolutePath) {
    for (const char* path : {"/", "/a b", "/a%20b", "//a"}) {
        EXPECT_TRUE(quill::names_path(path)) << path;
        EXPECT_EQ(quill::path_named_by(path), path);
    }
}

TEST(FileUrl, IsNoOtherText) {
    for (const char* text : {"", "a", "./a", "file://host/a", "file://", "http:///a", "FILE:///a", " /a"}) {
        EXPECT_FALSE(quill::names_path(text)) << text;
        EXPECT_EQ(quill::path_named_by(text), std::nullopt) << text;
    }
}

TEST(FileUrl, IsNoTextWithMalformedEncoding) {
    for (const char* text : {"file:///a%", "file:///a%2", "file:///%zz", "file:///%2g", "file:///%%20"}) {
        EXPECT_TRUE(quill::names_path(text)) << text;
        EXPECT_EQ(quill::path_named_by(text), std::nullopt) << text;
    }
}

}  // namespace
