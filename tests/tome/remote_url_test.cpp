#include "tome/remote/remote_url.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tome/url_refusal.h"

namespace {

using namespace std::string_literals;
using quill_test::repository_refusal;

TEST(RemoteUrl, SplitsARepositoryFromItsRemote) {
    for (const char* url : {"file:///srv/scenes/Garden_1.a-b", "/srv/scenes/Garden_1.a-b", "/srv/scenes//Garden_1.a-b",
                            "file:///srv//scenes///Garden_1.a-b", "file:///srv/%73cenes/Garden_1.a-b"}) {
        const tome::RepositoryLocation location = tome::parse_repository_url(url);
        EXPECT_EQ(location.remote_url, "file:///srv/scenes") << url;
        EXPECT_EQ(location.name, "Garden_1.a-b") << url;
    }
}

TEST(RemoteUrl, TakesRepositoryNamesOfUpTo200Characters) {
    EXPECT_EQ(tome::parse_repository_url("/srv/" + std::string(200, 'a')).name, std::string(200, 'a'));
    EXPECT_NE(repository_refusal("/srv/" + std::string(201, 'a')), "");
}

TEST(RemoteUrl, RefusesOtherRepositoryNames) {
    for (const std::string& name :
         {""s,    "."s,    ".."s, ".a"s,   ".new-1"s, "a b"s,      "a:b"s, "a~b"s, "a\\b"s, "a%20b"s, "%2e%2e"s,
          "%00"s, "a\0b"s, "\0"s, "a\nb"s, "a\""s,    "\xc3\xa4"s, "a?b"s, "a#b"s, "a@b"s,  "a*b"s,   "$(id)"s}) {
        for (const char* remote : {"/srv/", "file:///srv/"}) {
            EXPECT_TRUE(repository_refusal(remote + name).starts_with("invalid remote URL ("))
                << remote << testing::PrintToString(name);
        }
    }
}

TEST(RemoteUrl, RefusesARepositoryWithoutARemote) {
    for (const char* url : {"", "name", "/name", "//name", "file:///name", "file://name", "file:name", "/", "file:///",
                            "srv/name", "../name", "-/name"}) {
        EXPECT_TRUE(repository_refusal(url).starts_with("invalid remote URL (")) << url;
    }
}

TEST(RemoteUrl, TellsRepositoriesOnARemoteFromPlainNames) {
    for (const char* text : {"file:///srv/name", "/srv/name", "srv/name", "https://host/name", "https://name"}) {
        EXPECT_TRUE(tome::is_repository_url(text)) << text;
    }
    for (const char* text : {"name", ".", "", "Garden_1.a-b", "-name", "a:b"}) {
        EXPECT_FALSE(tome::is_repository_url(text)) << text;
    }
}

}  // namespace
