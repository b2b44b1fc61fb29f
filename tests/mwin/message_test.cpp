#include <thread>

#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

std::vector<UINT> g_ticks;  // ids of the timers whose procedure was called
void CALLBACK CountTick(HWND, UINT, UINT id, DWORD) {
    g_ticks.push_back(id);
}

class MessageTest : public WindowSystemTest {
  protected:
    MessageTest() { Received(); }
    // Runs the main loop to its end; the result is the exit code.
    static WPARAM RunLoop() {
        MSG message{};
        while (GetMessage(&message, nullptr, 0, 0))
            DispatchMessage(&message);
        return message.wParam;
    }
    // The ticks within the next milliseconds, of which the program looks at each `step` only.
    std::size_t Ticks(int milliseconds, int step = 1) {
        g_ticks.clear();
        for (int i = 0; i < milliseconds; i += step) {
            clock.now += static_cast<std::uint32_t>(step);
            RunUntilIdle();
        }
        return g_ticks.size();
    }

    HWND window = CreateProbe("w", nullptr, {0, 0, 100, 100}, WS_POPUP | WS_VISIBLE, kGreen);
};

TEST_F(MessageTest, PostedThenKeysThenPaintThenTimers) {
    SetTimer(window, 1, 10, nullptr);
    MoveWindow(window, 100, 100, 100, 100, TRUE);
    g_handlers[window] =
        On(WM_TIMER, [this](HWND) { EXPECT_EQ(At(150, 150), kGreenPixel) << "shown before a timer takes its time"; });
    keys.Put(VK_F1, Kind::Press);
    clock.now += 10;
    PostMessage(window, WM_USER, 0, 0);
    MSG message{};
    EXPECT_TRUE(PeekMessage(&message, window, WM_TIMER, WM_TIMER, PM_NOREMOVE)) << "out of turn, and left";
    EXPECT_THAT(Received(), ElementsAre("w:user", "w:keydown", "w:erase", "w:paint", "w:timer"));
}

TEST_F(MessageTest, PostingFromAnotherThreadEndsTheWait) {
    constexpr int kCount = 400;
    int received = 0;
    g_handlers[window] = On(WM_USER, [&](HWND) {
        if (++received == kCount) PostQuitMessage(0);
    });
    clock.steps = {[this] {
        std::thread([this] {
            for (int i = 0; i < kCount; ++i)
                EXPECT_TRUE(PostMessage(window, WM_USER, 0, 0));
        }).join();
        clock.steps = {[] { ADD_FAILURE() << "waited on"; }};
        clock.Wait(-1);
    }};
    RunLoop();
    EXPECT_EQ(received, kCount);
}

TEST_F(MessageTest, QuitEndsTheLoopOnceAfterWhatWasPosted) {
    PostQuitMessage(7);
    PostMessage(window, WM_USER, 0, 0);
    EXPECT_EQ(RunLoop(), 7U);
    EXPECT_THAT(TakeLog(), ElementsAre("w:user"));
    PostMessage(window, WM_QUIT, 0, 0);
    clock.steps = {[] { PostQuitMessage(1); }};
    EXPECT_EQ(RunLoop(), 1U) << "the posted one ended the loop, or the first one lasted";
    EXPECT_THAT(TakeLog(), IsEmpty());
}

// ---- Keys ----

TEST_F(MessageTest, OnlyArrowsRepeat) {
    for (const auto& [key, presses] : {std::pair{VK_LEFT, 3}, {VK_DOWN, 3}, {VK_RETURN, 1}, {VK_F1, 1}, {'A', 1}}) {
        for (const Kind kind : {Kind::Press, Kind::Repeat, Kind::Repeat, Kind::Release})
            keys.Put(key, kind);
        Log expected(static_cast<std::size_t>(presses), "w:keydown");
        expected.emplace_back("w:keyup");
        EXPECT_EQ(Received(), expected) << key;
    }
    for (const int key : {-1, 0, 256, 100000})
        keys.Type(key);
    keys.Put(VK_LEFT, Kind::Repeat);
    keys.Put(VK_F1, Kind::Release);
    EXPECT_THAT(Received(), IsEmpty()) << "no key, or none that was pressed";
}

TEST_F(MessageTest, AtMostSixteenKeysWaitAndDroppedOnesDoNot) {
    const auto received = [this](int typed) {
        for (int i = 0; i < typed; ++i)
            keys.Type(VK_F1);
        const Log log = Received();
        const auto presses = std::count(log.begin(), log.end(), "w:keydown");
        EXPECT_EQ(std::count(log.begin(), log.end(), "w:keyup"), presses) << "a release without its press";
        return presses;
    };
    EXPECT_EQ(received(20), 16);
    MwLetKeysWait(TRUE);
    EXPECT_EQ(received(20), 0);
    MwDropKeys();
    EXPECT_EQ(received(10), 0);
    MwLetKeysWait(FALSE);
    EXPECT_EQ(received(0), 10);
    keys.Type(VK_F1);
    MwDropKeys();
    EXPECT_EQ(received(0), 0) << "not yet taken, and dropped all the same";
    EXPECT_EQ(received(20), 16);
}

TEST_F(MessageTest, KeysGoToTheFocus) {
    HWND child = CreateProbe("c", window, {0, 0, 9, 9});
    TakeLog();
    EXPECT_EQ(SetFocus(child), window);
    EXPECT_THAT(TakeLog(), ElementsAre("w:killfocus", "c:setfocus"));
    keys.Put(VK_F1, Kind::Press);
    EXPECT_THAT(Received(), testing::Contains("c:keydown"));
    ShowWindow(child, SW_HIDE);
    EXPECT_EQ(GetFocus(), window) << "a hidden window keeps no focus";
    SetFocus(nullptr);
    EXPECT_EQ(GetFocus(), nullptr);
    HWND other = CreateProbe("o", nullptr, {50, 50, 150, 150}, WS_POPUP | WS_VISIBLE, kRed);
    for (HWND chosen : {other, window, other, window}) {
        EXPECT_TRUE(chosen == other ? SetForegroundWindow(chosen) != FALSE : SetActiveWindow(chosen) != nullptr);
        EXPECT_TRUE(GetFocus() == chosen && GetForegroundWindow() == chosen);
        RunUntilIdle();
        EXPECT_EQ(At(75, 75), chosen == other ? kRedPixel : kGreenPixel) << "on top";
    }
    EnableWindow(window, FALSE);
    EnableWindow(other, FALSE);
    keys.Put(VK_F2, Kind::Press);
    TakeLog();
    EXPECT_THAT(Received(), IsEmpty()) << "nobody may have the key";
}

// ---- Timers ----

TEST_F(MessageTest, TimersKeepTheirBeat) {
    SetTimer(window, 5, 40, CountTick);
    // Late by 10 ms, and by so much that ticks are left out.
    for (const auto& [milliseconds, step, ticks] : Table<int, int, std::size_t>{
             {400, 1, 10}, {50, 50, 1}, {29, 1, 0}, {1, 1, 1}, {1000, 1000, 1}, {39, 1, 0}, {1, 1, 1}})
        EXPECT_EQ(Ticks(milliseconds, step), ticks) << milliseconds;
    clock.now = 0xFFFFFFF0U;  // before the wrap of the tick count
    SetTimer(window, 5, 40, CountTick);
    EXPECT_EQ(Ticks(39), 0U);
    EXPECT_EQ(Ticks(81), 3U);
}

TEST_F(MessageTest, SameIdReplacesAndKillEnds) {
    for (const UINT period : {200, 50})
        EXPECT_EQ(SetTimer(window, 0x10000005, period, CountTick), 0x10000005U);
    EXPECT_EQ(Ticks(200), 4U);
    EXPECT_TRUE(KillTimer(window, 0x10000005));
    EXPECT_FALSE(KillTimer(window, 0x10000005));
    EXPECT_EQ(Ticks(200), 0U);
    EXPECT_EQ(SetTimer(reinterpret_cast<HWND>(12345), 1, 10, CountTick), 0U);
    // Killed after its message was taken: not called.
    MSG message{};
    SetTimer(window, 1, 1, CountTick);
    ASSERT_TRUE(GetMessage(&message, window, WM_TIMER, WM_TIMER));
    KillTimer(window, 1);
    g_ticks.clear();
    DispatchMessage(&message);
    EXPECT_THAT(g_ticks, IsEmpty());
}

TEST_F(MessageTest, ATimerProcedureMayTakeLongAndKillAndSetTimers) {
    static FakeClock* slow_clock;
    slow_clock = &clock;
    g_ticks.clear();
    SetTimer(window, 1, 10, [](HWND w, UINT, UINT id, DWORD) {
        slow_clock->now += 25;
        g_ticks.push_back(id);
        for (UINT other = 100; other < 120; ++other)
            KillTimer(w, other) ? 0U : SetTimer(w, other, 100000, nullptr);
    });
    SetTimer(window, 2, 50, CountTick);
    MSG message{};
    for (int i = 0; i < 30 && GetMessage(&message, nullptr, 0, 0); ++i)
        DispatchMessage(&message);
    for (const UINT id : {1U, 2U})
        EXPECT_GT(std::count(g_ticks.begin(), g_ticks.end(), id), 5) << "none starves another";
    EXPECT_GE(clock.waits, 30) << "signals come in only while the loop waits";
}

}  // namespace
}  // namespace mwin_test
