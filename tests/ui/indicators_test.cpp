// Indicators of mode and battery.
#include "sys/varno_sv_utils.h"
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_ui_ctrl_battery.h"
#include "ui/controls/varno_ui_ctrl_power_icon.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"

namespace ui_test {
namespace {

class RecModeTest : public UiTest {
  protected:
    RecModeTest() : indicator(CVarnoUICtrlRecMode::CreateNew(Instance(), parent, 3, 6, 56, 44)) {
        for (HWND child : Children(Children(parent).at(0)))
            (TextOf(child) == "cs" ? symbol : text) = child;
        indicator->Show(SW_SHOW);
    }

    std::unique_ptr<CVarnoUICtrlRecMode> indicator;
    HWND text = nullptr;
    HWND symbol = nullptr;
};

TEST_F(RecModeTest, ShowsWhatStillFits) {
    struct Step {
        int card, nand;
        const char* text;
        bool printed;
    };
    const std::vector<Step> steps[] = {{{2520000, -1, "01:00:00", true},
                                        {2520000, -1, "01:00:00", false},
                                        {2048, -1, "00:00:00", false},
                                        {2520000, -1, "01:00:00", true},
                                        {2736300, -1, "01:05:09", true},
                                        {280000000, -1, "111:06:40", true}},
                                       {{2328, -1, "1", true},
                                        {2328, -1, "1", false},
                                        {2327, -1, "0", true},
                                        {2048, -1, "0", false},
                                        {-1, -1, "0", false},
                                        {-1, 30048, "100", true},
                                        {2328, 30048, "1", true}}};
    for (const RecMode mode : {REC_MODE_VIDEO, REC_MODE_IMAGE}) {
        indicator->SetCurMode(mode);
        EXPECT_EQ(TextOf(text), "00:00:00");
        for (const Step& step : steps[mode]) {
            SetSpace(step.card, step.nand);
            Printed();
            indicator->RefreshImageAvailableNumber();
            EXPECT_EQ(TextOf(text), step.text);
            EXPECT_EQ(Printed(), step.printed ? std::string("Avail space ") + step.text + "\n" : "");
        }
    }
    indicator->Show(SW_HIDE);
    SetSpace(0);
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "1") << "nobody looks";
}

TEST_F(RecModeTest, BlinksAndCountsWhileRecording) {
    SetSpace(2520000);
    for (const RecMode mode : {REC_MODE_IMAGE, REC_MODE_VIDEO}) {
        indicator->SetCurMode(mode);
        indicator->StartRecord();
        EXPECT_EQ(indicator->RecordStatus(), mode == REC_MODE_VIDEO);
    }
    bool visible = true;
    for (const auto& [second, expected] :
         {std::pair{1, "00:00:01"}, {2, "00:00:02"}, {3723, "01:02:03"}, {86399, "23:59:59"}, {-100, "00:00:00"}}) {
        kernel.SetWallClock(1700000000 + second);
        Pass(1000);
        EXPECT_EQ(IsWindowVisible(symbol) != FALSE, visible = !visible);
        indicator->RefreshImageAvailableNumber();
        EXPECT_EQ(TextOf(text), expected);
    }
    kernel.SetWallClock(1700000007);
    indicator->StopRecord();
    EXPECT_FALSE(indicator->RecordStatus());
    Pass(2000);
    EXPECT_TRUE(IsWindowVisible(symbol));
    EXPECT_EQ(TextOf(text), "00:00:00");
    indicator->RefreshImageAvailableNumber();
    EXPECT_EQ(TextOf(text), "01:00:00");
    indicator->StartRecord();
    indicator->SetCurMode(REC_MODE_IMAGE);
    EXPECT_FALSE(indicator->RecordStatus());
    Printed();
    indicator.reset();
    EXPECT_EQ(Printed(), "CVarnoUICtrlRecMode::~CVarnoUICtrlRecMode\n");
}

class BatteryTest : public UiTest {
  protected:
    // Is the battery drawn in that colour, with so many columns of charge?
    bool Draws(std::uint32_t ink, int columns) const {
        for (int y = 0; y < 11; ++y) {
            for (int x = 0; x < 21; ++x) {
                const bool edge = x < 17 && (y < 2 || y > 8 || x < 2 || x > 14);
                const bool inked = edge || (y > 2 && y < 8 && (x > 16 || (x > 2 && x < 3 + columns)));
                if (screen.At(294 + x, 6 + y) != (inked ? ink : kKeyPixel)) return false;
            }
        }
        return true;
    }

    static constexpr std::uint32_t kGreenPixel = 0xFF00FF00;
    static constexpr std::uint32_t kRedPixel = 0xFFFF0000;
};

TEST_F(BatteryTest, EveryChargeIsDrawnToThePixel) {
    const std::unique_ptr<CVarnoUICtrlBattery> battery(
        CVarnoUICtrlBattery::CreateNew(Instance(), parent, 294, 6, 21, 11));
    battery->Show(SW_SHOW);
    for (unsigned percent = 0; percent <= 110; ++percent) {
        battery->SetBatteryColor(0xFF0000FF);
        battery->SetPowerColor(0xFF0000FF);
        battery->RefreshPercent(percent);
        FlushNow();
        const int low = percent > 19 ? 5 : percent > 15 ? 3 : 2;
        EXPECT_TRUE(Draws(kRedPixel, percent > 80 ? 11 : percent > 60 ? 9 : percent > 40 ? 7 : low)) << percent;
        const int updated = screen.updated_pixels;
        battery->SetBatteryColor(0xFF0000FF);
        battery->SetPowerColor(0xFF0000FF);
        battery->RefreshPercent(std::min(percent, 100U));
        FlushNow();
        EXPECT_EQ(screen.updated_pixels, updated) << "nothing is new";
    }
}

TEST_F(BatteryTest, BlinksWhenLowAndSwitchesOffWhenEmpty) {
    const struct {
        int millivolts;
        bool charger;
        int columns;
        bool low, off;
    } cases[] = {{0, true, 2, true, false},     {1308, true, 2, true, false},    {1308, false, 2, true, true},
                 {1309, false, 2, true, false}, {1431, false, 3, true, false},   {1432, false, 5, false, false},
                 {1616, true, 7, false, false}, {1924, false, 11, false, false}, {5000, true, 11, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.millivolts << " mV, charger " << c.charger);
        kernel.Put("/sys/power/poweroff_state", "0001\n");
        kernel.Put("/sys/class/power_supply/battery/voltage_now", std::to_string(c.millivolts) + "000\n");
        kernel.Put("/sys/class/power_supply/usb/online", c.charger ? "1\n" : "0\n");
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
        const std::unique_ptr<CVarnoUICtrlPowerIcon> icon(
            CVarnoUICtrlPowerIcon::CreateNew(Instance(), parent, 294, 6, 21, 17));
        Pass(4000);
        EXPECT_EQ(Varno::accul_index, 0) << "a hidden icon reads nothing";
        icon->Show(SW_SHOW);
        for (const bool shown : {true, !c.low, true}) {
            Pass(2000);
            EXPECT_EQ(Draws(c.low ? kRedPixel : kGreenPixel, c.columns), shown);
            EXPECT_EQ(21 * 6 - Count({294, 17, 315, 23}, kKeyPixel) > 30, c.charger) << "the plug";
        }
        EXPECT_EQ(Printed().find("Voltage is too low!power off\nSetPowerOffStatus\n") != std::string::npos, c.off);
        EXPECT_EQ(kernel.Get("/sys/power/poweroff_state").substr(0, 4), c.off ? "0000" : "0001");
    }
}

}  // namespace
}  // namespace ui_test
