// What only a machine can do: be switched off, and be reset by its watchdog.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

constexpr char kBoard[] = "/sys/kernel/debug/varno_board/";
constexpr std::uint32_t kRed = 0xFF0000;
constexpr std::uint32_t kGreen = 0x00FF00;

void SetBattery(VirtualMachine& machine, int microvolts) {
    machine.Output("echo " + std::to_string(microvolts) + " > " + kBoard + "battery_microvolts");
}

// Looks at the screen until it has as many pixels of the colour as wanted: some, or none.
bool Shows(VirtualMachine& machine, std::uint32_t colour, bool some) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while ((CountPixels(machine.Screen(), colour) > 0) != some)
        if (std::chrono::steady_clock::now() > deadline) return false;
    return true;
}

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
    machine.Output("echo 1 > " + std::string(kBoard) + "power_off_request");
    WaitForState(machine, "CAM_STATUS_STOP");
    EXPECT_FALSE(ShowsVideo(machine.Screen())) << "the farewell fills the screen";
    EXPECT_TRUE(machine.EndsWithin(120));
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
}

TEST(KernelPower, ALowBatteryBlinksAndAnEmptyOneSwitchesOff) {
    VirtualMachine machine;
    SetBattery(machine, 1400000);
    StartLiveView(machine);
    for (int blink = 0; blink < 2; ++blink) {
        EXPECT_TRUE(Shows(machine, kRed, true)) << "blink " << blink;
        EXPECT_TRUE(Shows(machine, kRed, false)) << "blink " << blink;
    }
    // The mean of eight readings, one every two seconds.
    SetBattery(machine, 2046000);
    EXPECT_TRUE(Shows(machine, kGreen, true));
    SetBattery(machine, 1000000);
    EXPECT_TRUE(machine.EndsWithin(120));
    EXPECT_EQ(machine.EndReason(), "guest-shutdown");
}

TEST(KernelPower, AChargerKeepsAnEmptyBatteryOn) {
    VirtualMachine machine;
    machine.Output("echo 1 > " + std::string(kBoard) + "charger_online");
    SetBattery(machine, 1000000);
    StartLiveView(machine);
    EXPECT_TRUE(Shows(machine, kRed, true));
    EXPECT_TRUE(Shows(machine, kRed, false));
    EXPECT_TRUE(Shows(machine, kRed, true));
    EXPECT_EQ(machine.Run("grep 'power off' " + std::string(kProgramLog)).status, 1);
}

}  // namespace
}  // namespace kernel_test
