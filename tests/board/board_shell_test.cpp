// Commands stay inside the board and do there what they do on the device.
#include "tests/board/board_test.h"

namespace board_test {

TEST(ShellWordsTest, QuotesAsAShellDoes) {
    const std::tuple<const char*, Words, const char*> understood[] = {
        {"/bin/echo  /dev/loop0  > /sys/x", {"/bin/echo", "/dev/loop0"}, "/sys/x"},
        {"echo 1>x", {"echo", "1"}, "x"},
        {R"(/bin/echo "" >> '/a b')", {"/bin/echo", ""}, "/a b"},
        {R"(rm -f a\ b 'c"d' "e\"f\g"'h'i)", {"rm", "-f", "a b", "c\"d", "e\"f\\ghi"}, ""},
        {"rm '$HOME;*'", {"rm", "$HOME;*"}, ""}};
    board::ShellCommand command;
    for (const auto& [line, words, output_file] : understood) {
        EXPECT_EQ(board::SplitShellWords(line, command), board::ShellAnswer::Understood) << line;
        EXPECT_EQ(std::tie(command.words, command.output_file), std::tuple(words, output_file)) << line;
    }
    for (const char* line : {"rm 'a", "rm \"a", "rm a\\", "echo >", "echo > a > b"})
        EXPECT_EQ(board::SplitShellWords(line, command), board::ShellAnswer::SyntaxError) << line;
    for (const char* line : {"sync; reboot", "sync && reboot", "sync | cat", "rm *", "rm \"$HOME\"", "rm `pwd`"})
        EXPECT_EQ(board::SplitShellWords(line, command), board::ShellAnswer::Refused) << line;
}

class BoardShellTest : public BoardTest {};

TEST_F(BoardShellTest, UnknownCommandsAreRefusedAndRecorded) {
    for (const char* line :
         {"reboot", "/bin/sh -c reboot", "sync; rm x", "touch x", "nandformat start", "/sbin/rm x"}) {
        EXPECT_EQ(Run(line), 127) << line;
        EXPECT_EQ(board.Commands().back(), line);
    }
    EXPECT_EQ(board.Get(&board::Block::violations), 6U);
}

TEST_F(BoardShellTest, FilesOutsideTheBoardAreOutOfReach) {
    const std::string outside = std::filesystem::temp_directory_path() / "varno-outside";
    for (const char* command : {"/bin/mkdir -p ", "echo x > ", "sync > ", "mv varnosvconf.xml "})
        EXPECT_NE(Run(command + outside), 0) << command;
    EXPECT_FALSE(std::filesystem::exists(outside));
    EXPECT_EQ(Run("rm -f /media/nand/../../../../../../../../etc/hostname"), 0) << "the device has no such file";
    EXPECT_TRUE(std::filesystem::exists("/etc/passwd"));
    EXPECT_EQ(Run("echo x > ../../../escaped"), 0);
    EXPECT_EQ(board.Read("escaped"), "x\n") << "the program's folder is the top";
    EXPECT_TRUE(std::filesystem::exists("varnosvconf.xml") && std::filesystem::exists("img/sd.png"));
    const std::string root = board.Folder().Directory().string();
    const std::pair<const char*, std::string> paths[] = {{"img/sd.png", "img/sd.png"},
                                                         {"/home/x", "/home/x"},
                                                         {"/system", "/system"},
                                                         {"/media/sd-mmcblk0p1/DCIM/", root + "/card/DCIM"},
                                                         {"/media/nand/../../etc/passwd", root + "/device/etc/passwd"}};
    for (const auto& [path, real] : paths)
        EXPECT_EQ(kernel.Path(path), real);
}

TEST_F(BoardShellTest, CommandsChangeFiles) {
    const std::string gpio = "/sys/class/gpio/gpio117/";
    // One after the other; what the file holds then, nothing when there is none.
    const std::tuple<const char*, int, std::string, const char*> steps[] = {
        {"mkdir -p /media/nand/DCIM", 0, "", ""},
        {"mkdir /media/nand/DCIM", 1, "", ""},
        {"echo a b > '/media/nand/DCIM/a b'", 0, "/media/nand/DCIM/a b", "a b\n"},
        {"echo c >> '/media/nand/DCIM/a b'", 0, "/media/nand/DCIM/a b", "a b\nc\n"},
        {"rm -f '/media/nand/DCIM/a b'", 0, "/media/nand/DCIM/a b", ""},
        {"rm -f /media/nand/none", 0, "", ""},
        {"rm /media/nand/none", 1, "", ""},
        {"echo new > conf.tmp", 0, "conf.tmp", "new\n"},
        {"mv conf.tmp conf", 0, "conf", "new\n"},
        {"mv conf /media/nand/DCIM", 0, "/media/nand/DCIM/conf", "new\n"},
        {"echo 1 > /proc/sys/vm/drop_caches", 0, "/proc/sys/vm/drop_caches", "1\n"},
        // The kernel's own trees take no new files, a line's folder is made once, and directions have small letters.
        {"echo 1 > /sys/class/leds/Red_LED/brightness", 2, "", ""},
        {"echo 117 > /sys/class/gpio/export", 0, gpio + "direction", "in\n"},
        {"echo 117 > /sys/class/gpio/export", 1, gpio + "value", "1\n"},
        {"echo IN > /sys/class/gpio/gpio117/direction", 1, gpio + "direction", "in\n"},
        {"echo out > /sys/class/gpio/gpio117/direction", 0, gpio + "direction", "out\n"},
        {"echo 0 > /sys/class/gpio/gpio117/value", 0, gpio + "value", "0\n"},
        {"echo 117 > /sys/class/gpio/unexport", 0, gpio + "value", ""}};
    board.Set(&board::Block::tv_cable, true);
    for (const auto& [line, status, file, content] : steps) {
        EXPECT_EQ(Run(line), status) << line;
        EXPECT_EQ(file.empty() ? "" : board.Read(file), content) << line;
    }
}

TEST_F(BoardShellTest, MountsAndFormatting) {
    board.Write("/media/sd-mmcblk0p1/a.jpg", "x");
    board.Write("/media/nand/b.jpg", "x");
    // One after the other: what is mounted then, and the files that are left.
    const std::tuple<const char*, int, const char*, unsigned, unsigned> steps[] = {
        {"mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1", 32, "card nand", 1, 1},
        {"/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1", 1, "card nand", 1, 1},
        {"/bin/umount  -f  /media/sd-mmcblk0p1", 0, "nand", 1, 1},
        {"/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1", 0, "nand", 0, 1},
        {"mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1", 0, "card nand", 0, 1},
        {"/bin/umount -l /dev/loop0", 0, "card ", 0, 1},
        {"/bin/mount -t vfat /dev/loop0  /media/nand", 0, "card nand", 0, 1},
        {"/usr/varno/nandformat  stop  ", 0, "card ", 0, 1},
        // Only a store without its backing file is made anew.
        {"/usr/varno/nandformat  start  ", 0, "card nand", 0, 1},
        {"rm  -f  /mnt/ubifs/backing_file  ", 0, "card nand", 0, 1},
        {"/usr/varno/nandformat  start  ", 0, "card nand", 0, 0}};
    for (const auto& [line, status, mounts, on_card, on_nand] : steps) {
        EXPECT_EQ(Run(line), status) << line;
        EXPECT_EQ(Mounts(), mounts) << line;
        EXPECT_EQ(board.Files(board::Medium::Card).size(), on_card) << line;
        EXPECT_EQ(board.Files(board::Medium::Nand).size(), on_nand) << line;
    }
    board.InsertCard(false);
    EXPECT_EQ(Run("mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1"), 32);
}

}  // namespace board_test
