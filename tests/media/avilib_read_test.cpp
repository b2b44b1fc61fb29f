#include <fcntl.h>

#include <random>

#include "media/avilib_internal.h"
#include "tests/media/avi_file.h"
#include "tests/media/test_kernel.h"

namespace {

const std::string kFormat = BitmapFormat(4, 2);
const std::string kHeaderList = List("hdrl", Chunk("avih", std::string(56, '\0')) + Stream("vids", kFormat, 2, 25, 2));
const std::string kFrames = Chunk("00db", "first frame") + Chunk("00dc", "second");

class AviReadTest : public MediaTest {
  protected:
    AviHandle Open(const std::string& bytes, int getIndex = 1) {
        WriteFile(m_path, bytes);
        AVI_errno = 0;
        return AviHandle(AVI_open_input_file(m_path.c_str(), getIndex));
    }
    // Opens what the library wrote: frames of odd and even lengths, one empty.
    std::string Recording(bool finished) {
        AviHandle avi(AVI_open_output_file(m_path.c_str()));
        AVI_set_video(avi.get(), 4, 2, 12, "YUY2");
        for (const std::string& frame : m_frames) {
            AVI_write_frame(avi.get(), frame.data(), static_cast<long>(frame.size()), 1);
        }
        if (!finished) return ReadFile(m_path);
        avi.reset();
        return ReadFile(m_path);
    }

    const std::string m_path = File("clip.avi");
    const std::vector<std::string> m_frames{"one", "second", "", "the fourth", "5"};
};

TEST_F(AviReadTest, IndexTypes) {
    const std::string movi = List("movi", kFrames);
    const auto with_index = [&](std::uint32_t first, std::uint32_t second, const std::string& tag = "00db") {
        return Riff(kHeaderList + movi +
                    Chunk("idx1", IndexRecord(tag, 16, first, 11) + IndexRecord("00DC", 0, second, 6)));
    };
    const auto base = static_cast<std::uint32_t>(12 + kHeaderList.size() + 12);  // of the first chunk in the file
    const struct {
        const char* name;
        std::string bytes;
        int type;
    } cases[] = {
        {"from the start of the file", with_index(base, base + 20), 1},
        {"from the movi code", with_index(4, 24), 2},
        {"of nowhere", with_index(1, 21), 0},
        {"beyond the end", with_index(0xFFFFFFF0, 0xFFFFFFFF), 0},
        {"of another tag", with_index(base, base + 20, "01db"), 0},
        {"none", Riff(kHeaderList + movi), 0},
        {"empty", Riff(kHeaderList + movi + Chunk("idx1", "")), 0},
        {"in nested lists", Riff(kHeaderList + List("movi", List("rec ", kFrames))), 0},
        {"lower-case codes", "riff" + Le32(0) + "avi " + kHeaderList + "list" + movi.substr(4), 0},
        {"junk before", Riff(Chunk("JUNK", "odd") + kHeaderList + Chunk("INFO", "") + movi), 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        testing::internal::CaptureStdout();
        const AviHandle avi = Open(test.bytes);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(printed.substr(0, printed.find('\n') + 1), "idx_type = " + std::to_string(test.type) + " \n");
        EXPECT_EQ(printed.find("\navi_parse_input_file:") != std::string::npos, test.type == 0);
        ASSERT_TRUE(avi) << AVI_strerror();
        EXPECT_EQ(AVI_video_width(avi.get()), 4);
        EXPECT_EQ(AVI_video_height(avi.get()), 2);
        EXPECT_EQ(AVI_frame_rate(avi.get()), 12.5);
        EXPECT_STREQ(AVI_video_compressor(avi.get()), "YUY2");
        EXPECT_EQ(AVI_max_video_chunk(avi.get()), 11);
        EXPECT_EQ(AVI_frame_size(avi.get(), 1), 6);
        EXPECT_EQ(ReadFrames(avi.get()), (std::vector<std::string>{"first frame", "second"}));
        char buffer[11];
        int keyframe = -1;
        ASSERT_EQ(AVI_set_video_position(avi.get(), -7), 0);
        EXPECT_EQ(AVI_read_frame(avi.get(), buffer, &keyframe), 11);
        EXPECT_EQ(keyframe, test.type == 0 ? 0 : 1);
        EXPECT_EQ(AVI_read_frame(avi.get(), buffer, &keyframe), 6);
        EXPECT_EQ(keyframe, 0);
        EXPECT_EQ(AVI_get_video_position(avi.get()), 2);
        EXPECT_EQ(AVI_read_frame(avi.get(), buffer, &keyframe), -1);
        // The offsets of the codes point at them.
        EXPECT_EQ(test.bytes.substr(static_cast<std::size_t>(AVI_video_codech_offset(avi.get())), 4), "YUY2");
        EXPECT_EQ(test.bytes.substr(static_cast<std::size_t>(AVI_video_codecf_offset(avi.get())), 4), "YUY2");
    }
}

TEST_F(AviReadTest, WithoutIndexOnlyChunksInOrder) {
    const AviHandle avi = Open(Riff(kHeaderList + List("movi", Chunk("ix00", "junk") + kFrames)), 0);
    ASSERT_TRUE(avi);
    EXPECT_EQ(AVI_video_frames(avi.get()), 2);  // as the header claims
    EXPECT_EQ(AVI_set_video_position(avi.get(), 0), -1);
    EXPECT_EQ(AVI_errno, AVI_ERR_NO_IDX);
    char buffer[11];
    long length = 0;
    EXPECT_EQ(AVI_read_data(avi.get(), buffer, 11, nullptr, 0, &length), 1);
    EXPECT_EQ(std::string(buffer, 11), "first frame");
    EXPECT_EQ(AVI_read_data(avi.get(), buffer, 5, nullptr, 0, &length), -2);
    EXPECT_EQ(AVI_read_data(avi.get(), buffer, 11, nullptr, 0, &length), 0);
    EXPECT_EQ(AVI_seek_start(avi.get()), 0);
    EXPECT_EQ(AVI_read_data(avi.get(), buffer, 11, nullptr, 0, &length), 1);
}

TEST_F(AviReadTest, RefusedFiles) {
    const std::string movi = List("movi", kFrames);
    std::string nine_tracks;
    // Empty chunks without end, the frames only after them: looking at each would keep the user waiting for minutes.
    std::string idle;
    for (int i = 0; i < AVI_MAX_CHUNKS; ++i)
        idle += Chunk("JUNK", "");
    for (int i = 0; i < 9; ++i)
        nine_tracks += Stream("auds", std::string(16, '\1'));
    const struct {
        const char* name;
        std::string bytes;
        int error;
    } cases[] = {
        {"empty", "", AVI_ERR_READ},
        {"eleven bytes", "RIFF1234AVI", AVI_ERR_READ},
        {"another RIFF", "RIFF1234WAVE", AVI_ERR_NO_AVI},
        {"only the beginning", "RIFF1234AVI ", AVI_ERR_NO_HDRL},
        {"no header list", Riff(movi), AVI_ERR_NO_HDRL},
        {"no movi list", Riff(kHeaderList), AVI_ERR_NO_MOVI},
        {"empty header list", Riff(List("hdrl", "") + movi), AVI_ERR_NO_VIDS},
        {"only sound", Riff(List("hdrl", Stream("auds", std::string(16, '\1'))) + movi), AVI_ERR_NO_VIDS},
        {"short strf", Riff(List("hdrl", Stream("vids", kFormat.substr(0, 11))) + movi), AVI_ERR_NO_VIDS},
        {"no width", Riff(List("hdrl", Stream("vids", BitmapFormat(0, 2))) + movi), AVI_ERR_NO_VIDS},
        {"huge height", Riff(List("hdrl", Stream("vids", BitmapFormat(4, 65536))) + movi), AVI_ERR_NO_VIDS},
        {"endless height", Riff(List("hdrl", Stream("vids", BitmapFormat(4, 0x80000000))) + movi), AVI_ERR_NO_VIDS},
        {"no frames", Riff(kHeaderList + List("movi", "")), AVI_ERR_NO_VIDS},
        {"frames of another stream", Riff(kHeaderList + List("movi", Chunk("01db", "x"))), AVI_ERR_NO_VIDS},
        {"all frames beyond the end", Riff(kHeaderList + List("movi", "00db" + Le32(0x7FFFFFFF) + "x")),
         AVI_ERR_NO_VIDS},
        {"millions of chunks before the movi list", Riff(kHeaderList + idle + movi), AVI_ERR_NO_MOVI},
        {"millions of chunks before the frames", Riff(kHeaderList + List("movi", idle + kFrames)), AVI_ERR_NO_VIDS},
        {"a movi list that is too short", Riff(kHeaderList + "LIST" + Le32(2) + "mo"), AVI_ERR_NO_MOVI},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_FALSE(Open(test.bytes));
        EXPECT_EQ(AVI_errno, test.error);
    }
    EXPECT_FALSE(AviHandle(AVI_open_input_file(File("missing.avi").c_str(), 1)));
    EXPECT_EQ(AVI_errno, AVI_ERR_OPEN);
    EXPECT_FALSE(AviHandle(AVI_open_fd(-1, 1)));
    EXPECT_EXIT(Open(Riff(List("hdrl", Stream("vids", kFormat) + nine_tracks) + movi)), testing::ExitedWithCode(1),
                "error - only 8 audio tracks supported\n");
}

TEST_F(AviReadTest, BrokenNumbersAreContained) {
    const std::string movi = List("movi", kFrames);
    const auto base = static_cast<std::uint32_t>(12 + kHeaderList.size() + 12);
    const auto with_index = [&](const std::string& more) {
        return Riff(kHeaderList + movi + Chunk("idx1", IndexRecord("00db", 16, base, 11) + more));
    };
    const std::vector<std::string> one{"first frame"};
    const std::vector<std::string> both{"first frame", "second"};
    const struct {
        const char* name;
        std::string bytes;
        std::vector<std::string> frames;
    } cases[] = {
        {"record beyond the end", with_index(IndexRecord("00db", 0, 0xFFFFFFF0, 4)), one},
        {"record that ends beyond the end", with_index(IndexRecord("00db", 0, base + 20, 0xFFFFFFFF)), one},
        {"half a record", with_index("00db" + Le32(0)), one},
        {"index cut by the end",
         with_index(IndexRecord("00dc", 0, base + 20, 6)).substr(0, 12 + kHeaderList.size() + 58), both},
        {"movi size beyond the end", Riff(kHeaderList + "LIST" + Le32(0xFFFFFFFF) + "movi" + kFrames), both},
        {"chunk cut by the end", Riff(kHeaderList + "LIST" + Le32(900) + "movi" + kFrames + "00db" + Le32(100) + "cut"),
         both},
        {"only the pad byte cut",
         Riff(kHeaderList + "LIST" + Le32(900) + "movi" + Chunk("00db", "odd").substr(0, 11)),
         {"odd"}},
        {"zeros behind the frames",
         Riff(kHeaderList + "LIST" + Le32(9000) + "movi" + kFrames + std::string(5000, '\0')), both},
        {"list of nothing", Riff(kHeaderList + List("movi", "LIST" + Le32(0) + "rec " + kFrames)), both},
        {"header list that claims too much", Riff(kHeaderList + movi + "LIST" + Le32(0xFFFFFFFF) + "hdrl"), both},
        {"strf that claims too much",
         Riff(List("hdrl", Chunk("strh", "vids" + std::string(52, '\0')) + "strf" + Le32(0xFFFFFFF8) + kFormat) + movi),
         both},
        {"top line first", Riff(List("hdrl", Stream("vids", BitmapFormat(4, 0U - 2))) + movi), both},
        {"short strh", Riff(List("hdrl", Chunk("strh", "vidsYUY2") + Chunk("strf", kFormat)) + movi), both},
        {"scale 0", Riff(List("hdrl", Stream("vids", kFormat, 0, 25)) + movi), both},
        {"rate 0", Riff(List("hdrl", Stream("vids", kFormat, 1, 0)) + movi), both},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const AviHandle avi = Open(test.bytes);
        ASSERT_TRUE(avi) << AVI_strerror();
        EXPECT_EQ(AVI_video_width(avi.get()), 4);
        EXPECT_EQ(AVI_video_height(avi.get()), 2);
        EXPECT_EQ(ReadFrames(avi.get()), test.frames);
        EXPECT_GE(AVI_frame_rate(avi.get()), 0);
    }
}

TEST_F(AviReadTest, RecordingCutAnywhereKeepsItsFrames) {
    for (const bool finished : {false, true}) {
        const std::string whole = Recording(finished);
        for (std::size_t size = 2048; size <= whole.size(); ++size) {
            SCOPED_TRACE((finished ? "finished, " : "unfinished, ") + std::to_string(size) + " bytes");
            std::vector<std::string> expected;
            std::size_t end = 2048;
            for (const std::string& frame : m_frames) {
                end += 8 + frame.size();
                if (end > size) break;
                expected.push_back(frame);
                end += frame.size() & 1;
            }
            const AviHandle avi = Open(whole.substr(0, size));
            ASSERT_EQ(avi != nullptr, !expected.empty());
            if (!avi) continue;
            EXPECT_EQ(ReadFrames(avi.get()), expected);
            EXPECT_EQ(AVI_frame_rate(avi.get()), 12);
        }
    }
}

TEST_F(AviReadTest, RandomDamageIsSurvived) {
    const std::string whole = Recording(true);
    const unsigned seed = std::random_device{}();
    RecordProperty("seed", std::to_string(seed));
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    testing::internal::CaptureStdout();
    for (int round = 0; round < 2000; ++round) {
        std::string damaged = whole;
        for (int i = 0; i < 4; ++i) {
            // Mostly where numbers lie: the headers, the chunks and the index.
            const std::size_t at = random() % 2 ? random() % 220 : 2036 + random() % (damaged.size() - 2036);
            damaged[at] = static_cast<char>(random());
        }
        const AviHandle avi = Open(damaged);
        if (avi) {
            EXPECT_LE(ReadFrames(avi.get()).size(), whole.size() / 8);
        }
    }
    testing::internal::GetCapturedStdout();
}

}  // namespace
