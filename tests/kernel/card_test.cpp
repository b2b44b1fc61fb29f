// A card that is pulled, full, or not to be written on.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

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
    WaitFor(machine, "[ ! -b /dev/mmcblk0p1 ]");
    // What cannot be written ends the recording; the picture goes on.
    WaitForPictures(machine);
    WaitForLiveView(machine);
    WaitFor(machine, "! grep -q /media/sd-mmcblk0p1 /proc/mounts");
    machine.InsertCard();
    WaitFor(machine, "grep -q /media/sd-mmcblk0p1 /proc/mounts");
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_GE(videos.size(), 1U);
    const Video before = ReadVideo(videos[0]);
    EXPECT_EQ(before.wrong, "");
    EXPECT_GE(before.Count(), 20U);
    machine.Press("f3");
    TakeStill(machine);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 2U);
    std::string found = CheckCard(machine);
    std::replace(found.begin(), found.end(), '\n', ' ');
    Held("what was there before is readable, a new still is taken; fsck.vfat says: " + found);
}

bool WarnsOfNoSpace(const ScreenPicture& screen) {
    return ShowsReference(screen, "warning_no_space");
}

// Takes a picture or a video, as the mode is, and is told that there is no room.
void DismissWarning(VirtualMachine& machine) {
    machine.Press("ret");
    WaitForState(machine, "CAM_STATUS_STOP");
    WaitForScreen(machine, WarnsOfNoSpace);
    machine.Press("f1");
    WaitForLiveView(machine);
}

TEST(KernelCard, Full) {
    VirtualMachine machine;
    StartLiveView(machine);
    // Room for a recording of a few seconds.
    machine.Output("dd if=/dev/zero of=/media/sd-mmcblk0p1/fill bs=1M count=48 2>/dev/null");
    StartVideo(machine);
    WaitForState(machine, "CAM_STATUS_STOP");
    WaitForScreen(machine, WarnsOfNoSpace);
    machine.Press("f1");
    WaitForLiveView(machine);
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    const Video video = ReadVideo(videos[0]);
    EXPECT_EQ(video.wrong, "");
    EXPECT_GE(video.Count(), 20U);
    // Neither a video nor a still is begun now.
    DismissWarning(machine);
    machine.Press("f3");
    DismissWarning(machine);
    EXPECT_EQ(CopiedFiles(machine, ".avi").size(), 1U);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 0U);
    machine.Output("rm /media/sd-mmcblk0p1/fill");
    TakeStill(machine);
    EXPECT_EQ(CheckCard(machine), "");
    Held("warned, " + std::to_string(video.Count()) +
         " frames readable, neither a video nor a still begun until there was room");
}

TEST(KernelCard, ReadOnly) {
    VirtualMachine machine;
    StartLiveView(machine);
    machine.Output("mount -o remount,ro /media/sd-mmcblk0p1");
    machine.Press("ret");
    WaitForLog(machine, "##########");
    WaitForLiveView(machine);
    machine.Press("f3");
    machine.Press("ret");
    WaitForLog(machine, "open avi file");
    WaitForLiveView(machine);
    machine.Press("f3");
    machine.Output("mount -o remount,rw /media/sd-mmcblk0p1");
    TakeStill(machine);
    EXPECT_EQ(CopiedFiles(machine, ".jpg").size(), 1U);
    EXPECT_EQ(CopiedFiles(machine, ".avi").size(), 0U);
    Held("neither a still nor a video while the card is read-only, a still as soon as it is not");
}

}  // namespace
}  // namespace kernel_test
