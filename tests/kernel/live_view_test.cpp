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

// How the picture is to be shown: what the zoom leaves of it, and its orientation.
struct View {
    unsigned width = 320;
    unsigned height = 240;
    unsigned hflip = 0;
    unsigned rotation = 0;
    unsigned vflip = 0;
    bool coloured = true;
};

// Waits until the pipeline is set so, and compares what it was given since, and what a viewer sees.
void ExpectSeen(VirtualMachine& machine, const View& view = {}) {
    // Zooming leaves the last line out; before, the window is the whole display.
    const unsigned window_height = view.width == 320 ? view.height : view.height - 1;
    const std::pair<const char*, unsigned> settings[] = {
        {"width", view.width}, {"height", view.height},      {"window_left", 0},
        {"window_top", 0},     {"window_width", view.width}, {"window_height", window_height},
        {"hflip", view.hflip}, {"rotation", view.rotation},  {"vflip", view.vflip},
    };
    std::string all = "true";
    for (const auto& [name, value] : settings)
        all += " && grep -qx '" + std::string(name) + " " + std::to_string(value) + "' " + kPipelineFile;
    SCOPED_TRACE(all);
    WaitFor(machine, all);
    const Pipeline pipeline = ReadLivePipeline(machine);
    const auto width = static_cast<int>(view.width);
    const auto height = static_cast<int>(view.height);
    const std::uint32_t number = pipeline.FrameNumber();
    ASSERT_EQ(pipeline.picture, ExpectedPicture(number, width, height, view.coloured)) << "frame " << number;
    const ScreenPicture interface = machine.Screen();
    const auto expected =
        SeenFromCamera(number, width, height, view.hflip != 0, view.vflip != 0, view.rotation == 180, view.coloured);
    EXPECT_LT(MeanDifference(interface, Compose(interface, pipeline), expected), kSamePicture);
}

TEST(KernelLiveView, FirstStart) {
    VirtualMachine machine;
    machine.Output("rm /usr/varno/varnosvconf.xml; plug_camera");
    WaitFor(machine, "grep -q Camera /sys/class/video4linux/*/name");
    // In the machine, so that the way out of it is not counted.
    const std::string waited =
        machine.Output("start_program; until grep -qs \"Start Init camera\" " + std::string(kProgramLog) +
                       "; do usleep 10000; done; first=$(cut -d' ' -f1 /proc/uptime); until [ $(" + kPictures +
                       ") -gt 0 ]; do usleep 10000; done; echo $first $(cut -d' ' -f1 /proc/uptime) | awk '{printf "
                       "\"%.2f\", $2 - $1}'");
    EXPECT_LT(std::stod(waited), 2.0);
    Held("first picture " + waited + " s after the first tick");
    EXPECT_EQ(machine.Output("cat /sys/class/leds/Green_LED/brightness"), "255\n");
    EXPECT_EQ(machine.Output("head -c 5 /usr/varno/varnosvconf.xml"), "<?xml");
    ExpectSeen(machine);
}

TEST(KernelLiveView, MonochromeAndLanguageAreKeptOverARestart) {
    View monochrome;
    monochrome.coloured = false;
    VirtualMachine machine;
    StartLiveView(machine);
    ExpectSeen(machine);
    const ScreenPicture english = LookAtSetupMenu(machine);
    machine.Press("f1");
    for (const char* key : {"down", "ret", "right", "ret", "up", "ret", "down", "ret", "down", "ret", "f1", "f1"})
        machine.Press(key);
    for (const char* shown : {"^Color Menu$", "^Advanced settings Menu$", "^Language$"})
        WaitForLog(machine, shown);
    WaitForLiveView(machine);
    const ScreenPicture chosen = LookAtSetupMenu(machine);
    EXPECT_NE(chosen, english);
    ExpectSeen(machine, monochrome);

    StopProgram(machine);
    machine.Output("pull_camera; mv " + std::string(kProgramLog) + " /tmp/first.log");
    WaitFor(machine, "! grep -q Camera /sys/class/video4linux/*/name");
    StartLiveView(machine);
    ExpectSeen(machine, monochrome);
    EXPECT_EQ(LookAtSetupMenu(machine), chosen);
    Held("set by keys; the picture without colour, the menu in the other language before and after");
}

TEST(KernelLiveView, ZoomOrientationAndLamp) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::string lamp = "$(cat /sys/class/leds/led-pwm0/brightness)";
    const std::string before = machine.Output("echo -n " + lamp);
    machine.Press("right");
    WaitFor(machine, "[ " + lamp + " -gt " + before + " ]");
    // Once around at each zoom level.
    constexpr View kTurns[] = {{0, 0, 1, 0, 0}, {0, 0, 0, 180, 0}, {0, 0, 0, 0, 1}, {0, 0, 0, 0, 0}};
    for (unsigned level = 0; level <= 6; ++level) {
        View view;
        view.width -= level * 32;
        view.height -= level * 24;
        if (level > 0) machine.Press("up");
        ExpectSeen(machine, view);
        for (const View& turn : kTurns) {
            machine.Press("f2");
            view.hflip = turn.hflip;
            view.rotation = turn.rotation;
            view.vflip = turn.vflip;
            ExpectSeen(machine, view);
        }
    }
    Held("brighter; every zoom level and orientation shows what the camera sent");
}

}  // namespace
}  // namespace kernel_test
