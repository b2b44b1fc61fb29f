#include <gmock/gmock.h>

#include <csignal>
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

TEST(WorkerThread, RunsWithSignalsBlockedAndIsJoined) {
    struct Seen {
        bool interrupt = false;
        bool terminate = false;
    } seen;
    Varno::WorkerThread worker;
    EXPECT_FALSE(worker.Join()) << "none was started";
    for (int round = 0; round < 2; ++round) {
        seen = {};
        ASSERT_TRUE(worker.Start(
            [](void* argument) -> void* {
                auto* found = static_cast<Seen*>(argument);
                found->interrupt = Blocked(SIGINT);
                found->terminate = Blocked(SIGTERM);
                return nullptr;
            },
            &seen));
        EXPECT_TRUE(worker.Joinable());
        EXPECT_FALSE(worker.Start([](void*) -> void* { return nullptr; }, nullptr));
        EXPECT_EQ(errno, EBUSY);
        EXPECT_TRUE(worker.Join());
        EXPECT_FALSE(worker.Joinable());
        EXPECT_TRUE(seen.interrupt && seen.terminate);
    }
    EXPECT_FALSE(Blocked(SIGTERM)) << "the starting thread keeps its mask";
}

TEST(WorkerThread, JoiningItselfIsRefused) {
    struct Shared {
        Varno::WorkerThread worker;
        std::atomic<int> refused{0};
    } shared;
    ASSERT_TRUE(shared.worker.Start(
        [](void* argument) -> void* {
            auto* own = static_cast<Shared*>(argument);
            own->refused = own->worker.Join() ? -1 : 1;
            return nullptr;
        },
        &shared));
    EXPECT_TRUE(shared.worker.Join());
    EXPECT_EQ(shared.refused, 1);
}

TEST(WorkerThread, DestroyedByItselfItRunsOut) {
    struct Shared {
        std::unique_ptr<Varno::WorkerThread> worker = std::make_unique<Varno::WorkerThread>();
        std::atomic<bool> go{false};
        std::atomic<bool> destroyed{false};
    } shared;
    ASSERT_TRUE(shared.worker->Start(
        [](void* argument) -> void* {
            auto* own = static_cast<Shared*>(argument);
            while (!own->go)
                std::this_thread::yield();
            own->worker.reset();
            own->destroyed = true;
            return nullptr;
        },
        &shared));
    shared.go = true;
    while (!shared.destroyed)
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
