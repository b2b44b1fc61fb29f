// Stills and videos onto a card with a real file system, read by other programs outside of the machine.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/kernel/guest/camera_picture.h"
#include "tests/kernel/viewer.h"
#include "tests/kernel/virtual_machine.h"

namespace kernel_test {
namespace {

constexpr char kFolder[] = "/media/sd-mmcblk0p1/DCIM";

std::string OutputOf(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 65536> bytes;
    while (const std::size_t got = fread(bytes.data(), 1, bytes.size(), pipe.get()))
        output.append(bytes.data(), got);
    return output;
}

// The card's files with this extension, sorted, after the machine wrote them back.
std::vector<std::string> CopiedFiles(VirtualMachine& machine, const std::string& extension) {
    const std::string folder = g_files.scratch + "/copied";
    std::filesystem::remove_all(folder);
    machine.Output("sync");
    machine.CopyCard(folder);
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == extension) found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

// The numbers of a video's frames, decoded outside.
std::vector<std::uint32_t> FrameNumbers(const std::string& video) {
    const std::string luma = OutputOf("ffmpeg -v error -i '" + video + "' -f rawvideo -pix_fmt yuyv422 -");
    constexpr std::size_t kFrame = 320 * 240 * 2;
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint8_t> plane(kFrame / 2);
    for (std::size_t at = 0; at + kFrame <= luma.size(); at += kFrame) {
        for (std::size_t i = 0; i < plane.size(); ++i)
            plane[i] = static_cast<std::uint8_t>(luma[at + 2 * i]);
        numbers.push_back(NumberIn(plane.data(), 320, 240, 240));
    }
    return numbers;
}

void WaitForState(VirtualMachine& machine, const std::string& state, double seconds) {
    ASSERT_TRUE(machine.Within(
        seconds, "grep 'new: CAM_STATUS' /var/log/varnosv.log | tail -n 1 | grep -q 'new: " + state + "$'"))
        << machine.Output("tail -n 20 /var/log/varnosv.log");
}

void TakeStill(VirtualMachine& machine) {
    const std::string count = "ls " + std::string(kFolder) + " 2>/dev/null | grep -c jpg";
    const int before = std::atoi(machine.Run(count).output.c_str());
    machine.Press("ret");
    ASSERT_TRUE(machine.Within(30, "[ $(" + count + ") -gt " + std::to_string(before) + " ]"));
    WaitForState(machine, "CAM_STATUS_VIEW", 20);
}

class KernelCapture : public testing::Test {
  protected:
    KernelCapture() {
        StartLiveView(machine_);
        EXPECT_TRUE(machine_.Within(10, "grep -q /media/sd-mmcblk0p1 /proc/mounts"));
    }
    void StartVideo() {
        machine_.Press("f3");
        machine_.Press("ret");
        WaitForState(machine_, "CAM_STATUS_REC_VIDEO", 20);
    }
    void StopVideo() {
        machine_.Press("ret");
        WaitForState(machine_, "CAM_STATUS_VIEW", 20);
    }
    VirtualMachine machine_;
};

TEST_F(KernelCapture, AStillIsTheFrameThatWasShown) {
    const std::uint32_t before = ReadPipeline(machine_).FrameNumber();
    TakeStill(machine_);
    const auto stills = CopiedFiles(machine_, ".jpg");
    ASSERT_EQ(stills.size(), 1U);
    const std::string luma = OutputOf("djpeg -grayscale -pnm '" + stills[0] + "' | tail -c 307200");
    ASSERT_EQ(luma.size(), 307200U);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(luma.data());
    const std::uint32_t number = NumberIn(bytes, 640, 480, 480);
    // Two seconds of the camera's pictures at most between what was on the screen and what was taken.
    EXPECT_GT(number, before);
    EXPECT_LE(number, before + 60);
    const auto sent = CameraPicture(640, 480, number);
    double difference = 0;
    for (std::size_t i = 0; i < luma.size(); ++i)
        difference += std::abs(bytes[i] - sent[2 * i]);
    EXPECT_LT(difference / 307200, 3.0) << "frame " << number;
}

TEST_F(KernelCapture, AVideoOfTenSeconds) {
    StartVideo();
    const std::uint32_t first = ReadPipeline(machine_).FrameNumber();
    machine_.Output("sleep 10");
    const std::uint32_t last = ReadPipeline(machine_).FrameNumber();
    StopVideo();
    const auto videos = CopiedFiles(machine_, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    EXPECT_EQ(OutputOf("ffprobe -v error -show_entries stream=codec_name,codec_tag_string,width,height -of csv=p=0 '" +
                       videos[0] + "'"),
              "rawvideo,YUY2,320,240\n");
    const auto numbers = FrameNumbers(videos[0]);
    ASSERT_FALSE(numbers.empty());
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    const auto span = static_cast<double>(numbers.back() - numbers.front() + 1);
    EXPECT_LE(numbers.front(), first + 2);
    EXPECT_GE(numbers.back(), last);
    RecordProperty("frames", static_cast<int>(numbers.size()));
    RecordProperty("lost", static_cast<int>(span) - static_cast<int>(numbers.size()));
    std::printf("ten seconds of video: %zu frames, %d lost\n", numbers.size(),
                static_cast<int>(span) - static_cast<int>(numbers.size()));
}

TEST_F(KernelCapture, SigtermWhileRecordingLeavesAWholeVideo) {
    StartVideo();
    machine_.Output("sleep 2; kill -TERM $(cat /tmp/program.pid)");
    ASSERT_TRUE(machine_.Within(20, "grep -qx 'Exit varnosv program!!!!!' /var/log/varnosv.log"));
    EXPECT_TRUE(machine_.Within(10, "! kill -0 $(cat /tmp/program.pid) 2>/dev/null"));
    const auto videos = CopiedFiles(machine_, ".avi");
    ASSERT_EQ(videos.size(), 1U);
    EXPECT_GT(FrameNumbers(videos[0]).size(), 20U);
}

TEST_F(KernelCapture, TheCameraPulledAndReplugged) {
    enum Moment { kView, kVideo, kStill };
    for (int i = 0; i < 20; ++i) {
        const Moment moment = static_cast<Moment>(i % 3);
        SCOPED_TRACE("pull " + std::to_string(i));
        if (moment == kVideo) StartVideo();
        if (moment == kStill) machine_.Press("ret");
        machine_.Output("pull_camera");
        ASSERT_TRUE(machine_.Within(20, "! grep -q Camera /sys/class/video4linux/*/name"));
        machine_.Output("plug_camera");
        const unsigned given = ReadPipeline(machine_).Get("pictures");
        ASSERT_TRUE(machine_.Within(40, "[ $(sed -n 's/^pictures //p' /sys/kernel/debug/varno_board/pxp) -gt " +
                                            std::to_string(given + 3) + " ]"))
            << machine_.Output("tail -n 40 /var/log/varnosv.log");
        WaitForState(machine_, "CAM_STATUS_VIEW", 40);
        if (moment == kVideo) machine_.Press("f3");
    }
    for (const std::string& video : CopiedFiles(machine_, ".avi"))
        EXPECT_FALSE(FrameNumbers(video).empty()) << video;
    for (const std::string& still : CopiedFiles(machine_, ".jpg"))
        EXPECT_EQ(OutputOf("djpeg -grayscale -pnm '" + still + "' | head -c 15").substr(0, 10), "P5\n640 480") << still;
}

TEST_F(KernelCapture, TheCardPulledWhileRecording) {
    StartVideo();
    machine_.Output("sleep 1");
    machine_.EjectCard();
    ASSERT_TRUE(machine_.Within(20, "[ ! -b /dev/mmcblk0p1 ]"));
    // The end of the recording comes by itself or by key; live view goes on in either case.
    machine_.Output("sleep 2");
    if (machine_.Run("grep 'new: CAM_STATUS' /var/log/varnosv.log | tail -n 1 | grep -q REC_VIDEO").status == 0)
        machine_.Press("ret");
    WaitForState(machine_, "CAM_STATUS_VIEW", 30);
    machine_.InsertCard();
    ASSERT_TRUE(machine_.Within(20, "grep -q /media/sd-mmcblk0p1 /proc/mounts"));
    machine_.Press("f3");
    TakeStill(machine_);
}

TEST_F(KernelCapture, AReadOnlyCard) {
    machine_.Output("mount -o remount,ro /media/sd-mmcblk0p1");
    machine_.Press("ret");
    machine_.Output("sleep 3");
    WaitForState(machine_, "CAM_STATUS_VIEW", 30);
    machine_.Output("mount -o remount,rw /media/sd-mmcblk0p1");
    TakeStill(machine_);
}

}  // namespace
}  // namespace kernel_test
