// Bars, edit, date line and picture control.
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_new_edit.h"
#include "ui/controls/varno_scrollbar1.h"
#include "ui/controls/varno_ui_ctrl_bright_adjust.h"
#include "ui/controls/varno_ui_ctrl_date_display.h"
#include "ui/controls/varno_ui_ctrl_focus_adjust.h"
#include "ui/controls/varno_ui_ctrl_image_displayer.h"

namespace ui_test {
namespace {

class ControlsTest : public UiTest {
  protected:
    ControlsTest() {
        MwRegisterVarnoScrollbar1Control(nullptr);
        MwRegisterVarnoNewEditControl(nullptr);
    }
    HWND NewWindow(const char* class_name, DWORD style, int width, int height, const char* text = "") {
        return CreateWindowEx(0, class_name, text, WS_CHILD | WS_VISIBLE | style, 0, 0, width, height, parent, nullptr,
                              Instance(), nullptr);
    }
};

TEST_F(ControlsTest, ScrollBarKeepsItsPositionInRange) {
    struct Case {
        UINT mask;
        int min, max;
        UINT page;
        int pos;
        int expected;
    };
    HWND bar = NewWindow(kScrollbarClass, SBS_HORZ, 60, 12);
    for (const Case& c : {Case{SIF_ALL, 0, 10, 1, 5, 5}, Case{SIF_POS, 0, 0, 0, -3, 0}, Case{SIF_POS, 0, 0, 0, 99, 10},
                          Case{SIF_PAGE, 0, 0, 4, 0, 7}, Case{SIF_RANGE, 0, 6, 0, 0, 3}, Case{SIF_PAGE, 0, 0, 99, 0, 0},
                          Case{SIF_ALL, 5, -5, 0, 0, 5}, Case{SIF_ALL, -2147483647 - 1, 2147483647, 10, 0, 0}}) {
        SCROLLINFO info{sizeof(SCROLLINFO), c.mask, c.min, c.max, c.page, c.pos, 0};
        EXPECT_EQ(SendMessage(bar, SBM_SETSCROLLINFO, TRUE, reinterpret_cast<LPARAM>(&info)), c.expected);
        info = {sizeof(SCROLLINFO), SIF_ALL, 0, 0, 0, -1, 0};
        SendMessage(bar, SBM_GETSCROLLINFO, 0, reinterpret_cast<LPARAM>(&info));
        EXPECT_EQ(info.nPos, c.expected);
        FlushNow();
    }
    DestroyWindow(bar);
}

// Centre of the thumb along the bar, from its white pixels on the middle line.
int Thumb(const mwin_test::FakeScreen& screen, bool vertical, int line, int from, int to) {
    int sum = 0;
    int count = 0;
    for (int i = from + 3; i < to - 3; ++i) {
        if ((vertical ? screen.At(line, i) : screen.At(i, line)) != 0xFFFFFFFF) continue;
        sum += i;
        ++count;
    }
    return count == 0 ? -1 : sum / count;
}

TEST_F(ControlsTest, BarsStepThroughTheirRange) {
    const std::unique_ptr<CVarnoUICtrlBrightAdjust> bright(
        CVarnoUICtrlBrightAdjust::CreateNew(Instance(), parent, 127, 180, 66, 30));
    const std::unique_ptr<CVarnoUICtrlFocusAdjust> zoom(
        CVarnoUICtrlFocusAdjust::CreateNew(Instance(), parent, 278, 93, 30, 54));
    ASSERT_TRUE(bright && zoom);
    EXPECT_FALSE(bright->IsVisable() || zoom->IsVisable());
    bright->Show(SW_SHOW);
    zoom->Show(SW_SHOW);
    FlushNow();

    // The icon in its band, the bar beside it, the video everywhere else.
    EXPECT_GT(Count({152, 180, 168, 200}, kKeyPixel), 0);
    EXPECT_LT(Count({152, 180, 168, 200}, kKeyPixel), 16 * 20);
    EXPECT_EQ(Count({127, 180, 150, 200}, kKeyPixel), 23 * 20);
    EXPECT_EQ(Count({127, 200, 193, 210}, kKeyPixel), 0);
    EXPECT_EQ(Count({298, 93, 308, 147}, kKeyPixel), 0);

    SCROLLINFO info{};
    const auto percent = [&] {
        bright->GetScollInfo(info);
        return static_cast<int>(info.nPos * 100.0 / (info.nMax - info.nMin));
    };
    const auto level = [&] {
        zoom->GetScollInfo(info);
        return info.nMax - info.nPos;
    };
    EXPECT_EQ(percent(), 50);
    const int middle = Thumb(screen, false, 205, 127, 193);
    for (const int expected : {60, 70, 80, 90, 100, 100}) {
        bright->IncDec(true);
        EXPECT_EQ(percent(), expected);
    }
    FlushNow();
    EXPECT_GT(Thumb(screen, false, 205, 127, 193), middle + 20);
    for (int i = 0; i < 12; ++i)
        bright->IncDec(false);
    EXPECT_EQ(percent(), 0);

    EXPECT_EQ(level(), 0);
    const int bottom = Thumb(screen, true, 303, 93, 147);
    for (const int expected : {1, 2, 3, 4, 5, 6, 6}) {
        zoom->IncDec(true);
        EXPECT_EQ(level(), expected);
    }
    FlushNow();
    EXPECT_LT(Thumb(screen, true, 303, 93, 147), bottom - 30);
    zoom->IncDec(false);
    EXPECT_EQ(level(), 5);
}

struct EditKey {
    UINT message;
    WPARAM value;
    const char* text;
    LRESULT selection;  // low word: from, high word: to
};

LRESULT Selection(int from, int to) {
    return MAKELPARAM(static_cast<WORD>(from), static_cast<WORD>(to));
}

TEST_F(ControlsTest, EditTakesDigitsAndEditingKeys) {
    HWND edit = NewWindow(kNewEditClass, 0, 60, 20, "12");
    SetFocus(edit);
    SendMessage(edit, EM_LIMITTEXT, 4, 0);
    for (const EditKey& key :
         {EditKey{WM_CHAR, '3', "123", Selection(3, 3)}, EditKey{WM_CHAR, 'x', "123", Selection(3, 3)},
          EditKey{WM_KEYDOWN, VK_LEFT, "123", Selection(2, 2)}, EditKey{WM_CHAR, '9', "1293", Selection(3, 3)},
          EditKey{WM_CHAR, '0', "1293", Selection(3, 3)},  // full
          EditKey{WM_KEYDOWN, VK_BACK, "123", Selection(2, 2)}, EditKey{WM_KEYDOWN, VK_HOME, "123", Selection(0, 0)},
          EditKey{WM_KEYDOWN, VK_BACK, "123", Selection(0, 0)}, EditKey{WM_KEYDOWN, VK_LEFT, "123", Selection(0, 0)},
          EditKey{WM_KEYDOWN, VK_DELETE, "23", Selection(0, 0)}, EditKey{WM_KEYDOWN, VK_END, "23", Selection(2, 2)},
          EditKey{WM_KEYDOWN, VK_RIGHT, "23", Selection(2, 2)}, EditKey{WM_KEYDOWN, VK_DELETE, "23", Selection(2, 2)},
          EditKey{WM_ENABLE, 1, "23", Selection(0, 2)}, EditKey{WM_CHAR, '7', "7", Selection(1, 1)}}) {
        SendMessage(edit, key.message, key.value, 0);
        EXPECT_EQ(TextOf(edit), key.text);
        EXPECT_EQ(SendMessage(edit, EM_GETSEL, 0, 0), key.selection) << key.text;
        FlushNow();
    }
    SendMessage(edit, EM_SETSEL, 0, -1);
    EXPECT_EQ(SendMessage(edit, EM_GETSEL, 0, 0), Selection(0, 1));
    SendMessage(edit, EM_SETSEL, 50, 90);
    EXPECT_EQ(SendMessage(edit, EM_GETSEL, 0, 0), Selection(1, 1));
    DestroyWindow(edit);
    EXPECT_EQ(SendMessage(edit, EM_GETSEL, 0, 0), 0);
}

// Keys and notifications that reach the parent of an edit.
struct Heard {
    int keys = 0;
    int changes = 0;
} g_heard;

LRESULT CALLBACK HearingProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_KEYDOWN) ++g_heard.keys;
    if (msg == WM_COMMAND && HIWORD(wparam) == EN_CHANGE && LOWORD(wparam) == 77) ++g_heard.changes;
    return DefWindowProc(hwnd, msg, wparam, lparam);
}

TEST_F(ControlsTest, EditLeavesOtherKeysToItsParent) {
    WNDCLASS hearing{};
    hearing.lpfnWndProc = HearingProc;
    hearing.lpszClassName = "Hearing";
    RegisterClass(&hearing);
    g_heard = {};
    HWND frame = NewWindow("Hearing", 0, 320, 240);
    HWND edit = CreateWindowEx(0, kNewEditClass, "05", WS_CHILD | WS_VISIBLE | ES_CENTER, 10, 10, 60, 20, frame,
                               reinterpret_cast<HMENU>(std::uintptr_t{77}), Instance(), nullptr);
    for (const int key : {VK_LEFT, VK_RIGHT, VK_UP, VK_DOWN, VK_RETURN, VK_F1})
        SendMessage(edit, WM_KEYDOWN, key, 0);
    EXPECT_EQ(g_heard.keys, 4);
    SendMessage(edit, WM_ENABLE, 1, 0);
    for (const int key : {VK_LEFT, VK_RIGHT, VK_UP, VK_DOWN, VK_RETURN, VK_F1})
        SendMessage(edit, WM_KEYDOWN, key, 0);
    EXPECT_EQ(g_heard.keys, 10);
    FlushNow();
    const RECT place{10, 10, 70, 30};
    EXPECT_GT(Count(place, 0xFFFFFFFF), 500);
    const int marked = Count(place, 0xFFFFFFFF);
    SendMessage(edit, WM_ENABLE, 0, 0);
    FlushNow();
    EXPECT_GT(Count(place, 0xFFFFFFFF), marked);  // the mark's colour is gone

    SetWindowText(edit, "06");
    SetWindowText(edit, "06");
    EXPECT_EQ(g_heard.changes, 1);
    // A text that is too wide never leaves the field.
    SetWindowText(edit, "0123456789012345678901234567890123456789");
    SetFocus(edit);
    FlushNow();
    EXPECT_EQ(Count({70, 0, 320, 40}, kKeyPixel), 250 * 40);
    // The caret is always seen, wherever it stands in the text, and only while the field has the focus.
    const auto caret = [this] {
        for (int x = 11; x < 69; ++x) {
            if (Count({x, 12, x + 1, 28}, 0xFF000000) == 16) return x;
        }
        return -1;
    };
    EXPECT_GT(caret(), 60);
    SendMessage(edit, WM_KEYDOWN, VK_HOME, 0);
    FlushNow();
    EXPECT_LT(caret(), 16);
    SetFocus(frame);
    FlushNow();
    EXPECT_EQ(caret(), -1);
    DestroyWindow(frame);
}

TEST_F(ControlsTest, DateLineFollowsTheClock) {
    kernel.SetWallClock(1795269909);  // 2026-11-21 14:05:09 UTC
    const std::unique_ptr<CVarnoUICtrlDateDisplay> date(
        CVarnoUICtrlDateDisplay::CreateNew(Instance(), parent, 74, 217, 172, 19));
    ASSERT_NE(date, nullptr);
    date->Show(SW_SHOW);
    FlushNow();
    const RECT place{74, 217, 246, 236};
    const int white = Count(place, 0xFFFFFFFF);
    EXPECT_GT(white, 100);
    EXPECT_EQ(Count({74, 217, 76, 236}, kKeyPixel), 2 * 19);  // the whole text fits, with room on both sides
    EXPECT_EQ(Count({244, 217, 246, 236}, kKeyPixel), 2 * 19);

    const auto updated_within = [&](int milliseconds) {
        const int before = screen.updated_pixels;
        Pass(milliseconds);
        return screen.updated_pixels != before;
    };
    EXPECT_FALSE(updated_within(2000));  // the time stands still: nothing is drawn
    kernel.SetWallClock(1795269910);
    EXPECT_TRUE(updated_within(1000));
    date->EnableTimeDisplay(false);
    kernel.SetWallClock(1795269988);
    EXPECT_FALSE(updated_within(3000));
    const int before = screen.updated_pixels;
    date->EnableTimeDisplay(true);
    FlushNow();
    EXPECT_NE(screen.updated_pixels, before);
}

TEST_F(ControlsTest, PictureControlShowsAFile) {
    const std::unique_ptr<CVarnoUICtrlImageDisplayer> picture(
        CVarnoUICtrlImageDisplayer::CreateNew(Instance(), parent, 5, 266, 31, 49, 22));
    ASSERT_NE(picture, nullptr);
    picture->Show(SW_SHOW);
    const RECT place{266, 31, 315, 53};
    const auto drawn = [&] {
        FlushNow();
        return 49 * 22 - Count(place, kKeyPixel);
    };
    EXPECT_EQ(drawn(), 0);
    EXPECT_TRUE(picture->SetNewImagePath("img/rec.gif"));
    const int whole = drawn();
    EXPECT_GT(whole, 200);
    EXPECT_TRUE(picture->SetImageSize(24, 11));
    const int quarter = drawn();
    EXPECT_GT(quarter, 0);
    EXPECT_LT(quarter, whole / 2);
    EXPECT_FALSE(picture->SetNewImagePath("img/none.gif"));
    EXPECT_EQ(drawn(), 0);
}

}  // namespace
}  // namespace ui_test
