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

bool Blocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
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
    Varno::WorkerThread worker;
    EXPECT_FALSE(worker.Join()) << "none was started";
    for (int round = 0; round < 2; ++round) {
        bool blocked = false;
        std::function<void()> task = [&] {
            blocked = Blocked(SIGINT) && Blocked(SIGTERM);
            EXPECT_FALSE(worker.Join()) << "itself";
        };
        ASSERT_TRUE(Start(worker, task));
        EXPECT_TRUE(worker.Joinable());
        EXPECT_FALSE(Start(worker, task));
        EXPECT_EQ(errno, EBUSY);
        EXPECT_TRUE(worker.Join());
        EXPECT_FALSE(worker.Joinable());
        EXPECT_TRUE(blocked);
    }
    EXPECT_FALSE(Blocked(SIGTERM)) << "the starting thread keeps its mask";
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
    struct StoppingKernel : support::FakeKernel {
        void Sleep(std::chrono::nanoseconds duration) override {
            slices.push_back(duration);
            if (slices.size() == stop_at) stop = true;
        }
        std::vector<std::chrono::nanoseconds> slices;
        std::size_t stop_at = 0;
        std::atomic<bool> stop{false};
    } kernel;
    EXPECT_TRUE(Varno::SleepUnless(kernel.stop, milliseconds(50)));
    EXPECT_THAT(kernel.slices, testing::ElementsAre(milliseconds(20), milliseconds(20), milliseconds(10)));
    EXPECT_TRUE(Varno::SleepUnless(kernel.stop, milliseconds(0)));
    EXPECT_EQ(kernel.slices.size(), 3U);
    kernel.stop_at = 5;
    EXPECT_FALSE(Varno::SleepUnless(kernel.stop, std::chrono::hours(1)));
    EXPECT_FALSE(Varno::SleepUnless(kernel.stop, milliseconds(0))) << "stopped before it began";
    EXPECT_EQ(kernel.slices.size(), 5U);
}

TEST(Sleep, SignalsAreOpenOnlyMeanwhile) {
    static volatile std::sig_atomic_t caught;
    caught = 0;
    support::FakeKernel kernel;
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    pthread_sigmask(SIG_BLOCK, &ending, &before);
    const auto handler = std::signal(SIGTERM, [](int) { caught = 1; });
    raise(SIGTERM);
    EXPECT_EQ(caught, 0);
    Varno::SleepSignalsOpen(milliseconds(5));
    EXPECT_EQ(caught, 1);
    EXPECT_TRUE(Blocked(SIGTERM) && Blocked(SIGINT));
    std::signal(SIGTERM, handler);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
