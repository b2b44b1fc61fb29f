// Stills and videos onto a card with a real file system, read by other programs outside of the machine.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "tests/kernel/guest/camera_picture.h"
#include "tests/kernel/report.h"
#include "tests/kernel/session.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

TEST(KernelCapture, AStillIsWhatTheCameraSent) {
    VirtualMachine machine;
    StartLiveView(machine);
    const std::uint32_t before = ReadLivePipeline(machine).FrameNumber();
    TakeStill(machine);
    EXPECT_EQ(machine.Output("cat /sys/kernel/debug/varno_board/register_writes"), "1\n");
    const auto stills = CopiedFiles(machine, ".jpg");
    ASSERT_EQ(stills.size(), 1U);
    const std::string decoded = OutputOf("djpeg -pnm '" + stills[0] + "' | tail -c 921600");
    ASSERT_EQ(decoded.size(), 921600U);
    std::vector<std::uint32_t> still;
    std::vector<std::uint8_t> green;
    for (std::size_t i = 0; i < decoded.size(); i += 3) {
        const auto* rgb = reinterpret_cast<const std::uint8_t*>(decoded.data() + i);
        still.push_back(0xFF000000 | static_cast<std::uint32_t>(rgb[0] << 16 | rgb[1] << 8 | rgb[2]));
        green.push_back(rgb[1]);
    }
    const std::uint32_t number = NumberIn(green.data(), 640, 480, 480);
    // The camera's pictures of a few seconds at most between what was on the screen and what was taken.
    EXPECT_GT(number, before);
    EXPECT_LE(number, before + 150);
    EXPECT_LT(MeanDifference(still, ColoursOf(CameraPicture(640, 480, number))), 4.0) << "frame " << number;
    EXPECT_EQ(CheckCard(machine), "");
    Held("640x480, the camera's frame " + std::to_string(number) + ", on the screen before: " + std::to_string(before));
}

// Every frame as it was sent, and none twice.
void ExpectRising(const std::vector<unsigned>& numbers) {
    EXPECT_GT(numbers.front(), 0U);
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end(), std::less_equal<>())) << "first: " << numbers.front();
}

TEST(KernelCapture, AVideoOfTenSeconds) {
    VirtualMachine machine;
    StartLiveView(machine);
    StartVideo(machine);
    const std::uint32_t first = ReadLivePipeline(machine).FrameNumber();
    machine.Output("sleep 10");
    const std::uint32_t last = ReadLivePipeline(machine).FrameNumber();
    StopVideo(machine);
    const auto videos = CopiedFiles(machine, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    EXPECT_EQ(OutputOf("ffprobe -v error -show_entries stream=codec_name,codec_tag_string,width,height -of csv=p=0 '" +
                       videos[0] + "'"),
              "rawvideo,YUY2,320,240\n");
    const Video video = ReadVideo(videos[0]);
    EXPECT_EQ(video.wrong, "");
    const auto numbers = video.Numbers();
    ASSERT_FALSE(numbers.empty());
    ExpectRising(numbers);
    EXPECT_LE(numbers.front(), first);
    EXPECT_GE(numbers.back(), last);
    const std::size_t sent = numbers.back() - numbers.front() + 1;
    // None is; one that the machine itself was late for would be no fault of the program.
    EXPECT_GE(numbers.size(), sent - sent / 50);
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
    const Video video = ReadVideo(videos[0]);
    EXPECT_EQ(video.wrong, "");
    EXPECT_GE(video.Count(), 20U);
    EXPECT_EQ(CheckCard(machine), "");
    Held(std::to_string(video.Count()) + " frames readable");
}

TEST(KernelCapture, TheCameraPulledAndReplugged) {
    constexpr int kPulls = 20;
    constexpr std::size_t kVideos = 7;
    constexpr std::size_t kStills = 6;
    enum Moment { kView, kVideo, kStill };
    VirtualMachine machine;
    StartLiveView(machine);
    for (int i = 0; i < kPulls; ++i) {
        const Moment moment = static_cast<Moment>(i % 3);
        SCOPED_TRACE("pull " + std::to_string(i));
        if (moment == kVideo) StartVideo(machine);
        if (moment == kStill) {
            // In the machine: a moment later the still is taken.
            const std::string pull = "until [ $(grep -c 'new: CAM_STATUS_REC_IMAGE_WAIT$' " + std::string(kProgramLog) +
                                     ") -gt " + std::to_string(i / 3) + " ]; do usleep 10000; done; pull_camera";
            machine.Press("ret");
            machine.Output(pull);
        } else {
            machine.Output("pull_camera");
        }
        WaitFor(machine, "! grep -q Camera /sys/class/video4linux/*/name");
        if (moment == kStill) {
            EXPECT_EQ(CountStills(machine), i / 3) << "taken before the camera was pulled";
        }
        machine.Output("plug_camera");
        ReadLivePipeline(machine);
        WaitForState(machine, "CAM_STATUS_VIEW");
        if (moment == kVideo) machine.Press("f3");
    }
    const auto videos = CopiedFiles(machine, ".avi");
    EXPECT_EQ(videos.size(), kVideos);
    for (const std::string& file : videos) {
        const Video video = ReadVideo(file);
        EXPECT_EQ(video.wrong, "") << file;
        EXPECT_GE(video.Count(), 20U) << file;
    }
    const auto stills = CopiedFiles(machine, ".jpg");
    EXPECT_EQ(stills.size(), kStills);
    for (const std::string& still : stills)
        EXPECT_EQ(OutputOf("djpeg -grayscale -pnm '" + still + "' | head -c 10"), "P5\n640 480") << still;
    EXPECT_EQ(CheckCard(machine), "");
    Held(std::to_string(kPulls) + " times; every video and still readable");
}

}  // namespace
}  // namespace kernel_test
