#include <gmock/gmock.h>

#include "tests/mwin/fake_machine.h"
#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowTest : public WindowSystemTest {
  protected:
    WindowTest() { ResetProbes(); }
};

TEST_F(WindowTest, LongsHoldPointersAtByteOffsets) {
    HWND window = CreateProbe("w", nullptr, {0, 0, 10, 10}, WS_POPUP);
    const auto pointer = reinterpret_cast<LONG_PTR>(&window);
    for (const int index : {0, 8, 12, 16}) {
        EXPECT_EQ(GetWindowLong(window, index), 0) << index;
        SetWindowLong(window, index, pointer);
        EXPECT_EQ(SetWindowLong(window, index, 0), pointer) << index;
    }
    for (const int index : {17, 20, 4000, -1, -100}) {
        SetWindowLong(window, index, pointer);
        EXPECT_EQ(GetWindowLong(window, index), 0) << index;
    }
    SetWindowLong(window, GWL_USERDATA, pointer);
    EXPECT_EQ(GetWindowLong(window, GWL_USERDATA), pointer);
    EXPECT_EQ(GetWindowLong(window, 8), 0);
}

TEST_F(WindowTest, StyleTellsWhetherItIsShown) {
    HWND parent = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP);
    HWND child = CreateProbe("c", parent, {10, 10, 20, 20}, WS_CHILD);
    EXPECT_EQ(GetWindowLong(child, GWL_STYLE) & WS_VISIBLE, 0);
    EXPECT_FALSE(ShowWindow(child, SW_SHOW));
    EXPECT_NE(GetWindowLong(child, GWL_STYLE) & WS_VISIBLE, 0);
    EXPECT_FALSE(IsWindowVisible(child)) << "its parent is hidden";
    ShowWindow(parent, SW_SHOW);
    EXPECT_TRUE(IsWindowVisible(child));
    EXPECT_TRUE(ShowWindow(child, SW_HIDE));
}

TEST_F(WindowTest, CreationIsRefusedOnlyByMinusOne) {
    static LRESULT answer = 0;
    WNDCLASS refusing{};
    refusing.lpfnWndProc = [](HWND, UINT message, WPARAM, LPARAM) { return message == WM_CREATE ? answer : 0; };
    refusing.lpszClassName = "refusing";
    EXPECT_NE(RegisterClass(&refusing), 0);
    EXPECT_NE(RegisterClass(&refusing), 0) << "registering again is no failure";
    for (const auto& [given, created] : std::vector<std::pair<LRESULT, bool>>{{0, true}, {1, true}, {-1, false}}) {
        answer = given;
        HWND window = CreateWindow("refusing", "", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(window != nullptr, created) << given;
    }
    EXPECT_EQ(CreateWindow("unknown", "", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr), nullptr);
}

TEST_F(WindowTest, PositionsAreRelativeToTheParent) {
    HWND parent = CreateProbe("p", nullptr, {20, 30, 200, 200}, WS_POPUP | WS_VISIBLE);
    HWND child = CreateProbe("c", parent, {5, 6, 25, 16});
    RECT rect{};
    GetWindowRect(child, &rect);
    EXPECT_THAT((std::vector<LONG>{rect.left, rect.top, rect.right, rect.bottom}), ElementsAre(25, 36, 45, 46));
    POINT point{1, 1};
    ClientToScreen(child, &point);
    EXPECT_EQ(point.x, 26);
    ScreenToClient(child, &point);
    EXPECT_EQ(point.y, 1);
    EXPECT_EQ(GetParent(child), parent);
    EXPECT_EQ(GetParent(parent), nullptr);
    SetWindowLong(child, GWL_ID, 7);
    EXPECT_EQ(GetDlgItem(parent, 7), child);
}

TEST_F(WindowTest, OrderOfSiblings) {
    HWND parent = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
    HWND a = CreateProbe("a", parent, {0, 0, 9, 9});
    HWND b = CreateProbe("b", parent, {0, 0, 9, 9});
    HWND c = CreateProbe("c", parent, {0, 0, 9, 9});
    const auto order = [&] {
        std::string names;
        for (HWND w = GetWindow(parent, GW_CHILD); w != nullptr; w = GetWindow(w, GW_HWNDNEXT)) {
            names += w == a ? 'a' : w == b ? 'b' : 'c';
        }
        return names;
    };
    EXPECT_EQ(order(), "cba");
    BringWindowToTop(a);
    EXPECT_EQ(order(), "acb");
    const UINT only_order = SWP_NOMOVE | SWP_NOSIZE;
    SetWindowPos(a, HWND_BOTTOM, 0, 0, 0, 0, only_order);
    EXPECT_EQ(order(), "cba");
    SetWindowPos(c, b, 0, 0, 0, 0, only_order);
    EXPECT_EQ(order(), "bca");
    SetWindowPos(a, b, 0, 0, 0, 0, only_order);
    EXPECT_EQ(order(), "bac");
}

TEST_F(WindowTest, DestroyTellsParentsFirstOnceAndOnTheScreen) {
    HWND parent = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
    HWND child = CreateProbe("c", parent, {0, 0, 50, 50});
    CreateProbe("g", child, {0, 0, 9, 9});
    g_handlers[child] = [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
        if (message != WM_DESTROY) return 0;
        EXPECT_TRUE(IsWindowVisible(w));
        EXPECT_FALSE(DestroyWindow(w)) << "it is being destroyed already";
        EXPECT_FALSE(PostMessage(w, WM_USER, 0, 0));
        EXPECT_EQ(SetTimer(w, 1, 10, nullptr), 0U);
        return 0;
    };
    TakeLog();
    EXPECT_TRUE(DestroyWindow(parent));
    EXPECT_THAT(TakeLog(), ElementsAre("p:destroy", "c:destroy", "g:destroy"));
    EXPECT_FALSE(IsWindow(parent) || IsWindow(child));
    EXPECT_FALSE(DestroyWindow(parent));
    EXPECT_EQ(SendMessage(child, WM_USER, 0, 0), 0);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(WindowTest, DestroyedWindowsReceiveNothingThatWaited) {
    HWND parent = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
    HWND child = CreateProbe("c", parent, {0, 0, 50, 50});
    SetTimer(child, 3, 10, nullptr);
    PostMessage(child, WM_USER, 0, 0);
    SetFocus(child);
    keys.Type(VK_F1);
    clock.Advance(100);
    DestroyWindow(child);
    TakeLog();
    RunUntilIdle();
    EXPECT_EQ(GetFocus(), parent);
    EXPECT_THAT(TakeLog(), ElementsAre("p:keydown", "p:keyup", "p:erase", "p:paint"));
}

// Any window may be destroyed in any handler.
TEST_F(WindowTest, DestroyingInHandlersIsSafe) {
    enum Victim { Self, Parent, Sibling, Child };
    for (const UINT message : {WM_PAINT, WM_ERASEBKGND, WM_KEYDOWN, WM_TIMER, WM_USER, WM_DESTROY, WM_SETFOCUS}) {
        for (const Victim victim : {Self, Parent, Sibling, Child}) {
            ResetProbes();
            HWND parent = CreateProbe("p", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
            HWND self = CreateProbe("s", parent, {0, 0, 50, 50});
            HWND sibling = CreateProbe("b", parent, {40, 40, 90, 90});
            HWND child = CreateProbe("c", self, {0, 0, 20, 20});
            HWND target = victim == Self ? self : victim == Parent ? parent : victim == Sibling ? sibling : child;
            int times = 0;
            g_handlers[self] = [&](HWND, UINT received, WPARAM, LPARAM) -> LRESULT {
                if (received == message && ++times == 1) DestroyWindow(target);
                return 0;
            };
            SetFocus(self);
            SetTimer(self, 1, 10, nullptr);
            PostMessage(self, WM_USER, 0, 0);
            keys.Type(VK_F1);
            clock.Advance(10);
            RunUntilIdle();
            if (message == WM_DESTROY) DestroyWindow(self);
            RunUntilIdle();
            EXPECT_GT(times, 0) << message << ' ' << victim;
            EXPECT_EQ(IsWindow(target), FALSE) << message << ' ' << victim;
            DestroyWindow(parent);
            for (const char* name : {"p", "s", "b", "c"}) {
                EXPECT_EQ(std::count(g_log.begin(), g_log.end(), std::string(name) + ":destroy"), 1)
                    << name << ' ' << message << ' ' << victim;
            }
        }
    }
}

TEST_F(WindowTest, OwnedWindowsGoWithTheirOwner) {
    HWND owner = CreateProbe("o", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE);
    HWND owned = CreateProbe("d", owner, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE);
    EXPECT_EQ(GetParent(owned), owner);
    DestroyWindow(owner);
    EXPECT_FALSE(IsWindow(owned));
}

}  // namespace
}  // namespace mwin_test
