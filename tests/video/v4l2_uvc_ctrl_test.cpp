#include "video/v4l2_uvc_ctrl.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tests/video/on_board.h"

namespace {

// A camera that is plugged in, and its controller, not started yet.
class UvcCamera : public OnBoard {
  protected:
    UvcCamera() : camera(CV4L2_UVCCtrl::CreateNew(320, 240, 30, V4L2_PIX_FMT_YUYV)) { board.PlugCamera(true); }
    ~UvcCamera() override {
        Run([this] { camera.reset(); });
        EXPECT_EQ(board.Kernel().OpenCount(), 0);
    }

    void Start() {
        Run([this] { EXPECT_TRUE(camera->Start()); });
    }
    std::int64_t Stop() {
        return Run([this] { camera->Stop(); }).count();
    }
    void Resize(int width, int height) {
        Run([=] { camera->ReSetUVCResolution(width, height); });
    }
    bool Streams() {
        return Until([this] { return camera->GetUVCStatus() == UVC_STATUS_STREAMING && camera->IsStreaming(); });
    }
    bool Unplugged() {
        board.PlugCamera(false);
        return Until([this] { return !camera->IsConnected(); });
    }
    void DropFrames() {
        while (CDoubleBufferData* slot = camera->PopFrameData())
            camera->ReleaseFrameData(slot);
    }
    // The next frame, empty when none comes.
    std::vector<unsigned char> NextFrame() {
        DropFrames();
        if (!Until([this] { return camera->GetFrameBufferSize() > 0; })) return {};
        CDoubleBufferData* slot = camera->PopFrameData();
        int length = 0;
        const char* data = slot->GetData(length);
        std::vector<unsigned char> frame(data, data + length);
        camera->ReleaseFrameData(slot);
        return frame;
    }
    bool NextFrameIsGrey() {
        const std::vector<unsigned char> frame = NextFrame();
        bool grey = !frame.empty();
        for (std::size_t i = 1; i < frame.size(); i += 2)
            grey = grey && frame[i] == 128;
        return grey;
    }
    void Pass(int milliseconds) { board.Clock().Advance(std::chrono::milliseconds(milliseconds)); }
    int Connections() { return board.Kernel().IoctlCount(VIDIOC_STREAMON); }

    std::unique_ptr<CV4L2_UVCCtrl> camera;
};

TEST_F(UvcCamera, ConnectsStreamsAndStops) {
    const std::string printed = Printed([&] {
        Start();
        ASSERT_TRUE(Streams());
        EXPECT_EQ(NextFrame().size(), 153600U);
        EXPECT_LE(Stop(), 400);
    });
    std::size_t at = 0;
    for (const char* line :
         {"Opened V4L2ID = ", "Find camera ", "UVC camera /dev/video",
          "UVC change state from UVC_STATUS_DISCONNECTED to UVC_STATUS_CONNECTED\n", "Set bright: 127\n",
          "V4L2_CID_BRIGHTNESS:127\n", "V4L2_CID_SATURATION:128\n",
          "V4L2_CID_EXPOSURE_AUTO:", "V4L2_CID_EXPOSURE_ABSOLUTE:157\n",
          "Enter CV4L2_UVCCtrl::thread_proc() v4l fd= ", "CV4L2_UVCCtrl::StartStream\n", "enabled.\n",
          "UVC change state from UVC_STATUS_CONNECTED to UVC_STATUS_STREAMING\n", "disabled.\n", "Closing ",
          "UVC change state from UVC_STATUS_STREAMING to UVC_STATUS_DISCONNECTED\n",
          "Exit CV4L2_UVCCtrl::thread_proc()\n", "CV4L2_UVCCtrl::StopThread\n"}) {
        at = printed.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << " missing in its place in:\n" << printed;
    }
    EXPECT_EQ(camera->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    DropFrames();
    EXPECT_EQ(camera->PopFrameData(), nullptr);
}

TEST_F(UvcCamera, RefusesSizesWithoutAQueue) {
    for (const auto& [width, height] : {std::pair{0U, 240U}, {320U, 0U}, {65536U, 65536U}})
        EXPECT_EQ(CV4L2_UVCCtrl::CreateNew(width, height, 30, V4L2_PIX_FMT_YUYV), nullptr) << width << "x" << height;
}

TEST_F(UvcCamera, ProbesOnceASecondAndEndsSoon) {
    board.PlugCamera(false);
    Start();
    EXPECT_EQ(Printed([&] { Pass(10050); }), "");
    EXPECT_EQ(camera->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    board.PlugCamera(true);
    const auto before = board.Clock().Monotonic();
    ASSERT_TRUE(Streams());
    EXPECT_LE(board.Clock().Monotonic() - before, std::chrono::milliseconds(1300));
    ASSERT_TRUE(Unplugged());
    Pass(500);
    EXPECT_LE(Stop(), 250);
}

// A fault of one call, then the camera works again: which ones cost a reconnection, and that none costs more.
TEST_F(UvcCamera, ReconnectsAfterWhatLosesTheCamera) {
    const struct {
        unsigned long request;
        int error, reconnections;
    } cases[] = {{VIDIOC_DQBUF, ENODEV, 1}, {VIDIOC_DQBUF, EIO, 1},   {VIDIOC_DQBUF, EAGAIN, 1},
                 {VIDIOC_DQBUF, EINVAL, 0}, {VIDIOC_QBUF, ENODEV, 1}, {VIDIOC_QBUF, EIO, 1}};
    Start();
    ASSERT_TRUE(Streams());
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.request << " " << std::strerror(c.error));
        ASSERT_EQ(NextFrame().size(), 153600U);
        const int before = Connections();
        board.Kernel().FailIoctl(c.request, 1, c.error);
        Pass(900);
        ASSERT_TRUE(Streams());
        EXPECT_EQ(Connections(), before + c.reconnections);
        EXPECT_EQ(NextFrame().size(), 153600U);
    }
    const int before = Connections();
    ASSERT_TRUE(Unplugged());
    board.PlugCamera(true);
    ASSERT_TRUE(Streams());
    EXPECT_EQ(Connections(), before + 1);
}

// Whatever call fails whenever, the camera streams in the end and nothing stays open.
TEST_F(UvcCamera, ConnectsAfterAnyFault) {
    const auto streams_and_stops = [this] {
        ASSERT_TRUE(Streams());
        EXPECT_EQ(NextFrame().size(), 153600U);
        Stop();
        EXPECT_EQ(board.Kernel().OpenCount(), 0);
    };
    for (const unsigned long request :
         {VIDIOC_QUERYCAP, VIDIOC_G_FMT, VIDIOC_S_FMT, VIDIOC_S_PARM, VIDIOC_QUERYCTRL, VIDIOC_G_CTRL, VIDIOC_S_CTRL,
          VIDIOC_REQBUFS, VIDIOC_QUERYBUF, VIDIOC_QBUF, VIDIOC_STREAMON, VIDIOC_STREAMOFF, VIDIOC_DQBUF}) {
        for (int nth = 1; nth <= 3; ++nth) {
            SCOPED_TRACE(testing::Message() << request << " call " << nth);
            board.Kernel().FailIoctl(request, nth, EIO);
            Start();
            streams_and_stops();
        }
    }
    for (const board::CameraFault fault : {board::kStreamonRefused, board::kQbufRefused, board::kDqbufEio}) {
        SCOPED_TRACE(fault);
        board.SetCameraFaults(fault);
        Start();
        Pass(5000);
        board.SetCameraFaults(0);
        streams_and_stops();
    }
}

TEST_F(UvcCamera, TheThirdTimeoutReconnectsHoweverFarApart) {
    Start();
    ASSERT_TRUE(Streams());
    const int before = Connections();
    for (int timeout = 1; timeout <= 3; ++timeout) {
        EXPECT_EQ(Connections(), before);
        ASSERT_EQ(NextFrame().size(), 153600U);
        const std::string printed = Printed([&] {
            board.SetCameraFaults(board::kDqbufStuck);
            Pass(1200);
            board.SetCameraFaults(0);
            Pass(900);
        });
        EXPECT_EQ(Count(printed, "Wait UVC data timeout\n"), 1);
    }
    ASSERT_TRUE(Streams());
    EXPECT_EQ(Connections(), before + 1);
}

TEST_F(UvcCamera, RefusesAnotherPixelFormat) {
    board.SetCameraFaults(board::kFormatOther);
    const std::string printed = Printed([&] {
        Start();
        Pass(2500);
    });
    const int attempts = Count(printed, "Opened V4L2ID");
    EXPECT_GE(attempts, 3);
    EXPECT_EQ(Count(printed, "answers format MJPG, not YUYV\n"), attempts);
    EXPECT_EQ(Count(printed, "opened!\n"), 0);
    EXPECT_EQ(camera->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    board.SetCameraFaults(0);
    EXPECT_TRUE(Streams());
}

TEST_F(UvcCamera, MonochromeOutlivesReconnections) {
    board.PlugCamera(false);
    camera->SetColorOrBlack(false);  // no camera yet
    board.PlugCamera(true);
    Start();
    ASSERT_TRUE(Streams());
    EXPECT_TRUE(NextFrameIsGrey());
    camera->SetColorOrBlack(true);
    Pass(200);
    EXPECT_FALSE(NextFrameIsGrey());
    camera->SetColorOrBlack(false);
    for (const bool unplug : {false, true}) {
        const int before = board.Kernel().IoctlCount(VIDIOC_S_CTRL);
        if (unplug) {
            ASSERT_TRUE(Unplugged());
            board.PlugCamera(true);
        } else {
            Resize(640, 480);
        }
        ASSERT_TRUE(Streams());
        EXPECT_GT(board.Kernel().IoctlCount(VIDIOC_S_CTRL), before) << "not written again";
        EXPECT_TRUE(NextFrameIsGrey());
    }
}

TEST_F(UvcCamera, ChangesTheResolution) {
    Start();
    ASSERT_TRUE(Streams());
    const std::string printed = Printed([&] { Resize(640, 480); });
    EXPECT_THAT(printed, testing::HasSubstr("opened!\n"));
    EXPECT_THAT(printed, testing::Not(testing::HasSubstr("Set bright")));
    ASSERT_TRUE(Streams());
    EXPECT_EQ(NextFrame().size(), 614400U);
    // A camera that keeps to the small size fills part of the large slot.
    board.SetCameraFaults(board::kSizeRefused);
    Resize(640, 480);
    ASSERT_TRUE(Streams());
    EXPECT_EQ(NextFrame().size(), 153600U);
    board.SetCameraFaults(0);
    // And one whose buffers are larger than the slot is cut.
    Resize(100, 100);
    ASSERT_TRUE(Streams());
    EXPECT_EQ(NextFrame().size(), 20000U);
    Resize(0, -1);
    EXPECT_EQ(camera->WaitNewFrameData(10), 1);
    EXPECT_EQ(camera->PopFrameData(), nullptr);
    camera->ReleaseFrameData(nullptr);
}

}  // namespace
