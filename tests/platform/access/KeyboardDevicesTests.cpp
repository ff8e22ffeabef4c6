#include "platform/linux/Descriptor.h"
#include "platform/linux/Handle.h"
#include "platform/linux/access/KeyboardDevices.h"
#include "tests/support/TemporaryFolder.h"

#include <acl/libacl.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <type_traits>

namespace morvel {
namespace {

using AccessList = Handle<std::remove_pointer_t<acl_t>, acl_free>;

class KeyboardDevicesTest : public testing::Test {
protected:
    void SetUp() override {
        set("u::rw-,g::r--,o::---");
        if (problem_ != 0)
            GTEST_SKIP() << "this file system has no access lists";
    }
    void set(const char* text) {
        const AccessList list(acl_from_text(text));
        ASSERT_NE(list, nullptr);
        problem_ = acl_set_file(file_.c_str(), ACL_TYPE_ACCESS, list.get()) == 0 ? 0 : errno;
    }
    std::string access() const {
        const AccessList list(acl_get_file(file_.c_str(), ACL_TYPE_ACCESS));
        const Handle<char, acl_free> text(
            acl_to_any_text(list.get(), nullptr, ',', TEXT_ABBREVIATE));
        return text.get();
    }
    mode_t mode() const {
        struct stat status {};
        stat(file_.c_str(), &status);
        return status.st_mode & 07777U;
    }
    AccessProblem withdraw() const {
        const Descriptor held(::open(file_.c_str(), O_PATH | O_CLOEXEC));
        return withdrawUsers(held.get(), "file");
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.file("file", "");
    int problem_ = 0;
};

TEST_F(KeyboardDevicesTest, TakingItBackLeavesTheFilesOwnMode) {
    set("u::rw-,u:12345:rw-,u:54321:r--,g::r--,m::rw-,o::---");
    ASSERT_EQ(mode(), 0660U);
    EXPECT_EQ(withdraw(), std::nullopt);
    EXPECT_EQ(access(), "u::rw-,g::r--,o::---");
    EXPECT_EQ(mode(), 0640U);
}

TEST_F(KeyboardDevicesTest, TakingItBackLeavesGroupsWhatTheyHave) {
    set("u::rw-,u:12345:rw-,g::---,g:12345:r--,m::rw-,o::---");
    EXPECT_EQ(withdraw(), std::nullopt);
    EXPECT_EQ(access(), "u::rw-,g::---,g:12345:r--,m::rw-,o::---");
}

TEST_F(KeyboardDevicesTest, WhereNothingIsToBeTakenBackNothingChanges) {
    for (const char* list : {"u::rw-,g::rw-,o::---", "u::rw-,g::r--,g:12345:rw-,m::r--,o::---"}) {
        set(list);
        EXPECT_EQ(withdraw(), std::nullopt);
        const AccessList wanted(acl_from_text(list));
        const Handle<char, acl_free> text(
            acl_to_any_text(wanted.get(), nullptr, ',', TEXT_ABBREVIATE));
        EXPECT_EQ(access(), text.get());
    }
}

TEST_F(KeyboardDevicesTest, ADeviceIsTakenBackOnlyUnderItsOwnNumber) {
    const dev_t number = makedev(13, 4000); // no such keyboard
    std::filesystem::remove(file_);
    if (mknod(file_.c_str(), S_IFCHR | 0660, number) != 0)
        GTEST_SKIP() << "only the superuser can make a device";
    const char* const given = "u::rw-,u:12345:rw-,g::rw-,m::rw-,o::---";
    set(given);
    EXPECT_EQ(withdrawUsers(DeviceFile{file_, makedev(13, 4001), false}), std::nullopt);
    EXPECT_EQ(access(), given);
    EXPECT_EQ(withdrawUsers(DeviceFile{file_, number, false}), std::nullopt);
    EXPECT_EQ(access(), "u::rw-,g::rw-,o::---");
}

TEST_F(KeyboardDevicesTest, ADeviceThatIsGoneOrHasMadeWayForAnotherFileIsPassedOver) {
    set("u::rw-,u:12345:rw-,g::r--,m::rw-,o::---");
    const std::string before = access();
    EXPECT_EQ(withdrawUsers(DeviceFile{folder_ / "gone", 1, false}), std::nullopt);
    EXPECT_EQ(withdrawUsers(DeviceFile{file_, 1, false}), std::nullopt);
    const std::filesystem::path link = folder_ / "link";
    std::filesystem::create_symlink(file_, link);
    EXPECT_EQ(withdrawUsers(DeviceFile{link, 1, false}), std::nullopt);
    EXPECT_EQ(access(), before);
    EXPECT_EQ(withdrawUsers(DeviceFile{"/dev/null", 0, false}), std::nullopt);
}

} // namespace
} // namespace morvel
