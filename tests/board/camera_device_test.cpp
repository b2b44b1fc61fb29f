// The virtual camera keeps V4L2's rules, whatever it looks at.
#include <fstream>

#include "board/camera_source.h"
#include "board/scene_source.h"
#include "tests/board/board_test.h"

namespace board_test {

constexpr unsigned kFrameBytes = 320 * 240 * 2;

class CameraDeviceTest : public BoardTest {
  protected:
    VideoNode Camera(int flags = O_RDWR | O_NONBLOCK) {
        return {board::kCameraNode, V4L2_BUF_TYPE_VIDEO_CAPTURE, flags};
    }
};

TEST_F(CameraDeviceTest, FormatsAreClampedAsADriverDoes) {
    VideoNode camera = Camera();
    const struct {
        unsigned width, height, code, faults;
        std::array<unsigned, 4> answer;
    } cases[] = {{600, 400, V4L2_PIX_FMT_RGB24, 0, {640, 480, V4L2_PIX_FMT_YUYV, 614400}},
                 {320, 240, V4L2_PIX_FMT_YUYV, board::kFormatOther, {320, 240, V4L2_PIX_FMT_MJPEG, 153600}},
                 {0xFFFFFFFF, 0xFFFFFFFF, 0, 0, {640, 480, V4L2_PIX_FMT_YUYV, 614400}},
                 {640, 480, V4L2_PIX_FMT_YUYV, board::kSizeRefused, {320, 240, V4L2_PIX_FMT_YUYV, 153600}}};
    for (const auto& c : cases) {
        board.SetCameraFaults(c.faults);
        EXPECT_EQ(camera.Format(VIDIOC_S_FMT, c.width, c.height, c.code), 0);
        EXPECT_EQ(camera.picture, c.answer);
        EXPECT_EQ(camera.Format(VIDIOC_G_FMT), 0);
        EXPECT_EQ(camera.picture, c.answer);
    }
}

TEST_F(CameraDeviceTest, BuffersComeBeforeStreamingAndQueuingBeforeDequeuing) {
    VideoNode camera = Camera();
    VideoNode other = Camera();
    EXPECT_EQ((Errors{camera.Stream(true), camera.Buffer(VIDIOC_QBUF)}), Errors(2, EINVAL)) << "no buffers";
    EXPECT_EQ((Errors{camera.Request(2), camera.Buffer(VIDIOC_QUERYBUF, 2)}), (Errors{0, EINVAL})) << "no third one";
    EXPECT_EQ(camera.Format(VIDIOC_S_FMT, 320, 240, V4L2_PIX_FMT_YUYV), EBUSY);
    EXPECT_NE(camera.Map(1), nullptr);
    EXPECT_EQ(kernel.Map(camera.fd, 9, 9), MAP_FAILED) << "no buffer begins there";
    EXPECT_EQ((Errors{camera.Request(3), camera.Buffer(VIDIOC_DQBUF)}), (Errors{EBUSY, EINVAL})) << "before streaming";
    EXPECT_EQ((Errors{camera.Buffer(VIDIOC_QBUF, 1), camera.Buffer(VIDIOC_QBUF, 1)}), (Errors{0, EINVAL})) << "queued";
    EXPECT_EQ((Errors{camera.Stream(true), camera.Buffer(VIDIOC_DQBUF)}), (Errors{0, EAGAIN})) << "no frame yet";
    EXPECT_EQ((Errors{other.Request(1), other.Buffer(VIDIOC_QBUF), other.Buffer(VIDIOC_DQBUF), other.Stream(false)}),
              Errors(4, EBUSY));
    EXPECT_EQ((Errors{camera.Stream(false), camera.Buffer(VIDIOC_QBUF, 1)}), (Errors{0, 0})) << "it was given back";
}

TEST_F(CameraDeviceTest, FramesArePacedByTheClock) {
    std::vector<unsigned char> first;
    for (const bool blocking : {false, true}) {
        VideoNode camera = Camera(blocking ? O_RDWR : O_RDWR | O_NONBLOCK);
        const unsigned char* frame = camera.Start(V4L2_PIX_FMT_YUYV);
        const long start = Now();
        // Ten frames pass without a buffer: they are lost.
        for (const auto& [number, time] : {std::pair(0U, 33), {11U, 400}}) {
            EXPECT_EQ(blocking ? EAGAIN : camera.Buffer(VIDIOC_DQBUF), EAGAIN);
            EXPECT_EQ(blocking ? 1 : Answer([&] { return camera.Wait(); }), 1);
            EXPECT_EQ(Answer([&] { return camera.Buffer(VIDIOC_DQBUF); }), 0);
            EXPECT_EQ(Now() - start, time);
            EXPECT_EQ(camera.buffer.sequence, number);
            EXPECT_EQ(board::ReadFrameNumber(frame, 320, 240, 2, 640), number + 1);
            const std::vector<unsigned char> picture(frame, frame + kFrameBytes);
            EXPECT_NE(first, picture) << "the scene goes on, between streams, too";
            if (number == 0) first = picture;
            Advance(334);
            EXPECT_EQ(camera.Buffer(VIDIOC_QBUF), 0);
        }
    }
    EXPECT_EQ(board.Get(&board::Block::camera).frames, 4U);
}

TEST_F(CameraDeviceTest, FaultsShowAsADriverShowsThem) {
    const struct {
        std::uint32_t faults;
        Errors queue_stream_wait_dequeue;
        unsigned bytes, flag;
    } cases[] = {{0, {0, 0, 1, 0}, kFrameBytes, 0},
                 {board::kDqbufStuck, {0, 0, 0, EAGAIN}, 0, 0},
                 {board::kDqbufEio, {0, 0, 1, EIO}, 0, 0},
                 {board::kStreamonRefused, {0, ENOSPC, 1, EINVAL}, 0, 0},
                 {board::kQbufRefused, {EIO, 0, 0, EAGAIN}, 0, 0},
                 {board::kShortFrame, {0, 0, 1, 0}, kFrameBytes / 2, 0},
                 {board::kErrorFlag, {0, 0, 1, 0}, kFrameBytes, V4L2_BUF_FLAG_ERROR}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.faults);
        VideoNode camera = Camera();
        EXPECT_EQ(camera.Format(VIDIOC_S_FMT, 320, 240, V4L2_PIX_FMT_YUYV) + camera.Request(1), 0);
        unsigned char* data = camera.Map(0);
        std::fill_n(data, kFrameBytes, 0xAB);
        board.SetCameraFaults(c.faults);
        const Errors answers = {camera.Buffer(VIDIOC_QBUF), camera.Stream(true), Answer([&] { return camera.Wait(); }),
                                camera.Buffer(VIDIOC_DQBUF)};
        EXPECT_EQ(answers, c.queue_stream_wait_dequeue);
        EXPECT_EQ(board.Get(&board::Block::camera).streaming, answers[1] == 0);
        board.SetCameraFaults(0);
        if (c.bytes == 0) continue;
        EXPECT_EQ(camera.buffer.bytesused, c.bytes);
        EXPECT_EQ(camera.buffer.flags & V4L2_BUF_FLAG_ERROR, c.flag);
        // What does not arrive leaves the buffer as it was.
        EXPECT_LT(std::count(data, data + c.bytes, 0xAB), kFrameBytes / 20);
        EXPECT_EQ(std::count(data + c.bytes, data + kFrameBytes, 0xAB), kFrameBytes - c.bytes);
    }
}

TEST_F(CameraDeviceTest, UnpluggedInAnyStateEveryCallSaysSo) {
    for (const bool streaming : {false, true}) {
        VideoNode camera = Camera();
        VideoNode metadata(board::kCameraMetadataNode, V4L2_BUF_TYPE_VIDEO_CAPTURE);
        EXPECT_EQ(streaming, streaming && camera.Start(V4L2_PIX_FMT_YUYV));
        std::atomic<int> waited{-1};
        std::thread waiting([&] { waited = camera.Wait(); });
        if (streaming) board.Clock().Settle();  // asleep in the driver
        for (const bool plugged : {false, true}) {
            board.PlugCamera(plugged);
            board.Clock().Settle();
            EXPECT_EQ(waited, 1) << "at once, so that the next call tells why";
            const Errors answers = {camera.Buffer(VIDIOC_DQBUF), camera.Buffer(VIDIOC_QBUF), camera.Stream(false),
                                    metadata.Format(VIDIOC_G_FMT)};
            EXPECT_EQ(answers, Errors(4, ENODEV)) << "the old descriptor stays dead";
            EXPECT_FALSE(board.Get(&board::Block::camera).streaming);
            for (const char* path : {board::kCameraNode, board::kCameraMetadataNode, "/sys/class/video4linux/video0"})
                EXPECT_EQ(std::filesystem::exists(kernel.Path(path)), plugged) << path;
            EXPECT_EQ(Camera().fd >= 0, plugged);
        }
        waiting.join();
    }
}

TEST_F(CameraDeviceTest, ControlsChangeThePicture) {
    VideoNode camera = Camera();
    const unsigned char* frame = camera.Start(V4L2_PIX_FMT_YUYV);
    board.Write("/sys/class/leds/led-pwm0/brightness", "104");
    board.Folder().Sync();
    // The mean of the brightnesses, or of the reds (3).
    const auto mean = [&](int brightness, int saturation, int part) {
        EXPECT_EQ(camera.Control(V4L2_CID_BRIGHTNESS, brightness), 0) << "beyond its range it is clamped";
        EXPECT_EQ(camera.Control(V4L2_CID_SATURATION, saturation), 0);
        Advance(34);
        EXPECT_EQ(camera.Buffer(VIDIOC_DQBUF) + camera.Buffer(VIDIOC_QBUF), 0);
        int sum = 0;
        for (unsigned i = part; i < kFrameBytes; i += 4)
            sum += frame[i];
        return sum / (320 * 240 / 2);
    };
    EXPECT_GT(mean(168, 128, 0), mean(128, 128, 0) + 30);
    EXPECT_EQ(mean(1000, 0, 3), 128) << "no colour at all";
    v4l2_control control{V4L2_CID_BRIGHTNESS, 0};
    EXPECT_EQ(camera.Call(VIDIOC_G_CTRL, &control), 0);
    EXPECT_EQ(control.value, 255);
}

TEST(CameraSourceTest, PicturesAreScaledAndBadSourcesHaveAReason) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "varno-camera-source-test";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "text.txt") << "no picture";
    const std::string file = "file:" + folder.string();
    std::string error;
    for (const auto& [source, reason] : {std::pair(std::string("nonsense"), "unknown camera source"),
                                         {file + "/none.png", "No such file"},
                                         {file, "no pictures in this folder"}}) {
        EXPECT_EQ(board::OpenCameraSource(source, error), nullptr) << source;
        EXPECT_NE(error.find(reason), std::string::npos) << source << ": " << error;
    }
    // 2x2 pixels, both rows red, then blue: a GIF is the shortest of the formats.
    const std::string gif("GIF89a\2\0\2\0\x80\0\0\xFF\0\0\0\0\xFF,\0\0\0\0\2\0\2\0\0\2\2\x44\x5C\0;", 36);
    std::ofstream(folder / "a.gif", std::ios::binary) << gif;
    const auto source = board::OpenCameraSource(file, error);
    ASSERT_NE(source, nullptr) << error;
    std::vector<std::uint8_t> frame(640 * 480 * 2);
    for (const int width : {320, 640}) {
        EXPECT_TRUE(source->Render({width, width * 3 / 4, 0, {}, 0}, frame.data()));
        const std::uint8_t* last = &frame[width * 2 - 4];
        EXPECT_EQ((Errors{frame[0], frame[3], last[0], last[1]}), (Errors{76, 255, 29, 255})) << width;
    }
    std::filesystem::remove_all(folder);
}

}  // namespace board_test
