// Stores and checkouts on a network file system, or on what the system says is one.
#include <gtest/gtest.h>

#if defined(__linux__)
#include <dlfcn.h>
#include <sys/vfs.h>

#include <cstdint>
#include <string_view>

#include "tests/tome/damage_fixture.h"

namespace {

// Paths below `mount` lie on a file system of this type.
std::string mount;
std::uint32_t mounted_type = 0;

}  // namespace

// In the place of the C library's, whose answer this one changes.
extern "C" int statfs(const char* path, struct statfs* status) noexcept {
    static const auto real = reinterpret_cast<int (*)(const char*, struct statfs*)>(dlsym(RTLD_NEXT, "statfs"));
    const int result = real(path, status);
    if (result == 0 && !mount.empty() && std::string_view(path).starts_with(mount)) {
        status->f_type = static_cast<decltype(status->f_type)>(mounted_type);
    }
    return result;
}

namespace quill_test {
namespace {

constexpr std::int32_t invalid = 1;
constexpr std::uint32_t nfs = 0x6969;
constexpr std::uint32_t fuse = 0x65735546;

class NetworkFileSystem : public DamagedRepository {
  protected:
    NetworkFileSystem() { author_.publish_files({{"a.txt", "a"}}); }
    ~NetworkFileSystem() override { mount.clear(); }

    static void mount_at(const std::filesystem::path& path, std::uint32_t type = nfs) {
        mount = path.string();
        mounted_type = type;
    }

    static void expect_refused(const DamageReply& reply, const std::filesystem::path& directory) {
        EXPECT_EQ(reply.code, invalid);
        EXPECT_EQ(reply.text(),
                  "a Tome store cannot lie on a network file system, whose locks do not reach other hosts; use a "
                  "disk of this host instead: " +
                      directory.string());
    }
};

TEST_F(NetworkFileSystem, HoldsNoNewRepositoryAndNothingOfOneIsLeft) {
    const std::filesystem::path remote = folder_ / "remote";
    mount_at(remote);
    expect_refused(DamageCheckout(folder_ / "other", "file://" + remote.string() + "/other").create(), remote);
    EXPECT_FALSE(std::filesystem::exists(remote / "other"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "other/.tome"));
}

TEST_F(NetworkFileSystem, HoldsNoRepositoryThatWasMadeElsewhere) {
    author_.commit_files({{"a.txt", "b"}});
    const auto heads = remote_heads();
    mount_at(remote_store_);
    expect_refused(author_.push(), remote_store_);
    expect_refused(author_.sync(), remote_store_);
    expect_refused(checkout("reader").clone(), remote_store_);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "reader/.tome"));
    mount.clear();
    EXPECT_EQ(remote_heads(), heads);
    EXPECT_EQ(author_.push().text(), "done");
}

TEST_F(NetworkFileSystem, HoldsNoSharedStore) {
    const std::filesystem::path shared = folder_ / "shared";
    ASSERT_TRUE(tome::Store::create(shared));
    const DamageCheckout writer = checkout("writer");
    ASSERT_EQ(writer.clone("main", shared).text(), "done");
    mount_at(shared);
    expect_refused(writer.status(), shared);
}

TEST_F(NetworkFileSystem, HoldsNoNewCheckout) {
    const std::filesystem::path place = folder_ / "reader";
    mount_at(place);
    const DamageReply reply = checkout("reader").clone();
    EXPECT_EQ(reply.code, invalid);
    EXPECT_TRUE(reply.text().starts_with("a Tome store cannot lie on a network file system, ")) << reply.text();
    EXPECT_TRUE(!std::filesystem::exists(place) || std::filesystem::is_empty(place));
}

TEST_F(NetworkFileSystem, HoldsNoCheckoutThatWasMadeElsewhere) {
    mount_at(author_.path());
    expect_refused(author_.status(), author_ / ".tome");
    mount.clear();
    EXPECT_EQ(author_.status().text(), "done");
}

TEST_F(NetworkFileSystem, IsNotWhatAProgramOfThisHostMounts) {
    mount_at(folder_.path(), fuse);
    EXPECT_EQ(author_.sync().text(), "done");
    EXPECT_EQ(checkout("reader").clone().text(), "done");
}

}  // namespace
}  // namespace quill_test
#endif
