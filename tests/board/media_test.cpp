// The media: inserted, pulled, full, read-only.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statfs.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/virtual_board.h"

namespace {

class MediaTest : public testing::Test {
  protected:
    int Open(const char* path, int flags = O_WRONLY | O_CREAT) { return board.Kernel().Open(path, flags, 0644); }
    // 0, or the errno of the failure.
    int Write(int fd, std::size_t bytes) {
        std::string data(bytes, 'x');
        const struct iovec part = {data.data(), data.size()};
        return board.Kernel().Write(fd, &part, 1) < 0 ? errno : 0;
    }
    long FreeKib(const char* path) {
        struct statfs space {};
        return board.Kernel().StatFs(path, &space) < 0 ? -1 : static_cast<long>(space.f_bavail * space.f_bsize / 1024);
    }

    support::VirtualBoard board;
    const std::string card = board::kCardMountPoint;
};

TEST_F(MediaTest, FreeSpaceIsExactAndFollowsTheFiles) {
    board.Write(card + "/old.avi", std::string(3000, 'x'));
    board.Folder().SetFreeKib(board::Medium::Card, 2048);
    EXPECT_EQ(FreeKib(card.c_str()), 2048);
    const int fd = Open((card + "/new.avi").c_str());
    EXPECT_EQ(Write(fd, 100 * 1024), 0);
    EXPECT_EQ(FreeKib(card.c_str()), 1948);
    EXPECT_EQ(Write(fd, 1949 * 1024), ENOSPC);
    EXPECT_EQ(Write(fd, 1948 * 1024), 0);
    EXPECT_EQ(FreeKib(card.c_str()), 0);
    EXPECT_EQ(Write(fd, 1), ENOSPC);
    // What is there already can be written over, on a full medium, too.
    EXPECT_EQ(board.Kernel().Close(fd), 0);
    const int again = Open((card + "/new.avi").c_str(), O_WRONLY);
    EXPECT_EQ(Write(again, 4096), 0);
    EXPECT_EQ(board.Kernel().Close(again), 0);
    EXPECT_EQ(board.Kernel().System(("rm -f " + card + "/old.avi").c_str()), 0);
    EXPECT_EQ(FreeKib(card.c_str()), 3);
    EXPECT_EQ(FreeKib("/media/none"), -1);
}

TEST_F(MediaTest, ReadOnly) {
    const int before = Open((card + "/a").c_str());
    board.Set(&board::Block::card, &board::MediumState::read_only, true);
    EXPECT_EQ(Write(before, 1), EROFS);
    EXPECT_EQ(Open((card + "/b").c_str()), -1);
    EXPECT_EQ(errno, EROFS);
    const int reading = Open((card + "/a").c_str(), O_RDONLY);
    EXPECT_GE(reading, 0);
    EXPECT_NE(board.Kernel().System(("/bin/mkdir -p " + card + "/DCIM").c_str()), 0);
    EXPECT_NE(board.Kernel().System(("rm -f " + card + "/a").c_str()), 0);
    EXPECT_NE(board.Read("/proc/mounts").find("/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat ro"), std::string::npos);
    board.Kernel().Close(before);
    board.Kernel().Close(reading);
}

TEST_F(MediaTest, PulledAndInserted) {
    const auto exists = [&](const char* path) { return std::filesystem::exists(board.Kernel().Path(path)); };
    const int fd = Open((card + "/a").c_str());
    EXPECT_EQ(Write(fd, 1), 0);
    board.InsertCard(false);
    EXPECT_EQ(Write(fd, 1), EIO);
    EXPECT_EQ(board.Kernel().Flush(fd), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(exists("/sys/block/mmcblk0/mmcblk0p1/stat"));
    EXPECT_FALSE(exists("/media/sd-mmcblk0p1/a"));
    EXPECT_EQ(board.Read("/proc/mounts").find("mmcblk0p1"), std::string::npos);
    EXPECT_EQ(board.Commands().size(), 0U);
    board.InsertCard(true);
    EXPECT_EQ(Write(fd, 1), EIO) << "the file was opened before";
    EXPECT_EQ(board.Kernel().Close(fd), 0);
    EXPECT_TRUE(exists("/sys/block/mmcblk0/mmcblk0p1/stat"));
    EXPECT_TRUE(exists("/media/sd-mmcblk0p1/a"));
    EXPECT_NE(board.Read("/proc/mounts").find("/dev/mmcblk0p1 /media/sd-mmcblk0p1 vfat rw"), std::string::npos);
    EXPECT_EQ(board.Kernel().OpenCount(), 0);
}

TEST_F(MediaTest, SizeAndFreeSpace) {
    using board::Medium;
    board.Write(card + "/a", std::string(10 * 1024, 'x'));
    board::BoardFolder& folder = board.Folder();
    struct statfs space {};
    // By turns the size and the free space; a size makes all free, a free space keeps the size unless it has to grow.
    const struct {
        std::int64_t size_kib, free_kib;
        std::int64_t then_size_kib, then_free_kib;
    } cases[] = {{1000, -1, 1000, 990}, {-1, 100, 1000, 100}, {-1, 5000, 5010, 5000}, {20, -1, 20, 10}, {-1, 0, 20, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.size_kib) + " " + std::to_string(c.free_kib));
        if (c.size_kib >= 0) folder.SetSizeKib(Medium::Card, c.size_kib);
        if (c.free_kib >= 0) folder.SetFreeKib(Medium::Card, c.free_kib);
        EXPECT_EQ(folder.FreeBytes(Medium::Card), c.then_free_kib * 1024);
        ASSERT_EQ(board.Kernel().StatFs(card.c_str(), &space), 0);
        EXPECT_EQ(static_cast<std::int64_t>(space.f_blocks), c.then_size_kib);
    }
    EXPECT_EQ(board.Kernel().System(("/bin/umount -l " + card).c_str()), 0);
    EXPECT_EQ(board.Kernel().System("/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1"), 0);
    EXPECT_EQ(folder.FreeBytes(Medium::Card), 20 * 1024) << "formatting frees what filled it up";
}

TEST_F(MediaTest, WritesFailOnRequest) {
    board.Kernel().FailWrite(2, EDQUOT);
    const int fd = Open((card + "/a").c_str());
    EXPECT_EQ(Write(fd, 1), 0);
    EXPECT_EQ(Write(fd, 1), EDQUOT);
    EXPECT_EQ(Write(fd, 1), 0);
    board.Kernel().Close(fd);
}

TEST_F(MediaTest, BootKeepsWhatIsOnTheMediaAndRestsTheDevices) {
    board.Write(card + "/a", "x");
    board.Set(&board::Block::powered_off, true);
    board.Kernel().System("/bin/umount -l /media/nand");
    board::Boot(board.Block());
    EXPECT_EQ(board.Files(board::Medium::Card), std::vector<std::string>{"a"});
    EXPECT_TRUE(board.Get(&board::Block::nand).mounted);
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
}

}  // namespace
