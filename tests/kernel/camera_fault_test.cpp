// What a driver can answer when a camera fails in the middle of a recording, by the kernel's own test camera.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
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
    const char* told;                                   // what the program's log then has; empty for nothing
    bool unplugged;                                     // the driver has to be loaded anew
};

const Fault kFaults[] = {
    {"a buffer with the error flag", {{"Inject V4L2_BUF_FLAG_ERROR", 1}}, "", false},
    {"half of the buffers dropped", {{"Percentage of Dropped Buffers", 50}}, "", false},
    {"QBUF refused",
     {{"Percentage of Dropped Buffers", 0}, {"Inject VIDIOC_QBUF Error", 1}},
     "Unable to requeue buffer",
     false},
    {"streaming ended by EIO", {{"Inject Fatal Streaming Error", 1}}, "Unable to dequeue buffer (5-", false},
    {"the same, then STREAMON refused",
     {{"Inject VIDIOC_STREAMON Error", 1}, {"Inject Fatal Streaming Error", 1}},
     "Unable to start capture",
     false},
    {"the same, then REQBUFS refused",
     {{"Inject VIDIOC_REQBUFS Error", 1}, {"Inject Fatal Streaming Error", 1}},
     "Unable to allocate buffers",
     false},
    {"disconnected", {{"Disconnect", 1}}, "UVC_STATUS_STREAMING to UVC_STATUS_DISCONNECTED", true},
};

int TimesInLog(VirtualMachine& machine, const std::string& text) {
    return std::atoi(machine.Run("grep -c '" + text + "' " + kProgramLog).output.c_str());
}

TEST(KernelCameraFault, EachWhileRecording) {
    VirtualMachine machine;
    machine.Output("plug_test_camera; start_program");
    WaitForLiveView(machine);
    std::string survived;
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        StartVideo(machine);
        const int told = TimesInLog(machine, fault.told);
        for (const auto& [name, value] : fault.settings)
            machine.Output("break_test_camera '" + std::string(name) + "' " + std::to_string(value));
        if (*fault.told != '\0') WaitForLog(machine, fault.told, told + 1);
        if (fault.unplugged) {
            WaitFor(machine, "pull_test_camera");
            machine.Output("plug_test_camera");
        }
        WaitForPictures(machine, 10);
        // Some faults end the recording, others it outlives.
        if (IsInState(machine, "CAM_STATUS_REC_VIDEO")) StopVideo(machine);
        WaitForLiveView(machine);
        machine.Press("f3");
        survived += std::string(survived.empty() ? "" : ", ") + fault.name;
    }
    const auto videos = CopiedFiles(machine, ".avi");
    EXPECT_EQ(videos.size(), std::size(kFaults));
    for (const std::string& file : videos) {
        const Video video = ReadVideo(file);
        EXPECT_EQ(video.wrong, "") << file;
        EXPECT_GE(video.Count(), 20U) << file;
    }
    Held(survived);
}

}  // namespace
}  // namespace kernel_test
