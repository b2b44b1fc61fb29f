// A card that is pulled, full, or not to be written on.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

constexpr char kRecording[] =
    "grep 'new: CAM_STATUS' /var/log/varnosv.log | tail -n 1 | grep -q 'new: CAM_STATUS_REC_VIDEO$'";

TEST(KernelCard, PulledWhileRecordingAndPutBack) {
    VirtualMachine machine;
    StartLiveView(machine);
    TakeStill(machine);
    StartVideo(machine);
    StopVideo(machine);
    machine.Press("f3");
    machine.Output("sync");
    StartVideo(machine);
    machine.EjectCard();
    WaitFor(machine, 60, "[ ! -b /dev/mmcblk0p1 ]");
    // What cannot be written ends the recording; the picture goes on.
    WaitForPictures(machine);
    WaitFor(machine, 60, "! " + std::string(kRecording));
    WaitForLiveView(machine);
    machine.InsertCard();
    WaitFor(machine, 60, "grep -q /media/sd-mmcblk0p1 /proc/mounts");
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_GE(videos.size(), 1U);
    EXPECT_GE(FrameNumbers(videos[0]).size(), 20U) << "recorded before";
    machine.Press("f3");
    TakeStill(machine);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 2U);
    std::string found = CheckCard(machine);
    std::replace(found.begin(), found.end(), '\n', ' ');
    Held("what was there before is readable, a new still is taken; fsck.vfat says: " + found);
}

TEST(KernelCard, Full) {
    VirtualMachine machine;
    StartLiveView(machine);
    // Room for a recording of a few seconds.
    machine.Output("dd if=/dev/zero of=/media/sd-mmcblk0p1/fill bs=1M count=48 2>/dev/null");
    StartVideo(machine);
    WaitForState(machine, "CAM_STATUS_STOP");
    WaitForScreen(machine, HidesVideo);  // the warning
    machine.Press("f1");
    WaitForLiveView(machine);
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    const auto numbers = FrameNumbers(videos[0]);
    EXPECT_GE(numbers.size(), 20U);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    // Neither a video nor a still is begun now.
    machine.Press("ret");
    WaitForScreen(machine, HidesVideo);
    machine.Press("f1");
    WaitForLiveView(machine);
    EXPECT_EQ(CopiedFiles(machine, ".avi").size(), 1U);
    machine.Output("rm /media/sd-mmcblk0p1/fill");
    machine.Press("f3");
    TakeStill(machine);
    EXPECT_EQ(CheckCard(machine), "");
    Held("warned, " + std::to_string(numbers.size()) + " frames readable, nothing begun until there was room");
}

TEST(KernelCard, ReadOnly) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("mount -o remount,ro /media/sd-mmcblk0p1");
    machine.Press("ret");
    WaitForLog(machine, "##########");
    WaitForLiveView(machine);
    machine.Output("mount -o remount,rw /media/sd-mmcblk0p1");
    TakeStill(machine);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 1U);
    Held("no still while the card is read-only, one as soon as it is not");
}

}  // namespace
}  // namespace kernel_test
