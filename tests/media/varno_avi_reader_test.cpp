#include "media/varno_avi_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include "media/clip_frame.h"
#include "tests/media/avi_file.h"
#include "tests/media/test_kernel.h"

namespace {

class ReaderTest : public MediaTest {
  protected:
    void Record(int width, int height, const std::vector<std::string>& frames) {
        AviHandle avi(AVI_open_output_file(m_path.c_str()));
        AVI_set_video(avi.get(), width, height, 12, "YUY2");
        for (const std::string& frame : frames)
            AVI_write_frame(avi.get(), frame.data(), static_cast<long>(frame.size()), 1);
    }
    std::unique_ptr<CVarnoAVIReader> Open(bool index = true) {
        return std::unique_ptr<CVarnoAVIReader>(CVarnoAVIReader::CreateNew(m_path, Varno_PIX_FMT_YUYV422, index));
    }

    const std::string m_path = File("clip.avi");
    char m_buffer[64] = {};
    int m_keyframe = -1;
    VarnoMediaType m_type = MEDIA_UNKNOWN;
};

TEST_F(ReaderTest, ClosedReaderAnswersMinusOne) {
    CVarnoAVIReader reader;
    EXPECT_FALSE(reader.Open("", Varno_PIX_FMT_YUYV422));
    EXPECT_FALSE(reader.Open(File("none.avi"), Varno_PIX_FMT_YUYV422));
    reader.Close();
    reader.ResetFrame();
    for (const int answer : {reader.GetTotalFrames(), reader.GetVideoFrames(), reader.GetCurrentFramePos(),
                             reader.SetFramePosition(1), reader.ReadFrame(m_buffer, m_keyframe, m_type),
                             reader.ReadOneFrame(m_buffer, 0), reader.ReadFirstFrame(m_buffer, sizeof m_buffer),
                             reader.GetVideoMaxChunk(), reader.GetVideoWidth(), reader.GetVideoHeight()})
        EXPECT_EQ(answer, -1);
    EXPECT_EQ(reader.GetVideoCompressor(), nullptr);
    EXPECT_EQ(reader.GetVideoFrameRate(), -1.0);
    EXPECT_EQ(ClipFrame::CreateNew(reader), nullptr);
}

TEST_F(ReaderTest, PositionsAndFrames) {
    Record(4, 2, {"one", "second", "3"});
    const auto reader = Open();
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->GetTotalFrames(), 3);
    EXPECT_EQ(reader->GetVideoMaxChunk(), 6);
    EXPECT_STREQ(reader->GetVideoCompressor(), "YUY2");
    EXPECT_DOUBLE_EQ(reader->GetVideoFrameRate(), 12.0);
    EXPECT_EQ(reader->GetVideoWidth(), 4);
    EXPECT_EQ(reader->GetVideoHeight(), 2);

    EXPECT_EQ(reader->ReadFrame(m_buffer, m_keyframe, m_type), 3);
    EXPECT_EQ(m_keyframe, 1);
    EXPECT_EQ(m_type, MEDIA_UNKNOWN) << "left as it was";
    EXPECT_EQ(reader->ReadOneFrame(m_buffer, 2), 1);
    EXPECT_EQ(reader->GetCurrentFramePos(), 1);
    EXPECT_EQ(reader->ReadOneFrame(m_buffer, 3), -1);
    EXPECT_EQ(reader->GetCurrentFramePos(), 1);
    for (const auto& [wanted, position] : {std::pair{-5L, 0}, {2L, 2}, {3L, 3}, {13L, 3}}) {
        EXPECT_EQ(reader->SetFramePosition(wanted), 0);
        EXPECT_EQ(reader->GetCurrentFramePos(), position) << wanted;
    }
    EXPECT_EQ(reader->ReadFrame(m_buffer, m_keyframe, m_type), -1);
    reader->ResetFrame();
    EXPECT_EQ(reader->ReadFrame(m_buffer, m_keyframe, m_type), 3);

    EXPECT_FALSE(reader->Open("", Varno_PIX_FMT_NONE));
    EXPECT_EQ(reader->GetTotalFrames(), 3) << "an empty path leaves what is open";
    EXPECT_FALSE(reader->Open(File("none.avi"), Varno_PIX_FMT_NONE));
    EXPECT_EQ(reader->GetTotalFrames(), -1);
}

TEST_F(ReaderTest, FirstFrameNeedsNoIndex) {
    const std::string header = List("hdrl", Chunk("avih", std::string(56, '\0')) + Stream("vids", BitmapFormat(4, 2)));
    const struct {
        const char* name;
        std::string movi;
        int bytes;
    } cases[] = {
        {"at once", Chunk("00db", "first") + Chunk("00db", "more"), 5},
        {"after others", Chunk("01wb", "sound") + Chunk("JUNK", "fill") + Chunk("00dc", "first"), 5},
        {"too large ones left out", Chunk("00db", std::string(65, 'x')) + Chunk("00db", "first"), 5},
        {"empty", Chunk("00db", ""), 0},
        {"none", "", -1},
        {"cut", Chunk("00db", "first").substr(0, 11), -1},
    };
    for (const auto& c : cases) {
        WriteFile(m_path, Riff(header + List("movi", c.movi)));
        const auto reader = Open(false);
        ASSERT_NE(reader, nullptr) << c.name;
        for (int again = 0; again < 2; ++again)
            EXPECT_EQ(reader->ReadFirstFrame(m_buffer, sizeof m_buffer), c.bytes) << c.name;
        if (c.bytes > 0) {
            EXPECT_EQ(std::string(m_buffer, 5), "first") << c.name;
        }
    }
    WriteFile(m_path, Riff(header + List("movi", "")));
    EXPECT_EQ(Open(), nullptr) << "no frames";
}

// Frame sizes against the size that the header tells: whatever is missing is black.
TEST_F(ReaderTest, FramesOfAnyLength) {
    constexpr std::size_t kWhole = ClipFrame::kBytes;
    const struct {
        int width, height;
        std::size_t bytes;
        bool opens;
    } cases[] = {
        {320, 240, kWhole, true}, {320, 240, 0, true},      {320, 240, 1, true},        {320, 240, 4000, true},
        {320, 240, 900000, true}, {16, 8, 256, true},       {16, 8, 5, true},           {16, 8, 200000, true},
        {640, 480, 5000, true},   {1, 1, 4, true},          {33, 17, 1000, true},       {1920, 1080, 20000, true},
        {4000, 4000, 100, false}, {65535, 65535, 4, false}, {320, 240, 9000000, false}, {65535, 2, 140000, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + ", " + std::to_string(c.bytes));
        Record(c.width, c.height, {std::string(c.bytes, '\x55'), std::string(1, '\x66')});
        const auto reader = Open();
        ASSERT_NE(reader, nullptr);
        const auto frame = ClipFrame::CreateNew(*reader);
        ASSERT_EQ(frame != nullptr, c.opens);
        if (!frame) continue;
        EXPECT_EQ(frame->Picture()[0], 0) << "black before the first frame";
        EXPECT_TRUE(frame->ReadFirst(*reader));
        EXPECT_TRUE(frame->ReadNext(*reader));
        const unsigned char* picture = frame->Picture();
        const bool has_picture = c.bytes >= 4;
        EXPECT_EQ(std::count(picture, picture + kWhole, 0x55) > 0, has_picture);
        if (c.width == 320 && c.bytes < kWhole) {
            EXPECT_EQ(picture[kWhole - 2], 0);
            EXPECT_EQ(picture[kWhole - 1], 0x80);
        }
        EXPECT_TRUE(frame->ReadNext(*reader));
        EXPECT_FALSE(frame->ReadNext(*reader));
    }
}

TEST_F(ReaderTest, EmptyFrameRepeatsItsPredecessor) {
    Record(320, 240, {std::string(ClipFrame::kBytes, '\x55'), "", std::string(4, '\x66')});
    const auto reader = Open();
    const auto frame = ClipFrame::CreateNew(*reader);
    ASSERT_TRUE(frame->ReadNext(*reader) && frame->ReadNext(*reader));
    EXPECT_EQ(frame->Picture()[0], 0x55);
    ASSERT_TRUE(frame->ReadNext(*reader));
    EXPECT_EQ(frame->Picture()[0], 0x66);
    EXPECT_EQ(frame->Picture()[4], 0);
    // A medium that fails under the open file.
    reader->ResetFrame();
    ASSERT_EQ(truncate(m_path.c_str(), 3000), 0);
    EXPECT_FALSE(frame->ReadNext(*reader));
}

}  // namespace
