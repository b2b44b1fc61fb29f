// The devices that need no more than a handful of ioctls.
#pragma once

#include <ctime>
#include <mutex>

#include "board/block.h"
#include "board/board_clock.h"
#include "board/device.h"

namespace board {

constexpr unsigned long kReadOtgState = 0x80044201;  // _IOR('B', 1, int)

// /dev/watchdog: armed from its opening until it is disabled; a close leaves it running. Whoever owns the board resets
// the program when WatchdogStarved. Thread-safe.
class WatchdogDevice final : public Device {
  public:
    WatchdogDevice(Block& block, BoardClock& clock) : block_(block), clock_(clock) {}

    int Open(OpenNode& node) override;
    void Close(const OpenNode& node) override;
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;

  private:
    void KeepAlive(bool arm);

    Block& block_;
    BoardClock& clock_;
    std::mutex mutex_;
    bool open_ = false;
};

// /dev/rtc0: keeps whatever calendar fields it was given going. Thread-safe.
class RtcDevice final : public Device {
  public:
    RtcDevice(Block& block, BoardClock& clock) : block_(block), clock_(clock) {}

    int Open(OpenNode& node) override;
    void Close(const OpenNode& /*node*/) override {}
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;

  private:
    Block& block_;
    BoardClock& clock_;
};

// The RTC's calendar fields at a time of the PC. Thread-safe.
std::tm ReadRtc(Block& block, const std::timespec& wall_clock);
// Sets them; false when they are no date.
bool WriteRtc(Block& block, const std::timespec& wall_clock, const std::tm& fields);

// /dev/fsl_otg: request kReadOtgState answers 0 while a USB host is connected, else 1. Thread-safe.
class OtgDevice final : public Device {
  public:
    explicit OtgDevice(Block& block) : block_(block) {}

    int Open(OpenNode& node) override;
    void Close(const OpenNode& /*node*/) override {}
    int Ioctl(const OpenNode& node, unsigned long request, void* argument) override;

  private:
    Block& block_;
};

}  // namespace board
