// The virtual camera keeps V4L2's rules.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <optional>
#include <thread>

#include "board/scene_source.h"
#include "tests/board/video_node.h"
#include "tests/support/virtual_board.h"

namespace {

using board_test::VideoNode;
using std::chrono::milliseconds;

class CameraDeviceTest : public testing::Test {
  protected:
    VideoNode Open(int flags = O_RDWR | O_NONBLOCK) {
        return {board.Kernel(), board::kCameraNode, V4L2_BUF_TYPE_VIDEO_CAPTURE, flags};
    }
    // Runs `call` on a thread that may sleep on the clock, and moves the clock until it returns.
    template <typename Call>
    int Answer(Call call, milliseconds limit = std::chrono::seconds(5)) {
        std::optional<int> answer;
        std::atomic<bool> done{false};
        std::thread thread([&] {
            answer = call();
            done = true;
        });
        EXPECT_TRUE(board.Clock().RunUntil([&] { return done.load(); }, limit));
        thread.join();
        return *answer;
    }

    support::VirtualBoard board;
};

TEST_F(CameraDeviceTest, OnlyTheCaptureNodeCaptures) {
    VideoNode capture = Open();
    VideoNode metadata(board.Kernel(), board::kCameraMetadataNode, V4L2_BUF_TYPE_VIDEO_CAPTURE);
    EXPECT_EQ(board.Read("/sys/class/video4linux/video0/name"), board.Read("/sys/class/video4linux/video1/name"));
    v4l2_capability whole{};
    ASSERT_EQ(capture.Call(VIDIOC_QUERYCAP, &whole), 0);
    EXPECT_TRUE(whole.device_caps & V4L2_CAP_VIDEO_CAPTURE);
    ASSERT_EQ(metadata.Call(VIDIOC_QUERYCAP, &whole), 0);
    EXPECT_TRUE(whole.capabilities & V4L2_CAP_VIDEO_CAPTURE);
    EXPECT_FALSE(whole.device_caps & V4L2_CAP_VIDEO_CAPTURE);
    EXPECT_EQ(metadata.SetFormat(320, 240, V4L2_PIX_FMT_YUYV), EINVAL);
}

TEST_F(CameraDeviceTest, FormatsAreClampedAsADriverDoes) {
    VideoNode camera = Open();
    const struct {
        unsigned asked_width, asked_height, pixel_format, faults, width, height, answered_format;
    } cases[] = {{320, 240, V4L2_PIX_FMT_YUYV, 0, 320, 240, V4L2_PIX_FMT_YUYV},
                 {640, 480, V4L2_PIX_FMT_YUYV, 0, 640, 480, V4L2_PIX_FMT_YUYV},
                 {1, 1, V4L2_PIX_FMT_YUYV, 0, 320, 240, V4L2_PIX_FMT_YUYV},
                 {600, 400, V4L2_PIX_FMT_RGB24, 0, 640, 480, V4L2_PIX_FMT_YUYV},
                 {0xFFFFFFFF, 0xFFFFFFFF, 0, 0, 640, 480, V4L2_PIX_FMT_YUYV},
                 {640, 480, V4L2_PIX_FMT_YUYV, board::kSizeRefused, 320, 240, V4L2_PIX_FMT_YUYV},
                 {320, 240, V4L2_PIX_FMT_YUYV, board::kFormatOther, 320, 240, V4L2_PIX_FMT_MJPEG}};
    for (const auto& c : cases) {
        board.SetCameraFaults(c.faults);
        ASSERT_EQ(camera.SetFormat(c.asked_width, c.asked_height, c.pixel_format), 0);
        EXPECT_EQ(camera.format.fmt.pix.width, c.width);
        EXPECT_EQ(camera.format.fmt.pix.height, c.height);
        EXPECT_EQ(camera.format.fmt.pix.pixelformat, c.answered_format);
        EXPECT_EQ(camera.format.fmt.pix.sizeimage, c.width * c.height * 2);
    }
}

TEST_F(CameraDeviceTest, BuffersComeBeforeStreamingAndQueuingBeforeDequeuing) {
    VideoNode camera = Open();
    VideoNode other = Open();
    EXPECT_EQ(camera.Stream(true), EINVAL);
    EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), EINVAL);
    ASSERT_EQ(camera.SetFormat(320, 240, V4L2_PIX_FMT_YUYV), 0);
    ASSERT_EQ(camera.Request(2), 0);
    EXPECT_EQ(other.Request(1), EBUSY);
    EXPECT_EQ(camera.SetFormat(640, 480, V4L2_PIX_FMT_YUYV), EBUSY);
    ASSERT_NE(camera.Map(1), nullptr);
    EXPECT_EQ(camera.buffer.length, 320U * 240 * 2);
    EXPECT_EQ(camera.Request(3), EBUSY) << "a buffer is mapped";
    EXPECT_EQ(board.Kernel().Map(camera.Fd(), camera.buffer.length, 12345), MAP_FAILED);
    EXPECT_EQ(camera.Buffer(VIDIOC_QUERYBUF, 2), EINVAL);
    EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), EINVAL) << "not streaming";
    EXPECT_EQ(camera.Buffer(VIDIOC_QBUF, 1), 0);
    EXPECT_EQ(camera.Buffer(VIDIOC_QBUF, 1), EINVAL) << "queued already";
    ASSERT_EQ(camera.Stream(true), 0);
    EXPECT_TRUE(board.Get(&board::Block::camera).streaming);
    EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), EAGAIN) << "no frame yet";
    EXPECT_EQ(camera.Request(1), EBUSY) << "streaming";
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    EXPECT_EQ(camera.Call(VIDIOC_S_PARM, &parameters), EBUSY);
    EXPECT_EQ(camera.Stream(false), 0);
    EXPECT_EQ(camera.Buffer(VIDIOC_QBUF, 1), 0) << "the stop gave the buffer back";
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
}

TEST_F(CameraDeviceTest, FramesArePacedByTheClock) {
    VideoNode camera = Open();
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    parameters.parm.capture.timeperframe = {1, 100};
    ASSERT_EQ(camera.Call(VIDIOC_S_PARM, &parameters), 0);
    EXPECT_EQ(parameters.parm.capture.timeperframe.denominator, 30U);
    unsigned char* frame = camera.Start(320, 240, V4L2_PIX_FMT_YUYV);
    ASSERT_NE(frame, nullptr);
    board.Clock().Advance(milliseconds(33));
    EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), EAGAIN);
    board.Clock().Advance(milliseconds(1));
    ASSERT_EQ(camera.Buffer(VIDIOC_DQBUF), 0);
    EXPECT_EQ(camera.buffer.sequence, 0U);
    EXPECT_EQ(board::ReadFrameNumber(frame, 320, 240, 2, 640), 1);
    // Ten frames pass without a buffer: they are lost.
    board.Clock().Advance(milliseconds(334));
    EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), 0);
    EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), EAGAIN);
    EXPECT_EQ(Answer([&] { return camera.Wait(1000); }), 1);
    ASSERT_EQ(camera.Buffer(VIDIOC_DQBUF), 0);
    EXPECT_EQ(camera.buffer.sequence, 11U);
    EXPECT_EQ(board::ReadFrameNumber(frame, 320, 240, 2, 640), 12);
}

TEST_F(CameraDeviceTest, BlockingDequeueWaitsForTheFrame) {
    VideoNode camera = Open(O_RDWR);
    ASSERT_NE(camera.Start(320, 240, V4L2_PIX_FMT_YUYV), nullptr);
    const auto before = board.Clock().Monotonic();
    EXPECT_EQ(Answer([&] { return camera.Buffer(VIDIOC_DQBUF); }), 0);
    EXPECT_EQ((board.Clock().Monotonic() - before) / milliseconds(1), 33);
}

TEST_F(CameraDeviceTest, FaultsShowAsADriverShowsThem) {
    const struct {
        std::uint32_t faults;
        int queue, stream, wait, dequeue;
        std::uint32_t bytes, flag;
    } cases[] = {{0, 0, 0, 1, 0, 153600, 0},
                 {board::kDqbufStuck, 0, 0, 0, EAGAIN, 0, 0},
                 {board::kDqbufEio, 0, 0, 1, EIO, 0, 0},
                 {board::kStreamonRefused, 0, ENOSPC, 1, EINVAL, 0, 0},
                 {board::kQbufRefused, EIO, 0, 0, EAGAIN, 0, 0},
                 {board::kShortFrame, 0, 0, 1, 0, 76800, 0},
                 {board::kErrorFlag, 0, 0, 1, 0, 153600, V4L2_BUF_FLAG_ERROR}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.faults);
        VideoNode camera = Open();
        ASSERT_EQ(camera.SetFormat(320, 240, V4L2_PIX_FMT_YUYV), 0);
        ASSERT_EQ(camera.Request(1), 0);
        board.SetCameraFaults(c.faults);
        EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), c.queue);
        EXPECT_EQ(camera.Stream(true), c.stream);
        EXPECT_EQ(Answer([&] { return camera.Wait(1000); }), c.wait);
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), c.dequeue);
        if (c.bytes) {
            EXPECT_EQ(camera.buffer.bytesused, c.bytes);
            EXPECT_EQ(camera.buffer.flags & V4L2_BUF_FLAG_ERROR, c.flag);
        }
        board.SetCameraFaults(0);
    }
}

TEST_F(CameraDeviceTest, AShortFrameLeavesTheRestOfTheBuffer) {
    VideoNode camera = Open();
    unsigned char* data = camera.Start(320, 240, V4L2_PIX_FMT_YUYV);
    ASSERT_NE(data, nullptr);
    std::fill_n(data, 153600, 0xAB);
    board.SetCameraFaults(board::kShortFrame);
    ASSERT_EQ(Answer([&] { return camera.Wait(1000); }), 1);
    ASSERT_EQ(camera.Buffer(VIDIOC_DQBUF), 0);
    EXPECT_LT(std::count(data, data + 76800, 0xAB), 7680);
    EXPECT_EQ(std::count(data + 76800, data + 153600, 0xAB), 76800);
}

TEST_F(CameraDeviceTest, TheSceneGoesOnBetweenStreams) {
    std::vector<unsigned char> first[2];
    for (auto& frame : first) {
        VideoNode camera = Open();
        const unsigned char* data = camera.Start(320, 240, V4L2_PIX_FMT_YUYV);
        ASSERT_NE(data, nullptr);
        ASSERT_EQ(Answer([&] { return camera.Wait(1000); }), 1);
        ASSERT_EQ(camera.Buffer(VIDIOC_DQBUF), 0);
        frame.assign(data, data + 153600);
        board.Clock().Advance(milliseconds(500));
    }
    EXPECT_NE(first[0], first[1]);
}

TEST_F(CameraDeviceTest, UnpluggedInAnyStateEveryCallSaysSo) {
    for (const bool streaming : {false, true}) {
        VideoNode camera = Open();
        if (streaming) {
            ASSERT_NE(camera.Start(320, 240, V4L2_PIX_FMT_YUYV), nullptr);
        }
        std::atomic<int> waited{-1};
        std::thread waiting([&] { waited = camera.Wait(1000); });
        if (streaming) board.Clock().Settle();  // asleep in the driver
        board.PlugCamera(false);
        ASSERT_TRUE(board.Clock().RunUntil([&] { return waited >= 0; }, milliseconds(1000)));
        waiting.join();
        EXPECT_EQ(waited, 1) << "so that the next call tells why";
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), ENODEV);
        EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), ENODEV);
        EXPECT_EQ(camera.Stream(false), ENODEV);
        EXPECT_EQ(Open().Fd(), -1);
        EXPECT_FALSE(std::filesystem::exists(board.Kernel().Path("/sys/class/video4linux/video0")));
        board.PlugCamera(true);
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), ENODEV) << "the old descriptor stays dead";
        EXPECT_GE(Open().Fd(), 0);
    }
}

TEST_F(CameraDeviceTest, ControlsChangeThePicture) {
    board.Write("/sys/class/leds/led-pwm0/brightness", "104");
    board.Folder().Sync();
    VideoNode camera = Open();
    unsigned char* frame = camera.Start(320, 240, V4L2_PIX_FMT_YUYV);
    ASSERT_NE(frame, nullptr);
    const auto mean = [&](int brightness, int saturation, int first) {
        EXPECT_EQ(camera.Control(V4L2_CID_BRIGHTNESS, brightness), 0);
        EXPECT_EQ(camera.Control(V4L2_CID_SATURATION, saturation), 0);
        board.Clock().Advance(milliseconds(34));
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF), 0);
        EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), 0);
        int sum = 0;
        for (int i = first; i < 320 * 240 * 2; i += 4)
            sum += frame[i];
        return sum / (320 * 240 / 2);
    };
    const int neutral = mean(128, 128, 0);
    EXPECT_GT(mean(168, 128, 0), neutral + 30);
    EXPECT_GT(mean(128, 128, 3), 129) << "a warm light";
    EXPECT_EQ(mean(128, 0, 3), 128) << "no colour at all";
    EXPECT_EQ(camera.Control(V4L2_CID_BRIGHTNESS, 1000), 0) << "integers are clamped";
    v4l2_control control{V4L2_CID_BRIGHTNESS, 0};
    EXPECT_EQ(camera.Call(VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 255);
    EXPECT_EQ(camera.Control(V4L2_CID_EXPOSURE_AUTO, 9), ERANGE);
    EXPECT_EQ(camera.Control(V4L2_CID_ZOOM_ABSOLUTE, 1), EINVAL);
}

TEST_F(CameraDeviceTest, GrantsAndFailuresOnRequest) {
    board.Kernel().Camera().GrantBuffers(4);
    VideoNode camera = Open();
    ASSERT_EQ(camera.Request(1), 0);
    EXPECT_EQ(camera.granted, 4U);
    board.Kernel().FailIoctl(VIDIOC_QUERYBUF, 2, ENOMEM);
    EXPECT_EQ(camera.Buffer(VIDIOC_QUERYBUF), 0);
    EXPECT_EQ(camera.Buffer(VIDIOC_QUERYBUF), ENOMEM);
    EXPECT_EQ(camera.Buffer(VIDIOC_QUERYBUF), 0);
    board.Kernel().FailOpen(board::kCameraNode, 1, EACCES);
    EXPECT_EQ(Open().Fd(), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_GE(Open().Fd(), 0);
}

TEST_F(CameraDeviceTest, MisuseIsCounted) {
    v4l2_format format{};
    EXPECT_EQ(board.Kernel().Ioctl(9999, VIDIOC_G_FMT, &format), -1);
    EXPECT_EQ(errno, EBADF);
    VideoNode camera = Open();
    EXPECT_EQ(camera.Call(VIDIOC_S_FMT, nullptr), EFAULT);
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
    EXPECT_EQ(camera.Call(VIDIOC_S_INPUT, &format), ENOTTY);
    EXPECT_EQ(board.Kernel().Unmap(&format, 4096), -1);
    EXPECT_EQ(board.Kernel().Close(9999), -1);
    EXPECT_EQ(board.Get(&board::Block::violations), 3U);
}

}  // namespace
