// What comes in between: a full medium, an empty battery, the power switch, a PC on the USB port.
#include <algorithm>

#include "tests/scenario/scenario.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace scenario {
namespace {

const std::string kGadget = "/sys/devices/platform/fsl-usb2-udc/gadget/";

class Warnings : public ScenarioTest {
  protected:
    // Runs until the text is printed from now on.
    bool RunUntilNext(const std::string& text) { return program->RunUntilPrinted(text, program->Output().size()); }
    // The band below the text of a warning is on the LCD.
    bool WarningShows() { return (board.Lcd()[152 * 320 + 3] & 0xFFFFFFU) == 0x14181CU && State() == "STOP"; }
    // Waits for the no-space warning and leaves it as a user does.
    void LeaveNoSpace() {
        ASSERT_TRUE(program->RunUntil([this] { return WarningShows(); }, 5s));
        for (const int key : {VK_RETURN, VK_LEFT, VK_F4})
            program->Press(key);
        program->Advance(1100ms);
        EXPECT_TRUE(WarningShows());
        const std::size_t from = program->Output().size();
        program->Press(VK_F1);
        program->Advance(1s);
        program->Press(VK_F1);  // of no use to anybody: the warning still shows
        program->Advance(1900ms);
        EXPECT_TRUE(WarningShows());
        EXPECT_TRUE(program->RunUntilPrinted("WM_DESTROY\nCVarnoUIDlgWarning::DestoryDialog\n", from));
    }
    void Set(bool board::Block::*input, bool value) {
        board.Set(input, value);
        board.Folder().Sync();
    }
    void SetBattery(int millivolts, bool charger) {
        board.Set(&board::Block::battery_millivolts, millivolts);
        Set(&board::Block::charger, charger);
    }
    std::vector<std::string> Videos() {
        std::vector<std::string> names = CardFiles();
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const std::string& name) { return name.find(".avi") == std::string::npos; }),
                    names.end());
        return names;
    }
    // The device behind a unit that a PC sees.
    std::string Unit(int number) {
        const std::string line = board.Read(kGadget + "gadget-lun" + std::to_string(number) + "/file");
        return line.substr(0, line.find('\n'));
    }
};

TEST_F(Warnings, LimitOfTheSpaceIs2048KiB) {
    SetCardSpace(2047);
    Start();
    // Once by itself since the start.
    LeaveNoSpace();
    EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), 1);
    ExpectLiveView();
    program->Advance(3s);
    ExpectLcd("no_space");

    for (const int kib : {2047, 2048, 2049}) {
        SCOPED_TRACE(kib);
        SetCardSpace(kib);
        const std::size_t files = CardFiles().size();
        const std::size_t from = program->Output().size();
        program->Press(VK_RETURN);
        if (kib == 2047) LeaveNoSpace();
        ASSERT_TRUE(program->RunUntilPrinted("##########################################################\n", from));
        ExpectLiveView();
        EXPECT_THAT(CardFiles(), SizeIs(files + (kib == 2047 ? 0 : 1)));
    }
    EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), 2);
    EXPECT_EQ(Printed("Saving to jpeg file"), 2);

    ChooseVideo();
    for (const int kib : {2047, 2048, 2049}) {
        SCOPED_TRACE(kib);
        SetCardSpace(kib);
        const std::size_t files = CardFiles().size();
        program->Press(VK_RETURN);
        if (kib == 2047) {
            ASSERT_TRUE(RunUntilNext("nand have not enough space\n"));
        } else {
            ASSERT_TRUE(RunUntilNext("nand have enough space\n"));
            ASSERT_TRUE(RunUntilState("REC_VIDEO"));
        }
        // The first frames of a recording fill the medium.
        LeaveNoSpace();
        ExpectLiveView();
        ASSERT_THAT(CardFiles(), SizeIs(files + (kib == 2047 ? 0 : 1)));
        if (kib > 2047) ExpectWholeVideo(Videos().back(), 1);
    }
    EXPECT_THAT(board.Commands(), testing::Contains("echo 1 > /proc/sys/vm/drop_caches"));

    SetCardSpace(100000);
    RecordForAWhile();
    SetCardSpace(2047);
    LeaveNoSpace();
    ExpectLiveView();
    ExpectWholeVideo(Videos().back(), 40);
}

TEST_F(Warnings, WithoutAMediumNothingIsRecorded) {
    board.InsertCard(false);
    board::InsertMedium(board.Block(), &board::Block::nand, false);
    board.Folder().Sync();
    Start();
    LeaveNoSpace();
    ExpectLiveView();
    program->Press(VK_RETURN);
    LeaveNoSpace();
    ExpectLiveView();
    ChooseVideo();
    program->Press(VK_RETURN);
    LeaveNoSpace();
    EXPECT_EQ(Printed("nand have not enough space\n"), 1);
    ExpectLiveView();
}

TEST_F(Warnings, PowerSwitchSavesAndSwitchesOff) {
    StartLive();
    ChooseVideo();
    RecordForAWhile();
    Set(&board::Block::power_off_requested, true);
    ASSERT_TRUE(RunUntilState("STOP"));
    program->Press(VK_F1);
    program->Advance(900ms);
    ExpectLcd("bye");
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
    program->Advance(3200ms);
    EXPECT_TRUE(board.Get(&board::Block::powered_off));
    EXPECT_EQ(Printed("SetPowerOffStatus\n"), 1);
    ASSERT_THAT(CardFiles(), SizeIs(1));
    ExpectWholeVideo(Videos()[0], 40);
    // Only a test's board stays on: the request is not taken twice.
    Set(&board::Block::power_off_requested, true);
    ExpectLiveView();
    program->Advance(5s);
    EXPECT_EQ(Printed("SetPowerOffStatus\n"), 1);
}

TEST_F(Warnings, EmptyBatterySavesAndSwitchesOff) {
    StartLive();
    ChooseVideo();
    SetBattery(1278, true);
    program->Advance(17s);  // the charge is averaged over eight readings
    RecordForAWhile();
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
    SetBattery(1278, false);
    ASSERT_TRUE(RunUntilNext("Voltage is too low!power off\nSetPowerOffStatus\n"));
    board.Folder().Sync();
    EXPECT_TRUE(board.Get(&board::Block::powered_off));
    ASSERT_THAT(CardFiles(), SizeIs(1));
    ExpectWholeVideo(Videos()[0], 40);
}

// A warning leaves what is below as it was; a PC closes it, and a question is then answered with no.
TEST_F(Warnings, QuestionBelow) {
    StartLive();
    program->Press(VK_RETURN);
    ASSERT_TRUE(program->RunUntilPrinted("##########################################################\n"));
    ExpectLiveView();
    for (const int key : {VK_F1, VK_DOWN, VK_DOWN, VK_RETURN}) {
        program->Press(key);
        program->Advance(1s);
    }
    const board::LcdPicture question = board.Lcd();
    // A card that is found meanwhile shows its symbol later.
    for (const bool inserted : {false, true}) {
        board.InsertCard(inserted);
        board.Folder().Sync();
        program->Advance(3s);
    }
    EXPECT_EQ(Printed("Found sd card on /media/sd-mmcblk0p1\n"), 2);
    EXPECT_EQ(board.Lcd(), question);
    SetCardSpace(1000);
    LeaveNoSpace();
    program->Advance(1s);
    EXPECT_EQ(State(), "STOP");
    EXPECT_EQ(board.Lcd(), question);
    program->Press(VK_RIGHT);
    EXPECT_NE(board.Lcd(), question) << "the question has the keys again";
    program->Press(VK_LEFT);

    Set(&board::Block::usb_host, true);
    ASSERT_TRUE(program->RunUntil([this] { return Unit(0) == "/dev/loop0" && WarningShows(); }, 5s));
    program->Advance(2s);
    Set(&board::Block::usb_host, false);
    ExpectLiveView();
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
    EXPECT_THAT(CardFiles(), SizeIs(1));
    EXPECT_GT(Drawn(kCardBox), 0);
}

// The space is warned of once during a recording, not after a PC has ended it.
TEST_F(Warnings, ARecordingThatAPcEndedIsOver) {
    StartLive();
    ChooseVideo();
    RecordForAWhile();
    Set(&board::Block::usb_host, true);
    ASSERT_TRUE(program->RunUntil([this] { return WarningShows(); }, 5s));
    SetCardSpace(100);
    Set(&board::Block::usb_host, false);
    ASSERT_TRUE(program->RunUntil([this] { return State() == "VIEW"; }, 6s));
    program->Advance(3s);
    EXPECT_EQ(State(), "VIEW");
    EXPECT_EQ(Printed("WARNBOX_NoSpace\n"), 0);
}

TEST_F(Warnings, PcGetsTheStorageAndGivesItBack) {
    struct Case {
        const char* name;
        const char* begun;            // "": nothing, "video" or "still"
        bool card, pulled, inserted;  // the card's at first, and what happens to it meanwhile
    };
    StartLive();
    for (const Case& c : {Case{"idle", "", true, false, false}, Case{"no card", "", false, false, false},
                          Case{"card inserted", "", false, false, true}, Case{"card pulled", "", true, true, false},
                          Case{"still", "still", true, false, false}, Case{"card changed", "video", true, true, true},
                          Case{"recording", "video", true, false, false}}) {
        SCOPED_TRACE(c.name);
        const auto insert = [this](bool inserted) {
            board.InsertCard(inserted);
            board.Folder().Sync();
            program->Advance(500ms);
        };
        insert(c.card);
        const std::size_t files = CardFiles().size();
        if (c.begun == std::string("still")) {
            program->Press(VK_RETURN);
            ASSERT_TRUE(RunUntilNext("old: CAM_STATUS_REC_IMAGE, new: CAM_STATUS_VIEW\n"));
        } else if (c.begun == std::string("video")) {
            if (files < 2) ChooseVideo();
            RecordForAWhile();
        }
        Set(&board::Block::usb_host, true);
        ASSERT_TRUE(program->RunUntil([this] { return WarningShows(); }, 5s));
        if (c.name == std::string("idle")) ExpectLcd("usb");
        EXPECT_EQ(Unit(0), "/dev/loop0");
        EXPECT_EQ(Unit(1), c.card ? "/dev/mmcblk0p1" : "");
        EXPECT_THAT(CardFiles(), SizeIs(files + (*c.begun != '\0' ? 1 : 0)));
        if (c.begun == std::string("video")) ExpectWholeVideo(Videos().back(), 40);
        program->Press(VK_F1);
        program->Advance(3s);
        if (c.pulled) insert(false);
        if (c.inserted) insert(true);
        EXPECT_TRUE(WarningShows());

        const std::size_t from = program->Output().size();
        Set(&board::Block::usb_host, false);
        EXPECT_TRUE(program->RunUntil([this] { return State() == "VIEW"; }, 5s));
        EXPECT_THAT(program->Output().substr(from), HasSubstr("Return to normal mode.\n"));
        EXPECT_EQ(Unit(0) + Unit(1), "");
        EXPECT_EQ(board.Get(&board::Block::card).mounted, (c.card && !c.pulled) || c.inserted);
        EXPECT_TRUE(board.Get(&board::Block::nand).mounted);
        ExpectLiveView();
        EXPECT_EQ(board.Get(&board::Block::violations), 0U);
    }
    EXPECT_THAT(program->Output(), Not(HasSubstr("Error: Excute")));
    const std::vector<std::string> expected = {
        "/bin/echo  /dev/mmcblk0p1 > " + kGadget + "gadget-lun1/file",
        "/bin/echo  /dev/loop0  > " + kGadget + "gadget-lun0/file",
        "echo 1 > /proc/sys/vm/drop_caches",
        "/bin/echo \"\" > " + kGadget + "gadget-lun1/file",
        "/bin/umount  -f  /media/sd-mmcblk0p1",
        "mount -t vfat /dev/mmcblk0p1  /media/sd-mmcblk0p1",
        "echo 1 > /proc/sys/vm/drop_caches",
        "/bin/echo \"\" > " + kGadget + "gadget-lun0/file",
        "/bin/umount  -f   /media/nand",
        "/bin/mount -t vfat /dev/loop0  /media/nand",
    };
    const std::vector<std::string> commands = board.Commands();
    EXPECT_NE(std::search(commands.begin(), commands.end(), expected.begin(), expected.end()), commands.end())
        << testing::PrintToString(commands);
}

}  // namespace

// A warning over a photo leaves it as it was; a PC closes what is open before it gets the storage.
TEST_F(Warnings, MenusBelow) {
    StartLive();
    program->Press(VK_RETURN);
    ASSERT_TRUE(program->RunUntilPrinted("##########################################################\n"));
    ExpectLiveView();
    ChooseVideo();
    program->Press(VK_F4);
    ASSERT_TRUE(RunUntilState("STOP"));
    for (int i = 0; i < 2; ++i) {
        program->Advance(1s);
        program->Press(VK_RETURN);
    }
    program->Advance(1s);
    const board::LcdPicture photo = board.Lcd();
    SetCardSpace(1000);
    LeaveNoSpace();
    program->Advance(1s);
    EXPECT_EQ(State(), "STOP");
    EXPECT_EQ(board.Lcd(), photo);
    for (int i = 0; i < 3; ++i) {
        program->Press(VK_F1);
        program->Advance(1s);
    }
    SetCardSpace(100000);
    ExpectLiveView();

    RecordForAWhile();
    program->Press(VK_RETURN);
    ExpectLiveView();
    program->Press(VK_F4);
    ASSERT_TRUE(RunUntilState("STOP"));
    program->Press(VK_RIGHT);
    for (int i = 0; i < 3; ++i) {
        program->Press(VK_RETURN);
        program->Advance(700ms);
    }
    EXPECT_EQ(board.Get(&board::Block::pxp).output, 0U) << "the clip plays";
    Set(&board::Block::usb_host, true);
    ASSERT_TRUE(program->RunUntil([this] { return Unit(0) == "/dev/loop0" && WarningShows(); }, 5s));
    program->Advance(2s);
    Set(&board::Block::usb_host, false);
    ExpectLiveView();
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
    RecordForAWhile();
}

}  // namespace scenario
