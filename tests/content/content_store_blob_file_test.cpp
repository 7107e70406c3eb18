#include "content/content_store_blob_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/failure.h"
#include "tests/support/temporary_folder.h"

namespace {

using quill_test::failure_of;
using quill_test::read_file;
using quill_test::TemporaryFolder;
using quill_test::write_file;
using std::filesystem::path;

void write_blob(const path& blob, const std::string& text) {
    quill::write_binary_file_atomically(blob, std::as_bytes(std::span(text)));
}

// As long as it lives, no write succeeds, as on a full disk.
class FullDisk {
  public:
    FullDisk() : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &limit_);
        const rlimit none{0, limit_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &limit_);
        std::signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    void (*handler_)(int);
    rlimit limit_{};
};

std::string temporary_prefix(const path& blob) {
    return blob.string() + ".tmp." + std::to_string(std::hash<std::thread::id>{}(std::this_thread::get_id())) + ".";
}

// What a write to `blob` fails with on a full disk; it ends with the temporary path.
std::string error_on_full_disk(const path& blob) {
    const FullDisk full;
    return failure_of([&] { write_blob(blob, "bytes"); });
}

// The temporary path that this thread's next write to `blob` takes.
path next_temporary(const path& blob) {
    const std::string message = error_on_full_disk(blob);
    const std::string number = message.substr(message.rfind('.') + 1);
    return temporary_prefix(blob) + std::to_string(std::stoull(number) + 1);
}

std::size_t entry_count(const path& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.exists() ? 1 : 0;
    }
    return count;
}

std::string text_of(const std::optional<std::vector<std::byte>>& bytes) {
    return bytes ? std::string(reinterpret_cast<const char*>(bytes->data()), bytes->size()) : "nothing";
}

TEST(ContentStoreBlobFile, WritesBytesBelowNewFolders) {
    const TemporaryFolder folder;
    const std::string bytes("a\0b\r\n\xff", 6);
    write_blob(folder / "one/two/x.blob", bytes);
    EXPECT_EQ(read_file(folder / "one/two/x.blob"), bytes);
    EXPECT_EQ(entry_count(folder / "one/two"), 1U);
}

TEST(ContentStoreBlobFile, WritesAnEmptyFile) {
    const TemporaryFolder folder;
    write_blob(folder / "x.blob", "");
    EXPECT_EQ(read_file(folder / "x.blob"), "");
}

TEST(ContentStoreBlobFile, WriteRefusesAFileInPlaceOfAFolder) {
    const TemporaryFolder folder;
    write_file(folder / "file", "");
    EXPECT_EQ(failure_of([&] { write_blob(folder / "file/x.blob", "bytes"); }),
              "could not create content store directory: Not a directory");
}

TEST(ContentStoreBlobFile, WriteNamesTheTemporaryFileThatItCannotOpen) {
    const TemporaryFolder folder;
    const path temporary = next_temporary(folder / "x.blob");
    std::filesystem::create_directory(temporary);
    EXPECT_EQ(failure_of([&] { write_blob(folder / "x.blob", "bytes"); }),
              "could not write content blob: " + temporary.string());
}

TEST(ContentStoreBlobFile, WriteNamesTheTemporaryFileThatItCannotFinish) {
    const TemporaryFolder folder;
    const std::string message = error_on_full_disk(folder / "x.blob");
    const std::string expected = "could not finish content blob: " + temporary_prefix(folder / "x.blob");
    EXPECT_EQ(message.substr(0, expected.size()), expected);
    EXPECT_EQ(entry_count(folder.path()), 0U);
}

TEST(ContentStoreBlobFile, TemporaryNamesCountUpwards) {
    const TemporaryFolder folder;
    const path first = next_temporary(folder / "x.blob");
    EXPECT_EQ(error_on_full_disk(folder / "x.blob"), "could not finish content blob: " + first.string());
}

TEST(ContentStoreBlobFile, WriteLeavesAnotherProcessesTemporaryFileAlone) {
    const TemporaryFolder folder;
    const path theirs = next_temporary(folder / "x.blob");
    write_file(theirs, "half");
    write_blob(folder / "x.blob", "whole");
    EXPECT_EQ(read_file(theirs), "half");
    EXPECT_EQ(read_file(folder / "x.blob"), "whole");
}

TEST(ContentStoreBlobFile, WriteThatCannotBeInstalledLeavesNothing) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "x.blob/inner");
    EXPECT_EQ(failure_of([&] { write_blob(folder / "x.blob", "bytes"); }),
              "could not install content blob: Is a directory");
    EXPECT_EQ(entry_count(folder.path()), 1U);
}

TEST(ContentStoreBlobFile, LostRaceIsSuccess) {
    const TemporaryFolder folder;
    write_file(folder / "x.blob", "bytes");
    EXPECT_NO_THROW(quill::install_content_blob(folder / "gone", folder / "x.blob"));
    EXPECT_EQ(read_file(folder / "x.blob"), "bytes");
}

TEST(ContentStoreBlobFile, FailedRenameWithNoBlobInPlaceIsAnError) {
    const TemporaryFolder folder;
    EXPECT_EQ(failure_of([&] { quill::install_content_blob(folder / "gone", folder / "x.blob"); }),
              "could not install content blob: No such file or directory");
}

TEST(ContentStoreBlobFile, ProcessesWriteOneBlobAtOnce) {
    const TemporaryFolder folder;
    const std::string bytes(300'000, 'b');
    std::vector<pid_t> children;
    for (int i = 0; i < 6; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // Alike in thread and counter, so alike in temporary names.
            bool whole = true;
            for (int round = 0; round < 20 && whole; ++round) {
                const path blob = folder / (std::to_string(round) + "/x.blob");
                write_blob(blob, bytes);
                whole = quill::blob_file_size(blob) == bytes.size();
            }
            _exit(whole ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(read_file(folder / (std::to_string(round) + "/x.blob")), bytes);
        EXPECT_EQ(entry_count(folder / std::to_string(round)), 1U);
    }
}

TEST(ContentStoreBlobFile, ReadsAWholeFile) {
    const TemporaryFolder folder;
    const std::string bytes("a\0b\r\n\xff", 6);
    write_file(folder / "x", bytes);
    EXPECT_EQ(text_of(quill::read_blob_file(folder / "x")), bytes);
}

TEST(ContentStoreBlobFile, EmptyFileReadsAsPresent) {
    const TemporaryFolder folder;
    write_file(folder / "x", "");
    const auto bytes = quill::read_blob_file(folder / "x");
    ASSERT_TRUE(bytes.has_value());
    EXPECT_TRUE(bytes->empty());
}

TEST(ContentStoreBlobFile, WhatIsNoRegularFileReadsAsNothing) {
    const TemporaryFolder folder;
    for (const path& other : {folder.path(), folder / "missing", path()}) {
        EXPECT_EQ(quill::read_blob_file(other), std::nullopt) << other;
        EXPECT_EQ(quill::read_blob_file_range(other, 0, 0), std::nullopt) << other;
        EXPECT_EQ(quill::blob_file_size(other), std::nullopt) << other;
        EXPECT_FALSE(quill::blob_file_exists(other)) << other;
    }
}

// Where a process can be given a limit, and does not end without memory as it does under a sanitizer.
#if defined(__linux__) && !defined(QUILL_ADDRESS_SANITIZER) && !defined(QUILL_THREAD_SANITIZER)
TEST(ContentStoreBlobFile, OneLargerThanMemoryReadsAsNothingButInRanges) {
    const TemporaryFolder folder;
    write_file(folder / "x", "start");
    const std::uint64_t size = std::uint64_t{1} << 40U;
    std::filesystem::resize_file(folder / "x", size);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit little{rlim_t{4} << 30U, before.rlim_max};  // The system may promise more than there is.
    ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
    const auto whole = quill::read_blob_file(folder / "x");
    const auto range = quill::read_blob_file_range(folder / "x", 0, size);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_EQ(whole, std::nullopt);
    EXPECT_EQ(range, std::nullopt);
    EXPECT_EQ(quill::blob_file_size(folder / "x"), size);
    EXPECT_EQ(text_of(quill::read_blob_file_range(folder / "x", 0, 5)), "start");
}
#endif

TEST(ContentStoreBlobFile, ReadsARange) {
    const TemporaryFolder folder;
    write_file(folder / "x", "0123456789");
    EXPECT_EQ(text_of(quill::read_blob_file_range(folder / "x", 3, 4)), "3456");
    EXPECT_EQ(text_of(quill::read_blob_file_range(folder / "x", 8, 2)), "89");
}

TEST(ContentStoreBlobFile, RangeBeyondTheEndIsNothing) {
    const TemporaryFolder folder;
    write_file(folder / "x", "0123456789");
    EXPECT_EQ(quill::read_blob_file_range(folder / "x", 8, 3), std::nullopt);
    EXPECT_EQ(quill::read_blob_file_range(folder / "x", 10, 1), std::nullopt);
    EXPECT_EQ(quill::read_blob_file_range(folder / "x", 11, 0), std::nullopt);
    EXPECT_EQ(quill::read_blob_file_range(folder / "x", 1, UINT64_MAX), std::nullopt);
    EXPECT_EQ(quill::read_blob_file_range(folder / "x", UINT64_MAX, 1), std::nullopt);
}

TEST(ContentStoreBlobFile, EmptyRangeUpToTheEndIsPresent) {
    const TemporaryFolder folder;
    write_file(folder / "x", "0123456789");
    for (const std::uint64_t offset : {0U, 5U, 10U}) {
        const auto bytes = quill::read_blob_file_range(folder / "x", offset, 0);
        ASSERT_TRUE(bytes.has_value()) << offset;
        EXPECT_TRUE(bytes->empty()) << offset;
    }
}

}  // namespace
