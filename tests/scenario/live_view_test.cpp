// Start, live view, and the keys that change it.
#include "app/globals.h"
#include "app/sv_main.h"
#include "tests/scenario/scenario.h"

using testing::HasSubstr;

namespace scenario {
namespace {

using LiveView = ScenarioTest;

TEST_F(LiveView, StartsIntoTheCameraPicture) {
    StartLive();
    program->Advance(5s);
    ExpectLcd("live_view");
    EXPECT_EQ(board.Get(&board::Block::green_led), 255);
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    EXPECT_EQ(VideoSize(), "320x240");
    EXPECT_TRUE(VideoRuns());
    EXPECT_THAT(program->Output(), HasSubstr("val:255\n"));
    EXPECT_EQ(Printed("Start Init camera\n"), 1);
    EXPECT_EQ(Printed("Found sd card on /media/sd-mmcblk0p1\n"), 1);
    EXPECT_EQ(Printed("#####0 ; 0 ;320;240 #####\nscr_width= 320\n"), Printed("scr_width= 320\n"));
    EXPECT_EQ(End(), 0);
    EXPECT_EQ(Printed("CVarnoSVMain::~CVarnoSVMain\n"), 1);
    EXPECT_LE(board.Kernel().OpenCount(), 2);  // the watchdog and the OTG device, until the process ends
}

TEST_F(LiveView, WaitsForACamera) {
    board.PlugCamera(false);
    Start();
    program->Advance(5s);
    EXPECT_EQ(State(), "DETECT");
    ExpectLcd("no_camera");
    board.PlugCamera(true);
    EXPECT_TRUE(program->RunUntilLive());
    EXPECT_TRUE(RunUntilState("VIEW"));
    board.PlugCamera(false);
    EXPECT_TRUE(RunUntilState("DETECT"));
    EXPECT_TRUE(program->RunUntil([&] { return board.Get(&board::Block::pxp).output == 1; }));
    board.PlugCamera(true);
    EXPECT_TRUE(program->RunUntilLive());
    EXPECT_TRUE(VideoRuns());
}

TEST_F(LiveView, LeftAndRightSetTheLamp) {
    StartLive();
    EXPECT_EQ(Drawn(kBrightBox), 0);
    for (const int lamp : {73, 77, 82, 89, 104, 104}) {
        program->Press(VK_RIGHT);
        EXPECT_EQ(board.Get(&board::Block::lamp), lamp);
    }
    ExpectLcd("brightness_bar");
    for (const int lamp : {89, 82, 77, 73, 70, 66, 62, 58, 53, 18, 18}) {
        program->Press(VK_LEFT);
        EXPECT_EQ(board.Get(&board::Block::lamp), lamp);
    }
    program->Advance(4900ms);
    EXPECT_GT(Drawn(kBrightBox), 0);
    program->Advance(200ms);
    EXPECT_EQ(Drawn(kBrightBox), 0);
}

TEST_F(LiveView, UpAndDownZoom) {
    StartLive();
    const auto zoom = [&] { return board.Get(&board::Block::pxp).source_width; };
    for (const unsigned width : {288U, 256U, 224U, 192U, 160U, 128U, 128U}) {
        program->Press(VK_UP);
        EXPECT_TRUE(VideoRuns());
        EXPECT_EQ(zoom(), width);
    }
    ExpectLcd("zoom_bar");
    program->Press(VK_DOWN);
    EXPECT_TRUE(VideoRuns());
    EXPECT_EQ(zoom(), 160U);
    // One bar at a time.
    program->Press(VK_LEFT);
    EXPECT_GT(Drawn(kBrightBox), 0);
    EXPECT_EQ(Drawn(kZoomBox), 0);
    program->Press(VK_UP);
    EXPECT_EQ(Drawn(kBrightBox), 0);
    EXPECT_GT(Drawn(kZoomBox), 0);
    // A zoom that is not carried out yet makes the next step wait for another key press.
    program->Press(VK_DOWN);
    program->Press(VK_DOWN);
    EXPECT_TRUE(VideoRuns());
    EXPECT_EQ(zoom(), 128U);
    program->Advance(5100ms);
    EXPECT_EQ(Drawn(kZoomBox), 0);
}

TEST_F(LiveView, F2TurnsThePicture) {
    StartLive();
    program->Advance(3s);
    const board::LcdPicture upright = board.Lcd();
    std::vector<board::LcdPicture> seen{upright};
    const char* const references[] = {"mirrored", "half_turn", "upside_down"};
    for (int i = 0; i < 4; ++i) {
        program->Press(VK_F2);
        EXPECT_TRUE(VideoRuns());
        const board::LcdPicture now = board.Lcd();
        if (i < 3) ExpectLcd(references[i]);
        // Compared in the middle, where no clock runs.
        int same = 0;
        for (const board::LcdPicture& other : seen) {
            same += std::equal(now.begin() + 320 * 60, now.begin() + 320 * 90, other.begin() + 320 * 60) ? 1 : 0;
        }
        EXPECT_EQ(same, i < 3 ? 0 : 1) << i;
        seen.push_back(now);
    }
    EXPECT_TRUE(std::equal(upright.begin() + 320 * 60, upright.begin() + 320 * 200, seen[4].begin() + 320 * 60));
}

TEST_F(LiveView, MenuHidesEverythingAndPausesTheCamera) {
    StartLive();
    program->Advance(3s);
    program->Press(VK_LEFT);
    program->OnUiThread([] { m_pMain->EnterMenu(); });
    ASSERT_TRUE(RunUntilState("STOP"));
    EXPECT_EQ(Drawn({0, 0, 320, 239}), 0);
    EXPECT_FALSE(board.Get(&board::Block::camera).streaming);
    program->Advance(2s);
    EXPECT_EQ(State(), "STOP");
    EXPECT_THAT(program->Output(), HasSubstr(" EnterMenu:"));
    program->OnUiThread([] { m_pMain->ExitMenu(); });
    EXPECT_TRUE(program->RunUntilLive());
    EXPECT_TRUE(VideoRuns());
    for (const Box& box : {kModeBox, kCardBox, kBatteryBox, kDateBox})
        EXPECT_GT(Drawn(box), 0);
    EXPECT_EQ(Drawn(kBrightBox), 0);

    program->OnUiThread([] { g_mainWindowHooks.stop_all_timers(); });
    board.PlugCamera(false);
    program->Advance(3s);
    EXPECT_EQ(State(), "VIEW");
    program->OnUiThread([] { g_mainWindowHooks.start_all_timers(); });
    EXPECT_TRUE(RunUntilState("DETECT"));
}

TEST_F(LiveView, OnTheTvThereAreNoIconsAndNoKeys) {
    board.Write("/etc/lcdparams", "lcd_panel=tvenc_ntsc\n");
    board.Set(&board::Block::tv_cable, true);
    board.Folder().Sync();
    StartLive();
    program->Advance(5s);
    EXPECT_EQ(Drawn({0, 0, 320, 239}), 0);
    ExpectLcd("tv");
    for (const int key : {VK_RETURN, VK_LEFT, VK_UP, VK_F2, VK_F3})
        program->Press(key);
    program->Advance(1s);
    EXPECT_EQ(Drawn({0, 0, 320, 239}), 0);
    EXPECT_EQ(State(), "VIEW");
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    EXPECT_TRUE(CardFiles().empty());
    EXPECT_TRUE(VideoRuns());
}

TEST_F(LiveView, FeedsTheWatchdog) {
    StartLive();
    EXPECT_TRUE(board.Get(&board::Block::watchdog).armed);
    program->Advance(35s);
    EXPECT_FALSE(board::WatchdogStarved(board.Block(), board.Clock().Monotonic()));
    EXPECT_EQ(Printed("SetPowerOffStatus\n"), 0);
}

}  // namespace
}  // namespace scenario
