// What other programs make of our clips.
#include <gmock/gmock.h>

#include "tests/media/media_test.h"

namespace {

class IndependentReadersTest : public MediaTest {
  protected:
    // Runs a program, which prints what `printed` tells. Skipped, and said so, where it is not installed.
    void Reads(const std::string& program, const std::string& arguments, const testing::Matcher<std::string>& printed) {
        if (std::system(("command -v " + program + " >/dev/null").c_str()) != 0)
            GTEST_SKIP() << program << " is not installed: NOT CHECKED what it reads";
        const std::string output = m_kernel.Root() + "/output";
        EXPECT_EQ(std::system((program + " " + arguments + " >" + output + " 2>&1").c_str()), 0);
        EXPECT_THAT(ReadFile(output), printed);
    }
    void RecordClip(bool finished = true) {
        std::vector<std::string> frames(12);
        for (int at = 0; at < 320 * 240 / 2 * 12; ++at) {
            const int i = at / (320 * 240 / 2);
            frames[static_cast<std::size_t>(i)] +=
                {static_cast<char>(at + 9 * i), '\x70', static_cast<char>(at + 5 * i), '\x90'};
        }
        Record(frames, 320, 240, finished);
        for (const std::string& frame : frames)
            m_pictures += frame;
    }

    const std::string m_clip = m_kernel.Path(m_path);
    const std::string m_raw = m_kernel.Root() + "/raw";
    std::string m_pictures;
};

TEST_F(IndependentReadersTest, Ffprobe) {
    for (const bool finished : {true, false}) {
        SCOPED_TRACE(finished);
        RecordClip(finished);
        Reads("ffprobe",
              "-v error -count_frames -select_streams v -of csv=p=0 -show_entries "
              "stream=codec_name,codec_tag_string,width,height,pix_fmt,r_frame_rate,nb_read_frames " +
                  m_clip,
              testing::Eq("rawvideo,YUY2,320,240,yuyv422,12/1,12\n"));
    }
}

TEST_F(IndependentReadersTest, GStreamerGetsEveryByte) {
    RecordClip();
    Reads("gst-launch-1.0", "-q filesrc location=" + m_clip + " ! avidemux ! filesink location=" + m_raw,
          testing::Eq(""));
    if (!IsSkipped()) {
        EXPECT_TRUE(ReadFile(m_raw) == m_pictures);
    }
}

TEST_F(IndependentReadersTest, GstDiscoverer) {
    RecordClip();
    std::vector<testing::Matcher<std::string>> facts;
    for (const char* fact : {"AVI", "Duration: 0:00:01.0", "Width: 320", "Height: 240", "Frame rate: 12/1"})
        facts.emplace_back(testing::HasSubstr(fact));
    Reads("gst-discoverer-1.0", "-v file://" + m_clip, testing::AllOfArray(facts));
}

}  // namespace
