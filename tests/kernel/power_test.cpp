// What only a machine can do: be switched off, and be reset by its watchdog.
#include <gtest/gtest.h>

#include <string>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

constexpr char kBoard[] = "/sys/kernel/debug/varno_board/";

void SetBattery(VirtualMachine& machine, int microvolts) {
    machine.Output("echo " + std::to_string(microvolts) + " > " + kBoard + "battery_microvolts");
}

bool IsRed(const ScreenPicture& screen) {
    return CountPixels(screen, 0xFF0000) > 0;
}
bool IsNotRed(const ScreenPicture& screen) {
    return !IsRed(screen);
}
bool IsGreen(const ScreenPicture& screen) {
    return CountPixels(screen, 0x00FF00) > 0;
}

TEST(KernelPower, AStarvedWatchdogResetsTheMachine) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("stop_thread $(pidof varnosv) &");  // the first thread is the one of the interface
    WaitFor(machine, "grep -q 'State:.*t (tracing stop)' /proc/$(pidof varnosv)/status");
    WaitForPictures(machine);  // the other threads go on
    EXPECT_TRUE(machine.Ends());
    EXPECT_EQ(machine.EndReason(), "watchdog");
    Held("reset, although the live picture went on");
}

TEST(KernelPower, TheWatchdogIsKeptWhileTheProgramRuns) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::string program = machine.Output("pidof varnosv");
    // In short commands: a slow machine is not to be taken for a silent one.
    for (int i = 0; i < 9; ++i)
        machine.Output("sleep 5");
    EXPECT_EQ(machine.Output("pidof varnosv"), program);
    Held("no reset in 45 s");
}

TEST(KernelPower, APowerOffRequest) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("echo 1 > " + std::string(kBoard) + "power_off_request");
    WaitForScreen(machine, [](const ScreenPicture& screen) { return ShowsReference(screen, "bye"); });
    EXPECT_TRUE(machine.Ends());
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
    Held("farewell shown, switched off");
}

TEST(KernelPower, ALowBatteryBlinksAndAnEmptyOneSwitchesOff) {
    VirtualMachine machine;
    SetBattery(machine, 1400000);
    StartLiveView(machine);
    for (int blink = 0; blink < 2; ++blink) {
        WaitForScreen(machine, IsRed);
        WaitForScreen(machine, IsNotRed);
    }
    // The mean of eight readings, one every two seconds.
    SetBattery(machine, 2046000);
    WaitForScreen(machine, IsGreen);
    SetBattery(machine, 1000000);
    EXPECT_TRUE(machine.Ends());
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
    Held("red blinked twice, green once it was full, switched off at the end");
}

TEST(KernelPower, AChargerKeepsAnEmptyBatteryOn) {
    VirtualMachine machine;
    machine.Output("echo 1 > " + std::string(kBoard) + "charger_online");
    SetBattery(machine, 1000000);
    StartLiveView(machine);
    WaitForScreen(machine, IsRed);
    WaitForScreen(machine, IsNotRed);
    WaitForScreen(machine, IsRed);
    EXPECT_EQ(machine.Run("grep 'power off' " + std::string(kProgramLog)).status, 1);
    Held("red blinked, not switched off");
}

}  // namespace
}  // namespace kernel_test
