// Commands stay inside the board and do there what they do on the device.
#include "board/board_shell.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/virtual_board.h"

namespace {

using Words = std::vector<std::string>;

TEST(ShellWordsTest, QuotesAsAShellDoes) {
    const struct {
        const char* line;
        board::ShellAnswer answer;
        Words words;
        const char* output_file;
    } cases[] = {
        {"/bin/echo  /dev/loop0  > /sys/x", board::ShellAnswer::Understood, {"/bin/echo", "/dev/loop0"}, "/sys/x"},
        {"echo 1>x", board::ShellAnswer::Understood, {"echo", "1"}, "x"},
        {R"(/bin/echo "" >> '/a b')", board::ShellAnswer::Understood, {"/bin/echo", ""}, "/a b"},
        {R"(rm -f a\ b 'c"d' "e\"f\g"'h'i)",
         board::ShellAnswer::Understood,
         {"rm", "-f", "a b", "c\"d", "e\"f\\ghi"},
         ""},
        {"rm '$HOME;*'", board::ShellAnswer::Understood, {"rm", "$HOME;*"}, ""},
        {"  ", board::ShellAnswer::Understood, {}, ""},
        {"rm 'a", board::ShellAnswer::SyntaxError, {}, ""},
        {"rm \"a", board::ShellAnswer::SyntaxError, {}, ""},
        {"rm a\\", board::ShellAnswer::SyntaxError, {}, ""},
        {"echo >", board::ShellAnswer::SyntaxError, {}, ""},
        {"echo > a > b", board::ShellAnswer::SyntaxError, {}, ""},
        {"sync; reboot", board::ShellAnswer::Refused, {}, ""},
        {"sync && reboot", board::ShellAnswer::Refused, {}, ""},
        {"sync | cat", board::ShellAnswer::Refused, {}, ""},
        {"rm *", board::ShellAnswer::Refused, {}, ""},
        {"rm \"$HOME\"", board::ShellAnswer::Refused, {}, ""},
        {"rm `pwd`", board::ShellAnswer::Refused, {}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        board::ShellCommand command;
        ASSERT_EQ(board::SplitShellWords(c.line, command), c.answer);
        if (c.answer != board::ShellAnswer::Understood) continue;
        EXPECT_EQ(command.words, c.words);
        EXPECT_EQ(command.output_file, c.output_file);
    }
}

class BoardShellTest : public testing::Test {
  protected:
    // Exit status, as the shell gives it.
    int Run(const std::string& command) { return board.Kernel().System(command.c_str()) >> 8; }
    bool Mounted(const char* device) {
        return board.Read("/proc/mounts").find(std::string(device) + " ") != std::string::npos;
    }

    support::VirtualBoard board;
};

TEST_F(BoardShellTest, UnknownCommandsAreRefusedAndRecorded) {
    for (const char* line :
         {"reboot", "/bin/sh -c reboot", "sync; rm x", "touch x", "nandformat start", "/sbin/rm x"}) {
        EXPECT_EQ(board.Kernel().System(line), 127 << 8) << line;
        EXPECT_EQ(board.Commands().back(), line);
    }
    EXPECT_EQ(board.Get(&board::Block::violations), 6U);
}

TEST_F(BoardShellTest, FilesOutsideTheBoardAreOutOfReach) {
    const std::string outside = std::filesystem::temp_directory_path() / "varno-outside";
    EXPECT_NE(Run("/bin/mkdir -p " + outside), 0);
    EXPECT_NE(Run("echo x > " + outside), 0);
    EXPECT_NE(Run("mv varnosvconf.xml " + outside), 0);
    EXPECT_FALSE(std::filesystem::exists(outside));
    EXPECT_EQ(Run("rm -f /media/nand/../../../../../../../../etc/hostname"), 0) << "the device has no such file";
    EXPECT_TRUE(std::filesystem::exists("/etc/passwd"));
    EXPECT_EQ(Run("echo x > ../../../escaped"), 0);
    EXPECT_EQ(board.Read("escaped"), "x\n") << "the program's folder is the top";
}

TEST_F(BoardShellTest, FileCommands) {
    EXPECT_EQ(Run("/bin/mkdir -p /media/sd-mmcblk0p1/DCIM"), 0);
    EXPECT_EQ(Run("/bin/mkdir -p /media/sd-mmcblk0p1/DCIM"), 0);
    EXPECT_EQ(Run("mkdir /media/sd-mmcblk0p1/DCIM"), 1);
    EXPECT_EQ(Run("echo lcd_panel=tvenc_ntsc > /etc/lcdparams"), 0);
    EXPECT_EQ(board.Read("/etc/lcdparams"), "lcd_panel=tvenc_ntsc\n");
    EXPECT_EQ(Run("echo 1 > /proc/sys/vm/drop_caches"), 0);
    EXPECT_EQ(Run("echo 1 > /sys/class/leds/Red_LED/brightness"), 2) << "no new files in the kernel's trees";
    board.Write("/media/sd-mmcblk0p1/DCIM/a b.jpg", "x");
    EXPECT_EQ(Run("rm -f '/media/sd-mmcblk0p1/DCIM/a b.jpg'"), 0);
    EXPECT_EQ(Run("rm -f /media/sd-mmcblk0p1/DCIM/none.jpg"), 0);
    EXPECT_EQ(Run("rm /media/sd-mmcblk0p1/DCIM/none.jpg"), 1);
    EXPECT_EQ(board.Files(board::Medium::Card, "DCIM"), Words{});
    board.Write("conf.tmp", "new");
    board.Write("conf", "old");
    EXPECT_EQ(Run("mv conf.tmp conf"), 0);
    EXPECT_EQ(board.Read("conf"), "new");
    EXPECT_EQ(Run("sync /media/nand/a.jpg"), 0);
    EXPECT_EQ(Run("/usr/varno/mwsplash 1"), 0);
}

TEST_F(BoardShellTest, MassStorageAndMounts) {
    const char* unit1 = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file";
    EXPECT_EQ(Run(std::string("/bin/echo  /dev/mmcblk0p1 > ") + unit1), 0);
    EXPECT_STREQ(board.Block().usb_units[1], "/dev/mmcblk0p1");
    EXPECT_EQ(Run(std::string("/bin/echo \"\" > ") + unit1), 0);
    EXPECT_STREQ(board.Block().usb_units[1], "");

    EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), 32) << "mounted already";
    EXPECT_EQ(Run("/bin/umount  -f  /media/sd-mmcblk0p1"), 0);
    EXPECT_FALSE(Mounted("/dev/mmcblk0p1"));
    EXPECT_EQ(Run("/bin/umount  -f  /media/sd-mmcblk0p1"), 1);
    EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/elsewhere"), 32);
    EXPECT_EQ(Run("mount -t ext4 /dev/mmcblk0p1  /media/sd-mmcblk0p1"), 32);
    EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), 0);
    EXPECT_TRUE(Mounted("/dev/mmcblk0p1"));
    EXPECT_EQ(Run("/bin/umount  -f   /media/nand"), 0);
    EXPECT_FALSE(Mounted("/dev/loop0"));
    EXPECT_EQ(Run("/bin/mount -t vfat /dev/loop0  /media/nand"), 0);
    EXPECT_TRUE(Mounted("/dev/loop0"));
    board.InsertCard(false);
    EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), 32);
}

TEST_F(BoardShellTest, FormattingErasesTheOneMedium) {
    board.Write("/media/sd-mmcblk0p1/a.jpg", "x");
    board.Write("/media/nand/b.jpg", "x");
    EXPECT_EQ(Run("/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1"), 1) << "still mounted";
    EXPECT_EQ(Run("/bin/umount -l /media/sd-mmcblk0p1"), 0);
    EXPECT_EQ(Run("/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1"), 0);
    EXPECT_EQ(board.Files(board::Medium::Card), Words{});
    EXPECT_EQ(board.Files(board::Medium::Nand), Words{"b.jpg"});

    EXPECT_EQ(Run("/usr/varno/nandformat  stop  "), 0);
    EXPECT_EQ(Run("/usr/varno/nandformat  start  "), 0);
    EXPECT_EQ(board.Files(board::Medium::Nand), Words{"b.jpg"}) << "its backing file was still there";
    EXPECT_EQ(Run("/bin/umount -l /media/nand"), 0);
    EXPECT_EQ(Run("rm  -f  /mnt/ubifs/backing_file  "), 0);
    EXPECT_EQ(Run("/usr/varno/nandformat  stop  "), 0);
    EXPECT_FALSE(Mounted("/dev/loop0"));
    EXPECT_EQ(Run("/usr/varno/nandformat  start  "), 0);
    EXPECT_TRUE(Mounted("/dev/loop0"));
    EXPECT_EQ(board.Files(board::Medium::Nand), Words{});
}

TEST_F(BoardShellTest, GpioLines) {
    EXPECT_EQ(Run("echo 117 > /sys/class/gpio/export"), 0);
    EXPECT_EQ(Run("echo 117 > /sys/class/gpio/export"), 1) << "exported already";
    EXPECT_EQ(Run("echo x > /sys/class/gpio/export"), 1);
    EXPECT_EQ(Run("echo IN > /sys/class/gpio/gpio117/direction"), 1) << "the kernel knows it in small letters only";
    EXPECT_EQ(board.Read("/sys/class/gpio/gpio117/direction"), "in\n");
    EXPECT_EQ(board.Read("/sys/class/gpio/gpio117/value"), "0\n");
    board.Set(&board::Block::tv_cable, true);
    EXPECT_EQ(board.Read("/sys/class/gpio/gpio117/value"), "1\n");
    EXPECT_EQ(Run("echo 122 > /sys/class/gpio/export"), 0);
    EXPECT_EQ(Run("echo out > /sys/class/gpio/gpio122/direction"), 0);
    EXPECT_EQ(Run("echo 0 > /sys/class/gpio/gpio122/value"), 0);
    board.Set(&board::Block::tv_cable, false);
    EXPECT_EQ(board.Read("/sys/class/gpio/gpio122/value"), "0\n");
    EXPECT_EQ(Run("echo 117 > /sys/class/gpio/unexport"), 0);
    EXPECT_FALSE(std::filesystem::exists(board.Kernel().Path("/sys/class/gpio/gpio117")));
}

}  // namespace
