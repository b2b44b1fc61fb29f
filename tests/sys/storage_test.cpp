#include "sys/storage.h"

#include <gmock/gmock.h>

#include <limits>

#include "tests/support/fake_kernel.h"

namespace {

class Storage : public testing::Test {
  protected:
    support::FakeKernel kernel;
};

TEST_F(Storage, MountPoints) {
    EXPECT_EQ(Varno::GetMountpoint("/dev/loop0", "vfat"), "") << "no /proc";
    kernel.Put("/proc/mounts",
               "rootfs / rootfs rw 0 0\n"
               "broken\n"
               "\n"
               "/dev/loop0 /other ext3 rw 0 0\n"
               "/dev/loop01 /wrong vfat rw 0 0\n"
               "/dev/loop0 /media/nand\\040disk\\134a\\011b\\043c/ vfat rw,noatime 0 0\n"
               "/dev/loop0 /media/second vfat rw 0 0\n"
               "/dev/my\\040disk /media/\\04x\\0 vfat rw 0 0\n"
               "/dev/mmcblk0p1 /media/sd vfat rw");
    const struct {
        const char *device, *type, *directory;
    } cases[] = {{"/dev/loop0", "vfat", "/media/nand disk\\a\tb#c/"},
                 {"/dev/loop0", "ext3", "/other"},
                 {"/dev/loop0", "ext4", ""},
                 {"/dev/my disk", "vfat", "/media/\\04x\\0"},
                 {"/dev/mmcblk0p1", "vfat", "/media/sd"},
                 {"", "", ""}};
    for (const auto& c : cases)
        EXPECT_EQ(Varno::GetMountpoint(c.device, c.type), c.directory) << c.device << " " << c.type;
    EXPECT_EQ(Varno::GetNandDataPart(), "/media/nand disk\\a\tb#c");
}

TEST_F(Storage, FirstPartitionOfTheFirstCard) {
    const auto add_disk = [this](const std::string& name) { kernel.Put("/sys/block/" + name + "/size", "1\n"); };
    for (const char* name : {"mmcblk2rpmb", "mmcblk0boot0", "mmcblk", "sda", "mmcblk99999999999999999999"})
        add_disk(name);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Varno::GetMMCBlockSysDir(), "") << "no whole disk";
    EXPECT_EQ(Varno::GetMMCFirstPart(), "");
    EXPECT_EQ(Varno::GetMMCFirstPartDev(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "no card is no error";
    for (const char* name : {"mmcblk10", "mmcblk2", "mmcblk0"}) {
        add_disk(name);
        EXPECT_EQ(Varno::GetMMCBlockSysDir(), std::string("/sys/block/") + name);
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(Varno::GetMMCFirstPart(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR(No such file or directory): open /sys/block/mmcblk0/mmcblk0p1/stat.\n");
    kernel.Put("/sys/block/mmcblk0/mmcblk0p1/stat", "1 2 3\n");
    EXPECT_EQ(Varno::GetMMCFirstPartDev(), "/dev/mmcblk0p1");
    EXPECT_EQ(Varno::GetMMCFirstPart(), "") << "not mounted";
    kernel.Put("/proc/mounts", "/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat rw 0 0\n");
    EXPECT_EQ(Varno::GetMMCFirstPart(), "/media/sd-mmcblk0p1");
}

TEST_F(Storage, FreeSpace) {
    constexpr int kMost = std::numeric_limits<int>::max();
    const struct {
        unsigned long long blocks;
        long block_size;
        int kib;
    } cases[] = {{0, 1024, 0},
                 {1, 511, 0},
                 {1, 512, 1},
                 {3, 512, 2},
                 {2048, 1024, 2048},
                 {8ULL << 20, 512, 4 << 20},
                 {kMost, 1024, kMost},
                 {1ULL << 32, 1024, kMost},
                 {~0ULL, 1L << 30, kMost},
                 {7, 0, 0}};
    std::string asked;
    for (const auto& c : cases) {
        kernel.on_statfs = [&asked, c](const char* path, struct statfs* result) {
            asked = path;
            result->f_bavail = c.blocks;
            result->f_bsize = c.block_size;
            return 0;
        };
        EXPECT_EQ(Varno::GetAvailDiskSpace("/media/x"), c.kib) << c.blocks << " * " << c.block_size;
        EXPECT_EQ(asked, "/media/x");
    }
    EXPECT_EQ(Varno::GetAvailDiskSpace(""), -1);
    EXPECT_EQ(Varno::GetFirstMMCAvailableSpace(), -1) << "no card";
    kernel.FailNth(support::FakeKernel::Call::StatFs, 1, EIO);
    EXPECT_EQ(Varno::GetAvailDiskSpace("/media/x"), -1);
    kernel.Put("/proc/mounts", "/dev/loop0 /media/nand vfat rw 0 0\n");
    EXPECT_EQ(Varno::GetUserNandAvailableSpace(), 0);
    EXPECT_EQ(asked, "/media/nand");

    Varno::ReleaseVMCache(Varno::K_CACHE_PAGE);
    Varno::ReleaseVMCache(Varno::K_CACHE_ALL);
    EXPECT_THAT(kernel.Commands(),
                testing::ElementsAre("echo 1 > /proc/sys/vm/drop_caches", "echo 3 > /proc/sys/vm/drop_caches"));
}

}  // namespace
