// The storage lent to a PC: the kernel's own mass-storage function and the kernel's own driver for such disks.
#include <gtest/gtest.h>

#include <string>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

TEST(KernelUsb, APcWritesOntoTheCardAndIntoTheInternalStorage) {
    VirtualMachine machine;
    StartLiveView(machine);
    TakeStill(machine);
    machine.Output("plug_pc");
    WaitForState(machine, "CAM_STATUS_STOP");
    constexpr int kInternal = 0;
    constexpr int kCard = 1;
    for (const int unit : {kInternal, kCard}) {
        const std::string disk = std::to_string(unit);
        WaitFor(machine, "at_pc " + disk + " 'echo unit " + disk + " >PC.TXT'");
    }
    WaitForScreen(machine, [](const ScreenPicture& screen) { return ShowsReference(screen, "usb"); });
    EXPECT_EQ(machine.Output("at_pc 1 'find . -name \"*.jpg\"' | wc -l"), "1\n") << "the PC sees the still";
    machine.Output("unplug_pc");
    WaitForLog(machine, "^Return to normal mode.$");
    WaitForLiveView(machine);
    EXPECT_EQ(machine.Output("cat $units/gadget-lun*/file"), "\n\n") << "both units taken back";
    EXPECT_EQ(machine.Output("cat /media/nand/PC.TXT /media/sd-mmcblk0p1/PC.TXT"), "unit 0\nunit 1\n");
    TakeStill(machine);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 2U);
    EXPECT_EQ(CopiedFiles(machine, ".TXT").size(), 1U);
    EXPECT_EQ(CheckCard(machine), "");
    Held("both units written by the host, read by the program, file system whole");
}

}  // namespace
}  // namespace kernel_test
