// What other programs make of our clips.
#include "tests/media/media_test.h"

namespace {

class IndependentReadersTest : public MediaTest {
  protected:
    // Runs a program, which prints what `printed` tells. Skipped, and said so, where it is not installed.
    void Reads(const std::string& program, const std::string& arguments, const std::string& printed) {
        if (std::system(("command -v " + program + " >/dev/null").c_str()) != 0)
            GTEST_SKIP() << program << " is not installed: NOT CHECKED what it reads";
        const std::string output = m_kernel.Root() + "/output";
        EXPECT_EQ(std::system((program + " " + arguments + " >" + output + " 2>&1").c_str()), 0);
        EXPECT_EQ(ReadFile(output), printed);
    }
    // All twelve frames, which all differ.
    std::string RecordClip(bool finished = true) {
        std::string pictures;
        for (int i = 0; i < 320 * 240 * 2 * 12; ++i)
            pictures += static_cast<char>(i + i / 1000);
        Frames frames;
        for (std::size_t at = 0; at < pictures.size(); at += 320 * 240 * 2)
            frames.push_back(pictures.substr(at, 320 * 240 * 2));
        Record(frames, 320, 240, finished);
        return pictures;
    }

    const std::string m_clip = m_kernel.Path(m_path);
    const std::string m_raw = m_kernel.Root() + "/raw";
};

TEST_F(IndependentReadersTest, Ffprobe) {
    for (const bool finished : {true, false}) {
        RecordClip(finished);
        const std::string facts = "codec_name,codec_tag_string,width,height,pix_fmt,r_frame_rate,nb_read_frames ";
        Reads("ffprobe", "-v error -count_frames -of csv=p=0 -show_entries stream=" + facts + m_clip,
              "rawvideo,YUY2,320,240,yuyv422,12/1,12\n");
    }
}

TEST_F(IndependentReadersTest, GStreamerGetsEveryByte) {
    const std::string pictures = RecordClip();
    Reads("gst-launch-1.0", "-q filesrc location=" + m_clip + " ! avidemux ! filesink location=" + m_raw, "");
    EXPECT_TRUE(IsSkipped() || ReadFile(m_raw) == pictures);
}

}  // namespace
