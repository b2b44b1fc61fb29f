#include "video/v4l2_uvc_ctrl.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tests/video/on_board.h"

namespace {

class UvcCamera : public OnBoard {
  protected:
    UvcCamera() : camera(CV4L2_UVCCtrl::CreateNew(320, 240, 30, V4L2_PIX_FMT_YUYV)) {}
    ~UvcCamera() override {
        Run([this] { camera.reset(); });
        EXPECT_EQ(board.Kernel().OpenCount(), 0);
    }

    void Start() {
        Run([this] { EXPECT_TRUE(camera->Start()); });
    }
    bool Streams() {
        return Until([this] { return camera->GetUVCStatus() == UVC_STATUS_STREAMING && camera->IsStreaming(); });
    }
    // Takes the next frame; -1 when none comes.
    int TakeFrame(const std::function<void(const char*, int)>& look = {}) {
        if (!Until([this] { return camera->GetFrameBufferSize() > 0; })) return -1;
        CDoubleBufferData* slot = camera->PopFrameData();
        int length = 0;
        const char* data = slot->GetData(length);
        if (look) look(data, length);
        camera->ReleaseFrameData(slot);
        return length;
    }
    void DropFrames() {
        while (CDoubleBufferData* slot = camera->PopFrameData())
            camera->ReleaseFrameData(slot);
    }
    bool NextFrameIsGrey() {
        DropFrames();
        bool grey = false;
        TakeFrame([&](const char* data, int length) {
            grey = length > 0;
            for (int i = 1; i < length; i += 2)
                grey = grey && static_cast<unsigned char>(data[i]) == 128;
        });
        return grey;
    }
    int Connections() { return board.Kernel().IoctlCount(VIDIOC_STREAMON); }

    std::unique_ptr<CV4L2_UVCCtrl> camera;
};

}  // namespace

TEST_F(UvcCamera, ConnectsStreamsAndStops) {
    board.PlugCamera(true);
    const std::string printed = Printed([&] {
        Start();
        ASSERT_TRUE(Streams());
        EXPECT_EQ(TakeFrame(), 153600);
        EXPECT_LE(Run([&] { camera->Stop(); }).count(), 400);
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
        const std::size_t found = printed.find(line, at);
        ASSERT_NE(found, std::string::npos) << line << " missing in its place in:\n" << printed;
        at = found;
    }
    EXPECT_EQ(camera->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    DropFrames();
    EXPECT_EQ(camera->PopFrameData(), nullptr);
}

TEST_F(UvcCamera, RefusesSizesWithoutAQueue) {
    for (const auto& [width, height] : {std::pair{0U, 240U}, {320U, 0U}, {65536U, 65536U}}) {
        EXPECT_EQ(std::unique_ptr<CV4L2_UVCCtrl>(CV4L2_UVCCtrl::CreateNew(width, height, 30, V4L2_PIX_FMT_YUYV)),
                  nullptr);
    }
}

TEST_F(UvcCamera, ProbesOnceASecondAndEndsSoon) {
    board.PlugCamera(false);
    Start();
    const std::string printed = Printed([&] { board.Clock().Advance(std::chrono::milliseconds(10050)); });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(camera->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    board.PlugCamera(true);
    const auto before = board.Clock().Monotonic();
    ASSERT_TRUE(Streams());
    EXPECT_LE(board.Clock().Monotonic() - before, std::chrono::milliseconds(1300));
    board.PlugCamera(false);
    ASSERT_TRUE(Until([this] { return !camera->IsConnected(); }));
    board.Clock().Advance(std::chrono::milliseconds(500));
    EXPECT_LE(Run([&] { camera->Stop(); }).count(), 250);
}

// A fault of one call, then the camera works again: which ones cost a reconnection, and that none costs more.
TEST_F(UvcCamera, ReconnectsAfterWhatLosesTheCamera) {
    struct Case {
        unsigned long request;
        int error;
        bool reconnects;
    };
    const Case cases[] = {{VIDIOC_DQBUF, ENODEV, true},  {VIDIOC_DQBUF, EIO, true},   {VIDIOC_DQBUF, EAGAIN, true},
                          {VIDIOC_DQBUF, EINVAL, false}, {VIDIOC_QBUF, ENODEV, true}, {VIDIOC_QBUF, EIO, true}};
    board.PlugCamera(true);
    Start();
    ASSERT_TRUE(Streams());
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.request << " " << std::strerror(c.error));
        DropFrames();
        ASSERT_EQ(TakeFrame(), 153600);
        const int before = Connections();
        board.Kernel().FailIoctl(c.request, 1, c.error);
        board.Clock().Advance(std::chrono::milliseconds(900));
        ASSERT_TRUE(Streams());
        EXPECT_EQ(Connections(), before + (c.reconnects ? 1 : 0));
        DropFrames();
        EXPECT_EQ(TakeFrame(), 153600);
    }
    const int before = Connections();
    board.PlugCamera(false);
    ASSERT_TRUE(Until([this] { return !camera->IsConnected(); }));
    board.PlugCamera(true);
    ASSERT_TRUE(Streams());
    EXPECT_EQ(Connections(), before + 1);
}

// Whatever call fails whenever, the camera streams in the end and nothing stays open.
TEST_F(UvcCamera, ConnectsAfterAnyFault) {
    const unsigned long requests[] = {
        VIDIOC_QUERYCAP, VIDIOC_G_FMT,    VIDIOC_S_FMT, VIDIOC_S_PARM,   VIDIOC_QUERYCTRL, VIDIOC_G_CTRL, VIDIOC_S_CTRL,
        VIDIOC_REQBUFS,  VIDIOC_QUERYBUF, VIDIOC_QBUF,  VIDIOC_STREAMON, VIDIOC_STREAMOFF, VIDIOC_DQBUF};
    board.PlugCamera(true);
    for (const unsigned long request : requests) {
        for (int nth = 1; nth <= 3; ++nth) {
            SCOPED_TRACE(testing::Message() << request << " call " << nth);
            board.Kernel().FailIoctl(request, nth, EIO);
            Start();
            ASSERT_TRUE(Streams());
            DropFrames();
            EXPECT_EQ(TakeFrame(), 153600);
            Run([&] { camera->Stop(); });
            EXPECT_EQ(board.Kernel().OpenCount(), 0);
        }
    }
    for (const board::CameraFault fault : {board::kStreamonRefused, board::kQbufRefused, board::kDqbufEio}) {
        board.SetCameraFaults(fault);
        Start();
        board.Clock().Advance(std::chrono::milliseconds(5000));
        board.SetCameraFaults(0);
        ASSERT_TRUE(Streams());
        DropFrames();
        EXPECT_EQ(TakeFrame(), 153600);
        Run([&] { camera->Stop(); });
    }
}

TEST_F(UvcCamera, TheThirdTimeoutReconnectsHoweverFarApart) {
    board.PlugCamera(true);
    Start();
    ASSERT_TRUE(Streams());
    const int before = Connections();
    for (int timeout = 1; timeout <= 3; ++timeout) {
        EXPECT_EQ(Connections(), before);
        DropFrames();
        ASSERT_EQ(TakeFrame(), 153600);
        const std::string printed = Printed([&] {
            board.SetCameraFaults(board::kDqbufStuck);
            board.Clock().Advance(std::chrono::milliseconds(1200));
            board.SetCameraFaults(0);
            board.Clock().Advance(std::chrono::milliseconds(900));
        });
        EXPECT_EQ(Count(printed, "Wait UVC data timeout\n"), 1);
    }
    ASSERT_TRUE(Streams());
    EXPECT_EQ(Connections(), before + 1);
}

TEST_F(UvcCamera, RefusesAnotherPixelFormat) {
    board.PlugCamera(true);
    board.SetCameraFaults(board::kFormatOther);
    const std::string printed = Printed([&] {
        Start();
        board.Clock().Advance(std::chrono::milliseconds(2500));
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
    camera->SetColorOrBlack(false);  // no camera yet
    board.PlugCamera(true);
    Start();
    ASSERT_TRUE(Streams());
    EXPECT_TRUE(NextFrameIsGrey());
    camera->SetColorOrBlack(true);
    board.Clock().Advance(std::chrono::milliseconds(200));
    EXPECT_FALSE(NextFrameIsGrey());
    camera->SetColorOrBlack(false);
    const auto check_written_again = [&](const std::function<void()>& reconnect) {
        const int before = board.Kernel().IoctlCount(VIDIOC_S_CTRL);
        reconnect();
        ASSERT_TRUE(Streams());
        EXPECT_GT(board.Kernel().IoctlCount(VIDIOC_S_CTRL), before);
        EXPECT_TRUE(NextFrameIsGrey());
    };
    check_written_again([&] { Run([&] { camera->ReSetUVCResolution(640, 480); }); });
    check_written_again([&] {
        board.PlugCamera(false);
        ASSERT_TRUE(Until([this] { return !camera->IsConnected(); }));
        board.PlugCamera(true);
    });
}

TEST_F(UvcCamera, ChangesTheResolution) {
    board.PlugCamera(true);
    Start();
    ASSERT_TRUE(Streams());
    const std::string printed = Printed([&] { Run([&] { camera->ReSetUVCResolution(640, 480); }); });
    EXPECT_THAT(printed, testing::HasSubstr("opened!\n"));
    EXPECT_THAT(printed, testing::Not(testing::HasSubstr("Set bright")));
    ASSERT_TRUE(Streams());
    EXPECT_EQ(TakeFrame(), 614400);

    // A camera that keeps to the small size fills part of the large slot.
    board.SetCameraFaults(board::kSizeRefused);
    Run([&] { camera->ReSetUVCResolution(640, 480); });
    ASSERT_TRUE(Streams());
    EXPECT_EQ(TakeFrame(), 153600);
    board.SetCameraFaults(0);

    // And one whose buffers are larger than the slot is cut.
    Run([&] { camera->ReSetUVCResolution(100, 100); });
    ASSERT_TRUE(Streams());
    EXPECT_EQ(TakeFrame(), 20000);
    Run([&] { camera->ReSetUVCResolution(0, -1); });
    EXPECT_EQ(camera->WaitNewFrameData(10), 1);
    EXPECT_EQ(camera->PopFrameData(), nullptr);
    camera->ReleaseFrameData(nullptr);
}
