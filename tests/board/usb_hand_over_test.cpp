// The media in a PC's hands: what the mass-storage units offer, and that the program stays away from it meanwhile.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statfs.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>

#include "tests/support/virtual_board.h"

namespace {

const std::string kUnit0 = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file";
const std::string kUnit1 = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file";
const std::string kCard = board::kCardMountPoint;

class UsbHandOverTest : public testing::Test {
  protected:
    int Run(const std::string& command) { return board.Kernel().System(command.c_str()) >> 8; }
    // As the program does it, blanks included.
    int Offer(const std::string& unit, const std::string& device) {
        return Run("/bin/echo  " + (device.empty() ? "\"\"" : device) + "  > " + unit);
    }
    void HandOver() {
        EXPECT_EQ(Offer(kUnit1, board::kCardDevice), 0);
        EXPECT_EQ(Offer(kUnit0, board::kNandDevice), 0);
    }
    // Commands that take it back, and their status.
    void TakeBack(int card_umount, int card_mount) {
        EXPECT_EQ(Offer(kUnit1, ""), 0);
        EXPECT_EQ(Run("/bin/umount  -f  " + kCard), card_umount);
        EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), card_mount);
        EXPECT_EQ(Offer(kUnit0, ""), 0);
        EXPECT_EQ(Run("/bin/umount  -f   /media/nand"), 0);
        EXPECT_EQ(Run("/bin/mount -t vfat /dev/loop0  /media/nand"), 0);
    }
    std::uint32_t Violations() { return board.Get(&board::Block::usb_violations); }
    std::string Units() { return board.Block().usb_units[0] + std::string("|") + board.Block().usb_units[1]; }
    int Open(const std::string& path, int flags) { return board.Kernel().Open(path.c_str(), flags, 0644); }

    support::VirtualBoard board;
};

TEST_F(UsbHandOverTest, UnitsOfferWhatIsThere) {
    const struct {
        const char* device;
        int status;
        const char* offered;
    } cases[] = {{"/dev/mmcblk0p1", 0, "/dev/mmcblk0p1|"},
                 {"/dev/sda1", 1, "/dev/mmcblk0p1|"},
                 {"", 0, "|"},
                 {"/dev/loop0", 0, "/dev/loop0|"},
                 {"/dev/mmcblk0", 1, "/dev/loop0|"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.device);
        EXPECT_EQ(Offer(kUnit0, c.device), c.status);
        EXPECT_EQ(Units(), c.offered);
        EXPECT_EQ(board.Read(kUnit0), std::string(board.Block().usb_units[0]) + "\n");
    }
    board.InsertCard(false);
    EXPECT_EQ(Offer(kUnit1, board::kCardDevice), 1);
    EXPECT_EQ(Run("/sbin/modprobe -r g_file_storage"), 0);
    EXPECT_EQ(Units(), "|");
    EXPECT_EQ(Violations(), 0U);
}

TEST_F(UsbHandOverTest, EveryUseIsRefusedAndCounted) {
    board.Write(kCard + "/a.jpg", "x");
    const int before = Open(kCard + "/a.jpg", O_WRONLY);
    HandOver();
    struct statfs space {};
    const std::pair<const char*, std::function<bool()>> uses[] = {
        {"open", [&] { return Open(kCard + "/a.jpg", O_RDONLY) >= 0; }},
        {"create", [&] { return Open("/media/nand/b.jpg", O_WRONLY | O_CREAT) >= 0; }},
        {"statfs", [&] { return board.Kernel().StatFs(kCard.c_str(), &space) == 0; }},
        {"write",
         [&] {
             char byte = 'y';
             const struct iovec part = {&byte, 1};
             return board.Kernel().Write(before, &part, 1) >= 0;
         }},
        {"flush", [&] { return board.Kernel().Flush(before) == 0; }},
        {"stdio", [&] { return std::fopen(board.Kernel().Path(kCard + "/a.jpg").c_str(), "r") != nullptr; }},
        {"new file", [&] { return std::fopen(board.Kernel().Path("/media/nand/b.jpg").c_str(), "w") != nullptr; }},
        {"mkdir", [&] { return Run("/bin/mkdir -p " + kCard + "/DCIM") == 0; }},
        {"rm", [&] { return Run("rm " + kCard + "/a.jpg") == 0; }},
        {"redirection", [&] { return Run("echo x > /media/nand/c") == 0; }},
        {"mount", [&] { return Run("/bin/mount -t vfat /dev/loop0  /media/nand") == 0; }},
        {"format", [&] { return Run("/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1") == 0; }},
        {"nandformat", [&] { return Run("/usr/varno/nandformat  stop  ") == 0; }},
    };
    std::uint32_t count = 0;
    for (const auto& [name, use] : uses) {
        EXPECT_FALSE(use()) << name;
        EXPECT_EQ(Violations(), ++count) << name;
    }
    EXPECT_EQ(board.Files(board::Medium::Card), std::vector<std::string>{"a.jpg"});
    EXPECT_EQ(board.Files(board::Medium::Nand), std::vector<std::string>{});
    EXPECT_EQ(board.Kernel().Close(before), 0);
    TakeBack(0, 0);
    const int after = Open(kCard + "/a.jpg", O_RDONLY);
    EXPECT_GE(after, 0);
    board.Kernel().Close(after);
    EXPECT_EQ(Violations(), count);
}

TEST_F(UsbHandOverTest, AnOpenFileMayStayOpenButIdle) {
    board.Write(kCard + "/a.avi", "abcdef");
    const auto open = [&] {
        return std::unique_ptr<FILE, int (*)(FILE*)>(std::fopen(board.Kernel().Path(kCard + "/a.avi").c_str(), "r"),
                                                     std::fclose);
    };
    auto idle = open();
    ASSERT_TRUE(idle);
    HandOver();
    TakeBack(1, 32);  // busy: it stays mounted as it is
    EXPECT_EQ(Violations(), 0U);
    HandOver();
    EXPECT_EQ(std::fgetc(idle.get()), 'a');
    TakeBack(1, 32);
    EXPECT_EQ(Violations(), 1U) << "read meanwhile";
    EXPECT_EQ(Run("/bin/umount -l " + kCard), 0);
}

TEST_F(UsbHandOverTest, CardChangedMeanwhile) {
    board.Write(kCard + "/a.jpg", "x");
    HandOver();
    board.InsertCard(false);
    EXPECT_EQ(Open(kCard + "/a.jpg", O_RDONLY), -1);
    board.InsertCard(true);
    // The unit has lost its card; the one that came is the program's.
    const int fd = Open(kCard + "/a.jpg", O_RDONLY);
    EXPECT_GE(fd, 0);
    board.Kernel().Close(fd);
    TakeBack(0, 0);
    EXPECT_EQ(Violations(), 0U);
}

TEST_F(UsbHandOverTest, CardPulledThenCable) {
    HandOver();
    board.InsertCard(false);
    TakeBack(1, 32);
    EXPECT_EQ(Units(), "|");
    EXPECT_EQ(Violations(), 0U);
    board.InsertCard(true);
    EXPECT_NE(board.Read("/proc/mounts").find("/dev/mmcblk0p1 "), std::string::npos);
}

TEST_F(UsbHandOverTest, APowerUpTakesEverythingBack) {
    HandOver();
    board::Boot(board.Block());
    std::string error;
    ASSERT_TRUE(board.Folder().Create(error)) << error;
    EXPECT_EQ(Units(), "|");
    EXPECT_EQ(board.Read(kUnit0), "");
    EXPECT_FALSE(board.Get(&board::Block::nand).handed_over);
}

}  // namespace
