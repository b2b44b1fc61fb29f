// What other programs make of our clips.
#include "tests/media/media_test.h"

namespace {

using IndependentReadersTest = MediaTest;

// Skipped, and said so, where a program is not installed.
TEST_F(IndependentReadersTest, FindEveryFrameAndByte) {
    Frames frames;  // which all differ
    std::string bytes;
    for (char shade = 'a'; shade < 'm'; ++shade)
        bytes += frames.emplace_back(std::string(153598, shade) + "UV");
    const std::string clip = m_kernel.Path(m_path);
    const std::string output = m_kernel.Root() + "/output";
    const std::tuple<std::string, std::string, std::string> programs[] = {
        {"ffprobe",
         "-v error -count_frames -of csv=p=0 -show_entries "
         "stream=codec_name,codec_tag_string,width,height,pix_fmt,r_frame_rate,nb_read_frames " +
             clip,
         "rawvideo,YUY2,320,240,yuyv422,12/1,12\n"},
        {"gst-launch-1.0", "-q filesrc location=" + clip + " ! avidemux ! filesink location=/dev/stdout", bytes}};
    std::string missing;
    for (const auto& [program, arguments, printed] : programs) {
        const bool installed = std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
        if (!installed) missing += program + " ";
        for (const bool finished : {true, false}) {
            if (!installed) continue;
            Record(frames, 320, 240, finished);
            EXPECT_EQ(std::system((program + " " + arguments + " >" + output + " 2>&1").c_str()), 0);
            EXPECT_TRUE(ReadFile(output) == printed) << program << (finished ? "" : ", cut");
        }
    }
    if (!missing.empty()) GTEST_SKIP() << missing << "not installed: NOT CHECKED what it reads";
}

}  // namespace
