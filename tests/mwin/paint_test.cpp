#include <gmock/gmock.h>

#include "tests/mwin/fake_machine.h"
#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255), kWhite = RGB(255, 255, 255);
constexpr std::uint32_t kRedPixel = 0xFFFF0000, kGreenPixel = 0xFF00FF00, kBluePixel = 0xFF0000FF,
                        kBlackPixel = 0xFF000000;

class PaintTest : public WindowSystemTest {
  protected:
    PaintTest() {
        ResetProbes();
        back = CreateProbe("back", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kRed);
        RunUntilIdle();
        TakeLog();
    }

    // Tells the rectangle that each probe may draw on.
    void LogPaintedAreas() {
        for (HWND w : windows) {
            g_handlers[w] = [](HWND self, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message != WM_PAINT) return 0;
                PAINTSTRUCT paint{};
                BeginPaint(self, &paint);
                EndPaint(self, &paint);
                const RECT& r = paint.rcPaint;
                Note(self, std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) + "," +
                               std::to_string(r.bottom));
                return 1;
            };
        }
        g_watched = {};
        TakeLog();
    }

    HWND back = nullptr;
    std::vector<HWND> windows;
};

TEST_F(PaintTest, ParentsAreErasedAndPaintedBeforeChildren) {
    HWND child = CreateProbe("child", back, {10, 10, 50, 50}, WS_CHILD | WS_VISIBLE, kGreen);
    CreateProbe("inner", child, {10, 10, 20, 20}, WS_CHILD | WS_VISIBLE, kBlue);
    CreateProbe("hidden", back, {60, 60, 80, 80}, WS_CHILD, kBlue);
    InvalidateRect(back, nullptr, TRUE);
    TakeLog();
    RunUntilIdle();
    EXPECT_THAT(TakeLog(),
                ElementsAre("back:erase", "back:paint", "child:erase", "child:paint", "inner:erase", "inner:paint"));
    EXPECT_EQ(screen.At(9, 9), kRedPixel);
    EXPECT_EQ(screen.At(10, 10), kGreenPixel);
    EXPECT_EQ(screen.At(20, 20), kBluePixel);
    EXPECT_EQ(screen.At(70, 70), kRedPixel);
}

TEST_F(PaintTest, ChangesRepaintExactlyWhatTheyUncover) {
    HWND low = CreateProbe("low", back, {10, 10, 60, 60}, WS_CHILD | WS_VISIBLE, kGreen);
    HWND high = CreateProbe("high", back, {40, 40, 100, 100}, WS_CHILD | WS_VISIBLE, kBlue);
    RunUntilIdle();
    windows = {back, low, high};
    LogPaintedAreas();
    const auto painted = [] {
        RunUntilIdle();
        return TakeLog();
    };
    EXPECT_THAT(painted(), IsEmpty());
    ShowWindow(high, SW_HIDE);
    EXPECT_THAT(painted(), ElementsAre("back:40,40,100,100", "low:30,30,50,50"));
    ShowWindow(high, SW_SHOW);
    EXPECT_THAT(painted(), ElementsAre("high:0,0,60,60"));
    MoveWindow(high, 40, 40, 60, 60, TRUE);
    EXPECT_THAT(painted(), IsEmpty()) << "nothing moved";
    MoveWindow(high, 50, 40, 60, 60, TRUE);
    EXPECT_THAT(painted(), ElementsAre("back:40,60,50,100", "low:30,30,40,50", "high:0,0,60,60"));
    BringWindowToTop(low);
    EXPECT_THAT(painted(), ElementsAre("low:0,0,50,50"));
    SetWindowPos(low, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    EXPECT_THAT(painted(), ElementsAre("high:0,0,10,20"));
    DestroyWindow(high);
    EXPECT_THAT(painted(), ElementsAre("back:50,40,110,100", "low:40,30,50,50"));
    EXPECT_EQ(screen.At(59, 59), kGreenPixel);
    EXPECT_EQ(screen.At(99, 99), kRedPixel);
}

TEST_F(PaintTest, DrawingIsClippedToWhatIsSeen) {
    HWND low = CreateProbe("low", back, {10, 10, 60, 60}, WS_CHILD | WS_VISIBLE, kGreen);
    CreateProbe("child", low, {0, 0, 5, 5}, WS_CHILD | WS_VISIBLE, kRed);
    CreateProbe("high", back, {40, 40, 100, 100}, WS_CHILD | WS_VISIBLE, kBlue);
    RunUntilIdle();
    HDC device = GetDC(low);
    const RECT everything{-100, -100, 400, 400};
    FastFillRect(device, &everything, RGB(0, 0, 0));
    EXPECT_EQ(ReleaseDC(low, device), 1);
    RunUntilIdle();
    EXPECT_EQ(screen.At(9, 20), kRedPixel) << "outside";
    EXPECT_EQ(screen.At(12, 12), kRedPixel) << "its child";
    EXPECT_EQ(screen.At(30, 30), kBlackPixel);
    EXPECT_EQ(screen.At(45, 45), kBluePixel) << "the window above";
    ShowWindow(low, SW_HIDE);
    RunUntilIdle();
    device = GetDC(low);
    FastFillRect(device, &everything, RGB(0, 0, 0));
    DestroyWindow(low);
    FastFillRect(device, &everything, RGB(0, 0, 0));
    ReleaseDC(low, device);
    RunUntilIdle();
    EXPECT_EQ(screen.At(30, 30), kRedPixel) << "hidden, then destroyed";
}

TEST_F(PaintTest, HiddenWindowsHaveNoUpdateRegion) {
    HWND hidden = CreateProbe("hidden", back, {0, 0, 9, 9}, WS_CHILD);
    InvalidateRect(hidden, nullptr, TRUE);
    UpdateWindow(hidden);
    RunUntilIdle();
    InvalidateRect(back, nullptr, TRUE);
    ShowWindow(back, SW_HIDE);
    RunUntilIdle();
    EXPECT_THAT(TakeLog(), ElementsAre("hidden:create"));
    EXPECT_EQ(screen.At(100, 100), kBlackPixel) << "the empty screen";
}

// Handlers that do not validate, invalidate themselves or raise and activate their window: painted once all the same.
TEST_F(PaintTest, PaintHandlersNeverSpin) {
    const std::vector<std::function<void(HWND)>> habits = {
        [](HWND) {},
        [](HWND w) { InvalidateRect(w, nullptr, TRUE); },
        [](HWND w) { BringWindowToTop(w); },
        [](HWND w) { SetActiveWindow(w); },
        [](HWND w) { SetForegroundWindow(w); },
    };
    int ticks = 0;
    for (const UINT when : {WM_PAINT, WM_ERASEBKGND}) {
        for (std::size_t i = 0; i < habits.size(); ++i) {
            ResetProbes();
            HWND low = CreateProbe("low", nullptr, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE, kGreen);
            HWND high = CreateProbe("high", nullptr, {25, 25, 75, 75}, WS_POPUP | WS_VISIBLE, kBlue);
            g_handlers[low] = g_handlers[high] = [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message == when) habits[i](w);
                if (message == WM_TIMER) ++ticks;
                return message == WM_PAINT || message == when ? 1 : 0;
            };
            SetTimer(low, 1, 10, nullptr);
            clock.Advance(10);
            MSG message{};
            int messages = 0;
            ticks = 0;
            while (ticks == 0 && ++messages < 50 && PeekMessage(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessage(&message);
            EXPECT_LT(messages, 8) << "habit " << i << " in " << when;
            EXPECT_EQ(std::count(g_log.begin(), g_log.end(), "low:paint"), 1) << "habit " << i << " in " << when;
            DestroyWindow(low);
            DestroyWindow(high);
        }
    }
}

TEST_F(PaintTest, ASentPaintMessageMeansTheWholeClientArea) {
    HWND child = CreateProbe("child", back, {10, 10, 50, 50}, WS_CHILD | WS_VISIBLE, kGreen);
    RunUntilIdle();
    windows = {child};
    LogPaintedAreas();
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("child:0,0,40,40"));
    const RECT part{1, 2, 3, 4};
    InvalidateRect(child, &part, FALSE);
    UpdateWindow(child);
    EXPECT_THAT(TakeLog(), ElementsAre("child:1,2,3,4"));
    RunUntilIdle();
    EXPECT_THAT(TakeLog(), IsEmpty());
    ShowWindow(child, SW_HIDE);
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("child:0,0,0,0")) << "hidden: told, but nothing may be drawn";
}

TEST_F(PaintTest, TheUpdateRegionLivesUntilTheHandlerReturns) {
    HWND child = CreateProbe("child", back, {0, 0, 50, 50}, WS_CHILD | WS_VISIBLE, kGreen);
    std::vector<LONG> widths;
    g_handlers[child] = [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
        for (int i = 0; message == WM_PAINT && i < 2; ++i) {
            PAINTSTRUCT paint{};
            BeginPaint(w, &paint);
            widths.push_back(paint.rcPaint.right);
            EndPaint(w, &paint);
        }
        return 0;
    };
    TakeLog();
    RunUntilIdle();
    EXPECT_THAT(widths, ElementsAre(50, 50));
    EXPECT_THAT(TakeLog(), ElementsAre("child:erase", "child:paint"));
}

TEST_F(PaintTest, TheEraseOfAWindowThatErasesItselfDrawsNothing) {
    WNDCLASS own{};
    own.lpfnWndProc = DefWindowProc;
    own.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    own.lpszClassName = "own";
    RegisterClass(&own);
    CreateWindow("own", "", WS_CHILD | WS_VISIBLE, 0, 0, 50, 50, back, nullptr, nullptr, nullptr);
    RunUntilIdle();
    EXPECT_EQ(screen.At(25, 25), kRedPixel);
}

TEST_F(PaintTest, OnlyWhatChangedReachesTheScreen) {
    HWND child = CreateProbe("child", back, {0, 0, 50, 50}, WS_CHILD | WS_VISIBLE, kGreen);
    RunUntilIdle();
    screen.updated_pixels = 0;
    RunUntilIdle();
    EXPECT_EQ(screen.updated_pixels, 0);
    const RECT part{0, 0, 10, 10};
    InvalidateRect(child, &part, TRUE);
    RunUntilIdle();
    EXPECT_EQ(screen.updated_pixels, 100);
}

TEST_F(PaintTest, UpdateWindowShowsAtOnce) {
    HWND child = CreateProbe("child", back, {0, 0, 50, 50}, WS_CHILD | WS_VISIBLE, kGreen);
    CreateProbe("inner", child, {0, 0, 9, 9}, WS_CHILD | WS_VISIBLE, kWhite);
    UpdateWindow(child);
    EXPECT_EQ(screen.At(40, 40), kGreenPixel);
    EXPECT_EQ(screen.At(4, 4), 0xFFFFFFFF);
}

}  // namespace
}  // namespace mwin_test
