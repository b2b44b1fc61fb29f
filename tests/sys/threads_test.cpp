#include <gmock/gmock.h>

#include <csignal>
#include <functional>
#include <memory>
#include <thread>

#include "sys/sleep.h"
#include "sys/worker_thread.h"
#include "tests/support/fake_kernel.h"

namespace {

using std::chrono::milliseconds;

// For the calling thread, both signals that end the program.
bool Blocked() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGINT), sigismember(&mask, SIGTERM));
    return sigismember(&mask, SIGTERM) == 1;
}

// The task must live until the worker has run it.
bool Start(Varno::WorkerThread& worker, std::function<void()>& task) {
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    return worker.Start(run, &task);
}

TEST(WorkerThread, RunsWithSignalsBlockedAndIsJoined) {
    support::FakeKernel kernel;
    Varno::WorkerThread worker;
    EXPECT_FALSE(worker.Join()) << "none was started";
    for (int round = 0; round < 2; ++round) {
        std::vector<bool> blocked;
        kernel.on_sleep = [&] { blocked.push_back(Blocked()); };
        std::function<void()> task = [&] {
            blocked.push_back(Blocked());
            Varno::SleepSignalsOpen(milliseconds(5));
            blocked.push_back(Blocked());
            EXPECT_FALSE(worker.Join()) << "itself";
        };
        ASSERT_TRUE(Start(worker, task));
        EXPECT_TRUE(worker.Joinable());
        EXPECT_FALSE(Start(worker, task));
        EXPECT_EQ(errno, EBUSY);
        EXPECT_TRUE(worker.Join());
        EXPECT_FALSE(worker.Joinable());
        EXPECT_THAT(blocked, testing::ElementsAre(true, false, true)) << "open only during that sleep";
    }
    EXPECT_FALSE(Blocked()) << "the starting thread keeps its mask";
}

TEST(WorkerThread, DestroyedByItselfItRunsOut) {
    auto worker = std::make_unique<Varno::WorkerThread>();
    std::atomic<bool> go{false};
    std::atomic<bool> destroyed{false};
    std::function<void()> task = [&] {
        while (!go)
            std::this_thread::yield();
        worker.reset();
        destroyed = true;
    };
    ASSERT_TRUE(Start(*worker, task));
    go = true;
    while (!destroyed)
        std::this_thread::yield();
}

TEST(Sleep, EndsEarlyOnTheStopRequest) {
    support::FakeKernel kernel;
    std::atomic<bool> stop{false};
    std::size_t slices = 0;
    std::size_t stop_at = 0;
    kernel.on_sleep = [&] { stop = ++slices == stop_at; };
    const auto slept = [&, start = kernel.Monotonic()] { return kernel.Monotonic() - start; };
    EXPECT_TRUE(Varno::SleepUnless(stop, milliseconds(50)));
    EXPECT_EQ(slept(), milliseconds(50));
    EXPECT_EQ(slices, 3U) << "of at most 20 ms";
    EXPECT_TRUE(Varno::SleepUnless(stop, milliseconds(0)));
    EXPECT_EQ(slices, 3U);
    stop_at = 5;
    EXPECT_FALSE(Varno::SleepUnless(stop, std::chrono::hours(1)));
    EXPECT_FALSE(Varno::SleepUnless(stop, milliseconds(0))) << "stopped before it began";
    EXPECT_EQ(slept(), milliseconds(90));
}

}  // namespace
