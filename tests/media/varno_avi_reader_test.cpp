#include "media/varno_avi_reader.h"

#include <unistd.h>

#include "media/clip_frame.h"
#include "tests/media/media_test.h"

namespace {

class ReaderTest : public MediaTest {
  protected:
    std::unique_ptr<CVarnoAVIReader> Reader(bool index = true) {
        return std::unique_ptr<CVarnoAVIReader>(CVarnoAVIReader::CreateNew(m_path, Varno_PIX_FMT_YUYV422, index));
    }

    char m_buffer[64] = {};
    int m_keyframe = -1;
    VarnoMediaType m_type = MEDIA_UNKNOWN;
};

TEST_F(ReaderTest, PositionsAndFrames) {
    Record({"one", "second", "3"});
    const auto reader = Reader();
    ASSERT_NE(reader, nullptr);
    EXPECT_STREQ(reader->GetVideoCompressor(), "YUY2");
    EXPECT_EQ(reader->GetVideoFrameRate(), 12.0);
    EXPECT_EQ((Facts{reader->GetTotalFrames(), reader->GetVideoMaxChunk(), reader->GetVideoWidth(),
                     reader->GetVideoHeight(), reader->ReadFrame(m_buffer, m_keyframe, m_type), m_keyframe, m_type}),
              (Facts{3, 6, 4, 2, 3, 1, MEDIA_UNKNOWN}));
    for (const auto& [index, bytes] : {std::pair{2L, 1}, {3L, -1}, {0L, 3}})
        EXPECT_EQ((Facts{reader->ReadOneFrame(m_buffer, index), reader->GetCurrentFramePos()}), (Facts{bytes, 1}));
    for (const auto& [wanted, position] : {std::pair{-5L, 0}, {2L, 2}, {3L, 3}, {13L, 3}})
        EXPECT_EQ((Facts{reader->SetFramePosition(wanted), reader->GetCurrentFramePos()}), (Facts{0, position}));
    EXPECT_EQ(reader->ReadFrame(m_buffer, m_keyframe, m_type), -1);
    reader->ResetFrame();
    EXPECT_EQ(reader->ReadFrame(m_buffer, m_keyframe, m_type), 3);
    EXPECT_FALSE(reader->Open("", Varno_PIX_FMT_NONE));
    EXPECT_EQ(reader->GetTotalFrames(), 3) << "an empty path leaves what is open";
    EXPECT_FALSE(reader->Open("/media/none.avi", Varno_PIX_FMT_YUYV422));
    EXPECT_EQ((Facts{reader->GetTotalFrames(), reader->GetVideoFrames(), reader->GetCurrentFramePos(),
                     reader->SetFramePosition(1), reader->ReadFrame(m_buffer, m_keyframe, m_type),
                     reader->ReadOneFrame(m_buffer, 0), reader->ReadFirstFrame(m_buffer, sizeof m_buffer),
                     reader->GetVideoMaxChunk(), reader->GetVideoWidth(), reader->GetVideoHeight()}),
              Facts(10, -1));
    EXPECT_EQ(reader->GetVideoFrameRate(), -1.0);
    EXPECT_FALSE(reader->GetVideoCompressor() || ClipFrame::CreateNew(*reader));
    EXPECT_EQ(m_kernel.OpenFiles(), 0);
}

TEST_F(ReaderTest, FirstFrameNeedsNoIndex) {
    const std::string streams = List("hdrl", Stream("vids", BitmapFormat(4, 2)) + Stream("auds", ""));
    const std::string first = Chunk("00db", "first");
    std::string sound;
    for (int i = 0; i < 255; ++i)
        sound += Chunk("01wb", "sound");
    const std::tuple<const char*, std::string, int> cases[] = {
        {"at once", first + Chunk("00db", "more"), 5},
        {"after others", Chunk("01wb", "sound") + Chunk("JUNK", "fill") + Chunk("00dc", "first"), 5},
        {"a first one that is too large", Chunk("00db", std::string(65, 'x')) + first, -1},
        {"in a list", Chunk("ix00", "index") + List("rec ", first), 5},
        {"after empty sound", Chunk("01wb", "") + first, 5},
        {"behind as many others as are looked at", sound + first, 5},
        {"behind one more", sound + Chunk("01wb", "sound") + first, -1},
        {"empty", Chunk("00db", ""), 0},
        {"none", "", -1},
        {"cut", first.substr(0, 11), -1},
    };
    for (const auto& [name, movi, bytes] : cases) {
        m_kernel.Put(m_path, Riff(streams + List("movi", movi)));
        const auto reader = Reader(false);
        ASSERT_NE(reader, nullptr) << name;
        for (int again = 0; again < 2; ++again)
            EXPECT_EQ(reader->ReadFirstFrame(m_buffer, sizeof m_buffer), bytes) << name;
        EXPECT_TRUE(bytes < 5 || m_buffer == std::string("first")) << name;
    }
    EXPECT_EQ(Reader(), nullptr) << "no frames";
    // With one sound more, opening would end the program.
    std::string sounds;
    for (int i = 0; i < 9; ++i) {
        m_kernel.Put(m_path, Riff(List("hdrl", Stream("vids", BitmapFormat(4, 2)) + sounds) + List("movi", first)));
        EXPECT_NE(Reader(), nullptr);
        sounds += Stream("auds", "");
    }
    m_kernel.Put(m_path, Riff(List("hdrl", Stream("vids", BitmapFormat(4, 2)) + sounds) + List("movi", first)));
    EXPECT_EQ(Reader(), nullptr);
}

// Frame sizes against the size that the header tells: whatever is missing is black, and an empty frame repeats.
TEST_F(ReaderTest, FramesOfAnyLength) {
    constexpr std::size_t kWhole = ClipFrame::kBytes;
    const std::tuple<int, int, std::size_t, bool> cases[] = {
        {320, 240, kWhole, true},
        {320, 240, 0, true},
        {320, 240, 1, true},
        {320, 240, 4000, true},
        {320, 240, 8 << 20, true},
        {16, 8, 256, true},
        {16, 8, 5, true},
        {16, 8, 200000, true},
        {640, 480, 4 * kWhole, true},
        {1, 1, 4, true},
        {33, 17, 1000, true},
        {1920, 1080, 20000, true},
        {65535, 2, 140000, true},
        {4000, 4000, 100, false},
        {65535, 65535, 4, false},
        {320, 240, (8 << 20) + 1, false},
    };
    for (const auto& [width, height, bytes, opens] : cases) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + ", " + std::to_string(bytes));
        Record({std::string(bytes, '\x55'), "", std::string(140000, '\x66')}, width, height);
        const auto reader = Reader();
        ASSERT_NE(reader, nullptr);
        const auto frame = ClipFrame::CreateNew(*reader);
        ASSERT_EQ(frame != nullptr, opens);
        if (!frame) continue;
        const auto picture = [&] { return std::string(reinterpret_cast<const char*>(frame->Picture()), kWhole); };
        EXPECT_EQ(picture()[0], 0) << "black before the first frame";
        EXPECT_TRUE(frame->ReadFirst(*reader));
        const std::string first = picture();
        EXPECT_EQ(first.find('\x55') != std::string::npos, bytes >= 4);
        EXPECT_TRUE(height != 240 || bytes >= kWhole || first.substr(kWhole - 2) == std::string("\0\x80", 2));
        EXPECT_TRUE(frame->ReadNext(*reader) && frame->ReadNext(*reader) && picture() == first);
        EXPECT_TRUE(frame->ReadNext(*reader));
        EXPECT_NE(picture().find('\x66'), std::string::npos);
        EXPECT_EQ(picture().find('\x55'), std::string::npos) << "nothing of the frame before is left";
        EXPECT_FALSE(frame->ReadNext(*reader));
        // A medium that fails under the open file.
        reader->ResetFrame();
        ASSERT_EQ(truncate(m_kernel.Path(m_path).c_str(), 2050), 0);
        EXPECT_EQ(frame->ReadNext(*reader), bytes == 0);
    }
}

}  // namespace
