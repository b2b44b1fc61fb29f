#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

// A red window over the whole screen, everything painted.
class PaintTest : public WindowSystemTest {
  protected:
    PaintTest() { Received(); }
    HWND Child(const char* name, const RECT& rect, COLORREF color) {
        return CreateProbe(name, back, rect, WS_CHILD | WS_VISIBLE, color);
    }
    // From now on each of these notes the rectangle that it may draw on, and nothing else is noted.
    static void LogPaintedAreas(const std::vector<HWND>& windows) {
        Received();
        g_watched = {};
        for (HWND window : windows) {
            g_handlers[window] = [](HWND self, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message != WM_PAINT) return 0;
                PAINTSTRUCT paint{};
                BeginPaint(self, &paint);
                EndPaint(self, &paint);
                Note(self, Edges(paint.rcPaint));
                return 1;
            };
        }
    }

    HWND back = CreateProbe("back", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kRed);
};

TEST_F(PaintTest, ChangesRepaintExactlyWhatTheyUncover) {
    HWND low = Child("low", {10, 10, 60, 60}, kGreen);
    HWND high = Child("high", {40, 40, 100, 100}, kBlue);
    LogPaintedAreas({back, low, high});
    constexpr UINT kOrder = SWP_NOMOVE | SWP_NOSIZE;
    const std::pair<std::function<void()>, Log> changes[] = {
        {[&] {}, {}},
        {[&] { ShowWindow(high, SW_HIDE); }, {"back:40,40,100,100", "low:30,30,50,50"}},
        {[&] { ShowWindow(high, SW_SHOW); }, {"high:0,0,60,60"}},
        {[&] { MoveWindow(high, 40, 40, 60, 60, TRUE); }, {}},
        {[&] { MoveWindow(high, 50, 40, 60, 60, TRUE); }, {"back:40,60,50,100", "low:30,30,40,50", "high:0,0,60,60"}},
        {[&] { MoveWindow(low, 10, 10, 60, 50, FALSE); }, {}},
        {[&] { MoveWindow(low, 10, 10, 50, 50, TRUE); }, {"back:60,10,70,40", "low:0,0,50,50"}},
        {[&] { BringWindowToTop(low); }, {"low:0,0,50,50"}},
        {[&] { SetWindowPos(low, HWND_BOTTOM, 0, 0, 0, 0, kOrder); }, {"high:0,0,10,20"}},
        {[&] { SetWindowPos(low, HWND_TOP, 0, 0, 0, 0, kOrder); }, {"low:40,30,50,50"}},
        {[&] { DestroyWindow(high); }, {"back:50,40,110,100"}},
    };
    for (const auto& change : changes) {
        change.first();
        EXPECT_EQ(Received(), change.second) << "change " << &change - changes;
    }
    EXPECT_EQ(At(59, 59), kGreenPixel);
    EXPECT_EQ(At(99, 99), kRedPixel);
}

TEST_F(PaintTest, DrawingIsClippedToWhatIsSeen) {
    HWND low = Child("low", {10, 10, 60, 60}, kGreen);
    CreateProbe("child", low, {0, 0, 5, 5}, WS_CHILD | WS_VISIBLE, kRed);
    HWND high = Child("high", {40, 40, 100, 100}, kBlue);
    RunUntilIdle();
    const RECT everything{-100, -100, 400, 400};
    HDC others = GetDC(high);
    HDC device = GetDC(low);
    FastFillRect(device, &everything, kBlack);
    RunUntilIdle();
    EXPECT_TRUE(At(9, 20) == kRedPixel && At(12, 12) == kRedPixel && At(45, 45) == kBluePixel) << "others";
    EXPECT_EQ(At(30, 30), kBlackPixel);
    ShowWindow(low, SW_HIDE);
    RunUntilIdle();
    FastFillRect(GetDC(low), &everything, kBlack);
    RunUntilIdle();
    EXPECT_EQ(At(30, 30), kRedPixel) << "hidden";
    DestroyWindow(low);
    RunUntilIdle();
    FastFillRect(device, &everything, kBlack);
    FastFillRect(others, &everything, kGreen);
    RunUntilIdle();
    EXPECT_EQ(At(30, 30), kRedPixel) << "destroyed";
    EXPECT_EQ(At(45, 45), kGreenPixel) << "somebody else's device";
}

// Handlers that do not validate, invalidate themselves, raise, lower and activate their window, have it painted or run
// a loop of their own: painted once all the same.
TEST_F(PaintTest, PaintHandlersNeverSpin) {
    const std::function<void(HWND)> habits[] = {
        [](HWND) {},         [](HWND w) { InvalidateRect(w, nullptr, TRUE); },
        BringWindowToTop,    SetActiveWindow,
        SetForegroundWindow, [](HWND w) { SetWindowPos(w, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE); },
        UpdateWindow,        [](HWND) { RunUntilIdle(); },
    };
    ShowWindow(back, SW_HIDE);
    RunUntilIdle();
    for (const UINT when : {WM_PAINT, WM_ERASEBKGND}) {
        for (const auto& habit : habits) {
            SCOPED_TRACE(testing::Message() << "habit " << &habit - habits << " in " << when);
            ResetProbes();
            HWND low = CreateProbe("low", nullptr, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE, kGreen);
            HWND high = CreateProbe("high", nullptr, {25, 25, 75, 75}, WS_POPUP | WS_VISIBLE, kBlue);
            int ticks = 0;
            g_handlers[low] = g_handlers[high] = [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message == when) habit(w);
                if (message == WM_TIMER) ++ticks;
                return message == WM_PAINT || message == when ? 1 : 0;
            };
            SetTimer(low, 1, 10, nullptr);
            clock.now += 10;
            MSG message{};
            int messages = 0;
            while (ticks == 0 && ++messages < 50 && PeekMessage(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessage(&message);
            EXPECT_LT(messages, 8);
            for (const char* painted : {"low:paint", "high:paint", "low:erase", "high:erase"})
                EXPECT_EQ(std::count(g_log.begin(), g_log.end(), painted), 1) << painted;
            DestroyWindow(low);
            DestroyWindow(high);
        }
    }
}

TEST_F(PaintTest, UpdateRegions) {
    HWND child = Child("child", {10, 10, 50, 50}, kGreen);
    HWND hidden = CreateProbe("hidden", back, {0, 0, 9, 9}, WS_CHILD);
    LogPaintedAreas({child, hidden});
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("child:0,0,40,40")) << "a paint message that is sent means everything";
    const RECT part{1, 2, 3, 4};
    InvalidateRect(child, &part, FALSE);
    InvalidateRect(hidden, nullptr, TRUE);
    UpdateWindow(hidden);
    UpdateWindow(child);
    EXPECT_THAT(TakeLog(), ElementsAre("child:1,2,3,4"));
    EXPECT_TRUE(InvalidateRect(child, nullptr, TRUE) && ValidateRect(child, nullptr));
    EXPECT_THAT(Received(), IsEmpty());
    const Handler paint = g_handlers[child];
    g_handlers[child] = [&](HWND w, UINT message, WPARAM, LPARAM) {
        return paint(w, message, 0, 0) + paint(w, message, 0, 0);
    };
    InvalidateRect(child, &part, FALSE);
    EXPECT_THAT(Received(), ElementsAre("child:1,2,3,4", "child:1,2,3,4")) << "lives until the handler returns";
    g_handlers[child] = paint;
    InvalidateRect(back, nullptr, TRUE);
    ShowWindow(back, SW_HIDE);
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(Received(), ElementsAre("child:0,0,0,0")) << "hidden: told, but nothing may be drawn";
    EXPECT_EQ(At(100, 100), kBlackPixel) << "the empty screen";
}

TEST_F(PaintTest, UpdatingShowsAWindowAndItsChildrenAtOnce) {
    HWND child = Child("child", {0, 0, 50, 50}, kGreen);
    CreateProbe("inner", child, {0, 0, 9, 9}, WS_CHILD | WS_VISIBLE, kBlue);
    TakeLog();
    UpdateWindow(child);
    EXPECT_TRUE(At(40, 40) == kGreenPixel && At(4, 4) == kBluePixel);
    EXPECT_THAT(Received(), ElementsAre("child:erase", "child:paint", "inner:erase", "inner:paint"));
    const RECT part{10, 0, 20, 10};
    InvalidateRect(child, &part, TRUE);
    EXPECT_EQ(Repainted(), 100) << "only what changed reaches the screen";
}

}  // namespace
}  // namespace mwin_test
