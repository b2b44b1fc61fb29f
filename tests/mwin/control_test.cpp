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
    const struct {
        DWORD style;
        RECT text, empty;
    } cases[] = {{SS_LEFT, {10, 50, 30, 70}, {40, 10, 110, 110}},
                 {SS_CENTER, {50, 50, 70, 70}, {10, 10, 50, 110}},
                 {SS_RIGHT, {90, 50, 110, 70}, {10, 10, 80, 110}}};
    for (const auto& c : cases) {
        Create("STATIC", c.style, "M");
        Send(WM_SETFONT, reinterpret_cast<WPARAM>(font));
        EXPECT_EQ(Send(WM_GETFONT), reinterpret_cast<LRESULT>(font));
        RunUntilIdle();
        EXPECT_EQ(colored, control);
        EXPECT_EQ(At(11, 11), kRedPixel);
        EXPECT_TRUE(Any(c.text)) << c.style;
        EXPECT_FALSE(Any(c.empty)) << c.style;
        EXPECT_FALSE(Any({10, 10, 110, 49})) << "in the middle of the height";
    }
    brush = nullptr;
    InvalidateRect(control, nullptr, FALSE);
    RunUntilIdle();
    EXPECT_EQ(At(11, 11), kGreyPixel) << "no brush: the default one";
    DeleteObject(font);
}

TEST_F(ControlTest, SettingWhatIsShownRepaintsNothing) {
    Create("STATIC", SS_LEFT, "one");
    RunUntilIdle();
    SetWindowText(control, "one");
    EXPECT_EQ(Repainted(), 0);
    SetWindowText(control, "two");
    EXPECT_GT(Repainted(), 0);

    Create("STATIC", SS_ICON, "not shown");
    for (const bool first : {true, false}) {
        Send(STM_SETIMAGE, 0, picture);
        EXPECT_EQ(Repainted() > 0, first);
        EXPECT_EQ(At(60, 60), kGreenPixel);
    }
    EXPECT_EQ(Send(STM_GETIMAGE), reinterpret_cast<LRESULT>(picture));
    picture->FreeMemGC(picture);
    EXPECT_EQ(Send(STM_GETIMAGE), 0) << "a released picture is not drawn again";
    InvalidateRect(control, nullptr, FALSE);
    RunUntilIdle();
    EXPECT_EQ(At(60, 60), kRedPixel);
}

TEST_F(ControlTest, ProgressBarDrawsWhatChanged) {
    Create("msctls_progress32", 0);
    Send(PBM_SETRANGE, 0, 1000000);
    RunUntilIdle();
    const struct {
        int position, repainted_columns, filled_columns;
    } cases[] = {{500000, 50, 50}, {500001, 0, 50}, {250000, 25, 25}, {-5, 25, 0}, {2000000, 100, 100}};
    for (const auto& c : cases) {
        Send(PBM_SETPOS, static_cast<WPARAM>(c.position));
        EXPECT_EQ(Repainted(), c.repainted_columns * 100) << c.position;
        int filled = 0;
        while (filled < 100 && At(10 + filled, 50) == kHighlightPixel)
            ++filled;
        EXPECT_EQ(filled, c.filled_columns) << c.position;
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
    EXPECT_EQ(Send(LB_GETCOUNT), 6);
    EXPECT_EQ(Send(LB_GETCURSEL), LB_ERR);
    EXPECT_EQ(Send(LB_GETTEXT, 3, text), 5);
    EXPECT_STREQ(text, "three");
    EXPECT_EQ(Send(LB_GETTEXTLEN, 2), 3);
    EXPECT_EQ(Send(LB_SETITEMDATA, 2, 77), 0);
    EXPECT_EQ(Send(LB_DELETESTRING, 0), 5);
    EXPECT_GT(Repainted(), 0);
    EXPECT_EQ(Send(LB_GETITEMDATA, 1), 77);
    for (const UINT message :
         {LB_GETTEXT, LB_GETTEXTLEN, LB_GETITEMDATA, LB_SETITEMICON, LB_DELETESTRING, LB_SETCURSEL})
        EXPECT_EQ(Send(message, 5), LB_ERR) << message;
    Send(LB_SETITEMICON, 0, picture);
    RunUntilIdle();
    for (const int edge : {12, 32})
        EXPECT_EQ(At(edge, edge), kGreenPixel);
    EXPECT_TRUE(Any({38, 10, 106, 35})) << "its text";
    EXPECT_FALSE(Any({10, 10, 38, 35})) << "beside the icon";
    picture->FreeMemGC(picture);
    Send(LB_RESETCONTENT);
    EXPECT_EQ(Send(LB_GETCOUNT), 0);
    Send(WM_KEYDOWN, VK_DOWN);
    EXPECT_EQ(Send(LB_GETCURSEL), LB_ERR);
}

TEST_F(ListBoxTest, KeysMoveTheSelectionIntoView) {
    Send(LB_SETCURSEL, 0);
    EXPECT_TRUE(commands.empty()) << "only keys notify";
    const struct {
        WPARAM key;
        int selected, top;
    } steps[] = {{VK_UP, 0, 0},   {VK_DOWN, 1, 0}, {VK_RIGHT, 2, 0}, {VK_DOWN, 3, 0}, {VK_DOWN, 4, 1}, {VK_END, 5, 2},
                 {VK_DOWN, 5, 2}, {VK_LEFT, 4, 2}, {VK_PRIOR, 0, 0}, {VK_NEXT, 4, 1}, {VK_HOME, 0, 0}, {VK_F1, 0, 0}};
    for (const auto& step : steps) {
        Send(WM_KEYDOWN, step.key);
        EXPECT_EQ(Send(LB_GETCURSEL), step.selected) << "step " << &step - steps;
        EXPECT_EQ(Send(LB_GETTOPINDEX), step.top) << "step " << &step - steps;
        RunUntilIdle();
        EXPECT_EQ(At(60, 12 + 25 * (step.selected - step.top)), kHighlightPixel) << "step " << &step - steps;
        // The mark beside the rows tells which of them are shown.
        EXPECT_EQ(At(108, 12) == kBlackPixel, step.top == 0) << "step " << &step - steps;
        EXPECT_EQ(At(108, 108) == kBlackPixel, step.top == 2) << "step " << &step - steps;
    }
    EXPECT_THAT(commands, testing::AllOf(testing::SizeIs(9), testing::Each(MAKEWPARAM(9, LBN_SELCHANGE))));
}

TEST_F(ListBoxTest, OnlyTheRowsThatChangeAreDrawn) {
    const RECT rows[] = {{10, 10, 106, 34}, {10, 36, 106, 59}};
    text_color = kBlack;
    InvalidateRect(control, nullptr, FALSE);
    for (const int selected : {0, 1, 0}) {
        Send(LB_SETCURSEL, static_cast<WPARAM>(selected));
        EXPECT_GT(Repainted(), 0);
        for (const int row : {0, 1}) {
            EXPECT_EQ(Any(rows[row], kRedPixel), row != selected);
            EXPECT_EQ(Any(rows[row], kBlackPixel), row != selected);
            EXPECT_EQ(Any(rows[row], kWhitePixel), row == selected) << "text on the highlight";
        }
    }
    Send(LB_SETCURSEL, 1);
    EXPECT_EQ(Repainted(), 2 * 25 * 100);
    Send(LB_SETCURSEL, 1);
    EXPECT_EQ(Repainted(), 0);
}

TEST_F(ListBoxTest, TextStaysInItsRow) {
    // Of 100 pixels of width and 25 of height, less the margins and the scroll mark.
    Send(LB_RESETCONTENT);
    HFONT font = CreateFont(12, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, 0, 0, "Arial.ttf");
    Send(WM_SETFONT, reinterpret_cast<WPARAM>(font));
    for (const char* row : {"", "MMM MMM MMM MMM MMM MMM", "MMMMMMMMMMMMMMMMMM", "", "", "x"})
        Send(LB_ADDSTRING, 0, row);
    RunUntilIdle();
    EXPECT_TRUE(Any({14, 35, 102, 47})) << "two lines";
    EXPECT_TRUE(Any({14, 48, 102, 60}));
    EXPECT_FALSE(Any({10, 10, 110, 35})) << "the empty rows around";
    EXPECT_FALSE(Any({10, 85, 110, 110}));
    EXPECT_FALSE(Any({102, 35, 106, 85})) << "beside the scroll mark";
    DeleteObject(font);
}

TEST_F(ListBoxTest, FocusFramesTheSelectedRow) {
    const struct {
        HWND focus;
        WPARAM selected;
        bool framed;  // the second row
    } steps[] = {{parent, 1, false}, {control, 1, true}, {control, 0, false}, {parent, 1, false}};
    for (const auto& step : steps) {
        SetFocus(step.focus);
        Send(LB_SETCURSEL, step.selected);
        RunUntilIdle();
        EXPECT_EQ(At(10, 35) == kWhitePixel && At(100, 59) == kWhitePixel, step.framed) << &step - steps;
    }
    SetFocus(control);
    RunUntilIdle();
    EXPECT_EQ(At(10, 35), kWhitePixel);
    SetFocus(parent);
    RunUntilIdle();
    EXPECT_NE(At(10, 35), kWhitePixel);
}

}  // namespace
}  // namespace mwin_test
