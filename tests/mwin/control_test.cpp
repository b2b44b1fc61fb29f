#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

constexpr std::uint32_t kHighlightPixel = 0xFF164273, kGreyPixel = 0xFFF0F0F0, kTrackPixel = 0xFFC0C0C0;

// Controls of 100×100 pixels at (10, 10) of a blue window, which has them drawn white on red.
class ControlTest : public WindowSystemTest {
  protected:
    ControlTest() {
        g_handlers[parent] = [this](HWND, UINT message, WPARAM wparam, LPARAM lparam) -> LRESULT {
            if (message == WM_COMMAND) commands.push_back(wparam);
            if (message != WM_CTLCOLORSTATIC && message != WM_CTLCOLORLISTBOX) return 0;
            colored = reinterpret_cast<HWND>(lparam);
            SetTextColor(reinterpret_cast<HDC>(wparam), text_color);
            SetBkMode(reinterpret_cast<HDC>(wparam), TRANSPARENT);
            return reinterpret_cast<LRESULT>(brush);
        };
    }
    void Create(const char* class_name, DWORD style, const char* text = "") {
        control = CreateWindow(class_name, text, WS_CHILD | WS_VISIBLE | style, 10, 10, 100, 100, parent,
                               reinterpret_cast<HMENU>(9), nullptr, nullptr);
    }
    LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const {
        return SendMessage(control, message, wparam, lparam);
    }
    LRESULT Send(UINT message, WPARAM wparam, const void* data) const {
        return Send(message, wparam, reinterpret_cast<LPARAM>(data));
    }
    bool Any(const RECT& area, std::uint32_t pixel = kWhitePixel) const {
        for (int y = area.top; y < area.bottom; ++y) {
            for (int x = area.left; x < area.right; ++x) {
                if (At(x, y) == pixel) return true;
            }
        }
        return false;
    }

    HWND parent = CreateProbe("parent", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kBlue);
    HWND control = nullptr;
    HWND colored = nullptr;
    COLORREF text_color = kWhite;
    HBRUSH brush = CreateSolidBrush(kRed);
    std::vector<WPARAM> commands;
    std::vector<std::uint32_t> green = std::vector<std::uint32_t>(4, kGreenPixel);
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, green.data(), 0);
};

TEST_F(ControlTest, StaticIsColouredByItsParentAndItsStyleSaysWhereTheTextStands) {
    HFONT font = CreateFont(20, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf");
    for (const auto& [style, text, beside] :
         Table<DWORD, RECT, RECT>{{SS_LEFT, {10, 50, 30, 70}, {40, 10, 110, 110}},
                                  {SS_CENTER, {50, 50, 70, 70}, {10, 10, 50, 110}},
                                  {SS_RIGHT, {90, 50, 110, 70}, {10, 10, 80, 110}}}) {
        Create("STATIC", style, "M");
        Send(WM_SETFONT, reinterpret_cast<WPARAM>(font));
        RunUntilIdle();
        EXPECT_EQ(colored, control);
        EXPECT_EQ(At(11, 11), kRedPixel);
        EXPECT_TRUE(Any(text) && !Any(beside) && !Any({10, 10, 110, 49})) << style;
    }
    brush = nullptr;
    InvalidateRect(control, nullptr, FALSE);
    RunUntilIdle();
    EXPECT_EQ(At(11, 11), kGreyPixel) << "no brush: the default one";
}

TEST_F(ControlTest, SettingWhatIsShownRepaintsNothing) {
    Create("STATIC", SS_LEFT, "one");
    RunUntilIdle();
    for (const auto& [text, repainted] : Table<const char*, bool>{{"one", false}, {"two", true}, {"two", false}}) {
        SetWindowText(control, text);
        EXPECT_EQ(Repainted() > 0, repainted) << text;
    }
    Create("STATIC", SS_ICON, "not shown");
    for (const bool first : {true, false}) {
        Send(STM_SETIMAGE, 0, picture);
        EXPECT_EQ(Repainted() > 0, first);
        EXPECT_EQ(At(60, 60), kGreenPixel);
    }
    picture->FreeMemGC(picture);
    InvalidateRect(control, nullptr, FALSE);
    EXPECT_GT(Repainted(), 0);
    EXPECT_TRUE(At(60, 60) == kRedPixel && Send(STM_GETIMAGE) == 0) << "a released picture is not drawn again";
}

TEST_F(ControlTest, ProgressBarDrawsWhatChanged) {
    Create("msctls_progress32", 0);
    Send(PBM_SETRANGE, 0, 1000000);
    RunUntilIdle();
    for (const auto& [position, repainted, filled] :
         Table<int, int, int>{{500000, 50, 50}, {500001, 0, 50}, {250000, 25, 25}, {-5, 25, 0}, {2000000, 100, 100}}) {
        Send(PBM_SETPOS, static_cast<WPARAM>(position));
        EXPECT_EQ(Repainted(), repainted * 100) << position;
        EXPECT_TRUE(filled == 0 || At(9 + filled, 50) == kHighlightPixel) << position;
        EXPECT_TRUE(filled == 100 || At(10 + filled, 50) == kTrackPixel) << position;
    }
    Send(PBM_SETRANGE);
    RunUntilIdle();
    EXPECT_EQ(At(10, 50), kTrackPixel) << "an empty range is never full";
    EXPECT_EQ(At(9, 50), kBluePixel);
}

class ListBoxTest : public ControlTest {
  protected:
    ListBoxTest() {
        Create("LISTBOX", LBS_NOTIFY);
        Send(LB_SETITEMHEIGHT, 0, 25);  // four rows are seen
        for (const char* row : {"zero", "one", "two", "three", "four", "five"})
            Send(LB_ADDSTRING, 0, row);
        RunUntilIdle();
    }
};

TEST_F(ListBoxTest, RowsHoldTextIconAndData) {
    char text[16] = "";
    EXPECT_TRUE(Send(LB_GETTEXT, 3, text) == 5 && text == std::string("three") && Send(LB_GETTEXTLEN, 3) == 5);
    EXPECT_TRUE(Send(LB_SETITEMDATA, 2, 77) == 0 && Send(LB_DELETESTRING, 0) == 5 && Send(LB_GETITEMDATA, 1) == 77);
    EXPECT_GT(Repainted(), 0);
    for (const UINT message :
         {LB_GETTEXT, LB_GETTEXTLEN, LB_GETITEMDATA, LB_SETITEMICON, LB_DELETESTRING, LB_SETCURSEL})
        EXPECT_EQ(Send(message, 5), LB_ERR) << message;
    Send(LB_SETITEMICON, 0, picture);
    RunUntilIdle();
    EXPECT_TRUE(At(12, 12) == kGreenPixel && At(32, 32) == kGreenPixel);
    EXPECT_TRUE(Any({38, 10, 106, 35}) && !Any({10, 10, 38, 35})) << "its text beside the icon";
    picture->FreeMemGC(picture);
    Send(LB_RESETCONTENT);
    Send(WM_KEYDOWN, VK_DOWN);
    EXPECT_EQ(Send(LB_GETCURSEL), LB_ERR);
}

TEST_F(ListBoxTest, KeysMoveTheSelectionIntoView) {
    Send(LB_SETCURSEL, 0);
    EXPECT_TRUE(commands.empty()) << "only keys notify";
    for (const auto& [key, selected, top] : Table<WPARAM, int, int>{{VK_UP, 0, 0},
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
        SCOPED_TRACE(testing::Message() << key << " to " << selected);
        Send(WM_KEYDOWN, key);
        RunUntilIdle();
        EXPECT_TRUE(Send(LB_GETCURSEL) == selected && Send(LB_GETTOPINDEX) == top);
        EXPECT_EQ(At(60, 12 + 25 * (selected - top)), kHighlightPixel);
        // The mark beside the rows tells which of them are shown.
        EXPECT_EQ(At(108, 12) == kBlackPixel, top == 0);
        EXPECT_EQ(At(108, 108) == kBlackPixel, top == 2);
    }
    EXPECT_THAT(commands, testing::AllOf(testing::SizeIs(9), Each(MAKEWPARAM(9, LBN_SELCHANGE))));
}

TEST_F(ListBoxTest, TheSelectedRowIsHighlightedAndFramedAndOnlyChangesAreDrawn) {
    text_color = kBlack;
    InvalidateRect(control, nullptr, FALSE);
    for (const auto& [focus, selected, repainted_rows] :
         Table<HWND, int, int>{{parent, 1, 4}, {control, 1, 1}, {control, 1, 0}, {control, 0, 2}, {parent, 0, 1}}) {
        SetFocus(focus);
        Send(LB_SETCURSEL, static_cast<WPARAM>(selected));
        EXPECT_EQ(Repainted(), repainted_rows * 25 * 100);
        for (const int row : {0, 1}) {
            const RECT inside{11, 11 + 25 * row, 106, 34 + 25 * row};
            EXPECT_EQ(Any(inside, kBlackPixel) && Any(inside, kRedPixel), row != selected);
            EXPECT_EQ(Any(inside, kWhitePixel) && Any(inside, kHighlightPixel), row == selected);
            EXPECT_EQ(At(10, 10 + 25 * row) == kWhitePixel, row == selected && focus == control);
        }
    }
}

}  // namespace
}  // namespace mwin_test
