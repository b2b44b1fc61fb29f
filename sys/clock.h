// System clock and battery-backed real-time clock. UI thread unless noted.
#pragma once

#include <ctime>

namespace Varno {

// The current local time. Thread-safe.
void GetNow(tm& now);
// Normalises a local time (31 February becomes 2 or 3 March) and returns it in seconds since the epoch; -1, with a
// message, when it cannot be represented (where time_t has 32 bits: after 2038-01-19 03:14:07 UTC). Daylight saving is
// found out anew, whatever tm_isdst says. Thread-safe.
time_t validate_tm_time(tm* time);

// Reads the real-time clock. False, with a message, when it cannot be read.
bool get_rtc_time(tm& time);
// Sets the real-time clock and the system clock to a local time, which is normalised first. Each is set even when the
// other one fails; neither to a time that cannot be represented. False, with a message, when one was not set.
bool set_rtc_time(const tm& time);
// Moves both clocks to 2012-01-01 00:00:00 UTC when the system clock is earlier than that or, with a message, beyond
// what it can hold.
void InitSystemDateTime();

// Two decimal digits as binary-coded decimal, and back, for fields of clock chips. Thread-safe.
unsigned char bin2bcd(unsigned value);
unsigned bcd2bin(unsigned char value);

}  // namespace Varno
