// What only a machine can do: be switched off, and be reset by its watchdog.
#include <gtest/gtest.h>

#include "tests/kernel/virtual_machine.h"

namespace kernel_test {
namespace {

TEST(KernelPower, AStarvedWatchdogResetsTheMachine) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("kill -STOP $(cat /tmp/program.pid)");
    EXPECT_TRUE(machine.EndsWithin(180));
    EXPECT_EQ(machine.EndReason(), "guest-reset");
}

TEST(KernelPower, TheWatchdogIsKeptWhileTheProgramRuns) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("sleep 45");
    EXPECT_EQ(machine.Run("kill -0 $(cat /tmp/program.pid)").status, 0);
}

TEST(KernelPower, APowerOffRequest) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("echo 1 > /sys/kernel/debug/varno_board/power_off_request");
    EXPECT_TRUE(machine.EndsWithin(60));
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
}

TEST(KernelPower, AnEmptyBattery) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("echo 1000000 > /sys/kernel/debug/varno_board/battery_microvolts");
    EXPECT_TRUE(machine.EndsWithin(120));
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
}

}  // namespace
}  // namespace kernel_test
