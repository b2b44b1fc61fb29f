#include "video/v4l2_video_ctrl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/video/scripted_video.h"

namespace {

using support::ScriptedVideo;

class Device : public CV4L2_VideoCtrl {
  public:
    explicit Device(unsigned capability = V4L2_CAP_VIDEO_CAPTURE) : CV4L2_VideoCtrl(capability) {}
    using CV4L2_VideoCtrl::AddStreamBufferList;
    using CV4L2_VideoCtrl::DisableStream;
    using CV4L2_VideoCtrl::EnableStream;
    using CV4L2_VideoCtrl::GetControlValue;
    using CV4L2_VideoCtrl::GetControlValueMaxMin;
    using CV4L2_VideoCtrl::GetOutput;
    using CV4L2_VideoCtrl::GetStreamBufferSize;
    using CV4L2_VideoCtrl::isv4l2Control;
    using CV4L2_VideoCtrl::m_bIsstreaming;
    using CV4L2_VideoCtrl::m_nHeight;
    using CV4L2_VideoCtrl::m_nV4L2_fd;
    using CV4L2_VideoCtrl::m_nVideo_ID;
    using CV4L2_VideoCtrl::m_nWidth;
    using CV4L2_VideoCtrl::ResetControl;
    using CV4L2_VideoCtrl::SetControlValue;
    using CV4L2_VideoCtrl::SetFBuf_Overlay;
    using CV4L2_VideoCtrl::SetOutput_Crop;
    using CV4L2_VideoCtrl::SetOutput_ID;
    using CV4L2_VideoCtrl::SetOutput_Overlay;
    using CV4L2_VideoCtrl::SetV4L2Framerate;
    using CV4L2_VideoCtrl::SetV4L2PixFormat;
    using CV4L2_VideoCtrl::SetV4L2WinFormat;
    using CV4L2_VideoCtrl::v4l2_DQBUF;
    using CV4L2_VideoCtrl::v4l2_QBUF;
};

constexpr auto kCapture = V4L2_BUF_TYPE_VIDEO_CAPTURE;
constexpr auto kOverlay = V4L2_BUF_TYPE_VIDEO_OUTPUT_OVERLAY;

// What `action` prints, without the addresses of buffers.
std::string Printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    std::string text = testing::internal::GetCapturedStdout();
    for (std::size_t at = 0; (at = text.find(" 0x", at)) != std::string::npos;) {
        const std::size_t line = text.rfind('\n', at) + 1;
        if (text.compare(line, 4, "Add ") == 0 || text.compare(line, 6, "Clear ") == 0) {
            text.erase(at, text.find('\n', at) - at);
        } else {
            ++at;
        }
    }
    return text;
}

v4l2_pix_format Yuyv(unsigned width, unsigned height) {
    v4l2_pix_format pix{};
    pix.width = width;
    pix.height = height;
    pix.pixelformat = V4L2_PIX_FMT_YUYV;
    return pix;
}

v4l2_window Window() {
    v4l2_window window{};
    window.w = {1, 2, 30, 40};
    window.field = V4L2_FIELD_NONE;
    window.chromakey = 0x010101;
    window.global_alpha = 255;
    return window;
}

}  // namespace

TEST(VideoDevice, OpensByPublishedNameAndCapability) {
    struct Case {
        const char* published;
        const char* wanted;
        std::uint32_t capabilities, device_capabilities;
        bool node;
        const char* printed;
    };
    constexpr std::uint32_t kUsable = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    const Case cases[] = {
        {"USB Camera\n", "Camera", kUsable, 0, true, "Opened V4L2ID = 12\n"},
        {"USB Camera\n", "", kUsable, 0, true, "Opened V4L2ID = 12\n"},
        {"USB Camera\n", "PxP", kUsable, 0, true, ""},
        {"", "Camera", kUsable, 0, true, ""},
        {"A name whose end is not read Camera", "Camera", kUsable, 0, true, ""},
        {"Camera", "Camera", V4L2_CAP_STREAMING, 0, true,
         "Error opening device /dev/video12: video capabilities not supported.\n"},
        {"Camera", "Camera", V4L2_CAP_VIDEO_CAPTURE, 0, true, "/dev/video12 does not support streaming i/o\n"},
        {"Camera", "Camera", kUsable, V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING, true,
         "Error opening device /dev/video12: video capabilities not supported.\n"},
        {"Camera", "Camera", kUsable, 0, false,
         "ERROR:(No such file or directory) opening V4L interface /dev/video12\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.published) + " " + c.printed);
        ScriptedVideo kernel(c.published, 12);
        kernel.Put("/sys/class/video4linux/radio0/name", "Camera");
        kernel.Put("/sys/class/video4linux/.video1/name", "Camera");
        if (*c.wanted) kernel.Put("/sys/class/video4linux/video/other", "");
        if (!c.node) std::filesystem::remove(kernel.Path("/dev/video12"));
        kernel.capabilities = c.capabilities;
        kernel.device_capabilities = c.device_capabilities;
        Device device;
        bool opened = false;
        EXPECT_EQ(Printed([&] { opened = device.Open(c.wanted, false); }), c.printed);
        const bool expected = std::string(c.printed).rfind("Opened", 0) == 0;
        EXPECT_EQ(opened, expected);
        EXPECT_EQ(device.IsOpened(), expected);
        EXPECT_EQ(device.m_nVideo_ID, expected ? 12 : -1);
        EXPECT_EQ(kernel.OpenFiles(), expected ? 1 : 0);
        EXPECT_EQ(Printed([&] { device.Close(); }), expected ? "Closing /dev/video12\n" : "");
        EXPECT_EQ(kernel.OpenFiles(), 0);
        EXPECT_EQ(kernel.Commands(), std::vector<std::string>(expected, "echo 1 > /proc/sys/vm/drop_caches"));
    }
}

TEST(VideoDevice, TellsThatThereAreNoDevices) {
    ScriptedVideo kernel;
    std::filesystem::remove_all(kernel.Path("/sys/class/video4linux"));
    Device device;
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(device.Open("", true)); }),
              "ERROR(No such file or directory): open /sys/class/video4linux.\n");
}

// Each refused call prints its line and says so; the descriptor stays open.
TEST(VideoDevice, EveryRefusedIoctlHasItsMessage) {
    struct Case {
        unsigned long request;
        int nth;
        std::function<bool(Device&)> action;
        bool result;
        std::string printed;
    };
    const std::string opening = "Error opening device /dev/video3: ";
    const std::string window = "chromakey:0x10101, global_alpha:0xff, field:1, xy(1,2), wh(30x40)\n";
    const auto set_window = [](Device& d) { return d.SetV4L2WinFormat(kOverlay, Window()); };
    const auto set_overlay = [](Device& d) { return d.SetOutput_Overlay(Window()); };
    const auto set_crop = [](Device& d) { return d.SetOutput_Crop({kOverlay, {1, 2, 30, 40}}); };
    const auto set_output = [](Device& d) { return d.SetOutput_ID(1); };
    const auto set_format = [](Device& d) { return d.SetV4L2PixFormat(kCapture, Yuyv(320, 240)); };
    const auto set_buffer = [](Device& d) { return d.SetFBuf_Overlay(); };
    v4l2_buffer buffer{};
    const auto dequeue = [&](Device& d) { return d.v4l2_DQBUF(kCapture, buffer); };
    const std::string empty = "Rect left:0, top:0, width:0, height:0\nField = 0\nchromakey = 0\n";
    const std::string taken = "Set Rect left:1, top:2, width:30, height:40\nSet Field = 1\nSet chromakey = 0\n";
    const Case cases[] = {
        {VIDIOC_G_FMT, 1, set_format, false, "get format failed\n"},
        {VIDIOC_S_FMT, 1, set_format, false, "Unable to set format: 16.\n"},
        {0, 0, set_format, true, ""},
        {VIDIOC_S_PARM, 1, [](Device& d) { return d.SetV4L2Framerate(30); }, false, "Unable to VIDIOC_S_PARM: 16.\n"},
        {VIDIOC_G_FMT, 1, set_window, false, "get format failed\n"},
        {VIDIOC_S_FMT, 1, set_window, false, empty + "Unable to set format: 16.\n"},
        {0, 0, set_window, true, empty + taken},
        {0, 0, [](Device& d) { return d.SetV4L2WinFormat(kCapture, Window()); }, false, ""},
        {VIDIOC_G_FMT, 1, set_overlay, false, opening + "unable to VIDIOC_G_FMT.\n"},
        {VIDIOC_S_FMT, 1, set_overlay, false,
         opening + "unable to VIDIOC_S_FMT.\n" + window +
             "chromakey:0x0000, global_alpha:0x0, field:0, xy(0,0), wh(0x0)\nDevice(/dev/video3) Error: "
             "SetOutput_Overlay\n"},
        {VIDIOC_G_FMT, 2, set_overlay, false,
         window + "chromakey:0x0000, global_alpha:0x0, field:0, xy(0,0), wh(0x0)\nDevice(/dev/video3) Error: "
                  "SetOutput_Overlay\n"},
        {0, 0, set_overlay, true, window + window},
        {VIDIOC_G_FBUF, 1, set_buffer, false, opening + "VIDIOC_G_FBUF.\n"},
        {VIDIOC_S_FBUF, 1, set_buffer, false, "PXP overlay 0: flag=0x0001\n" + opening + "VIDIOC_S_FBUF.\n"},
        {VIDIOC_S_CTRL, 1, set_buffer, true, "PXP overlay 0: flag=0x0001\n"},
        {VIDIOC_G_CROP, 1, set_crop, true, opening + "unable to VIDIOC_G_CROP.\nSet CROP: xy(1,2) wh(30x40)\n"},
        {VIDIOC_S_CROP, 1, set_crop, false, "Get CROP: xy(0,0) wh(0x0)\n" + opening + "unable to VIDIOC_G_CROP.\n"},
        {VIDIOC_S_OUTPUT, 1, set_output, true,
         "Setout id: 1\n" + opening + "unable to VIDIOC_S_OUTPUT.\nSet output to PxP LCD\n"},
        {VIDIOC_ENUMOUTPUT, 1, set_output, true,
         "Setout id: 1\n" + opening + "unable to VIDIOC_ENUMOUTPUT.\nSet output to \n"},
        {VIDIOC_G_OUTPUT, 1, [](Device& d) { return d.GetOutput() == -1; }, true,
         opening + "unable to VIDIOC_S_OUTPUT.\n"},
        {0, 0, [](Device& d) { return d.GetOutput() == 1; }, true, ""},
        {VIDIOC_DQBUF, 1, dequeue, false,
         "Device(/dev/video3) Unable to dequeue buffer (16-Device or resource busy).\n"},
        {VIDIOC_QBUF, 1, [&](Device& d) { return d.v4l2_QBUF(kCapture, 5, buffer); }, false,
         "Device(/dev/video3) Unable to requeue buffer (16).\n"},
        {VIDIOC_STREAMON, 1, [](Device& d) { return d.EnableStream(kCapture, 1); }, false,
         "Request buffer length:4096\nAdd buf[0]\nRequest buffer length:4096\nAdd buf[1]\n"
         "Unable to start capture: 16.\n"},
        {VIDIOC_QUERYBUF, 1, [](Device& d) { return d.EnableStream(kCapture, 1); }, true,
         "Unable to query buffer (16).\nRequest buffer length:4096\nAdd buf[1]\nStream(/dev/video3) enabled.\n"},
        {VIDIOC_QBUF, 2, [](Device& d) { return d.EnableStream(kCapture, 1); }, true,
         "Request buffer length:4096\nAdd buf[0]\nRequest buffer length:4096\nAdd buf[1]\n"
         "Unable to queue buffer (16).\nStream(/dev/video3) enabled.\n"},
        {VIDIOC_STREAMOFF, 1, [](Device& d) { return d.DisableStream(kCapture, 1); }, true,
         "Unable to stop capture: 16.\nStream(/dev/video3) disabled.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.printed);
        ScriptedVideo kernel;
        Device device;
        Printed([&] { ASSERT_TRUE(device.Open("Camera", false)); });
        if (c.nth > 0) kernel.Fail(c.request, c.nth, EBUSY);
        bool result = false;
        EXPECT_EQ(Printed([&] { result = c.action(device); }), c.printed);
        EXPECT_EQ(result, c.result);
        EXPECT_TRUE(device.IsOpened());
        Printed([&] { device.Close(); });
        EXPECT_EQ(kernel.mappings, 0);
    }
}

TEST(VideoDevice, ClosedDevicesRefuseTheOverlay) {
    ScriptedVideo kernel;
    Device device;
    EXPECT_EQ(Printed([&] {
                  EXPECT_FALSE(device.SetOutput_Overlay(Window()));
                  EXPECT_FALSE(device.SetFBuf_Overlay());
                  EXPECT_FALSE(device.SetOutput_ID(0));
                  EXPECT_EQ(device.GetOutput(), 0);
                  device.Close();
              }),
              "");
    EXPECT_TRUE(kernel.Ioctls().empty());
}

TEST(VideoDevice, ErrnoOutlivesTheMessage) {
    ScriptedVideo kernel;
    Device device;
    device.Open("Camera", false);
    for (const int error : {EAGAIN, ENODEV}) {
        v4l2_buffer buffer;
        kernel.Fail(VIDIOC_DQBUF, 1, error);
        kernel.Fail(VIDIOC_QBUF, 1, error);
        const std::string printed = Printed([&] {
            EXPECT_FALSE(device.v4l2_DQBUF(kCapture, buffer));
            EXPECT_EQ(errno, error);
            EXPECT_FALSE(device.v4l2_QBUF(kCapture, 0, buffer));
            EXPECT_EQ(errno, error);
        });
        EXPECT_EQ(printed.rfind("No data in buffer\n", 0) == 0, error == EAGAIN);
    }
}

TEST(VideoDevice, TakesTheSizeThatTheDriverAnswers) {
    ScriptedVideo kernel;
    kernel.answered_format = Yuyv(160, 120);
    Device device;
    device.Open("Camera", false);
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(device.SetV4L2PixFormat(kCapture, Yuyv(320, 240))); }),
              " format asked unavailable get width 160 height 120 src(160x120)\n");
    EXPECT_EQ(device.m_nWidth, 160U);
    EXPECT_EQ(device.m_nHeight, 120U);
    EXPECT_FALSE(device.SetV4L2PixFormat(kOverlay, Yuyv(320, 240)));
}

TEST(VideoDevice, TriesFourTimesForBuffers) {
    const std::string refused = "Unable to allocate buffers: 12.\n";
    const std::string retry = refused + "Stream(/dev/video3) disabled.\n";
    for (const int failures : {3, 4}) {
        ScriptedVideo kernel;
        kernel.granted = 1;
        Device device;
        device.Open("Camera", false);
        kernel.Fail(VIDIOC_REQBUFS, 1, ENOMEM, failures);
        const std::string expected =
            retry + retry + retry +
            (failures == 4 ? refused : "Request buffer length:4096\nAdd buf[0]\nStream(/dev/video3) enabled.\n");
        EXPECT_EQ(Printed([&] { EXPECT_EQ(device.EnableStream(kCapture, 1), failures == 3); }), expected);
        EXPECT_EQ(device.m_bIsstreaming, failures == 3);
    }
}

TEST(VideoDevice, BoundsWhatTheDriverGrants) {
    ScriptedVideo kernel;
    Device device;
    device.Open("Camera", false);
    kernel.granted = 1000000;
    EXPECT_TRUE(device.EnableStream(kCapture, 1));
    EXPECT_EQ(device.GetStreamBufferSize(), VIDEO_MAX_FRAME);
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(device.EnableStream(kCapture, 1)); }), "Stream already started\n");
    device.Close();
    EXPECT_EQ(kernel.mappings, 0);

    device.Open("Camera", false);
    for (const auto& [granted, length, error] :
         {std::tuple{0U, 4096U, ""}, {1U, 0U, "Invalid argument"}, {1U, 0xFFFFF000U, "Invalid argument"}}) {
        kernel.granted = granted;
        kernel.buffer_length = length;
        const std::string printed = Printed([&] { EXPECT_FALSE(device.EnableStream(kCapture, 1)); });
        EXPECT_THAT(printed, testing::HasSubstr("No buffer have been requested\n"));
        const std::string refused_map = *error ? std::string("CreateNew:33 Error: Map(") + error + ")\n" : "";
        EXPECT_THAT(printed, testing::HasSubstr(refused_map));
    }
}

TEST(VideoDevice, ABufferTwiceReplacesTheFirst) {
    ScriptedVideo kernel;
    Device device;
    device.Open("Camera", false);
    EXPECT_EQ(Printed([&] {
                  for (int i = 0; i < 2; ++i) {
                      device.AddStreamBufferList(7, CV4LMMAPDATABUF::CreateNew(device.m_nV4L2_fd, 4096, 0));
                  }
              }),
              "Add buf[7]\nClear buf[7]\nAdd buf[7]\n");
    EXPECT_EQ(device.GetStreamBufferSize(), 1);
    EXPECT_EQ(kernel.mappings, 1);
}

TEST(VideoDevice, Controls) {
    struct Case {
        std::uint32_t type, flags;
        unsigned long failing;
        std::function<int(Device&)> action;
        int result;
        const char* errors;
        int value_after;
    };
    constexpr int kId = V4L2_CID_SATURATION;
    const auto is_control = [](Device& d) {
        v4l2_queryctrl query;
        return d.isv4l2Control(kId, &query);
    };
    const auto set = [](int value) {
        return [value](Device& d) {
            int taken = value;
            return d.SetControlValue(kId, taken);
        };
    };
    const auto get = [](Device& d) {
        int value = 0;
        return d.GetControlValue(kId, value) < 0 ? -1 : value;
    };
    const auto range = [](Device& d) {
        int max = 0;
        int min = 0;
        return d.GetControlValueMaxMin(kId, max, min) ? max * 100 + min : -1;
    };
    const auto reset = [](Device& d) { return d.ResetControl(kId); };
    const Case cases[] = {
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, is_control, 0, "", 5},
        {V4L2_CTRL_TYPE_INTEGER64, 0, 0, is_control, 0, "", 5},
        {V4L2_CTRL_TYPE_BOOLEAN, 0, 0, is_control, 1, "", 5},
        {V4L2_CTRL_TYPE_MENU, 0, 0, is_control, 1, "", 5},
        {V4L2_CTRL_TYPE_BUTTON, 0x40, 0, is_control, -1, "contol Sat unsupported. Query flags:0x00000040, type:4\n", 5},
        {V4L2_CTRL_TYPE_INTEGER, V4L2_CTRL_FLAG_DISABLED, 0, is_control, -1, "control Sat disabled \n", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_QUERYCTRL, get, -1, "ioctl querycontrol error 5 \n", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_G_CTRL, get, -1, "ioctl get control error\n", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, get, 5, "", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, set(9), 0, "", 9},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, set(10), 0, "", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, set(0), 0, "", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_S_CTRL, set(9), -1, "ioctl set control error(5)\n", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_G_CTRL, set(9), -1, "ioctl get control error\n", 9},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, reset, 0, "", 4},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_S_CTRL, reset, -1, "ioctl reset control error\n", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, 0, range, 901, "", 5},
        {V4L2_CTRL_TYPE_INTEGER, 0, VIDIOC_G_CTRL, range, -1, "ioctl get control error\n", 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << (&c - cases) << " " << c.errors);
        ScriptedVideo kernel;
        kernel.control = {kId, c.type, "Sat", 1, 9, 1, 4, c.flags, {}};
        kernel.control_value = 5;
        Device device;
        device.Open("Camera", false);
        if (c.failing) kernel.Fail(c.failing, 1, EIO);
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.action(device), c.result);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.errors);
        EXPECT_EQ(kernel.control_value, c.value_after);
    }
}
