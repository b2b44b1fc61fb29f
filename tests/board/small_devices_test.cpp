// Which device knows which call; watchdog, clocks, USB, power and lights of the virtual board.
#include <linux/rtc.h>
#include <linux/watchdog.h>

#include "tests/board/board_test.h"

namespace {

class DevicesTest : public board_test::BoardTest {};

TEST_F(DevicesTest, EachTakesItsOwnCallsOnly) {
    const std::array nodes = {
        board::kCameraNode, board::kCameraMetadataNode, board::kPixelPipelineNode, "/dev/watchdog", "/dev/rtc0",
        "/dev/fsl_otg"};
    // How the nodes answer to an argument of zeros, which is no type of buffer, no control and no date: done (+),
    // EINVAL (0), ENOTTY (-).
    const std::pair<unsigned long, const char*> calls[] = {
        {VIDIOC_QUERYCAP, "+++---"},     {VIDIOC_G_FMT, "000---"},     {VIDIOC_TRY_FMT, "0-----"},
        {VIDIOC_S_FMT, "000---"},        {VIDIOC_G_PARM, "0-----"},    {VIDIOC_S_PARM, "0-----"},
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
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const int fd = Open(nodes[i], O_RDWR | O_NONBLOCK);
        for (const auto& [request, answers] : calls) {
            argument = {};
            const int error = answers[i] == '+' ? 0 : answers[i] == '0' ? EINVAL : ENOTTY;
            EXPECT_EQ(Call(fd, request, argument.data()), error) << nodes[i] << " " << request;
            if (error == ENOTTY) ++violations;
            EXPECT_EQ(answers[i] == '0' ? Call(fd, request, nullptr) : EFAULT, EFAULT) << request;
        }
        EXPECT_EQ(Write(fd, 1), EINVAL);
        EXPECT_EQ(kernel.Close(fd), 0);
        EXPECT_EQ(Call(fd, VIDIOC_QUERYCAP, argument.data()), EBADF);
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
    const std::tuple<const char*, std::function<int()>, int> steps[] = {
        {"set", [&] { return call(WDIOC_SETTIMEOUT, 30); }, 30},
        {"alive", [&] { return call(WDIOC_KEEPALIVE, 0); }, 30},
        {"off", [&] { return call(WDIOC_SETOPTIONS, WDIOS_DISABLECARD); }, 1000},
        {"off stays off", [&] { return call(WDIOC_KEEPALIVE, 0); }, 1000},
        {"on", [&] { return call(WDIOC_SETOPTIONS, WDIOS_ENABLECARD); }, 30},
        {"closed and opened", [&] { return kernel.Close(fd) || (fd = Open("/dev/watchdog", O_RDWR)) < 0; }, 19},
        {"closed, which leaves it running", [&] { return call(WDIOC_KEEPALIVE, 0) + kernel.Close(fd); }, 19}};
    for (const auto& [what, action, seconds] : steps) {
        EXPECT_EQ(action(), 0) << what;
        for (const bool starved : {false, true}) {
            Advance(starved ? 1 : seconds * 1000);
            EXPECT_EQ(board::WatchdogStarved(board.Block(), board.Clock().Monotonic()), starved && seconds < 1000)
                << what;
        }
    }
}

TEST_F(DevicesTest, ClocksAreSetApart) {
    const int fd = Open("/dev/rtc0", O_RDWR);
    rtc_time fields{};
    EXPECT_EQ(Call(fd, RTC_RD_TIME, &fields), 0);
    EXPECT_EQ(std::tuple(fields.tm_year, fields.tm_hour), std::tuple(124, 12));
    fields = {59, 59, 23, 31, 11, 125, 0, 0, 0};
    EXPECT_EQ(Call(fd, RTC_SET_TIME, &fields), 0);
    fields.tm_mon = 12;
    EXPECT_EQ(Call(fd, RTC_SET_TIME, &fields), EINVAL);
    Advance(1000);
    EXPECT_EQ(Call(fd, RTC_RD_TIME, &fields), 0);
    EXPECT_EQ(std::tuple(fields.tm_year, fields.tm_yday, fields.tm_sec), std::tuple(126, 0, 0));

    EXPECT_EQ(kernel.RealTime().tv_sec, 1715947201);
    EXPECT_EQ(kernel.SetRealTime({1325376000, 500}), 0);
    EXPECT_EQ(kernel.SetRealTime({-1, 0}), -1);
    Advance(2000);
    EXPECT_EQ(kernel.RealTime().tv_sec, 1325376002);
    EXPECT_EQ(kernel.RealTime().tv_nsec, 500);
    // At a power-up the RTC, which keeps local time, sets the clock.
    board::Boot(board.Block());
    const time_t now = kernel.RealTime().tv_sec;
    tm local{};
    EXPECT_EQ(localtime_r(&now, &local)->tm_year, 126);
    EXPECT_EQ(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec, 2);
}

TEST_F(DevicesTest, FilesAndCallsFollowTheBoardAndTheBoardFollowsTheFiles) {
    const int otg = Open("/dev/fsl_otg", O_RDWR);
    for (const bool connected : {false, true}) {
        board.Set(&board::Block::usb_host, connected);
        int state = -1;
        EXPECT_EQ(kernel.Ioctl(otg, board::kReadOtgState, &state), connected ? 0 : 1);
        EXPECT_EQ(state, connected ? 0 : 1);
    }
    board.Set(&board::Block::battery_millivolts, 1309);
    board.Set(&board::Block::charger, true);
    EXPECT_EQ(board.Read("/sys/class/power_supply/battery/voltage_now"), "1309000\n");
    EXPECT_EQ(board.Read("/sys/class/power_supply/usb/online"), "1\n");
    board.Write("/sys/class/leds/Green_LED/brightness", "300");
    EXPECT_EQ(board.Get(&board::Block::green_led), 255);
    // A TV cable shows on the lines that are inputs.
    EXPECT_EQ(Run("echo 117 > /sys/class/gpio/export") + Run("echo 122 > /sys/class/gpio/export"), 0);
    EXPECT_EQ(Run("echo out > /sys/class/gpio/gpio122/direction"), 0);
    board.Set(&board::Block::tv_cable, true);
    EXPECT_EQ(board.Read("/sys/class/gpio/gpio117/value") + board.Read("/sys/class/gpio/gpio122/value"), "1\n0\n");
    // The request goes to the program, its four zeros and a NUL come back and switch off.
    board.Set(&board::Block::power_off_requested, true);
    EXPECT_EQ(board.Read("/sys/power/poweroff_state"), "1\n");
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
    board.Write("/sys/power/poweroff_state", std::string("0000\0", 5));
    EXPECT_TRUE(board.Get(&board::Block::powered_off));
    EXPECT_EQ(board.Read("/sys/power/poweroff_state"), "0\n");
}

TEST_F(DevicesTest, APowerUpRestsTheDevicesAndKeepsTheSettings) {
    board::Block& block = board.Block();
    board.Write("/etc/lcdparams", "lcd_panel=lq035\n");
    board.Write("/media/nand/a", "x");
    block.camera.streaming = block.pxp.streaming = block.watchdog.armed = block.powered_off = true;
    block.pxp.output = block.video_sequence = block.lamp = block.green_led = block.keys.head = block.ui[9] = 1;
    block.nand.mounted = false;
    block.battery_millivolts = 1500;
    board.Folder().Sync();
    board::Boot(block);
    EXPECT_FALSE(block.camera.streaming || block.pxp.streaming || block.watchdog.armed || block.powered_off);
    EXPECT_EQ(block.pxp.output + block.video_sequence + block.lamp + block.green_led + block.keys.head + block.ui[9],
              0);
    EXPECT_TRUE(block.nand.mounted);
    EXPECT_EQ(block.battery_millivolts, 1500);
    EXPECT_STREQ(block.display, "lcd_panel=lq035");
    EXPECT_EQ(board.Files(board::Medium::Nand).size(), 1U);
}

TEST_F(DevicesTest, PathsStayInsideTheBoard) {
    const std::string root = board.Folder().Directory().string();
    const std::pair<const char*, std::string> paths[] = {{"img/sd.png", "img/sd.png"},
                                                         {"/home/x", "/home/x"},
                                                         {"/system", "/system"},
                                                         {"/sys", root + "/device/sys"},
                                                         {"/media/sd-mmcblk0p1/DCIM/", root + "/card/DCIM"},
                                                         {"/media/nand/../../etc/passwd", root + "/device/etc/passwd"}};
    for (const auto& [path, real] : paths)
        EXPECT_EQ(kernel.Path(path), real);
}

}  // namespace
