// The TV cable, sensed over the kernel's GPIO interface.
#include <gtest/gtest.h>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"

namespace kernel_test {
namespace {

constexpr char kDisplay[] = "cat /etc/lcdparams";

TEST(KernelTvOutput, IsChosenOnlyWithACable) {
    VirtualMachine machine;
    StartLiveView(machine);
    // Setup, advanced settings, TV out, NTSC: "Plug in the TV out wire", yes.
    for (const char* key : {"f1", "ret", "up", "ret", "ret", "ret"})
        machine.Press(key);
    WaitForLog(machine, "^TV out$");
    WaitForLog(machine, "TV out Line: ");
    EXPECT_EQ(machine.Output(kDisplay), "lcd_panel=ili9341\n");
    machine.Output("echo 1 >/sys/kernel/debug/varno_board/tv_cable");
    // "No wire found", yes; NTSC once more.
    for (const char* key : {"ret", "ret", "ret"})
        machine.Press(key);
    WaitForLog(machine, "TV out Line: ", 2);
    WaitFor(machine, "! pidof varnosv");
    EXPECT_EQ(machine.Output(kDisplay), "lcd_panel=tvenc_ntsc\n");
    Held("without a cable the display stays; with one it is chosen, and the program ends");
}

}  // namespace
}  // namespace kernel_test
