// Stills and videos onto a card with a real file system, read by other programs outside of the machine.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "tests/kernel/guest/camera_picture.h"
#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

TEST(KernelCapture, AStillIsTheFrameThatWasShown) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::uint32_t before = ReadPipeline(machine).FrameNumber();
    TakeStill(machine);
    EXPECT_EQ(machine.Output("cat /sys/kernel/debug/varno_board/register_writes"), "1\n");
    const auto stills = CopiedFiles(machine, ".jpg");
    ASSERT_EQ(stills.size(), 1U);
    const std::string luma = OutputOf("djpeg -grayscale -pnm '" + stills[0] + "' | tail -c 307200");
    ASSERT_EQ(luma.size(), 307200U);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(luma.data());
    const std::uint32_t number = NumberIn(bytes, 640, 480, 480);
    // The camera's pictures of a few seconds at most between what was on the screen and what was taken.
    EXPECT_GT(number, before);
    EXPECT_LE(number, before + 150);
    const auto sent = CameraPicture(640, 480, number);
    double difference = 0;
    for (std::size_t i = 0; i < luma.size(); ++i)
        difference += std::abs(bytes[i] - sent[2 * i]);
    EXPECT_LT(difference / 307200, 3.0) << "frame " << number;
    EXPECT_EQ(CheckCard(machine), "");
    Held("640x480, the camera's frame " + std::to_string(number) + ", on the screen before: " + std::to_string(before));
}

TEST(KernelCapture, AVideoOfTenSeconds) {
    VirtualMachine machine;
    StartLiveView(machine);
    StartVideo(machine);
    const std::uint32_t first = ReadPipeline(machine).FrameNumber();
    machine.Output("sleep 10");
    const std::uint32_t last = ReadPipeline(machine).FrameNumber();
    StopVideo(machine);
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    EXPECT_EQ(OutputOf("ffprobe -v error -show_entries stream=codec_name,codec_tag_string,width,height -of csv=p=0 '" +
                       videos[0] + "'"),
              "rawvideo,YUY2,320,240\n");
    const auto numbers = FrameNumbers(videos[0]);
    ASSERT_FALSE(numbers.empty());
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_LE(numbers.front(), first);
    EXPECT_GE(numbers.back(), last);
    const std::size_t sent = numbers.back() - numbers.front() + 1;
    // How many are lost is the host's doing; every other one would be ours.
    EXPECT_GT(numbers.size(), sent * 6 / 10);
    Held(std::to_string(numbers.size()) + " frames, " + std::to_string(sent - numbers.size()) + " of " +
         std::to_string(sent) + " lost");
}

TEST(KernelCapture, SigtermWhileRecordingLeavesAWholeVideo) {
    VirtualMachine machine;
    StartLiveView(machine);
    StartVideo(machine);
    StopProgram(machine);
    WaitForLog(machine, "^Exit varnosv program!!!!!$");
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    const std::size_t frames = FrameNumbers(videos[0]).size();
    EXPECT_GE(frames, 20U);
    EXPECT_EQ(CheckCard(machine), "");
    Held(std::to_string(frames) + " frames readable");
}

TEST(KernelCapture, TheCameraPulledAndReplugged) {
    constexpr int kPulls = 20;
    enum Moment { kView, kVideo, kStill };
    VirtualMachine machine;
    StartLiveView(machine);
    for (int i = 0; i < kPulls; ++i) {
        const Moment moment = static_cast<Moment>(i % 3);
        SCOPED_TRACE("pull " + std::to_string(i));
        if (moment == kVideo) StartVideo(machine);
        if (moment == kStill) machine.Press("ret");
        machine.Output("pull_camera");
        WaitFor(machine, 60, "! grep -q Camera /sys/class/video4linux/*/name");
        machine.Output("plug_camera");
        WaitForLiveView(machine);
        if (moment == kVideo) machine.Press("f3");
    }
    const auto videos = CopiedFiles(machine, ".avi");
    for (const std::string& video : videos)
        EXPECT_GE(FrameNumbers(video).size(), 20U) << video;
    const auto stills = CopiedFiles(machine, ".jpg");
    for (const std::string& still : stills)
        EXPECT_EQ(OutputOf("djpeg -grayscale -pnm '" + still + "' | head -c 10"), "P5\n640 480") << still;
    EXPECT_EQ(CheckCard(machine), "");
    Held(std::to_string(kPulls) + " times; " + std::to_string(videos.size()) + " videos and " +
         std::to_string(stills.size()) + " stills readable");
}

}  // namespace
}  // namespace kernel_test
