// What comes in between: a full medium, an empty battery, the power switch, a PC on the USB port.
#include <algorithm>

#include "tests/scenario/media_files.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace scenario {
namespace {

class Warnings : public MediaTest {
  protected:
    // The program switches the device off; the recording before is whole.
    void ExpectSavedAndOff(std::chrono::milliseconds limit) {
        EXPECT_FALSE(board.Get(&board::Block::powered_off));
        ASSERT_TRUE(program->RunUntil([this] { return board.Get(&board::Block::powered_off); }, limit));
        EXPECT_EQ(board.Get(&board::Block::unsynced_bytes), 0);
        EXPECT_EQ(Printed("SetPowerOffStatus\n"), 1);
        EXPECT_THAT(CardFiles(), SizeIs(1));
        ExpectWholeVideo(LastFile(".avi"), 40);
    }
};

TEST_F(Warnings, LimitOfTheSpaceIs2048KiB) {
    SetCardSpace(2047);
    Start();
    LeaveNoSpace();  // once by itself since the start
    EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), 1);
    ExpectLiveView();
    Advance(3s);
    ExpectLcd("no_space");
    for (const bool video : {false, true}) {
        if (video) Keys("3");
        for (const int kib : {2047, 2048, 2049}) {
            SCOPED_TRACE(kib);
            SetCardSpace(kib);
            const std::size_t files = CardFiles().size();
            const std::size_t from = Output().size();
            Keys("E");
            // The first frames of a recording fill the medium.
            if (video || kib == 2047) LeaveNoSpace();
            ASSERT_TRUE(program->RunUntilPrinted(!video        ? kStillDone
                                                 : kib == 2047 ? "nand have not enough space\n"
                                                               : "nand have enough space\n",
                                                 from));
            ExpectLiveView();
            EXPECT_THAT(CardFiles(), SizeIs(files + (kib == 2047 ? 0 : 1)));
            if (video && kib > 2047) ExpectWholeVideo(LastFile(".avi"), 1);
        }
        EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), video ? 4 : 2);
    }
    EXPECT_EQ(Printed("Saving to jpeg file"), 2);
    EXPECT_THAT(board.Commands(), Contains("echo 1 > /proc/sys/vm/drop_caches"));

    SetCardSpace(100000);
    RecordForAWhile();
    SetCardSpace(2047);
    LeaveNoSpace();
    ExpectLiveView();
    ExpectWholeVideo(LastFile(".avi"), 40);
}

TEST_F(Warnings, PowerSwitchSavesAndSwitchesOff) {
    StartLive();
    Keys("3");
    RecordForAWhile();
    Set(&board::Block::power_off_requested, true);
    ASSERT_TRUE(RunUntilState("STOP"));
    Keys("1.........");
    ExpectLcd("bye");
    ExpectSavedAndOff(3200ms);
    // Only a test's board stays on: the request is not taken twice.
    Set(&board::Block::power_off_requested, true);
    ExpectLiveView();
    Advance(5s);
    EXPECT_EQ(Printed("SetPowerOffStatus\n"), 1);
}

TEST_F(Warnings, EmptyBatterySavesAndSwitchesOff) {
    StartLive();
    Keys("3");
    board.Set(&board::Block::battery_millivolts, 1278);
    Set(&board::Block::charger, true);
    Advance(17s);  // the charge is averaged over eight readings
    RecordForAWhile();
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
    Set(&board::Block::charger, false);
    ExpectSavedAndOff(20s);
    EXPECT_THAT(Output(), HasSubstr("Voltage is too low!power off\n"));
}

// A warning leaves what is below as it was; a PC closes it, and a question is then answered with no.
TEST_F(Warnings, WhateverIsBelow) {
    const struct {
        const char* below;
        const char* keys;
        const char* change;  // a key that changes what is seen
    } cases[] = {{"setup", "1,", "v"},
                 {"date and time", "1,EE", "^"},
                 {"language", "1,EvE", "v"},
                 {"TV question", "1,E^EE", ">"},
                 {"colour", "1,vE", ">"},
                 {"format question", "1,vvE", ">"},
                 {"format warning", "1,vvEE", ">"},
                 {"help", "1,^E", "E"},
                 {"navigation", "4,", ">"},
                 {"photos", "4,E,", "<"},
                 {"deletion", "4,E,2", ">"},
                 {"photo", "4,E,E,", "v"},
                 {"clip", "4,>E,E,", "E,"},
                 {"playing clip", "4,>E,EE,", "E,"}};
    PutPhotos(2);
    PutClip("a.avi");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.below);
        SetCardSpace(100000);
        StartLive();
        Keys(c.keys);
        const board::LcdPicture before = board.Lcd();
        const bool plays = c.below == std::string("playing clip");
        if (*c.keys == '1') {
            // A card that is found meanwhile shows its symbol later.
            const std::size_t from = Output().size();
            for (const bool inserted : {false, true}) {
                InsertCard(inserted);
                Advance(3s);
            }
            EXPECT_THAT(Since(from), HasSubstr("Found sd card on /media/sd-mmcblk0p1\n"));
            EXPECT_EQ(board.Lcd(), before);
        }
        SetCardSpace(1000);
        LeaveNoSpace();
        Advance(1s);
        EXPECT_EQ(State(), "STOP");
        EXPECT_EQ(board.Lcd() == before, !plays) << "a clip that played stands still";
        EXPECT_EQ(Pxp().output, 1U);
        const board::LcdPicture after = board.Lcd();
        Keys(c.change);
        EXPECT_NE(board.Lcd(), after) << "it has the keys again";
        EXPECT_EQ(Pxp().output, c.change == std::string("E,") ? 0U : 1U) << "the clip goes on";

        const std::size_t from = Output().size();
        ConnectPc();
        EXPECT_THAT(Since(from), Not(HasSubstr("Camera controller started."))) << "for a moment in between";
        Advance(2s);
        DisconnectPc();
        EXPECT_EQ(Lamp(), 70);
        EXPECT_GT(Drawn(kCardBox), 0);
        EXPECT_THAT(CardFiles(), SizeIs(3));
        EXPECT_THAT(board.Commands(), Not(Contains(HasSubstr("mkdosfs"))));
        EXPECT_THAT(board.Commands(), Not(Contains(HasSubstr("lcdparams"))));
        EXPECT_EQ(Printed("StopStateMachine\n"), 0) << "no date was set";
        Finish();
    }
}

TEST_F(Warnings, PcGetsTheStorageAndGivesItBack) {
    const struct {
        const char* name;
        const char* begun;            // "": nothing, "video" or "still"
        bool card, pulled, inserted;  // the card's at first, and what happens to it meanwhile
    } cases[] = {{"idle", "", true, false, false},          {"no card", "", false, false, false},
                 {"card inserted", "", false, false, true}, {"card pulled", "", true, true, false},
                 {"still", "still", true, false, false},    {"card changed", "video", true, true, true},
                 {"recording", "video", true, false, false}};
    StartLive();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto insert = [this](bool inserted) {
            InsertCard(inserted);
            Advance(500ms);
        };
        insert(c.card);
        const std::size_t files = CardFiles().size();
        const bool video = c.begun == std::string("video");
        if (c.begun == std::string("still")) {
            const std::size_t from = Output().size();
            Keys("E");
            ASSERT_TRUE(program->RunUntilPrinted("old: CAM_STATUS_REC_IMAGE, new: CAM_STATUS_VIEW\n", from));
        } else if (video) {
            if (c.pulled) Keys("3");
            RecordForAWhile();
        }
        ConnectPc();
        ExpectLcd("usb");
        EXPECT_EQ(Unit(1), c.card ? "/dev/mmcblk0p1" : "");
        EXPECT_THAT(CardFiles(), SizeIs(files + (*c.begun != '\0' ? 1 : 0)));
        if (video) ExpectWholeVideo(LastFile(".avi"), 40);
        Keys("1,,,");
        if (c.pulled) insert(false);
        if (c.inserted) insert(true);
        EXPECT_TRUE(WarningShows());
        const std::size_t from = Output().size();
        if (c.name == std::string("recording")) SetCardSpace(100);
        DisconnectPc();
        EXPECT_THAT(Since(from), HasSubstr("Return to normal mode.\n"));
        EXPECT_EQ(board.Get(&board::Block::card).mounted, (c.card && !c.pulled) || c.inserted);
        EXPECT_TRUE(board.Get(&board::Block::nand).mounted);
    }
    // The space is warned of during a recording, not after a PC has ended it.
    Advance(3s);
    EXPECT_EQ(State(), "VIEW");
    EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), 0);
    EXPECT_THAT(Output(), Not(HasSubstr("Error: Excute")));
    const std::string unit = " > /sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun";
    const std::vector<std::string> expected = {"/bin/echo  /dev/mmcblk0p1" + unit + "1/file",
                                               "/bin/echo  /dev/loop0 " + unit + "0/file",
                                               "echo 1 > /proc/sys/vm/drop_caches",
                                               "/bin/echo \"\"" + unit + "1/file",
                                               "/bin/umount  -f  /media/sd-mmcblk0p1",
                                               "mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1",
                                               "echo 1 > /proc/sys/vm/drop_caches",
                                               "/bin/echo \"\"" + unit + "0/file",
                                               "/bin/umount  -f   /media/nand",
                                               "/bin/mount -t vfat /dev/loop0  /media/nand"};
    const std::vector<std::string> commands = board.Commands();
    EXPECT_NE(std::search(commands.begin(), commands.end(), expected.begin(), expected.end()), commands.end())
        << testing::PrintToString(commands);
}

}  // namespace
}  // namespace scenario
