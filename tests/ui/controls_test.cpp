// Bars, edit, date line and picture control.
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_new_edit.h"
#include "ui/controls/varno_scrollbar1.h"
#include "ui/controls/varno_ui_ctrl_bright_adjust.h"
#include "ui/controls/varno_ui_ctrl_date_display.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"

namespace ui_test {
namespace {

using ControlsTest = UiTest;

TEST_F(ControlsTest, TheThumbFollowsEveryStep) {
    MwRegisterVarnoScrollbar1Control(nullptr);
    const std::unique_ptr<CVarnoUICtrlBrightAdjust> bar(
        CVarnoUICtrlBrightAdjust::CreateNew(Instance(), parent, 127, 180, 66, 30));
    bar->Show(SW_SHOW);
    const auto left_of_thumb = [&] {
        FlushNow();
        int x = 0;
        while (screen.At(130 + x, 205) != kWhitePixel)
            ++x;
        return x;
    };
    for (const bool up : {false, true}) {
        for (int i = 0; i < 10; ++i) {
            const int before = left_of_thumb();
            bar->IncDec(up);
            EXPECT_TRUE(up ? left_of_thumb() > before : left_of_thumb() < before || before == 0) << i;
        }
        EXPECT_EQ(screen.At(up ? 189 : 130, 205), kWhitePixel) << "the end";
    }
}

int g_keysHeard = 0;  // by the parent of an edit

LRESULT CALLBACK HearingProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_KEYDOWN) ++g_keysHeard;
    return DefWindowProc(hwnd, msg, wparam, lparam);
}

TEST_F(ControlsTest, EditTakesDigitsAndEditingKeysAndLeavesTheOthersToItsParent) {
    MwRegisterVarnoNewEditControl(nullptr);
    WNDCLASS hearing{};
    hearing.lpfnWndProc = HearingProc;
    hearing.lpszClassName = "Hearing";
    RegisterClass(&hearing);
    HWND frame =
        CreateWindowEx(0, "Hearing", "", WS_CHILD | WS_VISIBLE, 0, 0, 320, 240, parent, nullptr, Instance(), nullptr);
    HWND edit = CreateWindowEx(0, kNewEditClass, "12", WS_CHILD | WS_VISIBLE | ES_CENTER, 10, 10, 60, 20, frame,
                               nullptr, Instance(), nullptr);
    SendMessage(edit, EM_LIMITTEXT, 4, 0);
    g_keysHeard = 0;
    const auto expect = [&](const std::string& shown, int heard) {
        const LRESULT selection = SendMessage(edit, EM_GETSEL, 0, 0);
        EXPECT_EQ(TextOf(edit).insert(HIWORD(selection), "|").insert(LOWORD(selection), "|"), shown);
        EXPECT_EQ(g_keysHeard, heard) << shown;
        FlushNow();
    };
    for (const auto& [key, shown] : {std::pair<int, const char*>{'3', "123||"},
                                     {'x', "123||"},
                                     {VK_LEFT, "12||3"},
                                     {'9', "129||3"},
                                     {'0', "129||3"},
                                     {VK_BACK, "12||3"},
                                     {VK_HOME, "||123"},
                                     {VK_BACK, "||123"},
                                     {VK_LEFT, "||123"},
                                     {VK_DELETE, "||23"},
                                     {VK_RIGHT, "2||3"},
                                     {VK_END, "23||"},
                                     {VK_RIGHT, "23||"},
                                     {VK_DELETE, "23||"}}) {
        SendMessage(edit, key >= '0' ? WM_CHAR : WM_KEYDOWN, static_cast<WPARAM>(key), 0);
        expect(shown, 0);
    }
    for (const int key : {VK_UP, VK_DOWN, VK_RETURN, VK_F1})
        SendMessage(edit, WM_KEYDOWN, static_cast<WPARAM>(key), 0);
    expect("23||", 4);
    SendMessage(edit, WM_ENABLE, 1, 0);
    for (const int key : {VK_LEFT, VK_DELETE, VK_RETURN})
        SendMessage(edit, WM_KEYDOWN, static_cast<WPARAM>(key), 0);
    expect("|23|", 7);
    SetWindowText(edit, "0123456789012345678901234567890123456789");
    FlushNow();
    EXPECT_EQ(Count({70, 0, 320, 40}, kKeyPixel), 250 * 40) << "a text never leaves the field";
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
        const int before = screen.updated_pixels;
        kernel.SetWallClock(now += step.seconds);
        if (std::exchange(on, step.on) != step.on) date->EnableTimeDisplay(on);
        Pass(step.pass);
        EXPECT_EQ(screen.updated_pixels != before, step.draws);
    }
}

TEST_F(ControlsTest, PictureControlShowsAFile) {
    const std::unique_ptr<CVarnoUICtrlImageDisplayer> picture(
        CVarnoUICtrlImageDisplayer::CreateNew(Instance(), parent, 5, 266, 31, 49, 22));
    picture->Show(SW_SHOW);
    const auto drawn = [&] {
        FlushNow();
        return 49 * 22 - Count({266, 31, 315, 53}, kKeyPixel);
    };
    EXPECT_TRUE(picture->SetNewImagePath("img/rec.gif"));
    const int whole = drawn();
    EXPECT_TRUE(picture->SetImageSize(24, 11));
    EXPECT_TRUE(drawn() > 0 && drawn() < whole / 2);
    EXPECT_FALSE(picture->SetNewImagePath("img/none.gif"));
    EXPECT_EQ(drawn(), 0);
}

}  // namespace
}  // namespace ui_test
