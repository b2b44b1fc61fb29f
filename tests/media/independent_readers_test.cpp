// What other programs make of our files.
#include <cstdio>

#include "media/jpeg_encoder.h"
#include "tests/media/avi_file.h"
#include "tests/media/test_kernel.h"
#include "video/frames/pixel_conversion.h"

namespace {

constexpr int kFrames = 12;

class IndependentReadersTest : public MediaTest {
  protected:
    // What a command prints, and "status N" when it fails.
    static std::string Run(const std::string& command) {
        FILE* pipe = popen((command + " 2>&1").c_str(), "r");
        std::string output;
        char part[4096];
        while (const std::size_t length = std::fread(part, 1, sizeof part, pipe))
            output.append(part, length);
        const int status = pclose(pipe);
        return status == 0 ? output : output + "status " + std::to_string(status);
    }
    static bool Has(const std::string& program) {
        return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
    }

    static std::string Frame(int i) {
        std::string frame;
        for (int at = 0; at < 320 * 240 / 2; ++at) {
            frame += {static_cast<char>(at + 9 * i), '\x70', static_cast<char>(at + 5 * i), '\x90'};
        }
        return frame;
    }
    void WriteClip(bool finished) {
        avi_t* avi = AVI_open_output_file(m_clip.c_str());
        AVI_set_video(avi, 320, 240, 12, "YUY2");
        for (int i = 0; i < kFrames; ++i)
            ASSERT_EQ(AVI_write_frame(avi, Frame(i).data(), 153600, i), 0);
        if (finished) {
            ASSERT_EQ(AVI_close(avi), 0);
        } else {
            const std::string cut = ReadFile(m_clip);
            AVI_close(avi);
            WriteFile(m_clip, cut);
        }
    }

    const std::string m_clip = File("clip.avi");
};

#define NEEDS(program) \
    if (!Has(program)) GTEST_SKIP() << program " is not installed: NOT CHECKED what it reads"

TEST_F(IndependentReadersTest, Ffprobe) {
    NEEDS("ffprobe");
    for (const bool finished : {true, false}) {
        WriteClip(finished);
        EXPECT_EQ(Run("ffprobe -v error -count_frames -select_streams v -of csv=p=0 -show_entries "
                      "stream=codec_name,codec_tag_string,width,height,pix_fmt,r_frame_rate,nb_read_frames " +
                      m_clip),
                  "rawvideo,YUY2,320,240,yuyv422,12/1," + std::to_string(kFrames) + "\n")
            << (finished ? "finished" : "cut");
    }
}

TEST_F(IndependentReadersTest, GStreamerGetsEveryByte) {
    NEEDS("gst-launch-1.0");
    WriteClip(true);
    const std::string raw = File("raw");
    EXPECT_EQ(Run("gst-launch-1.0 -q filesrc location=" + m_clip + " ! avidemux ! filesink location=" + raw), "");
    const std::string bytes = ReadFile(raw);
    ASSERT_EQ(bytes.size(), 153600U * kFrames);
    for (int i = 0; i < kFrames; ++i)
        EXPECT_TRUE(bytes.substr(153600U * static_cast<unsigned>(i), 153600) == Frame(i)) << i;
}

TEST_F(IndependentReadersTest, GstDiscoverer) {
    NEEDS("gst-discoverer-1.0");
    WriteClip(true);
    const std::string found = Run("gst-discoverer-1.0 -v file://" + m_clip);
    for (const char* fact :
         {"container", "AVI", "Duration: 0:00:01.0", "Width: 320", "Height: 240", "Frame rate: 12/1"}) {
        EXPECT_NE(found.find(fact), std::string::npos) << fact << " is missing in\n" << found;
    }
}

TEST_F(IndependentReadersTest, Djpeg) {
    NEEDS("djpeg");
    initLut();
    std::string yuyv;
    for (int i = 0; i < 640 * 480 / 2; ++i)
        yuyv += "\x80\x80\x80\x80";
    const std::string still = File("still.jpg");
    FILE* file = std::fopen(still.c_str(), "wb");
    ASSERT_EQ(encode_yuv422_to_rgb_jpeg(file, reinterpret_cast<unsigned char*>(yuyv.data()), 640, 480, 100), 0);
    std::fclose(file);
    freeLut();
    EXPECT_EQ(Run("djpeg -ppm -outfile " + File("still.ppm") + " " + still), "");
    const std::string picture = ReadFile(File("still.ppm"));
    ASSERT_EQ(picture.size(), 15 + 640U * 480 * 3);
    EXPECT_EQ(picture.substr(0, 15), "P6\n640 480\n255\n");
    EXPECT_EQ(picture.find_first_not_of('\x80', 15), std::string::npos);  // grey all over
}

}  // namespace
