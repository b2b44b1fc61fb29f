#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowTest : public WindowSystemTest {
  protected:
    HWND parent = CreateProbe("p", nullptr, {20, 30, 120, 130}, WS_POPUP | WS_VISIBLE);
};

TEST_F(WindowTest, LongsHoldPointersAtByteOffsets) {
    const auto pointer = reinterpret_cast<LONG_PTR>(&parent);
    SetWindowLong(parent, GWL_USERDATA, pointer);
    SetWindowLong(parent, GWL_EXSTYLE, 5);
    for (const int index : {0, 8, 12, 16, 17, 20, 4000, -1, -100}) {
        const LONG_PTR kept = index >= 0 && index <= 16 ? pointer : 0;
        EXPECT_EQ(GetWindowLong(parent, index), 0) << index;
        SetWindowLong(parent, index, pointer);
        EXPECT_EQ(GetWindowLong(parent, index), kept) << index;
        EXPECT_EQ(SetWindowLong(parent, index, 0), kept) << index;
    }
    EXPECT_EQ(GetWindowLong(parent, GWL_USERDATA), pointer);
    EXPECT_EQ(GetWindowLong(parent, GWL_EXSTYLE), 5);
}

TEST_F(WindowTest, CreationIsRefusedOnlyByMinusOne) {
    static LRESULT answer = 0;
    WNDCLASS refusing{};
    refusing.lpfnWndProc = [](HWND, UINT message, WPARAM, LPARAM) { return message == WM_CREATE ? answer : 0; };
    refusing.lpszClassName = "refusing";
    EXPECT_NE(RegisterClass(&refusing), 0);
    EXPECT_NE(RegisterClass(&refusing), 0) << "registering again is no failure";
    const auto create = [](const char* name) {
        return CreateWindow(name, "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr) != nullptr;
    };
    for (const LRESULT given : {0, 1, -1}) {
        answer = given;
        EXPECT_EQ(create("refusing"), given != -1) << given;
    }
    EXPECT_FALSE(create("unknown"));
}

TEST_F(WindowTest, PositionAndVisibilityDependOnTheParent) {
    HWND child = CreateProbe("c", parent, {5, 6, 25, 16});
    POINT point{1, 1};
    ClientToScreen(child, &point);
    EXPECT_EQ(std::pair(point.x, point.y), std::pair(26, 37));
    ScreenToClient(child, &point);
    EXPECT_EQ(std::pair(point.x, point.y), std::pair(1, 1));
    EXPECT_EQ(GetParent(child), parent);
    EXPECT_EQ(GetParent(parent), nullptr);
    SetWindowLong(child, GWL_ID, 7);
    EXPECT_EQ(GetDlgItem(parent, 7), child);
    ShowWindow(parent, SW_HIDE);
    for (const bool shown : {true, false}) {
        EXPECT_EQ(ShowWindow(child, shown ? SW_HIDE : SW_SHOW), shown);
        EXPECT_EQ((GetWindowLong(child, GWL_STYLE) & WS_VISIBLE) != 0, !shown);
        EXPECT_FALSE(IsWindowVisible(child)) << "its parent is hidden";
    }
    ShowWindow(parent, SW_SHOW);
    EXPECT_TRUE(IsWindowVisible(child));
}

TEST_F(WindowTest, SetWindowPosDoesWhatItsFlagsLeave) {
    constexpr UINT kOrder = SWP_NOMOVE | SWP_NOSIZE, kPlace = SWP_NOZORDER;
    HWND a = CreateProbe("a", parent, {0, 0, 9, 9});
    HWND b = CreateProbe("b", parent, {0, 0, 9, 9});
    HWND c = CreateProbe("c", parent, {0, 0, 9, 9});
    const struct {
        HWND window, after;
        int x, y, width, height;
        UINT flags;
        const char *order, *edges;  // of all, the topmost first; of `a` on the screen
    } steps[] = {{a, HWND_TOP, 0, 0, 0, 0, kOrder, "acb", "{ 20, 30, 29, 39 }"},
                 {a, HWND_BOTTOM, 7, 7, 7, 7, kOrder, "cba", "{ 20, 30, 29, 39 }"},
                 {c, b, 0, 0, 0, 0, kOrder, "bca", "{ 20, 30, 29, 39 }"},
                 {a, b, 0, 0, 0, 0, kOrder, "bac", "{ 20, 30, 29, 39 }"},
                 {a, HWND_TOP, 5, 6, 20, 10, kPlace, "bac", "{ 25, 36, 45, 46 }"},
                 {a, HWND_TOP, 1, 2, 0, 0, kPlace | SWP_NOSIZE, "bac", "{ 21, 32, 41, 42 }"},
                 {a, HWND_TOP, 0, 0, 3, 4, kPlace | SWP_NOMOVE, "bac", "{ 21, 32, 24, 36 }"},
                 {a, HWND_TOP, 0, 0, 5, -1, kPlace, "bac", "{ 21, 32, 24, 36 }"},
                 {c, HWND_TOP, 0, 0, 0, 0, kOrder | kPlace | SWP_HIDEWINDOW, "ba", "{ 21, 32, 24, 36 }"},
                 {c, HWND_TOP, 0, 0, 0, 0, kOrder | SWP_SHOWWINDOW, "cba", "{ 21, 32, 24, 36 }"}};
    for (const auto& step : steps) {
        SetWindowPos(step.window, step.after, step.x, step.y, step.width, step.height, step.flags);
        std::string order;
        for (HWND w = GetWindow(parent, GW_CHILD); w != nullptr; w = GetWindow(w, GW_HWNDNEXT))
            if (IsWindowVisible(w)) order += w == a ? 'a' : w == b ? 'b' : 'c';
        EXPECT_EQ(order, step.order) << &step - steps;
        RECT rect{};
        GetWindowRect(a, &rect);
        EXPECT_EQ(Edges(rect), step.edges) << &step - steps;
    }
    EXPECT_EQ(GetWindow(a, GW_HWNDFIRST), c);
    EXPECT_EQ(GetWindow(a, GW_HWNDPREV), b);
}

TEST_F(WindowTest, DestroyTellsParentsFirstOnceAndOnTheScreen) {
    HWND child = CreateProbe("c", parent, {0, 0, 50, 50});
    CreateProbe("g", child, {0, 0, 9, 9});
    HWND owned = CreateProbe("o", parent, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE);
    EXPECT_EQ(GetParent(owned), parent);
    g_handlers[child] = On(WM_DESTROY, [](HWND w) {
        EXPECT_TRUE(IsWindowVisible(w));
        EXPECT_FALSE(DestroyWindow(w)) << "it is being destroyed already";
        EXPECT_FALSE(PostMessage(w, WM_USER, 0, 0));
        EXPECT_EQ(SetTimer(w, 1, 10, nullptr), 0U);
    });
    g_watched = {{WM_DESTROY, "destroy"}, {WM_USER, "user"}};
    TakeLog();
    EXPECT_TRUE(DestroyWindow(parent));
    EXPECT_THAT(TakeLog(), ElementsAre("p:destroy", "c:destroy", "g:destroy", "o:destroy"));
    EXPECT_FALSE(IsWindow(parent) || IsWindow(child) || IsWindow(owned));
    EXPECT_FALSE(DestroyWindow(parent));
    EXPECT_EQ(SendMessage(child, WM_USER, 0, 0), 0);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(WindowTest, DestroyedWindowsReceiveNothingThatWaited) {
    HWND child = CreateProbe("c", parent, {0, 0, 50, 50});
    SetTimer(child, 3, 10, nullptr);
    PostMessage(child, WM_USER, 0, 0);
    SetFocus(child);
    keys.Type(VK_F1);
    clock.now += 100;
    DestroyWindow(child);
    TakeLog();
    EXPECT_THAT(Received(), ElementsAre("p:keydown", "p:keyup", "p:erase", "p:paint"));
    EXPECT_EQ(GetFocus(), parent);
}

// Any window may be destroyed in any handler.
TEST_F(WindowTest, DestroyingInHandlersIsSafe) {
    for (const UINT message : {WM_PAINT, WM_ERASEBKGND, WM_KEYDOWN, WM_TIMER, WM_USER, WM_DESTROY, WM_SETFOCUS}) {
        for (const char victim : {'p', 's', 'b', 'c'}) {
            SCOPED_TRACE(testing::Message() << victim << " in " << message);
            ResetProbes();
            HWND top = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
            HWND self = CreateProbe("s", top, {0, 0, 50, 50});
            HWND sibling = CreateProbe("b", top, {40, 40, 90, 90});
            HWND child = CreateProbe("c", self, {0, 0, 20, 20});
            HWND target = victim == 'p' ? top : victim == 's' ? self : victim == 'b' ? sibling : child;
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
