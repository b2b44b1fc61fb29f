#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

class WindowTest : public WindowSystemTest {
  protected:
    HWND parent = CreateProbe("p", nullptr, {20, 30, 120, 130}, WS_POPUP | WS_VISIBLE);
    HWND child = CreateProbe("c", parent, {5, 6, 25, 16});
};

TEST_F(WindowTest, LongsHoldPointersAtByteOffsets) {
    const auto pointer = reinterpret_cast<LONG_PTR>(&parent);
    SetWindowLong(parent, GWL_USERDATA, pointer);
    SetWindowLong(parent, GWL_EXSTYLE, 5);
    for (const int index : {0, 8, 12, 16, 17, 20, 4000, -1, -100}) {
        EXPECT_EQ(SetWindowLong(parent, index, pointer), 0) << index;
        EXPECT_EQ(GetWindowLong(parent, index), index >= 0 && index <= 16 ? pointer : 0) << index;
        SetWindowLong(parent, index, 0);
    }
    EXPECT_EQ(GetWindowLong(parent, GWL_USERDATA), pointer);
    EXPECT_EQ(GetWindowLong(parent, GWL_EXSTYLE), 5);
}

TEST_F(WindowTest, CreationIsRefusedOnlyByMinusOne) {
    static LRESULT answer;
    WNDCLASS refusing{};
    refusing.lpfnWndProc = [](HWND, UINT message, WPARAM, LPARAM) { return message == WM_CREATE ? answer : 0; };
    refusing.lpszClassName = "refusing";
    for (const auto& [name, given, created] :
         Table<const char*, LRESULT, bool>{{"refusing", 0, true}, {"refusing", -1, false}, {"unknown", 0, false}}) {
        answer = given;
        EXPECT_NE(RegisterClass(&refusing), 0) << "registering again is no failure";
        HWND window = CreateWindow(name, "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, &answer, nullptr);
        EXPECT_EQ(window != nullptr, created) << name << given;
        EXPECT_EQ(GetWindowInstance(window), created ? &answer : nullptr);
    }
}

TEST_F(WindowTest, PositionAndVisibilityDependOnTheParent) {
    POINT point{1, 1};
    EXPECT_TRUE(ClientToScreen(child, &point) && point.x == 26 && point.y == 37);
    EXPECT_TRUE(ScreenToClient(child, &point) && point.x == 1 && point.y == 1);
    EXPECT_TRUE(GetParent(child) == parent && GetParent(parent) == nullptr);
    char text[] = "full";
    EXPECT_EQ(GetWindowText(parent, text, sizeof text), 1);
    EXPECT_STREQ(text, "p");
    SetWindowLong(child, GWL_ID, 7);
    EXPECT_EQ(GetDlgItem(parent, 7), child);
    ShowWindow(parent, SW_HIDE);
    for (const bool shown : {true, false}) {
        EXPECT_EQ(ShowWindow(child, shown ? SW_HIDE : SW_SHOW), shown);
        EXPECT_FALSE(IsWindowVisible(child)) << "its parent is hidden";
    }
    ShowWindow(parent, SW_SHOW);
    EXPECT_TRUE(IsWindowVisible(child));
    for (const int height : {5, -1}) {
        MoveWindow(child, 4, 5, 6, height, TRUE);
        RECT rect{};
        GetWindowRect(child, &rect);
        EXPECT_EQ(Edges(rect), "24,35,30,40") << height;
    }
    HWND other = CreateProbe("o", parent, {0, 0, 9, 9});
    SetWindowPos(other, child, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_HIDEWINDOW);
    EXPECT_TRUE(GetWindow(parent, GW_CHILD) == child && GetWindow(child, GW_HWNDNEXT) == other);
    EXPECT_FALSE(IsWindowVisible(other));
}

TEST_F(WindowTest, DestroyTellsParentsFirstOnceAndOnTheScreenAndDropsWhatWaits) {
    CreateProbe("g", child, {0, 0, 9, 9});
    HWND owned = CreateProbe("o", parent, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE);
    HWND next = CreateProbe("n", nullptr, {0, 0, 9, 9}, WS_POPUP | WS_VISIBLE);
    EXPECT_EQ(GetParent(owned), parent);
    g_handlers[child] = On(WM_DESTROY, [](HWND w) {
        EXPECT_TRUE(IsWindowVisible(w));
        EXPECT_FALSE(DestroyWindow(w)) << "it is being destroyed already";
        EXPECT_FALSE(PostMessage(w, WM_USER, 0, 0));
        EXPECT_EQ(SetTimer(w, 1, 10, nullptr), 0U);
    });
    RunUntilIdle();
    SetTimer(child, 3, 10, nullptr);
    PostMessage(child, WM_USER, 0, 0);
    SetFocus(child);
    keys.Type(VK_F1);
    clock.now += 100;
    TakeLog();
    EXPECT_TRUE(DestroyWindow(parent));
    EXPECT_THAT(TakeLog(), ElementsAre("p:destroy", "c:destroy", "g:destroy", "o:destroy", "n:setfocus"));
    EXPECT_FALSE(IsWindow(parent) || IsWindow(child) || IsWindow(owned) || DestroyWindow(parent));
    EXPECT_EQ(SendMessage(child, WM_USER, 0, 0), 0);
    EXPECT_EQ(GetFocus(), next);
    EXPECT_THAT(Received(), ElementsAre("n:keydown", "n:keyup"));
}

// Any window may be destroyed in any handler.
TEST_F(WindowTest, DestroyingInHandlersIsSafe) {
    for (const UINT message : {WM_PAINT, WM_ERASEBKGND, WM_KEYDOWN, WM_TIMER, WM_USER, WM_DESTROY, WM_SETFOCUS}) {
        for (const int victim : {0, 1, 2, 3}) {
            SCOPED_TRACE(testing::Message() << victim << " in " << message);
            ResetProbes();
            HWND top = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
            HWND self = CreateProbe("s", top, {0, 0, 50, 50});
            HWND sibling = CreateProbe("b", top, {40, 40, 90, 90});
            HWND target = std::vector<HWND>{top, self, sibling, CreateProbe("c", self, {0, 0, 20, 20})}[victim];
            int times = 0;
            g_handlers[self] = On(message, [&](HWND) {
                if (++times == 1) DestroyWindow(target);
            });
            SetFocus(self);
            SetTimer(self, 1, 10, nullptr);
            PostMessage(self, WM_USER, 0, 0);
            keys.Type(VK_F1);
            clock.now += 10;
            RunUntilIdle();
            if (message == WM_DESTROY) DestroyWindow(self);
            RunUntilIdle();
            EXPECT_GT(times, 0);
            EXPECT_FALSE(IsWindow(target));
            DestroyWindow(top);
            for (const char* told : {"p:destroy", "s:destroy", "b:destroy", "c:destroy"})
                EXPECT_EQ(std::count(g_log.begin(), g_log.end(), told), 1) << told;
        }
    }
}

}  // namespace
}  // namespace mwin_test
