// Watchdog, clocks, USB, power and lights of the virtual board.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/rtc.h>
#include <linux/watchdog.h>

#include <cerrno>

#include "tests/support/virtual_board.h"

namespace {

using std::chrono::seconds;

class SmallDevicesTest : public testing::Test {
  protected:
    support::VirtualBoard board;
    Varno::Kernel& kernel = board.Kernel();
};

TEST_F(SmallDevicesTest, WatchdogStarvesUnlessKeptAliveOrDisabled) {
    const auto starved = [&] { return board::WatchdogStarved(board.Block(), board.Clock().Monotonic()); };
    const int fd = kernel.Open("/dev/watchdog", O_RDWR);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(kernel.Open("/dev/watchdog", O_RDWR), -1);
    EXPECT_EQ(errno, EBUSY);
    int timeout = 30;
    ASSERT_EQ(kernel.Ioctl(fd, WDIOC_SETTIMEOUT, &timeout), 0);
    board.Clock().Advance(seconds(20));
    ASSERT_EQ(kernel.Ioctl(fd, WDIOC_KEEPALIVE, nullptr), 0);
    board.Clock().Advance(seconds(30));
    EXPECT_FALSE(starved());
    board.Clock().Advance(seconds(1));
    EXPECT_TRUE(starved());
    int options = WDIOS_DISABLECARD;
    ASSERT_EQ(kernel.Ioctl(fd, WDIOC_SETOPTIONS, &options), 0);
    EXPECT_FALSE(starved());
    EXPECT_EQ(kernel.Close(fd), 0);
    const int again = kernel.Open("/dev/watchdog", O_RDWR);
    ASSERT_GE(again, 0);
    kernel.Close(again);
    board.Clock().Advance(seconds(60));
    EXPECT_TRUE(starved()) << "a close alone leaves it running";
}

TEST_F(SmallDevicesTest, ClocksAreSetApart) {
    const int fd = kernel.Open("/dev/rtc0", O_RDWR);
    rtc_time fields{};
    ASSERT_EQ(kernel.Ioctl(fd, RTC_RD_TIME, &fields), 0);
    EXPECT_EQ(fields.tm_year, 124);
    EXPECT_EQ(fields.tm_hour, 12);
    fields = {59, 59, 23, 31, 11, 125, 0, 0, 0};
    ASSERT_EQ(kernel.Ioctl(fd, RTC_SET_TIME, &fields), 0);
    fields.tm_mon = 12;
    EXPECT_EQ(kernel.Ioctl(fd, RTC_SET_TIME, &fields), -1);
    EXPECT_EQ(errno, EINVAL);
    board.Clock().Advance(seconds(1));
    ASSERT_EQ(kernel.Ioctl(fd, RTC_RD_TIME, &fields), 0);
    EXPECT_EQ(fields.tm_year, 126);
    EXPECT_EQ(fields.tm_yday, 0);
    kernel.Close(fd);

    EXPECT_EQ(kernel.RealTime().tv_sec, 1715947201);
    ASSERT_EQ(kernel.SetRealTime({1325376000, 500}), 0);
    board.Clock().Advance(seconds(2));
    EXPECT_EQ(kernel.RealTime().tv_sec, 1325376002);
    EXPECT_EQ(kernel.RealTime().tv_nsec, 500);
    EXPECT_EQ(kernel.SetRealTime({-1, 0}), -1);

    // At a power-up the RTC, which keeps local time, sets the clock.
    board::Boot(board.Block());
    tm local{};
    const time_t now = kernel.RealTime().tv_sec;
    EXPECT_EQ(localtime_r(&now, &local)->tm_year, 126);
    EXPECT_EQ(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec, 2);
}

TEST_F(SmallDevicesTest, UsbHostAnswersThroughTheCallItself) {
    const int fd = kernel.Open("/dev/fsl_otg", O_RDWR);
    int value = 0;
    EXPECT_EQ(kernel.Ioctl(fd, 0x80044201, &value), 1);
    board.Set(&board::Block::usb_host, true);
    EXPECT_EQ(kernel.Ioctl(fd, 0x80044201, &value), 0);
    kernel.Close(fd);
}

TEST_F(SmallDevicesTest, FilesFollowTheBoardAndTheBoardFollowsTheFiles) {
    board.Set(&board::Block::battery_millivolts, 1309);
    board.Set(&board::Block::charger, true);
    EXPECT_EQ(board.Read("/sys/class/power_supply/battery/voltage_now"), "1309000\n");
    EXPECT_EQ(board.Read("/sys/class/power_supply/usb/online"), "1\n");
    board.Write("/sys/class/leds/led-pwm0/brightness", "73");
    board.Write("/sys/class/leds/Green_LED/brightness", "255");
    board.Write("/etc/lcdparams", "lcd_panel=tvenc_pal\n");
    EXPECT_EQ(board.Get(&board::Block::lamp), 73);
    EXPECT_EQ(board.Get(&board::Block::green_led), 255);
    EXPECT_STREQ(board.Block().lcd_parameters, "lcd_panel=tvenc_pal");
    // The request goes to the program, its four zeros and a NUL come back and switch off.
    board.Set(&board::Block::power_off_requested, true);
    EXPECT_EQ(board.Read("/sys/power/poweroff_state"), "1\n");
    EXPECT_FALSE(board.Get(&board::Block::powered_off));
    board.Write("/sys/power/poweroff_state", std::string("0000\0", 5));
    EXPECT_TRUE(board.Get(&board::Block::powered_off));
    EXPECT_EQ(board.Read("/sys/power/poweroff_state"), "0\n");
}

TEST_F(SmallDevicesTest, PathsStayInsideTheBoard) {
    const std::string root = board.Folder().Directory().string();
    EXPECT_EQ(kernel.Path("img/sd.png"), "img/sd.png");
    EXPECT_EQ(kernel.Path("/home/x"), "/home/x");
    EXPECT_EQ(kernel.Path("/system"), "/system");
    EXPECT_EQ(kernel.Path("/sys"), root + "/device/sys");
    EXPECT_EQ(kernel.Path("/media/nand/a.jpg"), root + "/nand/a.jpg");
    EXPECT_EQ(kernel.Path("/media/sd-mmcblk0p1/DCIM/"), root + "/card/DCIM");
    EXPECT_EQ(kernel.Path("/media/nand/../../etc/passwd"), root + "/device/etc/passwd");
}

}  // namespace
