// Start, live view, and the keys that change it.
#include "tests/scenario/scenario.h"

using testing::HasSubstr;

namespace scenario {
namespace {

using LiveView = ScenarioTest;

TEST_F(LiveView, ComesWhenThereIsACamera) {
    board.PlugCamera(false);
    Start();
    Advance(5s);
    EXPECT_EQ(State(), "DETECT");
    ExpectLcd("no_camera");
    board.PlugCamera(true);
    ExpectLiveView();
    board.PlugCamera(false);
    EXPECT_TRUE(program->RunUntil([&] { return Pxp().output == 1; }));
}

TEST_F(LiveView, LooksAndGoesOn) {
    StartLive();
    ExpectLcdAtTwelve("live_view");
    EXPECT_EQ(board.Get(&board::Block::green_led), 255);
    EXPECT_EQ(Lamp(), 70);
    EXPECT_EQ(VideoSize(), "320x240");
    EXPECT_TRUE(board.Get(&board::Block::watchdog).armed);
    Advance(35s);
    EXPECT_FALSE(Starved());
    EXPECT_TRUE(VideoRuns());
    EXPECT_THAT(Output(), HasSubstr("val:255\n"));
    EXPECT_EQ(Printed("Start Init camera\n"), 1);
    EXPECT_EQ(Printed("Found sd card on /media/sd-mmcblk0p1\n"), 1);
    EXPECT_EQ(Printed("#####0 ; 0 ;320;240 #####\nscr_width= 320\n"), Printed("scr_width= 320\n"));
    EXPECT_EQ(Printed("SetPowerOffStatus\n"), 0);
    EXPECT_EQ(program->End(), 0);
    EXPECT_EQ(Printed("CVarnoSVMain::~CVarnoSVMain\n"), 1);
}

TEST_F(LiveView, IsBackAtOnceAfterAMenu) {
    StartLive();
    for (const char* menu : {"1", "4"}) {
        Keys(menu);
        Keys(",");
        const auto before = board.Get(&board::Block::video_sequence);
        Keys("1");
        EXPECT_TRUE(program->RunUntil(
            [&] { return Pxp().output == 0 && board.Get(&board::Block::video_sequence) > before; }, 200ms));
    }
}

TEST_F(LiveView, LeftAndRightSetTheLamp) {
    StartLive();
    EXPECT_EQ(Drawn(kBrightBox), 0);
    for (const int lamp : {73, 77, 82, 89, 104, 104}) {
        Keys(">");
        EXPECT_EQ(Lamp(), lamp);
    }
    ExpectLcd("brightness_bar");
    for (const int lamp : {89, 82, 77, 73, 70, 66, 62, 58, 53, 18, 18}) {
        Keys("<");
        EXPECT_EQ(Lamp(), lamp);
    }
    EXPECT_EQ(Printed("Error: CVarnoSVMain::ChangeBright\n"), 0);
    Advance(4900ms);
    EXPECT_GT(Drawn(kBrightBox), 0);
    Advance(200ms);
    EXPECT_EQ(Drawn(kBrightBox), 0);
}

TEST_F(LiveView, UpAndDownZoom) {
    StartLive();
    const auto expect_zoom = [this](const char* keys, unsigned width) {
        Keys(keys);
        EXPECT_TRUE(VideoRuns());
        EXPECT_EQ(Pxp().source_width, width);
    };
    for (const unsigned width : {288U, 256U, 224U, 192U, 160U, 128U, 128U})
        expect_zoom("^", width);
    ExpectLcd("zoom_bar");
    expect_zoom("v", 160);
    // One bar at a time.
    Keys("<");
    EXPECT_GT(Drawn(kBrightBox), 0);
    EXPECT_EQ(Drawn(kZoomBox), 0);
    Keys("^");
    EXPECT_EQ(Drawn(kBrightBox), 0);
    EXPECT_GT(Drawn(kZoomBox), 0);
    // A zoom that is not carried out yet makes the next step wait for another key press.
    expect_zoom("vv", 128);
    Advance(5100ms);
    EXPECT_EQ(Drawn(kZoomBox), 0);
}

TEST_F(LiveView, F2TurnsThePicture) {
    StartLive();
    Advance(3s);
    for (const char* const turned : {"mirrored", "half_turn", "upside_down"}) {
        Keys("2");
        EXPECT_TRUE(VideoRuns());
        ExpectLcd(turned);
    }
    Keys("2");
    ExpectLcdAtTwelve("live_view");
}

TEST_F(LiveView, OnTheTvThereAreNoIconsAndNoKeys) {
    board.Write("/etc/lcdparams", "lcd_panel=tvenc_ntsc\n");
    Set(&board::Block::tv_cable, true);
    StartLive();
    Advance(5s);
    ExpectLcd("tv");
    Keys("E<^231,");
    EXPECT_EQ(Drawn(kScreen), 0);
    EXPECT_EQ(State(), "VIEW");
    EXPECT_EQ(Lamp(), 70);
    EXPECT_TRUE(CardFiles().empty());
    EXPECT_TRUE(VideoRuns());
}

}  // namespace
}  // namespace scenario
