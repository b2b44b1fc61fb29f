// Indicators of mode, battery and card.
#include "sys/varno_sv_utils.h"
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_ui_ctrl_battery.h"
#include "ui/controls/varno_ui_ctrl_power_icon.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"
#include "ui/controls/varno_ui_ctrl_sd_checker.h"

using testing::HasSubstr;
using testing::Not;

namespace ui_test {
namespace {

class RecModeTest : public UiTest {
  protected:
    RecModeTest() : indicator(CVarnoUICtrlRecMode::CreateNew(Instance(), parent, 3, 6, 56, 44)) {
        HWND window = GetWindow(parent, GW_CHILD);
        HWND first = GetWindow(window, GW_CHILD);
        HWND second = GetWindow(first, GW_HWNDNEXT);
        text = TextOf(first) == "cs" ? second : first;
        symbol = text == first ? second : first;
        indicator->Show(SW_SHOW);
    }

    std::unique_ptr<CVarnoUICtrlRecMode> indicator;
    HWND text = nullptr;
    HWND symbol = nullptr;
};

TEST_F(RecModeTest, LayoutFollowsTheClientArea) {
    RECT rect{};
    GetWindowRect(symbol, &rect);
    EXPECT_TRUE(rect.left == 3 + 12 && rect.top == 6 && rect.right == 3 + 12 + 31);
    GetWindowRect(text, &rect);
    EXPECT_TRUE(rect.left == 3 && rect.top == 6 + 28 && rect.right == 59 && rect.bottom - rect.top == 18);
    EXPECT_EQ(TextOf(text), "00:00:00");
    FlushNow();
    EXPECT_GT(Count({3, 34, 59, 50}, 0xFFFFFFFF), 30);
    EXPECT_EQ(screen.At(4, 7), kKeyPixel);
}

TEST_F(RecModeTest, ShowsWhatStillFits) {
    struct Case {
        RecMode mode;
        int card, nand;
        const char* text;
        const char* printed;
    };
    const RecMode image = REC_MODE_IMAGE;
    const RecMode video = REC_MODE_VIDEO;
    for (const Case& c :
         {Case{image, 2048, -1, "0", ""}, Case{image, 2049, -1, "0", "Avail space 0\n"},
          Case{image, 2327, -1, "0", "Avail space 0\n"}, Case{image, 2328, -1, "1", "Avail space 1\n"},
          Case{image, -1, 30048, "100", "Avail space 100\n"}, Case{image, 2328, 30048, "1", "Avail space 1\n"},
          Case{image, -1, -1, "0", ""}, Case{video, 2048, -1, "00:00:00", ""},
          Case{video, 2100, -1, "00:00:03", "Avail space 00:00:03\n"},
          Case{video, 2520000, -1, "01:00:00", "Avail space 01:00:00\n"},
          Case{video, 2736300, -1, "01:05:09", "Avail space 01:05:09\n"},
          Case{video, 280000000, -1, "111:06:40", "Avail space 111:06:40\n"}}) {
        indicator->SetCurMode(c.mode);
        EXPECT_EQ(TextOf(text), "00:00:00");
        SetSpace(c.card, c.nand);
        PrintedSoFar();
        indicator->RefreshImageAvailableNumber();
        EXPECT_EQ(TextOf(text), c.text) << c.card;
        EXPECT_EQ(PrintedSoFar(), c.printed) << c.card;
        FlushNow();
        const int updated = screen.updated_pixels;
        indicator->RefreshImageAvailableNumber();
        FlushNow();
        EXPECT_EQ(screen.updated_pixels, updated) << c.card;
        EXPECT_EQ(PrintedSoFar(), "") << c.card;
    }
    // Full, and then as much room again as before.
    SetSpace(0);
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "00:00:00");
    SetSpace(280000000);
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "111:06:40");

    indicator->Show(SW_HIDE);
    SetSpace(2520000);
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "111:06:40");
}

TEST_F(RecModeTest, BlinksAndCountsWhileRecording) {
    const std::time_t start = 1700000000;
    SetSpace(2520000);
    indicator->SetCurMode(REC_MODE_IMAGE);
    indicator->StartRecord();
    EXPECT_FALSE(indicator->RecordStatus());

    indicator->SetCurMode(REC_MODE_VIDEO);
    indicator->RefreshImageAvailableNumber();
    indicator->StartRecord();
    EXPECT_TRUE(indicator->RecordStatus());
    EXPECT_EQ(TextOf(text), "00:00:00");
    for (const int second : {1, 2, 3, 3723}) {
        kernel.SetWallClock(start + second);
        Pass(1000);
        EXPECT_EQ(Visible(symbol), second == 2 || second == 3723) << second;
        indicator->RefreshImageAvailableNumber();
        EXPECT_EQ(TextOf(text), second == 3723 ? "01:02:03" : "00:00:0" + std::to_string(second));
    }
    kernel.SetWallClock(start - 100);  // the clock was set back meanwhile
    Pass(1000);
    EXPECT_EQ(TextOf(text), "00:00:00");
    EXPECT_FALSE(Visible(symbol));
    indicator->StopRecord();
    EXPECT_FALSE(indicator->RecordStatus());
    EXPECT_TRUE(Visible(symbol));
    EXPECT_EQ(TextOf(text), "00:00:00");
    Pass(2000);
    EXPECT_TRUE(Visible(symbol));
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "01:00:00");

    indicator->StartRecord();
    indicator->SetCurMode(REC_MODE_IMAGE);
    EXPECT_FALSE(indicator->RecordStatus());
    indicator.reset();
    EXPECT_THAT(PrintedSoFar(), HasSubstr("CVarnoUICtrlRecMode::~CVarnoUICtrlRecMode\n"));
}

constexpr std::uint32_t kGreenPixel = 0xFF00FF00;
constexpr std::uint32_t kRedPixel = 0xFFFF0000;

TEST_F(UiTest, BatteryFillsByLevels) {
    const std::unique_ptr<CVarnoUICtrlBattery> battery(
        CVarnoUICtrlBattery::CreateNew(Instance(), parent, 100, 50, 34, 22));
    battery->SetBatteryColor(0xFFFF0000);
    battery->SetPowerColor(0xFF00FF00);
    battery->Show(SW_SHOW);
    // Lines of 4 pixels: a body of 26×22, its charge within 14×10, a terminal of 8×11.
    const RECT place{100, 50, 134, 72};
    for (const auto& [percent, columns] : {std::pair<unsigned, int>{100, 14},
                                           {81, 14},
                                           {80, 12},
                                           {61, 12},
                                           {60, 9},
                                           {41, 9},
                                           {40, 7},
                                           {20, 7},
                                           {19, 4},
                                           {16, 4},
                                           {15, 3},
                                           {0, 3},
                                           {500, 14}}) {
        battery->RefreshPercent(percent);
        FlushNow();
        EXPECT_EQ(Count(place, kGreenPixel), columns * 10) << percent;
    }
    EXPECT_EQ(Count(place, 0xFF0000FF), 26 * 22 - 18 * 14 + 8 * 11);
    battery->RefreshPercent(100);
    FlushNow();
    const int updated = screen.updated_pixels;
    battery->RefreshPercent(100);
    battery->SetPowerColor(0xFF00FF00);
    FlushNow();
    EXPECT_EQ(screen.updated_pixels, updated);
}

class PowerIconTest : public UiTest {
  protected:
    PowerIconTest() {
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
        kernel.Put("/sys/power/poweroff_state", "0001\n");
    }
    // What is seen two, four, six and eight seconds after the start: green, red or nothing.
    std::string Run(int millivolts, bool charger) {
        kernel.Put("/sys/class/power_supply/battery/voltage_now", std::to_string(millivolts) + "000\n");
        kernel.Put("/sys/class/power_supply/usb/online", charger ? "1\n" : "0\n");
        const std::unique_ptr<CVarnoUICtrlPowerIcon> icon(
            CVarnoUICtrlPowerIcon::CreateNew(Instance(), parent, 294, 6, 21, 17));
        icon->Show(SW_SHOW);
        std::string seen;
        const RECT battery{294, 6, 315, 17};
        for (int i = 0; i < 4; ++i) {
            Pass(2000);
            seen += Count(battery, kGreenPixel) > 0 ? 'g' : Count(battery, kRedPixel) > 0 ? 'r' : '.';
        }
        plug_pixels = 21 * 6 - Count({294, 17, 315, 23}, kKeyPixel);
        return seen;
    }
    int plug_pixels = 0;
};

TEST_F(PowerIconTest, FullAndCharging) {
    EXPECT_EQ(Run(2046, true), "gggg");
    EXPECT_GT(plug_pixels, 30);
}

TEST_F(PowerIconTest, TwentyPercentStaysOn) {
    EXPECT_EQ(Run(1440, false), "gggg");  // 21 per cent, shown as 20
    EXPECT_EQ(plug_pixels, 0);
}

TEST_F(PowerIconTest, LowBlinks) {
    EXPECT_EQ(Run(1420, true), "r.r.");
    EXPECT_THAT(PrintedSoFar(), Not(HasSubstr("Voltage is too low")));
}

TEST_F(PowerIconTest, EmptyOnTheChargerStaysOn) {
    EXPECT_EQ(Run(1278, true), "r.r.");
    EXPECT_THAT(PrintedSoFar(), Not(HasSubstr("Voltage is too low")));
}

TEST_F(PowerIconTest, EmptyPowersOff) {
    Run(1278, false);
    EXPECT_THAT(PrintedSoFar(), HasSubstr("Voltage is too low!power off\nSetPowerOffStatus\n"));
    EXPECT_THAT(kernel.Get("/sys/power/poweroff_state"), testing::StartsWith("0000"));
}

TEST_F(UiTest, CardSymbolFollowsTheCard) {
    SetSpace(-1);
    std::unique_ptr<CVarnoUICtrlSDChecker> checker(
        CVarnoUICtrlSDChecker::CreateNew(Instance(), parent, 259, 6, 28, 21));
    ASSERT_NE(checker, nullptr);
    const std::string found = "Found sd card on /media/sd-mmcblk0p1\n";
    PrintedSoFar();
    struct Step {
        int card;
        bool visible;
        std::string printed;
    };
    for (const Step& step : {Step{-1, false, ""}, Step{5000, true, found}, Step{5000, true, ""}, Step{-1, false, ""},
                             Step{5000, true, found}}) {
        SetSpace(step.card);
        Pass(2500);
        EXPECT_EQ(checker->IsVisable(), step.visible);
        EXPECT_EQ(Count({259, 6, 287, 27}, kKeyPixel) < 28 * 21, step.visible);
        EXPECT_EQ(PrintedSoFar(), step.printed);
    }
    checker.reset();
    EXPECT_EQ(PrintedSoFar(), "CVarnoUICtrlSDChecker::~CVarnoUICtrlSDChecker\n");
}

}  // namespace
}  // namespace ui_test
