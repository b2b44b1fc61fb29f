#include "board/small_devices.h"

#include <linux/rtc.h>
#include <linux/watchdog.h>

#include <cerrno>
#include <cstring>

namespace board {
namespace {

constexpr std::uint32_t kDefaultTimeoutSeconds = 19;  // the hardware's own

}  // namespace

int WatchdogDevice::Open(OpenNode& node) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (open_) return -EBUSY;
    open_ = true;
    node.generation = 0;
    {
        const BlockLock lock(block_);
        block_.watchdog.timeout_seconds = kDefaultTimeoutSeconds;
    }
    KeepAlive(true);
    return 0;
}

void WatchdogDevice::Close(const OpenNode& /*node*/) {
    const std::lock_guard<std::mutex> guard(mutex_);
    open_ = false;
}

void WatchdogDevice::KeepAlive(bool arm) {
    const std::chrono::nanoseconds now = clock_.Monotonic();
    const BlockLock lock(block_);
    if (arm) block_.watchdog.armed = true;
    block_.watchdog.deadline_ns = (now + std::chrono::seconds(block_.watchdog.timeout_seconds)).count();
}

int WatchdogDevice::Ioctl(const OpenNode& /*node*/, unsigned long request, void* argument) {
    const std::lock_guard<std::mutex> guard(mutex_);
    switch (request) {
        case WDIOC_SETTIMEOUT: {
            const int seconds = *static_cast<int*>(argument);
            if (seconds < 1 || seconds > 65535) return -EINVAL;
            {
                const BlockLock lock(block_);
                block_.watchdog.timeout_seconds = static_cast<std::uint32_t>(seconds);
            }
            KeepAlive(false);
            return 0;
        }
        case WDIOC_KEEPALIVE:
            KeepAlive(false);
            return 0;
        case WDIOC_SETOPTIONS: {
            const int options = *static_cast<int*>(argument);
            if (options & WDIOS_ENABLECARD) KeepAlive(true);
            if (options & WDIOS_DISABLECARD) {
                const BlockLock lock(block_);
                block_.watchdog.armed = false;
            }
            return options & (WDIOS_ENABLECARD | WDIOS_DISABLECARD) ? 0 : -EINVAL;
        }
        default:
            return -ENOTTY;
    }
}

std::tm ReadRtc(Block& block, const std::timespec& wall_clock) {
    std::time_t seconds = wall_clock.tv_sec;
    {
        const BlockLock lock(block);
        seconds += static_cast<std::time_t>(block.rtc_offset_s);
    }
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    return fields;
}

bool WriteRtc(Block& block, const std::timespec& wall_clock, const std::tm& fields) {
    std::tm normal = fields;
    const std::time_t seconds = timegm(&normal);
    const bool same = normal.tm_year == fields.tm_year && normal.tm_mon == fields.tm_mon &&
                      normal.tm_mday == fields.tm_mday && normal.tm_hour == fields.tm_hour &&
                      normal.tm_min == fields.tm_min && normal.tm_sec == fields.tm_sec;
    if (!same || fields.tm_year < 70) return false;
    normal.tm_isdst = -1;
    const std::time_t local = mktime(&normal);
    const BlockLock lock(block);
    block.rtc_offset_s = static_cast<std::int64_t>(seconds) - wall_clock.tv_sec;
    block.boot_offset_s = static_cast<std::int64_t>(local) - wall_clock.tv_sec;
    return true;
}

int RtcDevice::Open(OpenNode& node) {
    node.generation = 0;
    return 0;
}

int RtcDevice::Ioctl(const OpenNode& /*node*/, unsigned long request, void* argument) {
    std::tm fields{};
    rtc_time time{};
    switch (request) {
        case RTC_RD_TIME:
            fields = ReadRtc(block_, clock_.WallClock());
            time = {fields.tm_sec,  fields.tm_min,  fields.tm_hour,
                    fields.tm_mday, fields.tm_mon,  fields.tm_year,
                    fields.tm_wday, fields.tm_yday, 0};
            std::memcpy(argument, &time, sizeof time);
            return 0;
        case RTC_SET_TIME:
            std::memcpy(&time, argument, sizeof time);
            fields.tm_sec = time.tm_sec;
            fields.tm_min = time.tm_min;
            fields.tm_hour = time.tm_hour;
            fields.tm_mday = time.tm_mday;
            fields.tm_mon = time.tm_mon;
            fields.tm_year = time.tm_year;
            return WriteRtc(block_, clock_.WallClock(), fields) ? 0 : -EINVAL;
        default:
            return -ENOTTY;
    }
}

int OtgDevice::Open(OpenNode& node) {
    node.generation = 0;
    return 0;
}

int OtgDevice::Ioctl(const OpenNode& /*node*/, unsigned long request, void* argument) {
    if (request != kReadOtgState) return -ENOTTY;
    const BlockLock lock(block_);
    const int state = block_.usb_host ? 0 : 1;
    if (argument) std::memcpy(argument, &state, sizeof state);
    return state;
}

}  // namespace board
