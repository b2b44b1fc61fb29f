// The media in a PC's hands: what the mass-storage units offer, and that the program stays away from it meanwhile.
#include <sys/statfs.h>

#include <memory>

#include "tests/board/board_test.h"

namespace board_test {

const std::string kUnit0 = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file";
const std::string kUnit1 = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file";
const std::string kCard = board::kCardMountPoint;

class UsbHandOverTest : public BoardTest {
  protected:
    // As the program does it, blanks included.
    int Offer(const std::string& unit, const std::string& device) {
        return Run("/bin/echo  " + device + "  > " + unit);
    }
    void HandOver() { EXPECT_EQ(Offer(kUnit1, board::kCardDevice) + Offer(kUnit0, board::kNandDevice), 0); }
    // `card`: can it be mounted anew?
    void TakeBack(bool card) {
        EXPECT_EQ(Offer(kUnit1, "\"\"") + Offer(kUnit0, "\"\""), 0);
        EXPECT_EQ(Run("/bin/umount  -f  " + kCard), card ? 0 : 1);
        EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), card ? 0 : 32);
    }
    std::uint32_t Violations() { return board.Get(&board::Block::usb_violations); }
    std::string Units() { return board.Block().usb_units[0] + std::string("|") + board.Block().usb_units[1]; }
};

TEST_F(UsbHandOverTest, UnitsOfferWhatIsThere) {
    const std::tuple<const char*, int, const char*> cases[] = {{"/dev/mmcblk0p1", 0, "/dev/mmcblk0p1|"},
                                                               {"\"\"", 0, "|"},
                                                               {"/dev/loop0", 0, "/dev/loop0|"},
                                                               {"/dev/mmcblk0", 1, "/dev/loop0|"}};
    for (const auto& [device, status, offered] : cases) {
        EXPECT_EQ(Offer(kUnit0, device), status) << device;
        EXPECT_EQ(Units(), offered);
        EXPECT_EQ(board.Read(kUnit0), std::string(board.Block().usb_units[0]) + "\n");
        EXPECT_EQ(board.Get(&board::Block::nand).handed_over, Units() == "/dev/loop0|");
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
        {"create", [&] { return Open("/media/nand/b.jpg") >= 0; }},
        {"statfs", [&] { return kernel.StatFs(kCard.c_str(), &space) == 0; }},
        {"write", [&] { return Write(before, 1) == 0; }},
        {"flush", [&] { return kernel.Flush(before) == 0; }},
        {"stdio", [&] { return std::filesystem::exists(kernel.Path(kCard + "/a.jpg")); }},
        {"mkdir", [&] { return Run("/bin/mkdir -p " + kCard + "/DCIM") == 0; }},
        {"rm", [&] { return Run("rm " + kCard + "/a.jpg") == 0; }},
        {"redirection", [&] { return Run("echo x > /media/nand/c") == 0; }},
        {"mount", [&] { return Run("/bin/mount -t vfat /dev/loop0  /media/nand") == 0; }},
        {"format", [&] { return Run("/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1") == 0; }},
        {"nandformat", [&] { return Run("/usr/varno/nandformat  stop  ") == 0; }}};
    std::uint32_t count = 0;
    for (const auto& [name, use] : uses) {
        EXPECT_FALSE(use()) << name;
        EXPECT_EQ(Violations(), ++count) << name;
    }
    EXPECT_EQ(board.Get(&board::Block::violations), count);
    EXPECT_EQ(board.Files(board::Medium::Card), Words{"a.jpg"});
    EXPECT_EQ(board.Files(board::Medium::Nand), Words{});
    EXPECT_EQ(kernel.Close(before), 0);
    TakeBack(true);
    EXPECT_GE(Open(kCard + "/a.jpg", O_RDONLY), 0);
    EXPECT_EQ(Violations(), count);
}

TEST_F(UsbHandOverTest, AnOpenFileMayStayOpenButIdle) {
    board.Write(kCard + "/a.avi", "abcdef");
    const std::string real = kernel.Path(kCard + "/a.avi");
    const std::unique_ptr<FILE, int (*)(FILE*)> idle(std::fopen(real.c_str(), "r"), std::fclose);
    for (const bool used : {false, true}) {
        HandOver();
        EXPECT_EQ(used ? std::fgetc(idle.get()) : 'a', 'a');
        TakeBack(false);  // busy: it stays mounted as it is
        EXPECT_EQ(Violations(), used ? 1U : 0U);
    }
    EXPECT_EQ(Run("/bin/umount -l " + kCard), 0);
}

TEST_F(UsbHandOverTest, TheCardIsPulledOrChangedMeanwhile) {
    board.Write(kCard + "/a.jpg", "x");
    for (const bool changed : {false, true}) {
        HandOver();
        board.InsertCard(false);
        EXPECT_EQ(Open(kCard + "/a.jpg", O_RDONLY), -1);
        // The unit has lost its card; one that comes is the program's.
        if (changed) board.InsertCard(true);
        EXPECT_EQ(kernel.Close(Open(kCard + "/a.jpg", O_RDONLY)), changed ? 0 : -1);
        TakeBack(changed);
        board.InsertCard(true);
    }
    EXPECT_EQ(Violations(), 0U);
}

}  // namespace board_test
