#include "tome/checkout/checkout_config.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>

#include "tests/support/temporary_folder.h"
#include "tome/base/error.h"

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using quill_test::read_file;
using quill_test::write_file;
using tome::CheckoutConfig;
using tome::ErrorCode;

const std::string required = "remote_url = \"r\"\nrepository_url = \"r/n\"\n";

class CheckoutConfigFile : public testing::Test {
  protected:
    CheckoutConfig read_text(const std::string& text) const {
        write_file(file_, text);
        return tome::read_config(file_);
    }
    CheckoutConfig read_back(const CheckoutConfig& config) const { return read_text(tome::config_text(config)); }

    // "" when the file is read, else the text of the error, which is marked when its code is another one.
    std::string refusal(ErrorCode code) const {
        try {
            tome::read_config(file_);
        } catch (const tome::Error& error) {
            return (error.code() == code ? "" : "of another code: ") + std::string(error.what());
        }
        return "";
    }

    void expect_damaged(const std::string& text) const {
        write_file(file_, text);
        const std::string found = refusal(ErrorCode::Corrupt);
        EXPECT_TRUE(found.starts_with("damaged checkout configuration: " + file_.string()))
            << testing::PrintToString(text.substr(0, 200)) << ": " << found;
    }

    quill_test::TemporaryFolder folder_;
    fs::path file_ = folder_ / "checkout/.tome/config.toml";
};

void expect_same(const CheckoutConfig& found, const CheckoutConfig& expected) {
    EXPECT_EQ(found.remote_url, expected.remote_url);
    EXPECT_EQ(found.repository_url, expected.repository_url);
    EXPECT_EQ(found.description, expected.description);
    EXPECT_EQ(found.use_shared_store, expected.use_shared_store);
    EXPECT_EQ(found.shared_store, expected.shared_store);
}

// ---- Writing

TEST_F(CheckoutConfigFile, IsWrittenAsDocumented) {
    EXPECT_EQ(tome::config_text({"file:///srv/scenes", "file:///srv/scenes/hpqSFkHJCYnB4cfI",
                                 "Keel content-addressed project repository", false, ""}),
              "remote_url = \"file:///srv/scenes\"\n"
              "repository_url = \"file:///srv/scenes/hpqSFkHJCYnB4cfI\"\n"
              "description = \"Keel content-addressed project repository\"\n"
              "\n"
              "[shared_store_to_use]\n"
              "use_shared_store = false\n");
}

TEST_F(CheckoutConfigFile, IsWrittenWithItsSharedStore) {
    EXPECT_EQ(tome::config_text({"file:///r", "file:///r/n", "", true, "/srv/store"}),
              "remote_url = \"file:///r\"\n"
              "repository_url = \"file:///r/n\"\n"
              "description = \"\"\n"
              "\n"
              "[shared_store_to_use]\n"
              "use_shared_store = true\n"
              "path = \"/srv/store\"\n");
}

TEST_F(CheckoutConfigFile, EscapesWhatWouldEndAValue) {
    const std::string text = tome::config_text({"", "", "a\"b\\c\nd\re\tf\0g\x7fh"s, false, ""});
    EXPECT_NE(text.find("description = \"a\\\"b\\\\c\\u000Ad\\u000De\\u0009f\\u0000g\\u007Fh\"\n"), std::string::npos)
        << text;
}

// ---- Round trips

TEST_F(CheckoutConfigFile, GivesBackWhatWasWritten) {
    for (const CheckoutConfig& config :
         {CheckoutConfig{"file:///srv/scenes", "file:///srv/scenes/n", "Some text", false, ""},
          CheckoutConfig{"file:///srv/scenes", "file:///srv/scenes/n", "", true, "/srv/the store"},
          CheckoutConfig{"", "", "", false, ""}, CheckoutConfig{"", "", "", true, "/s"}}) {
        expect_same(read_back(config), config);
    }
}

TEST_F(CheckoutConfigFile, GivesBackAnyTextExactly) {
    for (const std::string& text : {"a\"b"s,
                                    "\"\"\""s,
                                    "'''"s,
                                    "a'b"s,
                                    "back\\slash\\"s,
                                    "\\n"s,
                                    "\\u0041"s,
                                    "line\nline"s,
                                    "\n"s,
                                    "cr\rlf\r\n"s,
                                    "]"s,
                                    "[shared_store_to_use]\nuse_shared_store = true\npath = \"/evil\""s,
                                    "a = b"s,
                                    "# no comment"s,
                                    "\"\nremote_url = \"file:///evil"s,
                                    " blanks "s,
                                    "\t"s,
                                    "\0"s,
                                    "a\0b"s,
                                    "\x01\x1f\x7f"s,
                                    "\b\f\x1b[2J"s,
                                    "\u00e4\u65e5\U0001f600"s,
                                    "\u0085\u2028\ufeff"s,
                                    "%s%n"s,
                                    std::string(300'000, 'x')}) {
        const std::string what = testing::PrintToString(text.substr(0, 100));
        const CheckoutConfig described{"file:///r", "file:///r/n", text, false, ""};
        EXPECT_EQ(read_back(described).description, text) << what;
        expect_same(read_back(described), described);
        const CheckoutConfig located{text, text, "", true, text};
        expect_same(read_back(located), located);
    }
}

TEST_F(CheckoutConfigFile, GivesBackEveryAsciiCharacter) {
    for (char c = 0;; ++c) {
        const CheckoutConfig config{"", "", "a"s + c + "b", true, "/"s + c + "x"};
        expect_same(read_back(config), config);
        if (c == 0x7f) {
            break;
        }
    }
}

// Folder names are bytes on many systems; a configuration that cannot hold one must not be written.
TEST_F(CheckoutConfigFile, GivesBackAStoreWhosePathIsNoUtf8OrIsNotWritten) {
    for (const char* path : {"/srv/\xff", "/srv/\xc3", "/srv/\xed\xa0\x80", "/srv/\xc0\xaf"}) {
        std::optional<std::string> text;
        try {
            text = tome::config_text({"", "", "", true, path});
        } catch (const tome::Error&) {
            continue;
        }
        write_file(file_, *text);
        ASSERT_EQ(refusal(ErrorCode::Corrupt), "") << testing::PrintToString(path);
        EXPECT_EQ(tome::read_config(file_).shared_store, path);
    }
}

// ---- Reading

TEST_F(CheckoutConfigFile, NeedsTheTwoUrlsAlone) {
    expect_same(read_text(required), {"r", "r/n", "", false, ""});
}

TEST_F(CheckoutConfigFile, PassesOverWhatItDoesNotKnow) {
    expect_same(read_text("# by hand\nnew_key = [1, {a = 2}]\n" + required +
                          "description = 'text' # why\nwhen = 2026-11-21T00:00:00Z\n"
                          "[shared_store_to_use]\nlimit = 7\nuse_shared_store = true\npath = \"/s\"\n"
                          "[shared_store_to_use.more]\na = 1\n[[other]]\nremote_url = 5\n"),
                {"r", "r/n", "text", true, "/s"});
}

TEST_F(CheckoutConfigFile, ReadsEveryFormOfTheSameValues) {
    expect_same(read_text("repository_url='r/n'\r\n\"remote_url\"   =   \"\\u0072\"\r\ndescription=\"\"\"\na\nb\"\"\"\n"
                          "shared_store_to_use = { use_shared_store = true, path = '/s' }"),
                {"r", "r/n", "a\nb", true, "/s"});
}

TEST_F(CheckoutConfigFile, RefusesAFileWithoutTheRequiredKeys) {
    for (const char* text :
         {"", "\n", "# nothing\n", "remote_url = \"r\"\n", "repository_url = \"r/n\"\n",
          "[a]\nremote_url = \"r\"\nrepository_url = \"r/n\"\n", "Remote_url = \"r\"\nrepository_url = \"r/n\"\n"}) {
        expect_damaged(text);
    }
}

TEST_F(CheckoutConfigFile, RefusesUrlsThatAreNoTexts) {
    for (const char* value : {"5", "true", "1.5", "[\"r\"]", "{ a = \"r\" }", "2026-11-21"}) {
        expect_damaged("remote_url = "s + value + "\nrepository_url = \"r/n\"\n");
        expect_damaged("remote_url = \"r\"\nrepository_url = "s + value + "\n");
    }
}

TEST_F(CheckoutConfigFile, RefusesASharedStoreThatIsNotOneYesAndAPath) {
    for (const char* table :
         {"use_shared_store = true", "use_shared_store = true\npath = 5", "use_shared_store = true\npath = \"\"",
          "use_shared_store = \"true\"\npath = \"/s\"", "use_shared_store = []\npath = \"/s\""}) {
        expect_damaged(required + "[shared_store_to_use]\n" + table + "\n");
    }
    expect_damaged(required + "shared_store_to_use = true\n");
}

TEST_F(CheckoutConfigFile, RefusesWhatIsNoToml) {
    for (const std::string& text :
         {required + "remote_url = \"twice\"\n", required + "broken", required + "a = \"open\n", required + "= 1\n",
          required + "a = \n", required + "[table\n", required + "a = \"\\q\"\n", required + "a = \"\\ud800\"\n",
          required + "\0"s, "\0"s + required, required + "a = \"\xff\"\n", required + "a = \"\x01\"\n",
          "\xff\xfe"s + required, required + "<<<<<<< HEAD\n", "SQLite format 3\0"s, std::string(4096, '\0'),
          std::string(4096, '\xff'), "{\"remote_url\": \"r\", \"repository_url\": \"r/n\"}"s}) {
        expect_damaged(text);
    }
}

TEST_F(CheckoutConfigFile, RefusesValuesNestedWithoutEnd) {
    for (const char* open : {"[", "{a=", "[{a="}) {
        std::string text = required + "a = ";
        for (int i = 0; i < 50'000; ++i) {
            text += open;
        }
        expect_damaged(text);
    }
}

TEST_F(CheckoutConfigFile, CutOffIsRefusedOrReadsAsWhatIsLeft) {
    const CheckoutConfig config{"file:///srv", "file:///srv/n", "text", true, "/srv/store"};
    const std::string text = tome::config_text(config);
    const std::size_t urls = text.find("description");
    for (std::size_t length = 0; length < text.size(); ++length) {
        write_file(file_, text.substr(0, length));
        const std::string found = refusal(ErrorCode::Corrupt);
        if (length + 1 < urls) {
            EXPECT_TRUE(found.starts_with("damaged checkout configuration: " + file_.string())) << length << found;
        } else if (found.empty()) {
            EXPECT_EQ(tome::read_config(file_).remote_url, config.remote_url) << length;
            EXPECT_EQ(tome::read_config(file_).repository_url, config.repository_url) << length;
        }
    }
}

TEST_F(CheckoutConfigFile, SaysInOneTextWhatIsDamaged) {
    write_file(file_, required + "a = \"open\n");
    const std::string found = refusal(ErrorCode::Corrupt);
    EXPECT_TRUE(found.starts_with("damaged checkout configuration: " + file_.string() + ": ")) << found;
    EXPECT_GT(found.size(), ("damaged checkout configuration: " + file_.string() + ": ").size());
    EXPECT_EQ(found.find('\n'), std::string::npos) << found;
}

TEST_F(CheckoutConfigFile, RefusesAFileThatIsFarTooLarge) {
    write_file(file_, required + "# " + std::string(2'000'000, 'x') + "\n");
    EXPECT_NE(refusal(ErrorCode::Io).find(file_.string()), std::string::npos) << refusal(ErrorCode::Io);
}

// ---- Things in the file's place

TEST_F(CheckoutConfigFile, MissingMeansThatThereIsNoCheckout) {
    const std::string text = "not a checkout: " + (folder_ / "checkout").string();
    EXPECT_EQ(refusal(ErrorCode::NotFound), text);
    fs::create_directories(file_.parent_path());
    EXPECT_EQ(refusal(ErrorCode::NotFound), text);
    write_file(folder_ / "file", "");
    file_ = folder_ / "file/.tome/config.toml";
    EXPECT_EQ(refusal(ErrorCode::NotFound), "not a checkout: " + (folder_ / "file").string());
}

TEST_F(CheckoutConfigFile, RefusesAFolderInItsPlace) {
    fs::create_directories(file_);
    EXPECT_EQ(refusal(ErrorCode::Io), "not a regular file: " + file_.string());
}

TEST_F(CheckoutConfigFile, DoesNotFollowALink) {
    write_file(folder_ / "elsewhere", required);
    fs::create_directories(file_.parent_path());
    fs::create_symlink(folder_ / "elsewhere", file_);
    EXPECT_EQ(refusal(ErrorCode::Io), "not a regular file: " + file_.string());
    EXPECT_EQ(read_file(folder_ / "elsewhere"), required);
}

TEST_F(CheckoutConfigFile, DoesNotWaitOnAPipe) {
    fs::create_directories(file_.parent_path());
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    EXPECT_EQ(refusal(ErrorCode::Io), "not a regular file: " + file_.string());
}

}  // namespace
