#include "sys/display_output.h"

#include <fcntl.h>

#include <cstdio>
#include <string>

#include "sys/board_config.h"
#include "sys/gpio.h"
#include "sys/node_file.h"

namespace Varno {
namespace {

constexpr char kLcdParams[] = "/etc/lcdparams";
constexpr std::size_t kLcdParamsLimit = 20;
constexpr char kNextRegisters[] = "/sys/devices/platform/mxs-pxp.0/nextreg_state";

}  // namespace

int GetOutputType() {
    std::string text;
    if (!ReadNode(kLcdParams, kLcdParamsLimit, text) || text.empty()) return 0;
    text.pop_back();  // the newline
    return text.substr(0, text.find('\n')) == "lcd_panel=ili9341" ? 1 : 0;
}

bool CheckTVoutWire() {
    const Gpio line(Board::kTvDetectGpio);
    line.Export();
    line.SetDirection("IN");
    std::string level;
    const bool known = line.ReadValue(level);
    std::printf("%s:%d TV out Line: %s\n", __func__, __LINE__, level.c_str());
    return known && level == std::to_string(Board::kTvCablePresentLevel);
}

}  // namespace Varno

void RefreshNextReg() {
    constexpr char kRefresh[] = "1";  // written with its final NUL
    bool opened = false;
    // A driver may offer it for writing only: the kernel then refuses even root to open it for both.
    const ssize_t written =
        Varno::WriteNode(Varno::kNextRegisters, O_WRONLY | O_TRUNC, kRefresh, sizeof(kRefresh), opened);
    if (written != static_cast<ssize_t>(sizeof(kRefresh))) std::printf("Can't open file %s\n", Varno::kNextRegisters);
}
