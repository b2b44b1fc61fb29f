#include "sys/clock.h"

#include <fcntl.h>
#include <linux/rtc.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "sys/kernel.h"
#include "sys/node_file.h"

namespace Varno {
namespace {

constexpr char kRtcDevice[] = "/dev/rtc0";

// The earliest time that a working clock can show: 2012-01-01 00:00:00 UTC.
constexpr time_t kEarliest = 1325376000;

// The last time that the C library tells: where time_t has 32 bits, 2038-01-19 03:14:07 UTC.
constexpr time_t kLatest = std::numeric_limits<time_t>::max();

std::string LatestText() {
    tm latest{};
    if (gmtime_r(&kLatest, &latest) == nullptr) return "the end of the calendar";
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &latest);
    return text;
}

// struct rtc_time is nine ints on every machine, so these are the same numbers everywhere.
static_assert(RTC_RD_TIME == 0x80247009U, "rtc read request");
static_assert(RTC_SET_TIME == 0x4024700AU, "rtc write request");

bool RtcIoctl(int flags, unsigned long request, rtc_time* time) {
    const int fd = kernel().Open(kRtcDevice, flags);
    if (fd < 0) {
        ReportOpenError(kRtcDevice);
        return false;
    }
    const bool done = kernel().Ioctl(fd, request, time) >= 0;
    if (!done) std::printf("ERROR(%s): ioctl %s.\n", std::strerror(errno), kRtcDevice);
    kernel().Close(fd);
    return done;
}

bool SetSystemTime(time_t seconds) {
    std::timespec now{};
    now.tv_sec = seconds;
    if (kernel().SetRealTime(now) >= 0) return true;
    std::printf("Error: stime(%s)\n", std::strerror(errno));
    return false;
}

}  // namespace

void GetNow(tm& now) {
    const time_t seconds = kernel().RealTime().tv_sec;
    localtime_r(&seconds, &now);
}

time_t validate_tm_time(tm* time) {
    const tm asked = *time;
    time->tm_isdst = -1;
    const time_t seconds = mktime(time);
    if (seconds == -1) {
        std::printf(
            "Error: the date %lld-%02d-%02d is outside of what this system's clock can hold, which ends at %s\n",
            1900LL + asked.tm_year, asked.tm_mon + 1, asked.tm_mday, LatestText().c_str());
    }
    return seconds;
}

bool get_rtc_time(tm& time) {
    rtc_time fields{};
    if (!RtcIoctl(O_RDONLY, RTC_RD_TIME, &fields)) return false;
    time = tm{};
    time.tm_sec = fields.tm_sec;
    time.tm_min = fields.tm_min;
    time.tm_hour = fields.tm_hour;
    time.tm_mday = fields.tm_mday;
    time.tm_mon = fields.tm_mon;
    time.tm_year = fields.tm_year;
    time.tm_wday = fields.tm_wday;
    time.tm_yday = fields.tm_yday;
    time.tm_isdst = fields.tm_isdst;
    return true;
}

bool set_rtc_time(const tm& time) {
    tm valid = time;
    const time_t seconds = validate_tm_time(&valid);
    if (seconds == -1) {
        std::printf("Error: stime(%s)\n", std::strerror(EOVERFLOW));
        return false;
    }
    rtc_time fields{};
    fields.tm_sec = valid.tm_sec;
    fields.tm_min = valid.tm_min;
    fields.tm_hour = valid.tm_hour;
    fields.tm_mday = valid.tm_mday;
    fields.tm_mon = valid.tm_mon;
    fields.tm_year = valid.tm_year;
    fields.tm_wday = valid.tm_wday;
    fields.tm_yday = valid.tm_yday;
    fields.tm_isdst = valid.tm_isdst;
    const bool rtc_set = RtcIoctl(O_RDWR, RTC_SET_TIME, &fields);
    return SetSystemTime(seconds) && rtc_set;
}

void InitSystemDateTime() {
    const time_t now = kernel().RealTime().tv_sec;
    if (now >= kEarliest && now != kLatest) return;
    // A kernel that counts on hands 32-bit programs negative times, or none.
    if (now < 0 || now == kLatest) {
        std::printf(
            "Error: the system clock is outside of what it can hold, which ends at %s; it starts at 2012-01-01\n",
            LatestText().c_str());
    }
    SetSystemTime(kEarliest);
    tm earliest{};
    localtime_r(&kEarliest, &earliest);
    set_rtc_time(earliest);
}

unsigned char bin2bcd(unsigned value) {
    return static_cast<unsigned char>(((value / 10) << 4) | (value % 10));
}

unsigned bcd2bin(unsigned char value) {
    return (value >> 4) * 10U + (value & 0x0FU);
}

}  // namespace Varno
