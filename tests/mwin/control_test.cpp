#include <gmock/gmock.h>

#include <memory>

#include "tests/mwin/fake_machine.h"
#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

constexpr COLORREF kBlue = RGB(0, 0, 255), kRed = RGB(255, 0, 0);
constexpr std::uint32_t kBluePixel = 0xFF0000FF, kRedPixel = 0xFFFF0000;

class ControlTest : public WindowSystemTest {
  protected:
    ControlTest() {
        ResetProbes();
        parent = CreateProbe("parent", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kBlue);
        g_handlers[parent] = [this](HWND, UINT message, WPARAM wparam, LPARAM lparam) -> LRESULT {
            if (message == WM_COMMAND) commands.push_back(wparam);
            if (message != WM_CTLCOLORSTATIC && message != WM_CTLCOLORLISTBOX) return 0;
            colored = reinterpret_cast<HWND>(lparam);
            SetTextColor(reinterpret_cast<HDC>(wparam), RGB(255, 255, 255));
            SetBkMode(reinterpret_cast<HDC>(wparam), TRANSPARENT);
            return reinterpret_cast<LRESULT>(brush);
        };
    }
    HWND Create(const char* class_name, DWORD style, const char* text = "") {
        return CreateWindow(class_name, text, WS_CHILD | WS_VISIBLE | style, 10, 10, 100, 100, parent,
                            reinterpret_cast<HMENU>(9), nullptr, nullptr);
    }
    int RepaintedPixels() {
        screen.updated_pixels = 0;
        RunUntilIdle();
        return screen.updated_pixels;
    }
    bool AnyPixel(std::uint32_t wanted, const RECT& area) const {
        for (int y = area.top; y < area.bottom; ++y) {
            for (int x = area.left; x < area.right; ++x) {
                if (screen.At(x, y) == wanted) return true;
            }
        }
        return false;
    }

    HWND parent = nullptr;
    HWND colored = nullptr;
    HBRUSH brush = CreateSolidBrush(kRed);
    std::vector<WPARAM> commands;
};

TEST_F(ControlTest, StaticIsColouredByItsParent) {
    HWND text = Create("STATIC", SS_CENTER, "MMMM");
    RunUntilIdle();
    EXPECT_EQ(colored, text);
    EXPECT_EQ(screen.At(11, 11), kRedPixel);
    EXPECT_TRUE(AnyPixel(0xFFFFFFFF, {20, 40, 100, 80})) << "text in the middle";
    EXPECT_FALSE(AnyPixel(0xFFFFFFFF, {10, 10, 110, 30})) << "nothing at the top";
    brush = nullptr;
    InvalidateRect(text, nullptr, FALSE);
    RunUntilIdle();
    EXPECT_EQ(screen.At(11, 11), 0xFFF0F0F0U) << "no brush: the default one";
}

TEST_F(ControlTest, SettingWhatIsShownRepaintsNothing) {
    HWND text = Create("STATIC", SS_LEFT, "one");
    RunUntilIdle();
    SetWindowText(text, "one");
    EXPECT_EQ(RepaintedPixels(), 0);
    SetWindowText(text, "two");
    EXPECT_GT(RepaintedPixels(), 0);

    std::vector<std::uint32_t> pixels(4, 0xFF00FF00);
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, pixels.data(), 0);
    HWND icon = Create("STATIC", SS_ICON, "not shown");
    for (const bool first : {true, false}) {
        SendMessage(icon, STM_SETIMAGE, 0, reinterpret_cast<LPARAM>(picture));
        EXPECT_EQ(RepaintedPixels() > 0, first);
        EXPECT_EQ(screen.At(60, 60), 0xFF00FF00U);
    }
    EXPECT_EQ(SendMessage(icon, STM_GETIMAGE, 0, 0), reinterpret_cast<LRESULT>(picture));
    picture->FreeMemGC(picture);
    EXPECT_EQ(SendMessage(icon, STM_GETIMAGE, 0, 0), 0) << "a released picture is not drawn again";
    InvalidateRect(icon, nullptr, FALSE);
    RunUntilIdle();
    EXPECT_EQ(screen.At(60, 60), kRedPixel);
}

TEST_F(ControlTest, StaticKeepsItsFont) {
    HFONT font = CreateFont(20, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf");
    HWND text = Create("STATIC", SS_RIGHT, "M");
    SendMessage(text, WM_SETFONT, reinterpret_cast<WPARAM>(font), 0);
    EXPECT_EQ(SendMessage(text, WM_GETFONT, 0, 0), reinterpret_cast<LRESULT>(font));
    RunUntilIdle();
    EXPECT_TRUE(AnyPixel(0xFFFFFFFF, {80, 10, 110, 110}));
    EXPECT_FALSE(AnyPixel(0xFFFFFFFF, {10, 10, 80, 110}));
    DeleteObject(font);
}

class ListBoxTest : public ControlTest {
  protected:
    ListBoxTest() {
        list = Create("LISTBOX", LBS_NOTIFY);
        Send(LB_SETITEMHEIGHT, 0, 25);  // four rows are seen
        for (const char* row : {"zero", "one", "two", "three", "four", "five"}) {
            Send(LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(row));
        }
        RunUntilIdle();
    }
    LRESULT Send(UINT message, WPARAM wparam, LPARAM lparam) { return SendMessage(list, message, wparam, lparam); }

    HWND list = nullptr;
};

TEST_F(ListBoxTest, RowsHoldTextIconAndData) {
    char text[16] = "";
    EXPECT_EQ(Send(LB_GETCOUNT, 0, 0), 6);
    EXPECT_EQ(Send(LB_GETCURSEL, 0, 0), LB_ERR);
    EXPECT_EQ(Send(LB_GETTEXT, 3, reinterpret_cast<LPARAM>(text)), 5);
    EXPECT_STREQ(text, "three");
    EXPECT_EQ(Send(LB_GETTEXTLEN, 2, 0), 3);
    EXPECT_EQ(Send(LB_SETITEMDATA, 2, 77), 0);
    EXPECT_EQ(Send(LB_DELETESTRING, 0, 0), 5);
    EXPECT_EQ(Send(LB_GETITEMDATA, 1, 0), 77);
    for (const UINT message :
         {LB_GETTEXT, LB_GETTEXTLEN, LB_GETITEMDATA, LB_SETITEMICON, LB_DELETESTRING, LB_SETCURSEL}) {
        EXPECT_EQ(Send(message, 5, 0), LB_ERR) << message;
    }
    std::vector<std::uint32_t> pixels(4, 0xFF00FF00);
    PSD icon = GdCreatePixmap(scrdev, 2, 2, 0, pixels.data(), 0);
    Send(LB_SETITEMICON, 0, reinterpret_cast<LPARAM>(icon));
    RunUntilIdle();
    EXPECT_EQ(screen.At(22, 22), 0xFF00FF00U);
    icon->FreeMemGC(icon);
    Send(LB_RESETCONTENT, 0, 0);
    EXPECT_EQ(Send(LB_GETCOUNT, 0, 0), 0);
    Send(WM_KEYDOWN, VK_DOWN, 0);
    EXPECT_EQ(Send(LB_GETCURSEL, 0, 0), LB_ERR);
}

TEST_F(ListBoxTest, KeysMoveTheSelectionIntoView) {
    struct Step {
        int key;
        int selected;
        int top;
    };
    Send(LB_SETCURSEL, 0, 0);
    EXPECT_TRUE(commands.empty()) << "only keys notify";
    for (const Step& step : std::vector<Step>{{VK_UP, 0, 0},
                                              {VK_DOWN, 1, 0},
                                              {VK_RIGHT, 2, 0},
                                              {VK_DOWN, 3, 0},
                                              {VK_DOWN, 4, 1},
                                              {VK_END, 5, 2},
                                              {VK_DOWN, 5, 2},
                                              {VK_LEFT, 4, 2},
                                              {VK_PRIOR, 0, 0},
                                              {VK_NEXT, 4, 1},
                                              {VK_HOME, 0, 0},
                                              {VK_F1, 0, 0}}) {
        Send(WM_KEYDOWN, static_cast<WPARAM>(step.key), 0);
        EXPECT_EQ(Send(LB_GETCURSEL, 0, 0), step.selected) << step.key;
        EXPECT_EQ(Send(LB_GETTOPINDEX, 0, 0), step.top) << step.key;
    }
    EXPECT_EQ(commands.size(), 9U) << "one for each change";
    EXPECT_EQ(commands.front(), MAKEWPARAM(9, LBN_SELCHANGE));
}

TEST_F(ListBoxTest, OnlyTheRowsThatChangeAreDrawn) {
    Send(LB_SETCURSEL, 0, 0);
    RunUntilIdle();
    EXPECT_EQ(screen.At(60, 12), 0xFF164273U);
    EXPECT_EQ(screen.At(60, 37), kRedPixel);
    Send(LB_SETCURSEL, 1, 0);
    EXPECT_EQ(RepaintedPixels(), 2 * 25 * 100);
    EXPECT_EQ(screen.At(60, 12), kRedPixel);
    Send(LB_SETCURSEL, 1, 0);
    EXPECT_EQ(RepaintedPixels(), 0);
}

TEST_F(ControlTest, ProgressBarDrawsWhatChanged) {
    HWND bar = Create("msctls_progress32", 0);
    SendMessage(bar, PBM_SETRANGE, 0, 1000000);
    RunUntilIdle();
    struct Case {
        int position;
        int repainted_columns;
        int filled_columns;
    };
    for (const Case& c :
         std::vector<Case>{{500000, 50, 50}, {500001, 0, 50}, {250000, 25, 25}, {-5, 25, 0}, {2000000, 100, 100}}) {
        SendMessage(bar, PBM_SETPOS, static_cast<WPARAM>(c.position), 0);
        EXPECT_EQ(RepaintedPixels(), c.repainted_columns * 100) << c.position;
        int filled = 0;
        while (filled < 100 && screen.At(10 + filled, 50) == 0xFF164273U)
            ++filled;
        EXPECT_EQ(filled, c.filled_columns) << c.position;
    }
    SendMessage(bar, PBM_SETRANGE, 0, 0);
    RunUntilIdle();
    EXPECT_EQ(screen.At(10, 50), 0xFFC0C0C0U) << "an empty range is never full";
    EXPECT_EQ(screen.At(9, 50), kBluePixel);
}

}  // namespace
}  // namespace mwin_test
