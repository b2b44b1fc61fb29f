// What a driver can answer when a camera fails in the middle of a recording, by the kernel's own test camera.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"

namespace kernel_test {
namespace {

struct Fault {
    const char* name;
    std::vector<std::pair<const char*, int>> settings;  // in this order
    bool unplugged;                                     // the driver has to be loaded anew
};

const Fault kFaults[] = {
    {"a buffer with the error flag", {{"Inject V4L2_BUF_FLAG_ERROR", 1}}, false},
    {"half of the buffers dropped", {{"Percentage of Dropped Buffers", 50}}, false},
    {"QBUF refused", {{"Percentage of Dropped Buffers", 0}, {"Inject VIDIOC_QBUF Error", 1}}, false},
    {"streaming ended by EIO", {{"Inject Fatal Streaming Error", 1}}, false},
    {"the same, then STREAMON refused",
     {{"Inject VIDIOC_STREAMON Error", 1}, {"Inject Fatal Streaming Error", 1}},
     false},
    {"the same, then REQBUFS refused",
     {{"Inject VIDIOC_REQBUFS Error", 1}, {"Inject Fatal Streaming Error", 1}},
     false},
    {"disconnected", {{"Disconnect", 1}}, true},
};

TEST(KernelCameraFault, EachWhileRecording) {
    VirtualMachine machine;
    machine.Output("plug_test_camera; start_program");
    WaitForLiveView(machine);
    std::string survived;
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        StartVideo(machine);
        for (const auto& [name, value] : fault.settings)
            machine.Output("break_test_camera '" + std::string(name) + "' " + std::to_string(value));
        if (fault.unplugged) {
            WaitFor(machine, 60, "pull_test_camera");
            machine.Output("plug_test_camera");
        }
        WaitForPictures(machine, 10);
        // Some faults end the recording, others it outlives.
        if (machine.Run("grep 'new: CAM_STATUS' /var/log/varnosv.log | tail -n 1 | grep -q 'REC_VIDEO$'").status == 0)
            StopVideo(machine);
        WaitForLiveView(machine);
        machine.Press("f3");
        survived += std::string(survived.empty() ? "" : ", ") + fault.name;
    }
    for (const std::string& video : CopiedFiles(machine, ".avi"))
        EXPECT_GE(FrameNumbers(video).size(), 20U) << video;
    Held(survived);
}

}  // namespace
}  // namespace kernel_test
