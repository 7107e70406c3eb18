#include "tome/remote/directory_url.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tome/url_refusal.h"

namespace {

using namespace std::string_literals;
using quill_test::remote_refusal;
using quill_test::repository_refusal;

// The URL is refused with a text that names it, as a remote and as the remote of a repository.
void expect_refused(const std::string& url) {
    const std::string text = remote_refusal(url);
    EXPECT_TRUE(text.starts_with("invalid remote URL (")) << testing::PrintToString(url) << ": " << text;
    EXPECT_TRUE(text.ends_with("): " + url)) << testing::PrintToString(url) << ": " << text;
    EXPECT_TRUE(repository_refusal(url + "/name").starts_with("invalid remote URL (")) << testing::PrintToString(url);
}

TEST(DirectoryUrl, NamesADirectory) {
    for (const char* url : {"file:///srv/scenes", "/srv/scenes", "/srv/scenes/", "/srv/scenes///", "/srv//scenes",
                            "//srv/scenes", "file:////srv/scenes", "file:///srv/scenes/", "file:///srv/./scenes/.",
                            "file:///srv/%73cenes", "file:///%2e/srv/scenes", "file:///srv%2Fscenes%2f"}) {
        EXPECT_EQ(tome::directory_of_url(url), "/srv/scenes") << url;
    }
}

TEST(DirectoryUrl, DecodesPercentSignsOnce) {
    EXPECT_EQ(tome::directory_of_url("file:///a%20b"), "/a b");
    EXPECT_EQ(tome::directory_of_url("file:///%c3%A4"), "/\xc3\xa4");
    EXPECT_EQ(tome::directory_of_url("file:///%41%5a%7E"), "/AZ~");
    EXPECT_EQ(tome::directory_of_url("file:///%FF%01"), "/\xff\x01");
    EXPECT_EQ(tome::directory_of_url("file:///100%25"), "/100%");
    EXPECT_EQ(tome::directory_of_url("file:///a%2520b"), "/a%20b");
    EXPECT_EQ(tome::directory_of_url("file:///%252e%252e/a"), "/%2e%2e/a");
    EXPECT_EQ(tome::directory_of_url("file:///a+b"), "/a+b");
}

TEST(DirectoryUrl, TakesAPlainPathAsItStands) {
    EXPECT_EQ(tome::directory_of_url("/srv/a%20b"), "/srv/a%20b");
    EXPECT_EQ(tome::directory_of_url("/srv/100%"), "/srv/100%");
    EXPECT_EQ(tome::directory_of_url("/srv/%2e%2e/a"), "/srv/%2e%2e/a");
    EXPECT_EQ(tome::directory_of_url("/srv/a#b?c"), "/srv/a#b?c");
    EXPECT_EQ(tome::directory_of_url("/srv/ana@work"), "/srv/ana@work");
}

TEST(DirectoryUrl, TakesUnusualNamesBelowTheRoot) {
    for (const char* path : {"/-srv", "/srv/--upload-pack=x", "/srv/...", "/srv/..a", "/srv/a..", "/srv/$(id)", "/~"}) {
        EXPECT_EQ(tome::directory_of_url(path), path);
        EXPECT_EQ(tome::directory_of_url("file://"s + path), path);
    }
}

TEST(DirectoryUrl, RefusesOtherSchemes) {
    for (const char* url : {"http://host/srv", "https://host/srv", "ssh://host/srv", "s3://bucket/srv", "ext::sh -c id",
                            "files:///srv", "xfile:///srv", "://srv", ":///srv", "data:,x"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesAMissingOrMalformedScheme) {
    for (const char* url : {"file:srv", "file:/srv", "file", "file:", "file//srv", " file:///srv", "C:/srv", "C:\\srv",
                            "\\\\host\\srv", "host:srv", "host:/srv"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesAHost) {
    for (const char* url : {"file://host/srv", "file://localhost/srv", "file://srv", "file://./srv", "file://../srv",
                            "file://~/srv", "file://-oProxyCommand=id/srv", "file://host:80/srv"}) {
        expect_refused(url);
    }
    EXPECT_TRUE(remote_refusal("file://").starts_with("invalid remote URL ("));
}

TEST(DirectoryUrl, RefusesAHostThatIsAPercentEncodedSlash) {
    for (const char* url : {"file://%2Fsrv/scenes", "file://%2fsrv", "file://%2F%2Fsrv/scenes"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesRelativePaths) {
    for (const char* url : {"srv", "srv/scenes", "./srv", "../srv", ".", "..", "~", "~/srv", " /srv", "\t/srv"}) {
        expect_refused(url);
    }
    EXPECT_EQ(remote_refusal("").substr(0, 20), "invalid remote URL (");
}

TEST(DirectoryUrl, RefusesALeadingDash) {
    for (const char* url : {"-", "--", "-srv", "--upload-pack=id", "-/srv", "--file:///srv", "-file:///srv"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesToGoUp) {
    for (const char* url :
         {"/..", "/../srv", "/srv/..", "/srv/../etc", "/srv/a/../../../etc", "file:///..", "file:///srv/../etc",
          "file:///srv/%2e%2e/etc", "file:///srv/%2E%2E/etc", "file:///srv/%2e%2E", "file:///srv/.%2e/etc",
          "file:///srv/%2e./etc", "file:///srv%2F..%2Fetc", "file:///srv%2f%2e%2e%2fetc", "file:///%2e%2e"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesNul) {
    for (const std::string& url : {"file:///srv%00"s, "file:///srv%00/../etc"s, "file:///%00"s, "file:///srv/a%00.b/c"s,
                                   "/srv\0"s, "/srv\0/a"s, "file:///srv\0a"s, "\0/srv"s, "\0"s}) {
        EXPECT_TRUE(remote_refusal(url).starts_with("invalid remote URL (")) << testing::PrintToString(url);
        EXPECT_TRUE(repository_refusal(url + "/a").starts_with("invalid remote URL (")) << testing::PrintToString(url);
    }
}

TEST(DirectoryUrl, RefusesMalformedPercentEncoding) {
    for (const char* url :
         {"file:///srv%", "file:///srv%2", "file:///srv%zz", "file:///srv%2g", "file:///srv%g2", "file:///srv% 20",
          "file:///srv%%20", "file:///srv%+1a", "file:///srv%-1", "file:///%0x41", "file:///srv%2/a"}) {
        expect_refused(url);
    }
}

TEST(DirectoryUrl, RefusesTheRootDirectory) {
    for (const char* url : {"/", "//", "///", "/.", "/./.", "file:///", "file:////", "file:///.", "file:///%2F"}) {
        EXPECT_TRUE(remote_refusal(url).starts_with("invalid remote URL (")) << url;
    }
}

TEST(DirectoryUrl, IsWrittenInOneForm) {
    for (const char* url : {"/srv/scenes", "/srv/scenes/", "//srv//scenes", "file:///srv/./scenes",
                            "file:///srv/%73%63enes", "file:////srv/scenes//"}) {
        EXPECT_EQ(tome::url_of_directory(tome::directory_of_url(url)), "file:///srv/scenes") << url;
    }
}

TEST(DirectoryUrl, IsWrittenWithPercentEncoding) {
    EXPECT_EQ(tome::url_of_directory("/srv/a b"), "file:///srv/a%20b");
    EXPECT_EQ(tome::url_of_directory("/srv/100%"), "file:///srv/100%25");
    EXPECT_EQ(tome::url_of_directory("/srv/\xc3\xa4"), "file:///srv/%C3%A4");
    EXPECT_EQ(tome::url_of_directory("/a\"b#c?d\\e\nf]g"), "file:///a%22b%23c%3Fd%5Ce%0Af%5Dg");
    EXPECT_EQ(tome::url_of_directory("/AZaz09-_.~/b"), "file:///AZaz09-_.~/b");
}

TEST(DirectoryUrl, IsWrittenSoThatEveryByteReadsBack) {
    for (int value = 1; value < 256; ++value) {
        const std::string path = "/srv/x"s + static_cast<char>(value) + "y";
        const std::string url = tome::url_of_directory(path);
        EXPECT_EQ(url.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                        "-_.~/:%@!$&()*+,;="),
                  std::string::npos)
            << url;
        EXPECT_EQ(tome::directory_of_url(url), path) << value;
    }
}

}  // namespace
