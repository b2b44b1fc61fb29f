#include <thread>

#include "tests/mwin/probe_window.h"

namespace mwin_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<UINT> g_ticks;  // ids of the timers whose procedure was called
void CALLBACK CountTick(HWND, UINT, UINT id, DWORD) {
    g_ticks.push_back(id);
}

class MessageTest : public WindowSystemTest {
  protected:
    MessageTest() {
        g_ticks.clear();
        Received();
    }
    // Runs the main loop to its end; the result is the exit code.
    static WPARAM RunLoop() {
        MSG message{};
        while (GetMessage(&message, nullptr, 0, 0))
            DispatchMessage(&message);
        return message.wParam;
    }
    // The ticks within the next milliseconds, looked for at each one.
    std::size_t TicksWithin(int milliseconds) {
        g_ticks.clear();
        for (int i = 0; i < milliseconds; ++i) {
            ++clock.now;
            RunUntilIdle();
        }
        return g_ticks.size();
    }
    // The ticks when the program looks again only after so long.
    std::size_t TicksAfter(std::uint32_t milliseconds) {
        clock.now += milliseconds - 1;
        return TicksWithin(1);
    }
    std::ptrdiff_t KeysReceived() {
        const Log log = Received();
        const auto presses = std::count(log.begin(), log.end(), "w:keydown");
        EXPECT_EQ(std::count(log.begin(), log.end(), "w:keyup"), presses) << "a release without its press";
        return presses;
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
    EXPECT_THAT(Received(), ElementsAre("w:user", "w:keydown", "w:erase", "w:paint", "w:timer"));
}

TEST_F(MessageTest, PostingFromOtherThreadsEndsTheWait) {
    constexpr int kEach = 200;
    int received = 0;
    g_handlers[window] = On(WM_USER, [&](HWND) {
        if (++received == 2 * kEach) PostQuitMessage(0);
    });
    const auto post_from_a_thread = [this] {
        std::thread([this] {
            for (int i = 0; i < kEach; ++i)
                EXPECT_TRUE(PostMessage(window, WM_USER, 0, 0));
        }).join();
    };
    clock.steps = {post_from_a_thread, post_from_a_thread};
    RunLoop();
    EXPECT_EQ(received, 2 * kEach);
    clock.steps = {[] { ADD_FAILURE() << "waited on"; }};
    PostMessage(window, WM_USER, 0, 0);
    clock.Wait(-1);
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

TEST_F(MessageTest, PeekingLeavesTheMessageAndFilters) {
    PostMessage(window, WM_USER, 1, 0);
    PostMessage(window, WM_USER + 1, 2, 0);
    MSG message{};
    EXPECT_TRUE(PeekMessage(&message, window, WM_USER + 1, WM_USER + 1, PM_NOREMOVE));
    EXPECT_EQ(message.wParam, 2U);
    HWND other = CreateProbe("o", nullptr, {200, 200, 210, 210}, WS_POPUP | WS_VISIBLE);
    InvalidateRect(window, nullptr, FALSE);
    EXPECT_TRUE(PeekMessage(&message, other, 0, 0, PM_NOREMOVE));
    EXPECT_EQ(message.hwnd, other);
    DestroyWindow(other);
    ValidateRect(window, nullptr);
    ValidateRect(GetDesktopWindow(), nullptr);
    for (const WPARAM expected : {1U, 2U}) {
        EXPECT_TRUE(PeekMessage(&message, nullptr, 0, 0, PM_REMOVE));
        EXPECT_EQ(message.wParam, expected);
    }
    EXPECT_FALSE(PeekMessage(&message, nullptr, 0, 0, PM_REMOVE));
}

// ---- Keys ----

TEST_F(MessageTest, OnlyArrowsRepeat) {
    for (const int key : {VK_LEFT, VK_UP, VK_DOWN, VK_RIGHT, VK_RETURN, VK_F1, VK_F4}) {
        for (const Kind kind : {Kind::Press, Kind::Repeat, Kind::Repeat, Kind::Release})
            keys.Put(key, kind);
        Log expected(key >= VK_LEFT && key <= VK_DOWN ? 3 : 1, "w:keydown");
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
    const auto type = [this](int times) {
        for (int i = 0; i < times; ++i)
            keys.Type(VK_F1);
    };
    type(20);
    EXPECT_EQ(KeysReceived(), 16);
    MwLetKeysWait(TRUE);
    type(20);
    EXPECT_EQ(KeysReceived(), 0);
    MwDropKeys();
    type(10);
    MwLetKeysWait(FALSE);
    EXPECT_EQ(KeysReceived(), 10);
    type(3);
    MwDropKeys();
    EXPECT_EQ(KeysReceived(), 0) << "not yet taken, and dropped all the same";
    type(20);
    EXPECT_EQ(KeysReceived(), 16);
}

TEST_F(MessageTest, TranslationMakesCharacters) {
    std::string characters;
    g_handlers[window] = [&](HWND, UINT message, WPARAM character, LPARAM) -> LRESULT {
        if (message == WM_CHAR) characters += static_cast<char>(character);
        return 0;
    };
    for (const int key : std::vector<int>{'A', '7', VK_SPACE, VK_RETURN, VK_LEFT, VK_F1})
        keys.Type(key);
    MSG message{};
    while (PeekMessage(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessage(&message);
    }
    EXPECT_EQ(characters, "a7 \r");
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
    RunUntilIdle();
    HWND other = CreateProbe("o", nullptr, {50, 50, 150, 150}, WS_POPUP | WS_VISIBLE, kRed);
    EXPECT_EQ(GetForegroundWindow(), other);
    for (HWND chosen : {window, other, window}) {
        chosen == other ? SetForegroundWindow(chosen) != FALSE : SetActiveWindow(chosen) != nullptr;
        EXPECT_EQ(GetFocus(), chosen);
        RunUntilIdle();
        EXPECT_EQ(At(75, 75), chosen == other ? kRedPixel : kGreenPixel) << "on top";
    }
    DestroyWindow(other);
    RunUntilIdle();
    EnableWindow(window, FALSE);
    TakeLog();
    keys.Put(VK_F2, Kind::Press);
    EXPECT_THAT(Received(), IsEmpty()) << "nobody may have the key";
}

// ---- Timers ----

TEST_F(MessageTest, TimersKeepTheirBeat) {
    SetTimer(window, 5, 40, CountTick);
    EXPECT_EQ(TicksWithin(400), 10U);
    EXPECT_EQ(TicksAfter(50), 1U) << "late by 10";
    EXPECT_EQ(TicksWithin(29), 0U);
    EXPECT_EQ(TicksWithin(1), 1U);
    EXPECT_EQ(TicksAfter(1000), 1U) << "missed ticks are left out";
    EXPECT_EQ(TicksWithin(39), 0U);
    EXPECT_EQ(TicksWithin(1), 1U);
    clock.now = 0xFFFFFFF0U;  // before the wrap of the tick count
    SetTimer(window, 5, 40, CountTick);
    EXPECT_EQ(TicksWithin(39), 0U);
    EXPECT_EQ(TicksWithin(81), 3U);
}

TEST_F(MessageTest, SameIdReplacesAndKillEnds) {
    EXPECT_EQ(SetTimer(window, 0x10000005, 200, CountTick), 0x10000005U);
    EXPECT_EQ(SetTimer(window, 0x10000005, 50, CountTick), 0x10000005U);
    EXPECT_EQ(TicksWithin(200), 4U);
    EXPECT_TRUE(KillTimer(window, 0x10000005));
    EXPECT_FALSE(KillTimer(window, 0x10000005));
    EXPECT_EQ(TicksWithin(200), 0U);
    EXPECT_NE(SetTimer(nullptr, 0, 10, CountTick), 0U);
    EXPECT_EQ(TicksWithin(10), 1U);
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

TEST_F(MessageTest, NoTimerStarvesAnother) {
    // A procedure that takes longer than its period.
    static FakeClock* slow_clock;
    slow_clock = &clock;
    SetTimer(window, 1, 10, [](HWND, UINT, UINT id, DWORD) {
        slow_clock->now += 25;
        g_ticks.push_back(id);
    });
    SetTimer(window, 2, 50, CountTick);
    MSG message{};
    for (int i = 0; i < 30 && GetMessage(&message, nullptr, 0, 0); ++i)
        DispatchMessage(&message);
    EXPECT_GT(std::count(g_ticks.begin(), g_ticks.end(), 1U), 5);
    EXPECT_GT(std::count(g_ticks.begin(), g_ticks.end(), 2U), 5);
    EXPECT_GE(clock.waits, 30) << "signals come in only while the loop waits";
}

TEST_F(MessageTest, ATimerProcedureMayKillAndSetTimers) {
    SetTimer(window, 1, 10, [](HWND w, UINT, UINT id, DWORD) {
        KillTimer(w, id);
        g_ticks.push_back(id);
        for (UINT other = 100; other < 120; ++other)
            SetTimer(w, other, 100000, nullptr);
        SetTimer(w, id + 1, 10, CountTick);
    });
    TicksWithin(25);
    EXPECT_THAT(g_ticks, ElementsAre(1U, 2U));
}

}  // namespace
}  // namespace mwin_test
