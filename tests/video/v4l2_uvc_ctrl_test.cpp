#include "video/v4l2_uvc_ctrl.h"

#include <fcntl.h>

#include "tests/video/on_board.h"
#include "tests/video/scripted_video.h"

namespace {

std::unique_ptr<CV4L2_UVCCtrl> MakeCamera(unsigned width = 320, unsigned height = 240) {
    return std::unique_ptr<CV4L2_UVCCtrl>(CV4L2_UVCCtrl::CreateNew(width, height, 30, V4L2_PIX_FMT_YUYV));
}

// A camera that is plugged in, and its controller, not started yet.
class UvcCamera : public OnBoard {
  protected:
    UvcCamera() { board.PlugCamera(true); }
    ~UvcCamera() override {
        Run([this] { camera.reset(); });
        EXPECT_EQ(board.Kernel().OpenCount(), 0);
    }

    void Start() {
        Run([this] { EXPECT_TRUE(camera->Start()); });
    }
    long Stop() {
        return Run([this] { camera->Stop(); });
    }
    bool Streams() {
        return Until([this] { return camera->GetUVCStatus() == UVC_STATUS_STREAMING && camera->IsStreaming(); });
    }
    // The bytes of the next frame and whether it is grey; no bytes when none comes.
    std::pair<int, bool> NextFrame() {
        while (!TakeFrame(*camera).empty()) {
        }
        std::string frame;
        Until([&] { return !(frame = TakeFrame(*camera)).empty(); });
        int chroma = 0;
        for (std::size_t i = 1; i < frame.size(); i += 2)
            chroma |= frame[i] ^ '\x80';
        return {static_cast<int>(frame.size()), chroma == 0};
    }
    int Connections() { return board.Kernel().IoctlCount(VIDIOC_STREAMON); }

    std::unique_ptr<CV4L2_UVCCtrl> camera = MakeCamera();
};

TEST_F(UvcCamera, ConnectsStreamsAndStops) {
    board.PlugCamera(false);
    Start();
    Said();
    Pass(10050);
    EXPECT_EQ(Said(), "");
    board.PlugCamera(true);
    Pass(1300);  // it looks once a second
    EXPECT_EQ(NextFrame().first, kFrameBytes);
    EXPECT_LE(Stop(), 400);
    const std::string said = Said();
    std::size_t at = 0;
    for (const char* line :
         {"Opened V4L2ID = ", "Find camera ", "UVC camera /dev/video",
          "UVC change state from UVC_STATUS_DISCONNECTED to UVC_STATUS_CONNECTED\n", "Set bright: 127\n",
          "V4L2_CID_BRIGHTNESS:127\n", "V4L2_CID_SATURATION:128\n", "V4L2_CID_EXPOSURE_AUTO:1\n",
          "V4L2_CID_EXPOSURE_ABSOLUTE:157\n", "CV4L2_UVCCtrl::StartStream\n", "enabled.\n",
          "UVC change state from UVC_STATUS_CONNECTED to UVC_STATUS_STREAMING\n", "disabled.\n", "Closing ",
          "UVC change state from UVC_STATUS_STREAMING to UVC_STATUS_DISCONNECTED\n",
          "Exit CV4L2_UVCCtrl::thread_proc()\n", "CV4L2_UVCCtrl::StopThread\n"}) {
        at = said.find(line, at);
        ASSERT_NE(at, std::string::npos) << line << " missing in its place";
    }
    board.PlugCamera(false);
    Start();
    Pass(500);
    EXPECT_LE(Stop(), 250);
    EXPECT_EQ(Count(Said(), "Enter CV4L2_UVCCtrl::thread_proc() v4l fd= -1\n"), 1);
    for (const auto& [width, height] : {std::pair{0U, 240U}, {320U, 0U}, {65536U, 65536U}})
        EXPECT_FALSE(MakeCamera(width, height)) << width << "x" << height;
}

// A fault of one call, then the camera works again: which ones cost a reconnection, and that none costs more.
TEST_F(UvcCamera, ReconnectsAfterWhatLosesTheCamera) {
    const struct {
        unsigned long request;
        int error, reconnections;
    } cases[] = {{VIDIOC_DQBUF, ENODEV, 1}, {VIDIOC_DQBUF, EIO, 1},   {VIDIOC_DQBUF, EAGAIN, 1},
                 {VIDIOC_DQBUF, EINVAL, 0}, {VIDIOC_QBUF, ENODEV, 1}, {VIDIOC_QBUF, EIO, 1}};
    // Meanwhile nobody takes what is printed, which leaves another errno.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const int log = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY);
    Start();
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.request << " " << std::strerror(c.error));
        EXPECT_EQ(NextFrame().first, kFrameBytes);
        const int before = Connections();
        board.Kernel().FailIoctl(c.request, 1, c.error);
        dup2(full, STDOUT_FILENO);
        Pass(900);
        dup2(log, STDOUT_FILENO);
        EXPECT_TRUE(Streams());
        EXPECT_EQ(Connections(), before + c.reconnections);
    }
    close(full);
    close(log);
    // The third time-out does, however far apart the three are.
    const int before = Connections();
    for (int timeout = 1; timeout <= 3; ++timeout) {
        EXPECT_EQ(Connections(), before);
        EXPECT_EQ(NextFrame().first, kFrameBytes);
        Said();
        board.SetCameraFaults(board::kDqbufStuck);
        Pass(1200);
        board.SetCameraFaults(0);
        Pass(900);
        EXPECT_EQ(Count(Said(), "Wait UVC data timeout\n"), 1);
    }
    EXPECT_TRUE(Streams());
    EXPECT_EQ(Connections(), before + 1);
}

// Whatever call fails whenever, the camera streams in the end and nothing stays open.
TEST_F(UvcCamera, ConnectsAfterAnyFault) {
    const auto streams_and_stops = [this] {
        EXPECT_TRUE(Streams());
        EXPECT_EQ(NextFrame().first, kFrameBytes);
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
    // However often it is asked to, it tries a camera of other pictures once a second.
    board.SetCameraFaults(board::kFormatOther);
    Said();
    for (int start = 0; start < 20; ++start) {
        Start();
        Pass(200);
    }
    const std::string tried = Said();
    EXPECT_LE(Count(tried, "Find camera"), 6);
    EXPECT_EQ(Count(tried, "answers format MJPG, not YUYV\n"), 1);
    for (const board::CameraFault fault :
         {board::kStreamonRefused, board::kQbufRefused, board::kDqbufEio, board::kFormatOther}) {
        SCOPED_TRACE(fault);
        board.SetCameraFaults(fault);
        Said();
        Start();
        Pass(5000);
        const std::string said = Said();
        EXPECT_LE(Count(said, "Unable to start capture"), 5) << "once a second";
        board.SetCameraFaults(0);
        streams_and_stops();
    }
}

TEST_F(UvcCamera, KeepsSizeAndColourWhenItIsConnectedAnew) {
    camera->SetColorOrBlack(false);  // not connected yet
    Start();
    EXPECT_EQ(NextFrame(), std::pair(kFrameBytes, true));
    camera->SetColorOrBlack(true);
    Pass(200);
    EXPECT_EQ(NextFrame(), std::pair(kFrameBytes, false));
    camera->SetColorOrBlack(false);
    for (const auto& [width, height, faults, bytes] :
         {std::tuple{640, 480, 0U, 614400},
          {640, 480, unsigned{board::kSizeRefused}, kFrameBytes},  // part of the slot
          {100, 100, 0U, 20000}}) {                                // cut to the slot
        SCOPED_TRACE(bytes);
        Said();
        board.SetCameraFaults(faults);
        Run([this, w = width, h = height] { camera->ReSetUVCResolution(w, h); });
        const std::string said = Said();
        EXPECT_EQ(Count(said, "opened!\n"), 1);
        EXPECT_EQ(Count(said, "Set bright"), 0);
        EXPECT_EQ(Count(said, " unavailable get width 320 height 240 src(320x240)\n"), bytes < 614400 ? 1 : 0);
        for (const bool plugged_again : {false, true}) {
            board.PlugCamera(!plugged_again);
            Pass(500);
            board.PlugCamera(true);
            EXPECT_EQ(NextFrame(), std::pair(bytes, true));
        }
    }
    Run([this] { camera->ReSetUVCResolution(0, -1); });
    EXPECT_EQ(camera->WaitNewFrameData(10), 1);
    EXPECT_EQ(TakeFrame(*camera), "");
}

// Anything may happen to the file with the camera's name between the search and the check.
TEST(UvcCameraDevice, IsLeftAloneWhenItsNameIsLost) {
    const std::string path = "/sys/class/video4linux/video3/name";
    for (const auto& [name, printed] :
         {std::pair{"", "Error: Stat " + path + "\n"}, {"Cam", std::string()}, {"Microphone", std::string()}}) {
        support::ScriptedVideo kernel;
        kernel.on_ioctl = [&, n = name](const std::string&, unsigned long, void*) {
            std::filesystem::remove(kernel.Path(path));
            if (*n) kernel.Put(path, n);
            return 0;
        };
        const auto camera = MakeCamera();
        const std::string all = Printed([&] {
            EXPECT_TRUE(camera->Start());
            camera->Stop();
        });
        EXPECT_EQ(Count(all, "Opened V4L2ID = 3\n" + printed + "Closing /dev/video3\n"), 1) << all;
        EXPECT_EQ(kernel.OpenFiles(), 0);
    }
}

}  // namespace
