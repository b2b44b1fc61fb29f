// Live view on the kernel's own drivers: what a viewer sees is what the camera sends.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"
#include "tests/kernel/virtual_machine.h"

namespace kernel_test {
namespace {

// What interpolating between pixels and rounding may make of a picture of steep edges.
constexpr double kSamePicture = 6.0;

// The pipeline once its setting is as wanted and pictures were given since.
Pipeline WaitForPipeline(VirtualMachine& machine, const std::string& setting, unsigned value) {
    WaitFor(machine, 30, "grep -qx '" + setting + " " + std::to_string(value) + "' " + kPipelineFile);
    WaitForPictures(machine);
    return ReadPipeline(machine);
}

void ExpectSeen(VirtualMachine& machine, const Pipeline& pipeline, bool coloured = true) {
    const auto width = static_cast<int>(pipeline.Get("width"));
    const auto height = static_cast<int>(pipeline.Get("height"));
    const std::uint32_t number = pipeline.FrameNumber();
    ASSERT_EQ(pipeline.picture, ExpectedPicture(number, width, height, coloured)) << "frame " << number;
    const ScreenPicture interface = machine.Screen();
    const auto seen = Compose(interface, pipeline);
    const auto expected = SeenFromCamera(number, width, height, pipeline.Get("hflip") != 0, pipeline.Get("vflip") != 0,
                                         pipeline.Get("rotation") == 180, coloured);
    EXPECT_LT(MeanDifference(interface, seen, expected), kSamePicture) << width << "x" << height;
}

TEST(KernelLiveView, FirstStart) {
    VirtualMachine machine;
    machine.Output("rm /usr/varno/varnosvconf.xml; plug_camera");
    WaitFor(machine, 30, "grep -q Camera /sys/class/video4linux/*/name");
    // In the machine, so that the way out of it is not counted.
    const std::string waited =
        machine.Output("start_program; until grep -qs CAM_STATUS_DETECT " + std::string(kProgramLog) +
                       "; do usleep 10000; done; first=$(cut -d' ' -f1 /proc/uptime); until [ $(" + kPictures +
                       ") -gt 0 ]; do usleep 10000; done; echo $first $(cut -d' ' -f1 /proc/uptime) | awk '{printf "
                       "\"%.2f\", $2 - $1}'");
    EXPECT_LT(std::stod(waited), 2.0);
    Held("first picture " + waited + " s after the first tick");
    EXPECT_EQ(machine.Output("cat /sys/class/leds/Green_LED/brightness"), "255\n");
    EXPECT_EQ(machine.Output("head -c 5 /usr/varno/varnosvconf.xml"), "<?xml");
    ExpectSeen(machine, ReadPipeline(machine));
}

TEST(KernelLiveView, MonochromeAndLanguageAreKeptOverARestart) {
    VirtualMachine machine;
    StartLiveView(machine);
    ExpectSeen(machine, ReadPipeline(machine));
    const ScreenPicture english = LookAtSetupMenu(machine);
    machine.Press("f1");
    for (const char* key : {"down", "ret", "right", "ret", "up", "ret", "down", "ret", "down", "ret", "f1", "f1"})
        machine.Press(key);
    for (const char* shown : {"^Color Menu$", "^Advanced settings Menu$", "^Language$"})
        WaitForLog(machine, shown);
    WaitForLiveView(machine);
    const ScreenPicture chosen = LookAtSetupMenu(machine);
    EXPECT_NE(chosen, english);
    ExpectSeen(machine, ReadPipeline(machine), false);

    StopProgram(machine);
    machine.Output("pull_camera; mv " + std::string(kProgramLog) + " /tmp/first.log");
    WaitFor(machine, 30, "! grep -q Camera /sys/class/video4linux/*/name");
    StartLiveView(machine);
    ExpectSeen(machine, ReadPipeline(machine), false);
    EXPECT_EQ(LookAtSetupMenu(machine), chosen);
    Held("set by keys; the picture without colour, the menu in the other language before and after");
}

TEST(KernelLiveView, ZoomOrientationAndLamp) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::string lamp = "$(cat /sys/class/leds/led-pwm0/brightness)";
    const std::string before = machine.Output("echo -n " + lamp);
    machine.Press("right");
    WaitFor(machine, 30, "[ " + lamp + " -gt " + before + " ]");
    unsigned last = 320;
    for (int step = 0; step < 6; ++step) {
        machine.Press("up");
        WaitFor(machine, 30,
                "[ $(sed -n 's/^width //p' " + std::string(kPipelineFile) + ") -lt " + std::to_string(last) + " ]");
        last = ReadPipeline(machine).Get("width");
        ExpectSeen(machine, WaitForPipeline(machine, "width", last));
    }
    EXPECT_EQ(last, 128U);
    const std::pair<const char*, unsigned> turns[] = {{"hflip", 1}, {"rotation", 180}, {"vflip", 1}, {"vflip", 0}};
    for (const auto& [setting, value] : turns) {
        machine.Press("f2");
        ExpectSeen(machine, WaitForPipeline(machine, setting, value));
    }
    Held("brighter; every zoom level and orientation shows what the camera sent");
}

}  // namespace
}  // namespace kernel_test
