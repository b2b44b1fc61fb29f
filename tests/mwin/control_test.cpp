#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

constexpr std::uint32_t kHighlightPixel = 0xFF164273, kGreyPixel = 0xFFF0F0F0, kTrackPixel = 0xFFC0C0C0;

// Controls of 100×100 pixels at (10, 10) of a blue window, which has them drawn white on red.
class ControlTest : public WindowSystemTest {
  protected:
    ControlTest() {
        g_handlers[parent] = [this](HWND, UINT message, WPARAM wparam, LPARAM) -> LRESULT {
            if (message == WM_COMMAND) commands.push_back(wparam);
            if (message != WM_CTLCOLORSTATIC && message != WM_CTLCOLORLISTBOX) return 0;
            SetTextColor(reinterpret_cast<HDC>(wparam), kWhite);
            SetBkMode(reinterpret_cast<HDC>(wparam), TRANSPARENT);
            return reinterpret_cast<LRESULT>(brush);
        };
    }
    void Create(const char* class_name, DWORD style) {
        control = CreateWindow(class_name, "", WS_CHILD | WS_VISIBLE | style, 10, 10, 100, 100, parent,
                               reinterpret_cast<HMENU>(9), nullptr, nullptr);
    }
    LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) const {
        return SendMessage(control, message, wparam, lparam);
    }
    LRESULT Send(UINT message, WPARAM wparam, const void* data) const {
        return Send(message, wparam, reinterpret_cast<LPARAM>(data));
    }

    HWND parent = CreateProbe("parent", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kBlue);
    HWND control = nullptr;
    HBRUSH brush = CreateSolidBrush(kRed);
    std::vector<WPARAM> commands;
    std::vector<std::uint32_t> green = std::vector<std::uint32_t>(4, kGreenPixel);
    PSD picture = GdCreatePixmap(scrdev, 2, 2, 0, green.data(), 0);
};

TEST_F(ControlTest, StaticRepaintsOnlyWhenItShowsSomethingElse) {
    Create("STATIC", SS_ICON);
    RunUntilIdle();
    for (const bool first : {true, false}) {
        SetWindowText(control, "one");
        EXPECT_EQ(Repainted() > 0, first);
        Send(STM_SETIMAGE, 0, picture);
        EXPECT_EQ(Repainted() > 0, first);
        EXPECT_EQ(At(60, 60), kGreenPixel);
    }
    picture->FreeMemGC(picture);
    InvalidateRect(control, nullptr, FALSE);
    EXPECT_GT(Repainted(), 0);
    EXPECT_TRUE(At(60, 60) == kRedPixel && Send(STM_GETIMAGE) == 0) << "a released picture is not drawn again";
}

TEST_F(ControlTest, ProgressBarStaysWithinItsRange) {
    Create("msctls_progress32", 0);
    for (const auto& [range, position, filled] :
         Table<int, int, int>{{1000000, 500000, 50}, {1000000, -5, 0}, {1000000, 2000000, 100}, {0, 5, 0}}) {
        Send(PBM_SETRANGE, 0, range);
        Send(PBM_SETPOS, static_cast<WPARAM>(position));
        RunUntilIdle();
        EXPECT_EQ(At(9 + filled, 50), filled == 0 ? kBluePixel : kHighlightPixel) << position;
        EXPECT_EQ(At(10 + filled, 50), filled == 100 ? kBluePixel : kTrackPixel) << position;
    }
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
    picture->FreeMemGC(picture);
    Send(LB_RESETCONTENT);
    Send(WM_KEYDOWN, VK_DOWN);
    EXPECT_EQ(Send(LB_GETCURSEL), LB_ERR);
}

TEST_F(ListBoxTest, KeysMoveTheSelectionIntoView) {
    Send(LB_SETCURSEL, 0);
    EXPECT_TRUE(commands.empty()) << "only keys notify";
    for (HWND focus : {control, parent, control}) {
        SetFocus(focus);
        RunUntilIdle();
        EXPECT_EQ(At(10, 10) == kWhitePixel, focus == control) << "framed";
    }
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
        for (const int row : {0, 1, 2, 3})
            EXPECT_EQ(At(60, 12 + 25 * row) == kHighlightPixel, row == selected - top);
        // The mark beside the rows tells which of them are shown.
        EXPECT_EQ(At(108, 12) == kBlackPixel, top == 0);
        EXPECT_EQ(At(108, 108) == kBlackPixel, top == 2);
    }
    EXPECT_THAT(commands, testing::AllOf(testing::SizeIs(9), Each(MAKEWPARAM(9, LBN_SELCHANGE))));
}

}  // namespace
}  // namespace mwin_test
