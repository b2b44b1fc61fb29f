// Which device knows which call; watchdog, clocks, USB, power and lights of the virtual board.
#include <linux/rtc.h>
#include <linux/watchdog.h>

#include "tests/board/board_test.h"

namespace board_test {

class DevicesTest : public BoardTest {};

TEST_F(DevicesTest, EachTakesItsOwnCallsOnly) {
    const char* const nodes[] = {"/dev/video0",   "/dev/video1", "/dev/video16",
                                 "/dev/watchdog", "/dev/rtc0",   "/dev/fsl_otg"};
    // How the nodes answer to an argument of zeros, which is no type of buffer, no control and no date: done (+),
    // EINVAL (0), ENOTTY (-).
    const std::pair<unsigned long, const char*> calls[] = {
        {VIDIOC_QUERYCAP, "+++---"},     {VIDIOC_G_FMT, "000---"},     {VIDIOC_TRY_FMT, "------"},
        {VIDIOC_S_FMT, "000---"},        {VIDIOC_G_PARM, "------"},    {VIDIOC_S_PARM, "0-----"},
        {VIDIOC_G_FBUF, "--+---"},       {VIDIOC_S_FBUF, "--+---"},    {VIDIOC_G_CROP, "--0---"},
        {VIDIOC_S_CROP, "--0---"},       {VIDIOC_G_OUTPUT, "--+---"},  {VIDIOC_S_OUTPUT, "--+---"},
        {VIDIOC_ENUMOUTPUT, "--+---"},   {VIDIOC_REQBUFS, "000---"},   {VIDIOC_QUERYBUF, "0-0---"},
        {VIDIOC_QBUF, "0-0---"},         {VIDIOC_DQBUF, "0-0---"},     {VIDIOC_STREAMON, "0-0---"},
        {VIDIOC_STREAMOFF, "0-0---"},    {VIDIOC_QUERYCTRL, "0-0---"}, {VIDIOC_G_CTRL, "0-0---"},
        {VIDIOC_S_CTRL, "0-0---"},       {WDIOC_KEEPALIVE, "---+--"},  {WDIOC_SETTIMEOUT, "---0--"},
        {WDIOC_SETOPTIONS, "---0--"},    {RTC_RD_TIME, "----+-"},      {RTC_SET_TIME, "----0-"},
        {board::kReadOtgState, "-----+"}};
    std::array<unsigned char, 512> argument{};
    std::uint32_t violations = 0;
    for (std::size_t i = 0; i < std::size(nodes); ++i) {
        const int fd = Open(nodes[i], O_RDWR | O_NONBLOCK);
        for (const auto& [request, answers] : calls) {
            argument = {};
            const int error = answers[i] == '+' ? 0 : answers[i] == '0' ? EINVAL : ENOTTY;
            EXPECT_EQ(Call(fd, request, argument.data()), error) << nodes[i] << " " << request;
            if (error == ENOTTY) ++violations;
            EXPECT_EQ(answers[i] == '0' ? Call(fd, request, nullptr) : EFAULT, EFAULT) << request;
        }
        EXPECT_EQ((Errors{Write(fd, 1), kernel.Close(fd), Call(fd, VIDIOC_QUERYCAP, argument.data())}),
                  (Errors{EINVAL, 0, EBADF}));
    }
    EXPECT_EQ(board.Get(&board::Block::violations), violations);
    EXPECT_EQ(kernel.Unmap(argument.data(), 4096) + kernel.Close(9999), -2);
    EXPECT_EQ(board.Get(&board::Block::violations), violations + 2);
    EXPECT_EQ(kernel.OpenCount(), 0);
}

TEST_F(DevicesTest, WatchdogStarvesUnlessKeptAliveOrDisabled) {
    int fd = Open("/dev/watchdog", O_RDWR);
    EXPECT_TRUE(Open("/dev/watchdog", O_RDWR) == -1 && errno == EBUSY);
    const auto call = [&](unsigned long request, int argument) { return Call(fd, request, &argument); };
    // One after the other, and how many seconds it lasts from then on.
    const std::pair<std::function<int()>, int> steps[] = {
        {[&] { return call(WDIOC_SETTIMEOUT, 30); }, 30},
        {[&] { return call(WDIOC_SETOPTIONS, WDIOS_DISABLECARD) + call(WDIOC_KEEPALIVE, 0); }, 1000},
        {[&] { return call(WDIOC_SETOPTIONS, WDIOS_ENABLECARD); }, 30},
        {[&] { return call(WDIOC_KEEPALIVE, 0) + kernel.Close(fd); }, 30},
        {[&] { return (fd = Open("/dev/watchdog", O_RDWR)) < 0 ? errno : 0; }, 19}};
    for (const auto& [action, seconds] : steps) {
        EXPECT_EQ(action(), 0);
        for (const bool late : {false, true}) {
            Advance(late ? 1 : seconds * 1000);
            const bool starved = board::WatchdogStarved(board.Block(), board.Clock().Monotonic());
            EXPECT_EQ(starved, late && seconds < 1000) << "step " << &action - &steps[0].first;
        }
    }
}

TEST_F(DevicesTest, ClocksAreSetApart) {
    const int fd = Open("/dev/rtc0", O_RDWR);
    rtc_time fields = {59, 59, 23, 31, 11, 125, 0, 0, 0};
    EXPECT_EQ(Call(fd, RTC_SET_TIME, &fields), 0);
    fields.tm_mon = 12;
    EXPECT_EQ(Call(fd, RTC_SET_TIME, &fields), EINVAL);
    EXPECT_EQ((Errors{kernel.SetRealTime({1325376000, 500}), kernel.SetRealTime({-1, 0})}), (Errors{0, -1}));
    Advance(1000);
    EXPECT_EQ(Call(fd, RTC_RD_TIME, &fields), 0);
    EXPECT_EQ(std::tuple(fields.tm_year, fields.tm_yday, fields.tm_sec), std::tuple(126, 0, 0));
    EXPECT_EQ(kernel.RealTime().tv_sec, 1325376001);
    EXPECT_EQ(kernel.RealTime().tv_nsec, 500);
    // At a power-up the RTC, which keeps local time, sets the clock.
    board::Boot(board.Block());
    tm local = {0, 0, 0, 1, 0, 126, 0, 0, -1, 0, nullptr};
    EXPECT_EQ(kernel.RealTime().tv_sec, mktime(&local));
}

TEST_F(DevicesTest, LinesAndSixteenKeysReachTheProgram) {
    const int otg = Open("/dev/fsl_otg", O_RDWR);
    EXPECT_EQ(Run("echo 117 > /sys/class/gpio/export"), 0);
    for (const char* one : {"0\n", "1\n"}) {
        const bool on = *one == '1';
        for (const auto line : {&board::Block::usb_host, &board::Block::tv_cable, &board::Block::charger})
            board.Set(line, on);
        EXPECT_EQ(kernel.Ioctl(otg, board::kReadOtgState, nullptr), on ? 0 : 1);
        EXPECT_EQ(board.Read("/sys/class/gpio/gpio117/value"), one);
        EXPECT_EQ(board.Read("/sys/class/power_supply/usb/online"), one);
    }
    for (int i = 0; i < 17; ++i)
        EXPECT_EQ(board::PushKey(board.Block(), i, 0), i < 16);
}

TEST_F(DevicesTest, APowerUpRestsTheDevicesAndKeepsTheSettings) {
    board::Block& block = board.Block();
    board.Write("/etc/lcdparams", "lcd_panel=lq035\n");
    board.Folder().Sync();
    block.camera.streaming = block.pxp.streaming = block.watchdog.armed = block.powered_off = true;
    block.pxp.output = block.video_sequence = block.lamp = block.green_led = block.keys.head = block.ui[9] = 1;
    block.nand.mounted = false;
    block.nand.handed_over = true;
    block.usb_units[1][0] = 'x';
    block.battery_millivolts = 1500;
    board::Boot(block);
    EXPECT_FALSE(block.camera.streaming || block.pxp.streaming || block.watchdog.armed || block.powered_off ||
                 block.pxp.output || block.video_sequence || block.lamp || block.green_led || block.keys.head ||
                 block.ui[9] || !block.nand.mounted || block.nand.handed_over || block.usb_units[1][0]);
    EXPECT_EQ(block.battery_millivolts, 1500);
    EXPECT_STREQ(block.display, "lcd_panel=lq035");
}

}  // namespace board_test
