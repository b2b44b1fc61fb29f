#include "sys/kernel_linux.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>

namespace {

using std::chrono::milliseconds;

class KernelLinux : public testing::Test {
  protected:
    Varno::LinuxKernel kernel;
};

TEST_F(KernelLinux, SystemAnswersAsTheShellDid) {
    const std::pair<const char*, int> cases[] = {
        {"true", 0}, {"exit 3", 3 << 8}, {"/no/such/tool 2>/dev/null", 127 << 8}, {"kill -KILL $$", SIGKILL}};
    for (const auto& [command, status] : cases)
        EXPECT_EQ(kernel.System(command), status) << command;
    // A signal that comes meanwhile interrupts nothing.
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &interrupting, &before);
    EXPECT_EQ(kernel.System("kill -USR1 $PPID; kill -USR1 $PPID; exit 7"), 7 << 8);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(KernelLinux, WaitsForReadableDescriptors) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(kernel.WaitReadable(ends[0], milliseconds(0)), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(kernel.WaitReadable(ends[0], milliseconds(1000)), 1);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(kernel.WaitReadable(ends[0], milliseconds(1000)), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(KernelLinux, FilesAndTime) {
    EXPECT_EQ(kernel.Open("/no/such/device", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    const int fd = kernel.Open("/dev/null", O_RDWR);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
    char text[] = "abc";
    const struct iovec parts[] = {{text, 3}, {text, 2}};
    EXPECT_EQ(kernel.Write(fd, parts, 2), 5);
    EXPECT_EQ(kernel.Close(fd), 0);
    const auto before = kernel.Monotonic();
    kernel.Sleep(milliseconds(2));
    EXPECT_GE(kernel.Monotonic() - before, milliseconds(2));
    EXPECT_GT(kernel.RealTime().tv_sec, 1325376000);
    EXPECT_EQ(kernel.Path("/sys/power/poweroff_state"), "/sys/power/poweroff_state");
}

}  // namespace
