#include "sys/clock.h"

#include <gmock/gmock.h>
#include <linux/rtc.h>

#include <limits>

#include "tests/support/fake_kernel.h"
#include "tests/support/printed.h"

namespace {

using Call = support::FakeKernel::Call;
using support::Printed;

constexpr time_t kEarliest = 1325376000;
constexpr char kRefused[] = "Error: stime(Operation not permitted)\n";

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
        EXPECT_EQ(kernel.OpenFiles(), 0);
    }
    static tm Time(const char* text, int dst = 0) {
        tm time{};
        strptime(text, "%Y-%m-%d %H:%M:%S", &time);
        time.tm_isdst = dst;
        return time;
    }
    static std::string Text(const tm& time) {
        char text[64];
        return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S, %a, day %j", &time)};
    }
    // What both clocks show, which is to the second the same.
    std::string Shown() {
        tm now{};
        Varno::GetNow(now);
        tm read{};
        EXPECT_TRUE(Varno::get_rtc_time(read));
        EXPECT_EQ(Text(read), Text(now));
        EXPECT_EQ(read.tm_isdst, now.tm_isdst);
        EXPECT_EQ(kernel.RealTime().tv_nsec, 0);
        return Text(now);
    }

    support::FakeKernel kernel;
    rtc_time rtc{};
};

// Whatever the user typed, both clocks show the same valid time afterwards.
TEST_F(Clock, SettingNormalisesAndReachesBothClocks) {
    const struct {
        tm time;
        time_t seconds;
        const char* shown;
    } cases[] = {{Time("2024-07-15 12:34:56"), 1721039696, "2024-07-15 12:34:56, Mon, day 197"},
                 {Time("2023-02-31 12:00:00"), 1677841200, "2023-03-03 12:00:00, Fri, day 062"},
                 {Time("2024-02-31 12:00:59"), 1709377259, "2024-03-02 12:00:59, Sat, day 062"},
                 // Daylight saving as it was before the date was changed does not shift the hour.
                 {Time("2024-01-15 12:00:00", 1), 1705316400, "2024-01-15 12:00:00, Mon, day 015"},
                 {Time("2024-07-15 12:00:07", 0), 1721037607, "2024-07-15 12:00:07, Mon, day 197"}};
    for (const auto& c : cases) {
        tm time = c.time;
        EXPECT_EQ(Varno::validate_tm_time(&time), c.seconds) << c.shown;
        EXPECT_EQ(Text(time), c.shown);
        EXPECT_TRUE(Varno::set_rtc_time(c.time));
        EXPECT_EQ(kernel.RealTime().tv_sec, c.seconds) << c.shown;
        EXPECT_EQ(Shown(), c.shown);
    }
    EXPECT_TRUE(Varno::SetSystemTime(1700000007));
    EXPECT_EQ(kernel.RealTime().tv_sec, 1700000007);
    EXPECT_EQ(Printed([] { EXPECT_FALSE(Varno::SetSystemTime(-1)); }),
              "Error: stime(Value too large for defined data type)\n");
    EXPECT_EQ(kernel.RealTime().tv_sec, 1700000007);
}

TEST_F(Clock, OneClockIsSetWhenTheOtherFails) {
    const tm summer = Time("2024-07-15 12:34:56");
    kernel.FailNth(Call::SetRealTime, 1, EPERM);
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(Varno::set_rtc_time(summer)); }), kRefused);
    EXPECT_EQ(rtc.tm_year, 124);
    for (const auto& [call, message] : {std::pair{Call::Open, "ERROR(No such device): open /dev/rtc0.\n"},
                                        std::pair{Call::Ioctl, "ERROR(No such device): ioctl /dev/rtc0.\n"}}) {
        kernel.SetWallClock(0);
        kernel.FailNth(call, 1, ENODEV);
        EXPECT_EQ(Printed([&] { EXPECT_FALSE(Varno::set_rtc_time(summer)); }), message);
        EXPECT_EQ(kernel.RealTime().tv_sec, 1721039696);
        kernel.FailNth(call, 1, ENODEV);
        tm untouched = summer;
        EXPECT_FALSE(Varno::get_rtc_time(untouched));
        EXPECT_EQ(Text(untouched), Text(summer));
    }
}

// A clock that was never set, or lies beyond its end, starts in 2012, and only the latter is told.
TEST_F(Clock, InitStartsIn2012) {
    constexpr time_t kLast = std::numeric_limits<time_t>::max();
    for (const time_t before : {time_t{-5}, time_t{0}, kEarliest - 1, kEarliest, time_t{1700000000}, kLast}) {
        const bool bad = before < kEarliest || before == kLast;
        rtc = {};
        kernel.SetWallClock(before);
        EXPECT_EQ(support::Count(Printed([] { Varno::InitSystemDateTime(); }), "outside of what it can hold"),
                  before < 0 || before == kLast);
        EXPECT_EQ(kernel.RealTime().tv_sec, bad ? kEarliest : before) << before;
        EXPECT_EQ(rtc.tm_year, bad ? 112 : 0) << before;
        EXPECT_TRUE(!bad || Shown() == "2012-01-01 01:00:00, Sun, day 001") << Shown();
    }
    kernel.SetWallClock(0);
    kernel.sets_clock = false;
    kernel.FailNth(Call::SetRealTime, 1, EPERM);
    EXPECT_EQ(Printed([] { Varno::InitSystemDateTime(); }), kRefused);
}

TEST_F(Clock, BinaryCodedDecimals) {
    for (unsigned value = 0; value < 100; ++value)
        EXPECT_EQ(Varno::bcd2bin(Varno::bin2bcd(value)) * 1000 + Varno::bin2bcd(59), value * 1000 + 0x59);
}

// Where time_t has 32 bits, as on the board, the calendar ends in 2038; elsewhere it does not end in a lifetime.
TEST_F(Clock, ADateBeyondTheLastOneIsRefused) {
    const bool ends_in_2038 = sizeof(time_t) == 4;
    const std::pair<tm, bool> cases[] = {{Time("2038-01-19 04:14:07"), true},
                                         {Time("2038-01-19 04:14:08"), !ends_in_2038},
                                         {Time("2099-12-31 23:59:00"), !ends_in_2038}};
    for (const auto& [time, fits] : cases) {
        kernel.SetWallClock(1700000000);
        rtc = {};
        const std::string said = Printed([&, time = time, fits = fits] { EXPECT_EQ(Varno::set_rtc_time(time), fits); });
        EXPECT_EQ(kernel.RealTime().tv_sec == 1700000000, !fits) << Text(time);
        EXPECT_EQ(rtc.tm_year, fits ? time.tm_year : 0);
        EXPECT_EQ(support::Count(said, "ends at 2038-01-19 03:14:07 UTC"), !fits) << said;
    }
}

}  // namespace
