// Bars, edit, date line, picture control, and the indicators of mode and battery.
#include "sys/varno_sv_utils.h"
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_ui_ctrl_battery.h"
#include "ui/controls/varno_ui_ctrl_bright_adjust.h"
#include "ui/controls/varno_ui_ctrl_date_display.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"
#include "ui/controls/varno_ui_ctrl_power_icon.h"
#include "ui/controls/varno_ui_ctrl_rec_mode.h"

namespace ui_test {
namespace {

using ControlsTest = UiTest;

TEST_F(ControlsTest, TheThumbFollowsEveryStep) {
    const std::unique_ptr<CVarnoUICtrlBrightAdjust> bar(
        CVarnoUICtrlBrightAdjust::CreateNew(Instance(), parent, 127, 180, 66, 30));
    bar->Show(SW_SHOW);
    const auto left_of_thumb = [&] {
        FlushNow();
        int x = 0;
        while (At(130 + x, 205) != kWhitePixel)
            ++x;
        return x;
    };
    for (const bool up : {false, true}) {
        for (int i = 0; i < 10; ++i) {
            const int before = left_of_thumb();
            bar->IncDec(up);
            EXPECT_TRUE(up ? left_of_thumb() > before : left_of_thumb() < before || before == 0) << i;
        }
        EXPECT_EQ(At(up ? 189 : 130, 205), kWhitePixel) << "the end";
    }
}

TEST_F(ControlsTest, EditTakesDigitsAndEditingKeys) {
    HWND edit = CreateWindowEx(0, kNewEditClass, "12", WS_CHILD | WS_VISIBLE, 10, 10, 60, 20, parent, nullptr,
                               Instance(), nullptr);
    SendMessage(edit, EM_LIMITTEXT, 4, 0);
    const std::pair<int, const char*> steps[] = {
        {'3', "123||"},     {'x', "123||"},     {VK_LEFT, "12||3"}, {'9', "129||3"},    {'0', "129||3"},
        {VK_BACK, "12||3"}, {VK_HOME, "||123"}, {VK_BACK, "||123"}, {VK_LEFT, "||123"}, {VK_DELETE, "||23"},
        {VK_RIGHT, "2||3"}, {VK_END, "23||"},   {VK_RIGHT, "23||"}, {VK_DELETE, "23||"}};
    for (const auto& [key, shown] : steps) {
        SendMessage(edit, key >= '0' ? WM_CHAR : WM_KEYDOWN, static_cast<WPARAM>(key), 0);
        const LRESULT selection = SendMessage(edit, EM_GETSEL, 0, 0);
        EXPECT_EQ(TextOf(edit).insert(HIWORD(selection), "|").insert(LOWORD(selection), "|"), shown);
    }
}

TEST_F(ControlsTest, DateLineFollowsTheClock) {
    const std::unique_ptr<CVarnoUICtrlDateDisplay> date(
        CVarnoUICtrlDateDisplay::CreateNew(Instance(), parent, 74, 217, 172, 19));
    date->Show(SW_SHOW);
    time_t now = 1795269909;
    const struct {
        bool on;
        int seconds, pass;
        bool draws;
    } steps[] = {{true, 1, 1000, true},    {true, 0, 2000, false}, {true, 1, 1000, true},
                 {false, 77, 3000, false}, {true, 0, 0, true},     {true, 1, 1000, true}};
    bool on = true;
    for (const auto& step : steps) {
        const std::size_t before = screen.UpdatedPixels();
        kernel.SetWallClock(now += step.seconds);
        if (std::exchange(on, step.on) != step.on) date->EnableTimeDisplay(on);
        Pass(step.pass);
        EXPECT_EQ(screen.UpdatedPixels() != before, step.draws);
    }
}

TEST_F(ControlsTest, PictureControlShowsAFile) {
    const std::unique_ptr<CVarnoUICtrlImageDisplayer> picture(
        CVarnoUICtrlImageDisplayer::CreateNew(Instance(), parent, 5, 266, 31, 49, 22));
    picture->Show(SW_SHOW);
    EXPECT_TRUE(picture->SetNewImagePath("img/rec.gif"));
    EXPECT_TRUE(picture->SetImageSize(24, 11));
    FlushNow();
    EXPECT_LT(Count({266, 31, 290, 42}, kKeyPixel), 24 * 11 / 2);
    EXPECT_FALSE(picture->SetNewImagePath("img/none.gif"));
    FlushNow();
    EXPECT_EQ(Count({266, 31, 315, 53}, kKeyPixel), 49 * 22);
}

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
    const std::vector<Step> steps[] = {
        {Step{2520000, -1, "01:00:00", true}, Step{2520000, -1, "01:00:00", false}, Step{2048, -1, "00:00:00", false},
         Step{2520000, -1, "01:00:00", true}, Step{2736300, -1, "01:05:09", true},
         Step{280000000, -1, "111:06:40", true}},
        {Step{2328, -1, "1", true}, Step{2328, -1, "1", false}, Step{2327, -1, "0", true}, Step{2048, -1, "0", false},
         Step{-1, -1, "0", false}, Step{-1, 30048, "100", true}, Step{2328, 30048, "1", true}}};
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
         {std::pair{1, "00:00:01"}, {2, "00:00:02"}, {-100, "00:00:00"}, {3723, "01:02:03"}, {86399, "23:59:59"}}) {
        kernel.SetWallClock(1700000000 + second);
        Pass(1000);
        EXPECT_EQ(IsWindowVisible(symbol) != FALSE, visible = !visible);
        indicator->RefreshImageAvailableNumber();
        EXPECT_EQ(TextOf(text), expected);
    }
    indicator->StartRecord();  // anew
    EXPECT_TRUE(IsWindowVisible(symbol));
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
    // Is the battery drawn in that colour, red or green, with so many columns of charge?
    bool Draws(std::uint32_t ink, int columns) const {
        for (int y = 0; y < 11; ++y) {
            for (int x = 0; x < 21; ++x) {
                const bool edge = x < 17 && (y < 2 || y > 8 || x < 2 || x > 14);
                const bool inked = edge || (y > 2 && y < 8 && (x > 16 || (x > 2 && x < 3 + columns)));
                if (At(294 + x, 6 + y) != (inked ? ink : kKeyPixel)) return false;
            }
        }
        return true;
    }
};

TEST_F(BatteryTest, EveryChargeIsDrawnToThePixel) {
    const std::unique_ptr<CVarnoUICtrlBattery> battery(
        CVarnoUICtrlBattery::CreateNew(Instance(), parent, 294, 6, 21, 11));
    battery->Show(SW_SHOW);
    battery->SetBatteryColor(0xFF0000FF);
    battery->RefreshPercent(0);
    FlushNow();
    battery->SetPowerColor(0xFF0000FF);
    for (unsigned percent = 0; percent <= 110; ++percent) {
        battery->RefreshPercent(percent);
        FlushNow();
        const int low = percent > 19 ? 5 : percent > 15 ? 3 : 2;
        EXPECT_TRUE(Draws(0xFFFF0000, percent > 80 ? 11 : percent > 60 ? 9 : percent > 40 ? 7 : low)) << percent;
        const int updated = screen.UpdatedPixels();
        battery->SetBatteryColor(0xFF0000FF);
        battery->SetPowerColor(0xFF0000FF);
        battery->RefreshPercent(std::min(percent, 100U));
        FlushNow();
        EXPECT_EQ(screen.UpdatedPixels(), updated) << "nothing is new";
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
            EXPECT_EQ(Draws(c.low ? 0xFFFF0000 : 0xFF00FF00, c.columns), shown);
            EXPECT_EQ(21 * 6 - Count({294, 17, 315, 23}, kKeyPixel) > 30, c.charger) << "the plug";
        }
        EXPECT_EQ(Printed().find("Voltage is too low!power off\nSetPowerOffStatus\n") != std::string::npos, c.off);
        EXPECT_EQ(kernel.Get("/sys/power/poweroff_state").substr(0, 4), c.off ? "0000" : "0001");
    }
}

}  // namespace
}  // namespace ui_test
