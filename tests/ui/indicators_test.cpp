// Indicators of mode, battery and card.
#include <algorithm>

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

// The battery at its size on the LCD; the middle row shows the charge.
std::string BatteryPicture(const std::string& middle) {
    const std::string edge = "#################....\n";
    const std::string inside = "##.............##....\n";
    std::string picture = edge + edge + inside;
    for (int i = 0; i < 5; ++i)
        picture += middle + "\n";
    return picture + inside + edge + edge;
}

struct Charge {
    unsigned percent;
    const char* middle;
};
constexpr Charge kCharges[] = {
    {500, "##.###########.######"}, {81, "##.###########.######"}, {80, "##.#########...######"},
    {61, "##.#########...######"},  {60, "##.#######.....######"}, {41, "##.#######.....######"},
    {40, "##.#####.......######"},  {20, "##.#####.......######"}, {19, "##.###.........######"},
    {16, "##.###.........######"},  {15, "##.##..........######"}, {0, "##.##..........######"}};

// '#' where the screen has `ink`, '.' where the video shows, '?' elsewhere.
std::string Picture(const mwin_test::FakeScreen& screen, const RECT& place, std::uint32_t ink) {
    std::string picture;
    for (int y = place.top; y < place.bottom; ++y) {
        for (int x = place.left; x < place.right; ++x)
            picture += screen.At(x, y) == ink ? '#' : screen.At(x, y) == kKeyPixel ? '.' : '?';
        picture += '\n';
    }
    return picture;
}

TEST_F(UiTest, BatteryIsDrawnToThePixel) {
    const std::unique_ptr<CVarnoUICtrlBattery> battery(
        CVarnoUICtrlBattery::CreateNew(Instance(), parent, 294, 6, 21, 11));
    battery->Show(SW_SHOW);
    for (const auto& [color, pixel] : {std::pair{0xFF00FF00U, kGreenPixel}, std::pair{0xFF0000FFU, kRedPixel}}) {
        battery->SetBatteryColor(color);
        battery->SetPowerColor(color);
        for (const Charge& charge : kCharges) {
            battery->RefreshPercent(charge.percent);
            FlushNow();
            EXPECT_EQ(Picture(screen, {294, 6, 315, 17}, pixel), BatteryPicture(charge.middle)) << charge.percent;
        }
    }
    const int updated = screen.updated_pixels;
    battery->RefreshPercent(0);
    battery->SetPowerColor(0xFF0000FF);
    FlushNow();
    EXPECT_EQ(screen.updated_pixels, updated);
}

class PowerIconTest : public UiTest {
  protected:
    PowerIconTest() { kernel.Put("/sys/power/poweroff_state", "0001\n"); }
    void SetBattery(int millivolts, bool charger) {
        kernel.Put("/sys/class/power_supply/battery/voltage_now", std::to_string(millivolts) + "000\n");
        kernel.Put("/sys/class/power_supply/usb/online", charger ? "1\n" : "0\n");
    }
    // A fresh icon that shows.
    void Begin() {
        Varno::accul_index = 0;
        Varno::g_firstAdc = true;
        icon.reset(CVarnoUICtrlPowerIcon::CreateNew(Instance(), parent, 294, 6, 21, 17));
        icon->Show(SW_SHOW);
    }
    bool Drawn(const char* middle, std::uint32_t pixel) {
        return Picture(screen, {294, 6, 315, 17}, pixel) == BatteryPicture(middle);
    }
    int PlugPixels() { return 21 * 6 - Count({294, 17, 315, 23}, kKeyPixel); }

    std::unique_ptr<CVarnoUICtrlPowerIcon> icon;
};

TEST_F(PowerIconTest, FromMillivoltsToPixels) {
    struct Case {
        int millivolts;
        unsigned charge;  // one that looks like it
        std::uint32_t pixel;
    };
    for (const Case& c : {Case{0, 0, kRedPixel}, Case{1277, 0, kRedPixel}, Case{1309, 0, kRedPixel},
                          Case{1400, 15, kRedPixel}, Case{1401, 16, kRedPixel}, Case{1431, 19, kRedPixel},
                          Case{1432, 20, kGreenPixel}, Case{1615, 40, kGreenPixel}, Case{1616, 41, kGreenPixel},
                          Case{1769, 60, kGreenPixel}, Case{1770, 61, kGreenPixel}, Case{1923, 80, kGreenPixel},
                          Case{1924, 81, kGreenPixel}, Case{2046, 500, kGreenPixel}, Case{5000, 500, kGreenPixel}}) {
        SetBattery(c.millivolts, true);
        Begin();
        Pass(2000);
        const auto* charge = std::find_if(std::begin(kCharges), std::end(kCharges),
                                          [&](const Charge& known) { return known.percent == c.charge; });
        EXPECT_TRUE(Drawn(charge->middle, c.pixel)) << c.millivolts;
        // Below 20 per cent it blinks, charger or not.
        Pass(2000);
        EXPECT_EQ(Count({294, 6, 315, 17}, c.pixel) > 0, c.pixel == kGreenPixel) << c.millivolts;
        Pass(2000);
        EXPECT_TRUE(Drawn(charge->middle, c.pixel)) << c.millivolts;
        EXPECT_GT(PlugPixels(), 30);
    }
    EXPECT_THAT(PrintedSoFar(), Not(HasSubstr("Voltage is too low")));
}

TEST_F(PowerIconTest, AveragesEightReadings) {
    SetBattery(2046, false);
    Begin();
    Pass(2000);
    SetBattery(1500, false);
    for (int reading = 2; reading <= 7; ++reading) {
        Pass(2000);
        EXPECT_TRUE(Drawn(kCharges[0].middle, kGreenPixel)) << reading;
    }
    EXPECT_EQ(PlugPixels(), 0);
    Pass(2000);  // the mean of all eight, 1568 mV: 36 per cent
    EXPECT_TRUE(Drawn("##.#####.......######", kGreenPixel));
    // A hidden icon reads nothing.
    icon->Show(SW_HIDE);
    SetBattery(2046, false);
    Pass(20000);
    icon->Show(SW_SHOW);
    Pass(4000);  // two of eight readings are full: 1636 mV
    EXPECT_TRUE(Drawn("##.#######.....######", kGreenPixel));
}

TEST_F(PowerIconTest, EmptyPowersOff) {
    SetBattery(1278, false);
    Begin();
    Pass(2000);
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
