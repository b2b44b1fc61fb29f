#include <gmock/gmock.h>
#include <linux/watchdog.h>

#include "app/mxs_watchdog.h"
#include "tests/support/fake_kernel.h"

namespace {

// One test, because the watchdog is made once in a process.
TEST(Watchdog, StartsKicksAndNeverTouchesAStrangersDescriptor) {
    support::FakeKernel kernel;
    std::vector<unsigned long> requests;
    std::map<unsigned long, int> set;  // by request
    int error = 0;
    kernel.on_ioctl = [&](const std::string& path, unsigned long request, void* argument) {
        EXPECT_EQ(path, "/dev/watchdog");
        requests.push_back(request);
        if (argument) set[request] = *static_cast<int*>(argument);
        errno = error;
        return error ? -1 : 0;
    };
    const auto taken = [&] { return std::exchange(requests, {}); };

    testing::internal::CaptureStdout();
    CMXSWatchdog& watchdog = CMXSWatchdog::GetInstance();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Initializing Watchdog\n");
    EXPECT_FALSE(watchdog.IsStarted()) << "no such device";
    watchdog.KeepLive();
    EXPECT_FALSE(watchdog.IsStarted());

    kernel.Put("/dev/watchdog", "");
    watchdog.KeepLive();
    EXPECT_TRUE(watchdog.IsStarted());
    EXPECT_EQ(set[WDIOC_SETTIMEOUT], 30);
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_SETTIMEOUT, WDIOC_KEEPALIVE));
    watchdog.KeepLive();
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_KEEPALIVE));

    // A refused time-out is reported, and the watchdog counts as started.
    error = EINVAL;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(watchdog.Start());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error(Invalid argument) WDIOC_SETTIMEOUT\n");
    EXPECT_EQ(set[WDIOC_SETOPTIONS], 1);
    // A refused kick opens the device again.
    const std::size_t opened = kernel.Opened().size();
    watchdog.KeepLive();
    EXPECT_EQ(kernel.Opened().size(), opened + 1);
    EXPECT_EQ(kernel.OpenFiles(), 1);
    error = 0;

    // After a stop the number may be a stranger's.
    watchdog.Stop();
    EXPECT_TRUE(watchdog.IsStarted()) << "the number stays";
    kernel.Put("/dev/stranger", "");
    const int stranger = kernel.Open("/dev/stranger", O_RDWR);
    taken();
    watchdog.Stop();
    EXPECT_THAT(taken(), testing::IsEmpty());
    watchdog.KeepLive();
    EXPECT_THAT(taken(), testing::ElementsAre(WDIOC_SETTIMEOUT));
    EXPECT_EQ(kernel.OpenFiles(), 2);
    EXPECT_EQ(kernel.Close(stranger), 0);
    watchdog.Stop();
    EXPECT_EQ(kernel.OpenFiles(), 0);
}

}  // namespace
