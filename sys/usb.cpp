#include "sys/usb.h"

#include <fcntl.h>

#include <cstdio>

#include "sys/board_config.h"
#include "sys/gpio.h"
#include "sys/kernel.h"
#include "sys/sleep.h"

namespace Varno {
namespace {

constexpr unsigned long kReadOtgState = 0x80044201;  // _IOR('B', 1, int)

void LogReset(const Gpio::Result& step) {
    std::printf("^^^ %s ^^^\n", step.command.c_str());
    std::printf("^^^%s  %d^^^\n", "ResetUSB", step.status);
}

}  // namespace

bool IsOtgHost() {
    const int fd = kernel().Open("/dev/fsl_otg", O_RDONLY);
    if (fd < 1) {
        if (fd == 0) kernel().Close(fd);
        return true;
    }
    int state = 0;  // filled in by the driver; the answer is the call's own result
    const int answer = kernel().Ioctl(fd, kReadOtgState, &state);
    kernel().Close(fd);
    return answer != 0;
}

void StartUSBStorage() {}

void StopUSBStorage() {
    kernel().System("/sbin/modprobe -r g_file_storage");
}

}  // namespace Varno

void ResetUSB() {
    const Varno::Gpio line(Varno::Board::kUsbResetGpio);
    Varno::LogReset(line.Export());
    Varno::LogReset(line.SetDirection("out"));
    for (const int level : Varno::Board::kUsbResetLevels) {
        Varno::LogReset(line.SetValue(level));
        Varno::SleepSignalsOpen(Varno::Board::kUsbResetHold);
    }
    Varno::SleepSignalsOpen(Varno::Board::kUsbResetSettle);
}
