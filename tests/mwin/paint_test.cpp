#include <gmock/gmock.h>

#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr COLORREF kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0), kBlue = RGB(0, 0, 255);
constexpr std::uint32_t kRedPixel = 0xFFFF0000, kGreenPixel = 0xFF00FF00, kBluePixel = 0xFF0000FF,
                        kBlackPixel = 0xFF000000;

// A red window over the whole screen, everything painted.
class PaintTest : public WindowSystemTest {
  protected:
    PaintTest() {
        ResetProbes();
        back = CreateProbe("back", nullptr, {0, 0, 320, 240}, WS_POPUP | WS_VISIBLE, kRed);
        Painted();
    }
    HWND Child(const char* name, const RECT& rect, COLORREF color) {
        return CreateProbe(name, back, rect, WS_CHILD | WS_VISIBLE, color);
    }
    // Lets everything be painted, and tells what was noted meanwhile.
    static std::vector<std::string> Painted() {
        RunUntilIdle();
        return TakeLog();
    }
    // From now on each of these notes the rectangle that it may draw on, and nothing else is noted.
    static void LogPaintedAreas(const std::vector<HWND>& windows) {
        Painted();
        g_watched = {};
        for (HWND window : windows) {
            g_handlers[window] = [](HWND self, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message != WM_PAINT) return 0;
                PAINTSTRUCT paint{};
                BeginPaint(self, &paint);
                EndPaint(self, &paint);
                std::string area;
                for (const LONG edge : Edges(paint.rcPaint))
                    area += (area.empty() ? "" : ",") + std::to_string(edge);
                Note(self, area);
                return 1;
            };
        }
    }

    HWND back = nullptr;
};

TEST_F(PaintTest, ChangesRepaintExactlyWhatTheyUncover) {
    HWND low = Child("low", {10, 10, 60, 60}, kGreen);
    HWND high = Child("high", {40, 40, 100, 100}, kBlue);
    LogPaintedAreas({back, low, high});
    EXPECT_THAT(Painted(), IsEmpty());
    ShowWindow(high, SW_HIDE);
    EXPECT_THAT(Painted(), ElementsAre("back:40,40,100,100", "low:30,30,50,50"));
    ShowWindow(high, SW_SHOW);
    EXPECT_THAT(Painted(), ElementsAre("high:0,0,60,60"));
    MoveWindow(high, 40, 40, 60, 60, TRUE);
    EXPECT_THAT(Painted(), IsEmpty()) << "nothing moved";
    MoveWindow(high, 50, 40, 60, 60, TRUE);
    EXPECT_THAT(Painted(), ElementsAre("back:40,60,50,100", "low:30,30,40,50", "high:0,0,60,60"));
    BringWindowToTop(low);
    EXPECT_THAT(Painted(), ElementsAre("low:0,0,50,50"));
    SetWindowPos(low, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
    EXPECT_THAT(Painted(), ElementsAre("high:0,0,10,20"));
    DestroyWindow(high);
    EXPECT_THAT(Painted(), ElementsAre("back:50,40,110,100", "low:40,30,50,50"));
    EXPECT_EQ(screen.At(59, 59), kGreenPixel);
    EXPECT_EQ(screen.At(99, 99), kRedPixel);
}

TEST_F(PaintTest, DrawingIsClippedToWhatIsSeen) {
    HWND low = Child("low", {10, 10, 60, 60}, kGreen);
    CreateProbe("child", low, {0, 0, 5, 5}, WS_CHILD | WS_VISIBLE, kRed);
    Child("high", {40, 40, 100, 100}, kBlue);
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
    EXPECT_THAT(Painted(), ElementsAre("hidden:create"));
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
    for (const UINT when : {WM_PAINT, WM_ERASEBKGND}) {
        for (std::size_t i = 0; i < habits.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "habit " << i << " in " << when);
            ResetProbes();
            HWND low = CreateProbe("low", nullptr, {0, 0, 50, 50}, WS_POPUP | WS_VISIBLE, kGreen);
            HWND high = CreateProbe("high", nullptr, {25, 25, 75, 75}, WS_POPUP | WS_VISIBLE, kBlue);
            int ticks = 0;
            g_handlers[low] = g_handlers[high] = [&](HWND w, UINT message, WPARAM, LPARAM) -> LRESULT {
                if (message == when) habits[i](w);
                if (message == WM_TIMER) ++ticks;
                return message == WM_PAINT || message == when ? 1 : 0;
            };
            SetTimer(low, 1, 10, nullptr);
            clock.Advance(10);
            MSG message{};
            int messages = 0;
            while (ticks == 0 && ++messages < 50 && PeekMessage(&message, nullptr, 0, 0, PM_REMOVE))
                DispatchMessage(&message);
            EXPECT_LT(messages, 8);
            EXPECT_EQ(std::count(g_log.begin(), g_log.end(), "low:paint"), 1);
            DestroyWindow(low);
            DestroyWindow(high);
        }
    }
}

TEST_F(PaintTest, ASentPaintMessageMeansTheWholeClientArea) {
    HWND child = Child("child", {10, 10, 50, 50}, kGreen);
    LogPaintedAreas({child});
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("child:0,0,40,40"));
    const RECT part{1, 2, 3, 4};
    InvalidateRect(child, &part, FALSE);
    UpdateWindow(child);
    EXPECT_THAT(TakeLog(), ElementsAre("child:1,2,3,4"));
    EXPECT_THAT(Painted(), IsEmpty());
    ShowWindow(child, SW_HIDE);
    SendMessage(child, WM_PAINT, 0, 0);
    EXPECT_THAT(TakeLog(), ElementsAre("child:0,0,0,0")) << "hidden: told, but nothing may be drawn";
}

TEST_F(PaintTest, TheUpdateRegionLivesUntilTheHandlerReturns) {
    std::vector<LONG> widths;
    g_handlers[Child("child", {0, 0, 50, 50}, kGreen)] = On(WM_PAINT, [&](HWND w) {
        for (int i = 0; i < 2; ++i) {
            PAINTSTRUCT paint{};
            BeginPaint(w, &paint);
            widths.push_back(paint.rcPaint.right);
            EndPaint(w, &paint);
        }
    });
    TakeLog();
    EXPECT_THAT(Painted(), ElementsAre("child:erase", "child:paint"));
    EXPECT_THAT(widths, ElementsAre(50, 50));
}

TEST_F(PaintTest, OnlyWhatChangedReachesTheScreen) {
    HWND child = Child("child", {0, 0, 50, 50}, kGreen);
    CreateProbe("inner", child, {0, 0, 9, 9}, WS_CHILD | WS_VISIBLE, kBlue);
    TakeLog();
    WNDCLASS own{};
    own.lpfnWndProc = DefWindowProc;
    own.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    own.lpszClassName = "own";
    RegisterClass(&own);
    CreateWindow("own", "", WS_CHILD | WS_VISIBLE, 60, 0, 50, 50, back, nullptr, nullptr, nullptr);
    UpdateWindow(child);
    EXPECT_EQ(screen.At(40, 40), kGreenPixel) << "at once";
    EXPECT_EQ(screen.At(4, 4), kBluePixel);
    EXPECT_THAT(Painted(), ElementsAre("child:erase", "child:paint", "inner:erase", "inner:paint"));
    EXPECT_EQ(screen.At(85, 25), kRedPixel) << "a window that erases itself leaves what it covers";
    screen.updated_pixels = 0;
    RunUntilIdle();
    EXPECT_EQ(screen.updated_pixels, 0);
    const RECT part{10, 0, 20, 10};
    InvalidateRect(child, &part, TRUE);
    RunUntilIdle();
    EXPECT_EQ(screen.updated_pixels, 100);
}

}  // namespace
}  // namespace mwin_test
