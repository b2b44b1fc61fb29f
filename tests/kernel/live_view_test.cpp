// Live view on the kernel's own drivers: what a viewer sees is what the camera sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kernel/viewer.h"
#include "tests/kernel/virtual_machine.h"

namespace kernel_test {
namespace {

using testing::HasSubstr;

// What interpolating between pixels and rounding may make of a picture of steep edges.
constexpr double kSamePicture = 6.0;

// The pipeline until its settings are as wanted and a picture was given since.
Pipeline WaitForPipeline(VirtualMachine& machine, const std::string& setting, unsigned value) {
    const std::string pxp = "/sys/kernel/debug/varno_board/pxp";
    EXPECT_TRUE(machine.Within(20, "grep -qx '" + setting + " " + std::to_string(value) + "' " + pxp)) << setting;
    const unsigned given = ReadPipeline(machine).Get("pictures");
    EXPECT_TRUE(
        machine.Within(20, "[ $(sed -n 's/^pictures //p' " + pxp + ") -gt " + std::to_string(given + 1) + " ]"));
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
    machine.Output("rm /opt/varnosv/varnosvconf.xml; plug_camera");
    ASSERT_TRUE(machine.Within(30, "grep -q Camera /sys/class/video4linux/*/name"));
    const std::string waited = machine.Output(
        "start_program; until grep -q 'Watchdog\\|CAM_STATUS_DETECT' /var/log/varnosv.log; do usleep 10000; done;"
        "first=$(cut -d' ' -f1 /proc/uptime);"
        "until [ $(sed -n 's/^pictures //p' /sys/kernel/debug/varno_board/pxp) -gt 0 ]; do usleep 10000; done;"
        "echo $first $(cut -d' ' -f1 /proc/uptime) | awk '{print $2 - $1}'");
    RecordProperty("seconds_to_live_view", waited);
    EXPECT_LT(std::stod(waited), 2.0);
    EXPECT_EQ(machine.Output("cat /sys/class/leds/Green_LED/brightness"), "255\n");
    EXPECT_THAT(machine.Output("head -c 200 /opt/varnosv/varnosvconf.xml"), HasSubstr("<?xml"));
    ExpectSeen(machine, ReadPipeline(machine));
}

TEST(KernelLiveView, ZoomOrientationAndLamp) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::string lamp = machine.Output("cat /sys/class/leds/led-pwm0/brightness");
    machine.Press("right");
    EXPECT_TRUE(machine.Within(
        10, "[ $(cat /sys/class/leds/led-pwm0/brightness) -gt " + std::to_string(std::stoi(lamp)) + " ]"));
    unsigned last = 320;
    for (int step = 0; step < 6; ++step) {
        machine.Press("up");
        ASSERT_TRUE(machine.Within(
            10, "[ $(sed -n 's/^width //p' /sys/kernel/debug/varno_board/pxp) -lt " + std::to_string(last) + " ]"))
            << "zoom step " << step;
        last = ReadPipeline(machine).Get("width");
        ExpectSeen(machine, WaitForPipeline(machine, "width", last));
    }
    EXPECT_EQ(last, 128U);
    const std::pair<const char*, unsigned> turns[] = {{"hflip", 1}, {"rotation", 180}, {"vflip", 1}, {"vflip", 0}};
    for (const auto& [setting, value] : turns) {
        machine.Press("f2");
        ExpectSeen(machine, WaitForPipeline(machine, setting, value));
    }
}

}  // namespace
}  // namespace kernel_test
