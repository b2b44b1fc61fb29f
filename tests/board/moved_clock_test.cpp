// The clock that tests move.
#include "tests/support/moved_clock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

TEST(MovedClockTest, SleepersWakeInOrderAtTheirExactTimes) {
    support::MovedClock clock;
    const auto start = clock.Monotonic();
    EXPECT_GT(start.count(), 0);
    std::vector<std::pair<int, long>> wakes;  // who, and when
    std::mutex lock;
    const auto sleeper = [&](int name, int period, int times) {
        for (int i = 0; i < times; ++i) {
            clock.Sleep(milliseconds(period));
            const std::lock_guard<std::mutex> guard(lock);
            wakes.emplace_back(name, (clock.Monotonic() - start) / milliseconds(1));
        }
    };
    std::thread a(sleeper, 1, 30, 3);
    std::thread b(sleeper, 2, 70, 1);
    clock.Advance(milliseconds(100));
    a.join();
    b.join();
    EXPECT_EQ(wakes, (std::vector<std::pair<int, long>>{{1, 30}, {1, 60}, {2, 70}, {1, 90}}));
    EXPECT_EQ((clock.Monotonic() - start) / milliseconds(1), 100);
}

TEST(MovedClockTest, ThreadsInJoinsLocksOrLoopsDoNotStopIt) {
    support::MovedClock clock;
    std::atomic<bool> stop{false};
    std::atomic<bool> joined{false};
    std::thread worker([&] { clock.Sleep(milliseconds(500)); });
    std::thread joiner([&] {
        worker.join();
        joined = true;
    });
    std::thread spinner([&] {
        while (!stop) {
        }
    });
    EXPECT_TRUE(clock.RunUntil([&] { return joined.load(); }, milliseconds(600)));
    EXPECT_FALSE(clock.RunUntil([] { return false; }, milliseconds(10)));
    stop = true;
    joiner.join();
    spinner.join();
}

TEST(MovedClockTest, UiThreadWaitsForTimeKeysAndWakes) {
    support::MovedClock clock;
    std::atomic<bool> key{false};
    support::MovedUiClock ui(clock, [&] { return key.load(); });
    const std::uint32_t start = ui.TickCount();
    std::atomic<int> returned{0};
    std::thread thread([&] {
        for (const int timeout : {50, -1, -1}) {
            ui.Wait(timeout);
            ++returned;
        }
    });
    clock.Advance(milliseconds(49));
    EXPECT_EQ(returned, 0);
    clock.Advance(milliseconds(1));
    EXPECT_EQ(returned, 1);
    clock.Advance(milliseconds(100000));
    EXPECT_EQ(returned, 1);
    ui.Wake();
    clock.Settle();
    EXPECT_EQ(returned, 2);
    key = true;
    clock.Notify();
    thread.join();
    EXPECT_EQ(ui.TickCount() - start, 100050U);
}

}  // namespace
