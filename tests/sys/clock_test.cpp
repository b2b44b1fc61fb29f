#include "sys/clock.h"

#include <gmock/gmock.h>
#include <linux/rtc.h>

#include <limits>

#include "tests/support/fake_kernel.h"

namespace {

using Call = support::FakeKernel::Call;

// In a zone with daylight saving, an hour east of Greenwich in winter.
class Clock : public testing::Test {
  protected:
    Clock() {
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
        kernel.Put("/dev/rtc0", "");
        kernel.on_ioctl = [this](const std::string& /*path*/, unsigned long request, void* argument) {
            auto* time = static_cast<rtc_time*>(argument);
            if (request == 0x4024700A) rtc = *time;
            if (request == 0x80247009) *time = rtc;
            return 0;
        };
    }
    ~Clock() override {
        unsetenv("TZ");
        tzset();
    }

    static tm Time(int year, int month, int day, int hour, int minute, int second, int dst) {
        tm time{};
        time.tm_year = year - 1900;
        time.tm_mon = month - 1;
        time.tm_mday = day;
        time.tm_hour = hour;
        time.tm_min = minute;
        time.tm_sec = second;
        time.tm_isdst = dst;
        return time;
    }

    support::FakeKernel kernel;
    rtc_time rtc{};
};

TEST_F(Clock, NormalisesWhatTheUserTyped) {
    const struct {
        tm time;
        time_t seconds;
        int month, day, hour;
    } cases[] = {{Time(2023, 2, 31, 12, 0, 0, 0), 1677841200, 3, 3, 12},
                 {Time(2024, 2, 31, 12, 0, 0, 0), 1709377200, 3, 2, 12},
                 // Daylight saving as it was before the date was changed does not shift the hour.
                 {Time(2024, 1, 15, 12, 0, 0, 1), 1705316400, 1, 15, 12},
                 {Time(2024, 7, 15, 12, 0, 0, 0), 1721037600, 7, 15, 12}};
    for (const auto& c : cases) {
        tm time = c.time;
        EXPECT_EQ(Varno::validate_tm_time(&time), c.seconds);
        EXPECT_EQ(time.tm_mon + 1, c.month);
        EXPECT_EQ(time.tm_mday, c.day);
        EXPECT_EQ(time.tm_hour, c.hour);
    }
}

TEST_F(Clock, SetsAndReadsTheRealTimeClock) {
    EXPECT_TRUE(Varno::set_rtc_time(Time(2024, 7, 15, 12, 34, 0, 0)));
    EXPECT_EQ(kernel.RealTime().tv_sec, 1721039640);
    EXPECT_EQ(rtc.tm_year, 124);
    EXPECT_EQ(rtc.tm_hour, 12);
    tm now{};
    Varno::GetNow(now);
    tm read{};
    EXPECT_TRUE(Varno::get_rtc_time(read));
    EXPECT_EQ(read.tm_mon, now.tm_mon);
    EXPECT_EQ(read.tm_mday, now.tm_mday);
    EXPECT_EQ(read.tm_min, now.tm_min);
    EXPECT_EQ(kernel.OpenFiles(), 0);
}

TEST_F(Clock, OneClockIsSetWhenTheOtherFails) {
    const tm time = Time(2024, 7, 15, 12, 34, 0, 0);
    testing::internal::CaptureStdout();
    kernel.FailNth(Call::SetRealTime, 1, EPERM);
    EXPECT_FALSE(Varno::set_rtc_time(time));
    EXPECT_EQ(rtc.tm_year, 124);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: stime(Operation not permitted)\n");

    for (const Call call : {Call::Open, Call::Ioctl}) {
        kernel.SetWallClock(0);
        kernel.FailNth(call, 1, ENODEV);
        EXPECT_FALSE(Varno::set_rtc_time(time));
        EXPECT_EQ(kernel.RealTime().tv_sec, 1721039640);
        kernel.FailNth(call, 1, ENODEV);
        tm untouched = time;
        EXPECT_FALSE(Varno::get_rtc_time(untouched));
        EXPECT_EQ(untouched.tm_year, 124);
        EXPECT_EQ(kernel.OpenFiles(), 0);
    }
}

TEST_F(Clock, AClockThatWasNeverSetStartsIn2012) {
    const struct {
        time_t before, after;
    } cases[] = {{0, 1325376000}, {1325375999, 1325376000}, {1325376000, 1325376000}, {1700000000, 1700000000}};
    for (const auto& c : cases) {
        rtc = {};
        kernel.SetWallClock(c.before);
        Varno::InitSystemDateTime();
        EXPECT_EQ(kernel.RealTime().tv_sec, c.after);
        EXPECT_EQ(rtc.tm_year, c.before == c.after ? 0 : 112) << c.before;
        EXPECT_EQ(rtc.tm_hour, c.before == c.after ? 0 : 1) << "local time";
    }
}

// Where time_t has 32 bits, as on the board, the calendar ends in 2038; elsewhere it does not end in a lifetime.
TEST_F(Clock, ADateBeyondTheLastOneIsRefused) {
    const bool ends_in_2038 = sizeof(time_t) == 4;
    const struct {
        tm time;
        bool fits;
    } cases[] = {{Time(2038, 1, 19, 4, 14, 7, 0), true},
                 {Time(2038, 1, 19, 4, 14, 8, 0), !ends_in_2038},
                 {Time(2099, 12, 31, 23, 59, 0, 0), !ends_in_2038}};
    for (const auto& c : cases) {
        kernel.SetWallClock(1700000000);
        rtc = {};
        testing::internal::CaptureStdout();
        EXPECT_EQ(Varno::set_rtc_time(c.time), c.fits);
        const std::string said = testing::internal::GetCapturedStdout();
        EXPECT_EQ(kernel.RealTime().tv_sec == 1700000000, !c.fits) << c.time.tm_year;
        EXPECT_EQ(rtc.tm_year, c.fits ? c.time.tm_year : 0);
        EXPECT_EQ(said.find("ends at 2038-01-19 03:14:07 UTC") != std::string::npos, !c.fits) << said;
    }
}

TEST_F(Clock, AClockBeyondItsEndStartsIn2012AndSaysSo) {
    for (const time_t before : {std::numeric_limits<time_t>::max(), time_t{-5}}) {
        kernel.SetWallClock(before);
        testing::internal::CaptureStdout();
        Varno::InitSystemDateTime();
        EXPECT_NE(testing::internal::GetCapturedStdout().find("the system clock is outside of what it can hold"),
                  std::string::npos);
        EXPECT_EQ(kernel.RealTime().tv_sec, 1325376000);
    }
}

TEST_F(Clock, BinaryCodedDecimals) {
    for (unsigned value = 0; value < 100; ++value)
        EXPECT_EQ(Varno::bcd2bin(Varno::bin2bcd(value)), value);
    EXPECT_EQ(Varno::bin2bcd(59), 0x59);
}

}  // namespace
