#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>

#include "tests/media/avi_file.h"
#include "tests/media/test_kernel.h"

namespace {

class AviWriteTest : public MediaTest {
  protected:
    AviHandle Create(const char* compressor = "YUY2", double fps = 25) {
        AviHandle avi(AVI_open_output_file(m_path.c_str()));
        if (avi) AVI_set_video(avi.get(), 320, 240, fps, compressor);
        return avi;
    }
    std::string Bytes() const { return ReadFile(m_path); }

    const std::string m_path = File("clip.avi");
};

struct Field {
    std::size_t at;
    std::uint32_t provisional;
    std::uint32_t closed;
};

std::uint32_t Code(const char* code) {
    return Read32(code, 0);
}

TEST_F(AviWriteTest, HeaderStandsAtItsOffsetsWhileRecordingAndAfterwards) {
    AviHandle avi = Create();
    EXPECT_EQ(m_kernel.m_openFlags, O_RDWR | O_CREAT | O_TRUNC | O_DSYNC);
    const std::string provisional = Bytes();
    ASSERT_EQ(provisional.size(), 2048U);
    const std::string frame(153600, 'f');
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(AVI_write_frame(avi.get(), frame.data(), 153600, i), 0);
    ASSERT_EQ(AVI_close(avi.release()), 0);
    const std::string closed = Bytes();
    const std::uint32_t end_of_frames = 2048 + 3 * 153608;
    ASSERT_EQ(closed.size(), end_of_frames + 8 + 3 * 16);

    constexpr std::uint32_t kOpen = 0xFEFFF003;
    const Field fields[] = {
        {0, Code("RIFF"), Code("RIFF")},
        {4, kOpen, static_cast<std::uint32_t>(closed.size()) - 8},
        {8, Code("AVI "), Code("AVI ")},
        {12, Code("LIST"), Code("LIST")},
        {16, 192, 192},
        {20, Code("hdrl"), Code("hdrl")},
        {24, Code("avih"), Code("avih")},
        {28, 56, 56},
        {32, 40000, 40000},
        {36, 0, 10000000},
        {40, 0, 0},
        {44, 0x110, 0x110},
        {48, 0, 3},
        {52, 0, 0},
        {56, 1, 1},
        {60, 0, 320 * 240 * 4},
        {64, 320, 320},
        {68, 240, 240},
        {88, Code("LIST"), Code("LIST")},
        {92, 116, 116},
        {96, Code("strl"), Code("strl")},
        {100, Code("strh"), Code("strh")},
        {104, 56, 56},
        {108, Code("vids"), Code("vids")},
        {112, Code("YUY2"), Code("YUY2")},
        {128, 333333, 333333},
        {132, 8333325, 8333325},
        {136, 0, 0},
        {140, 0, 3},
        {144, 0, 320 * 240 * 4},
        {148, 0xFFFFFFFF, 0},
        {152, 0, 0},
        {164, Code("strf"), Code("strf")},
        {168, 40, 40},
        {172, 40, 40},
        {176, 320, 320},
        {180, 240, 240},
        {184, 1 | 24 << 16, 1 | 16 << 16},
        {188, Code("YUY2"), Code("YUY2")},
        {192, 320 * 240 * 3, 320 * 240 * 3},
        {212, Code("JUNK"), Code("JUNK")},
        {216, 1816, 1816},
        {2036, Code("LIST"), Code("LIST")},
        {2040, kOpen, end_of_frames - 2044},
        {2044, Code("movi"), Code("movi")},
    };
    std::string expectedOpen(2048, '\0');
    std::string expectedClosed(2048, '\0');
    for (const Field& field : fields) {
        EXPECT_EQ(Read32(provisional, field.at), field.provisional) << "provisional, offset " << field.at;
        EXPECT_EQ(Read32(closed, field.at), field.closed) << "closed, offset " << field.at;
        expectedOpen.replace(field.at, 4, Le32(field.provisional));
        expectedClosed.replace(field.at, 4, Le32(field.closed));
    }
    EXPECT_TRUE(provisional == expectedOpen) << "a byte that no field covers is not zero";
    EXPECT_TRUE(closed.substr(0, 2048) == expectedClosed) << "a byte that no field covers is not zero";
    EXPECT_EQ(closed.substr(end_of_frames),
              Chunk("idx1", IndexRecord("00db", 0, 2048, 153600) + IndexRecord("00db", 0x10, 2048 + 153608, 153600) +
                                IndexRecord("00db", 0x10, 2048 + 2 * 153608, 153600)));
    EXPECT_EQ(m_kernel.m_flushes, 1);
}

TEST_F(AviWriteTest, OddRatesAndCodes) {
    const struct {
        const char* compressor;
        double fps;
        std::string code;
        std::uint32_t microseconds;
        std::uint32_t rate;
    } cases[] = {
        {"YUY2", 12, "YUY2", 83333, 3999996},
        {"YUY2", 29.97, "YUY2", 33367, 9989990},
        {"RGB3", 25, std::string(4, '\0'), 40000, 8333325},
        {"RG", 25, std::string("RG\0\0", 4), 40000, 8333325},
        {"YUY2", 0.0009, "YUY2", 0, 0},
        {"YUY2", -5, "YUY2", 0, 0},
        {"YUY2", 1e9, "YUY2", 0, 0x7FFFFFFF},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.compressor + std::string(" ") + std::to_string(test.fps));
        ASSERT_EQ(AVI_close(Create(test.compressor, test.fps).release()), 0);
        const std::string bytes = Bytes();
        EXPECT_EQ(bytes.substr(112, 4), test.code);
        EXPECT_EQ(bytes.substr(188, 4), test.code);
        EXPECT_EQ(Read32(bytes, 32), test.microseconds);
        EXPECT_EQ(Read32(bytes, 132), test.rate);
        // No frames: an empty index, and a movi list that holds only its code.
        EXPECT_EQ(bytes.size(), 2056U);
        EXPECT_EQ(bytes.substr(2048), Chunk("idx1", ""));
        EXPECT_EQ(Read32(bytes, 2040), 4U);
    }
}

TEST_F(AviWriteTest, ChunksArePaddedAndDuplicatesShareTheirData) {
    AviHandle avi = Create();
    ASSERT_EQ(AVI_write_frame(avi.get(), "abcP", 3, 1), 0);
    ASSERT_EQ(AVI_write_frame(avi.get(), nullptr, 0, 1), 0);
    ASSERT_EQ(AVI_write_frame(avi.get(), nullptr, -1, 0), 0);
    ASSERT_EQ(AVI_write_frame(avi.get(), "wxyz", 4, 0), 0);
    ASSERT_EQ(AVI_dup_frame(avi.get()), 0);
    EXPECT_EQ(AVI_bytes_written(avi.get()), 2048 + 4 * 8 + 8 + 8 + 5 * 16);
    EXPECT_EQ(AVI_bytes_remain(avi.get()), 0xFEFFF7FFLL - AVI_bytes_written(avi.get()));
    ASSERT_EQ(AVI_close(avi.release()), 0);
    const std::string bytes = Bytes();
    const std::string frames =
        "00db" + Le32(3) + "abcP" + Chunk("00db", "") + Chunk("00db", "") + Chunk("00db", "wxyz");
    EXPECT_EQ(bytes.substr(2048, frames.size()), frames);
    EXPECT_EQ(bytes.substr(2048 + frames.size()),
              Chunk("idx1", IndexRecord("00db", 16, 2048, 3) + IndexRecord("00db", 16, 2060, 0) +
                                IndexRecord("00db", 0, 2068, 0) + IndexRecord("00db", 0, 2076, 4) +
                                IndexRecord("00db", 16, 2076, 4)));
    EXPECT_EQ(Read32(bytes, 44), 0x130U);  // only the index knows of the repeated frame
    EXPECT_EQ(Read32(bytes, 48), 5U);

    AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
    ASSERT_TRUE(reader);
    EXPECT_EQ(ReadFrames(reader.get()), (std::vector<std::string>{"abc", "", "", "wxyz", "wxyz"}));
    EXPECT_EQ(AVI_max_video_chunk(reader.get()), 4);
}

TEST_F(AviWriteTest, SizeLimitIsExactAndHarmless) {
    // pos + n_idx * 16 + 32 + length must stay below 0xFEFFF800.
    for (const std::uint32_t excess : {0U, 1U}) {
        AviHandle avi = Create();
        ASSERT_EQ(AVI_write_frame(avi.get(), "1234", 4, 0), 0);
        avi->pos = 0xFEFFF800U - 1 - 16 - 32 - 10 + excess;
        ASSERT_GE(lseek(avi->fdes, avi->pos, SEEK_SET), 0);
        const int writes = m_kernel.m_writes;
        EXPECT_EQ(AVI_write_frame(avi.get(), "0123456789", 10, 1), excess ? -1 : 0);
        EXPECT_EQ(m_kernel.m_writes - writes, excess ? 0 : 1);
        if (excess) {
            EXPECT_EQ(AVI_errno, AVI_ERR_SIZELIM);
        }
        EXPECT_EQ(avi->n_idx, excess ? 1 : 2);
        EXPECT_EQ(AVI_video_frames(avi.get()), excess ? 1 : 2);
        // Sums that would wrap around in 32 bits.
        EXPECT_EQ(AVI_write_frame(avi.get(), nullptr, 0x7FFFFFFF, 1), -1);
        EXPECT_EQ(AVI_errno, AVI_ERR_SIZELIM);
        EXPECT_EQ(AVI_close(avi.release()), 0);
        EXPECT_LE(std::filesystem::file_size(m_path), AVI_max_size());
    }
    EXPECT_EQ(AVI_max_size(), 0xFEFFF7FFU);
}

TEST_F(AviWriteTest, ARecordingOfFourGibibytesIsReadBack) {
    constexpr std::size_t kFrame = std::size_t{16} << 20;
    m_kernel.SkipZeros();
    AviHandle avi = Create();
    AVI_set_video(avi.get(), 4096, 2048, 30, "YUY2");
    std::string frame(kFrame, '\0');
    // Every frame says at both of its ends which one it is.
    const auto mark = [&frame](int number) {
        const std::string text = "frame " + std::to_string(1000 + number);
        frame.replace(0, text.size(), text);
        frame.replace(kFrame - text.size(), text.size(), text);
    };
    int frames = 0;
    for (;; ++frames) {
        mark(frames);
        if (AVI_write_frame(avi.get(), frame.data(), static_cast<long>(kFrame), 1) < 0) break;
        ASSERT_LT(frames, 1000);
    }
    EXPECT_EQ(AVI_errno, AVI_ERR_SIZELIM);
    // The most that fit below the limit of 0xFEFFF7FF bytes.
    EXPECT_EQ(frames, 254);
    EXPECT_EQ(AVI_bytes_written(avi.get()), 2048 + 254 * (16777216LL + 8) + 8 + 254 * 16);
    EXPECT_EQ(AVI_close(avi.release()), 0);
    EXPECT_EQ(std::filesystem::file_size(m_path), 2048U + 254ULL * (16777216 + 8) + 8 + 254 * 16);

    for (const bool with_index : {true, false}) {
        SCOPED_TRACE(with_index);
        if (!with_index) {
            // As after a power cut: the index is gone, and is rebuilt from the chunks.
            std::filesystem::resize_file(m_path, 2048U + 254ULL * (16777216 + 8));
        }
        AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
        ASSERT_TRUE(reader);
        ASSERT_EQ(AVI_video_frames(reader.get()), frames);
        ASSERT_EQ(AVI_max_video_chunk(reader.get()), static_cast<long>(kFrame));
        std::string read(kFrame, 'x');
        int keyframe = 0;
        // On both sides of 2 GiB, and the last one, which ends beyond 3.9 GiB.
        for (const int number : {0, 126, 127, 128, 253}) {
            mark(number);
            ASSERT_EQ(AVI_set_video_position(reader.get(), number), 0);
            ASSERT_EQ(AVI_read_frame(reader.get(), read.data(), &keyframe), static_cast<long>(kFrame));
            EXPECT_TRUE(read == frame) << number;
        }
    }
}

TEST_F(AviWriteTest, AudioTracksFollowTheVideoStream) {
    AviHandle avi = Create();
    AVI_set_audio(avi.get(), 2, 44100, 16, 1, 1411);
    AVI_set_audio(avi.get(), 1, 8000, 8, 1, 64);
    EXPECT_EQ(AVI_get_audio_track(avi.get()), 1);
    EXPECT_EQ(AVI_append_audio(avi.get(), "ab", 2), -1);  // nothing to append to
    ASSERT_EQ(AVI_write_frame(avi.get(), "FRAM", 4, 0), 0);
    ASSERT_EQ(AVI_write_audio(avi.get(), "abcdefgh", 8), 0);
    ASSERT_EQ(AVI_append_audio(avi.get(), "ijk\0", 3), 0);
    EXPECT_EQ(AVI_set_audio_track(avi.get(), 2), -1);
    EXPECT_EQ(AVI_set_audio_track(avi.get(), 0), 0);
    ASSERT_EQ(AVI_write_audio(avi.get(), "stereo..", 8), 0);
    ASSERT_EQ(AVI_close(avi.release()), 0);

    const std::string bytes = Bytes();
    const std::string chunks = Chunk("00db", "FRAM") + Chunk("02wb", "abcdefghijk") + Chunk("01wb", "stereo..");
    EXPECT_EQ(bytes.substr(2048, chunks.size()), chunks);
    EXPECT_EQ(Read32(bytes, 16), 392U);
    EXPECT_EQ(Read32(bytes, 56), 3U);
    const std::string stereo = List(
        "strl",
        Chunk("strh", "auds" + std::string(16, '\0') + Le32(1) + Le32(1411 * 125) + Le32(0) + Le32(8) + Le32(0) +
                          Le32(0xFFFFFFFF) + Le32(1) + std::string(8, '\0')) +
            Chunk("strf", std::string("\1\0\2\0", 4) + Le32(44100) + Le32(1411 * 125) + std::string("\1\0\x10\0", 4)));
    EXPECT_EQ(bytes.substr(212, 100), stereo);
    EXPECT_EQ(bytes.substr(412, 8), "JUNK" + Le32(2028 - 412));

    AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
    ASSERT_TRUE(reader);
    EXPECT_EQ(AVI_audio_tracks(reader.get()), 2);
    EXPECT_EQ(AVI_audio_channels(reader.get()), 2);
    EXPECT_EQ(AVI_audio_rate(reader.get()), 44100);
    EXPECT_EQ(AVI_audio_bytes(reader.get()), 8);
    ASSERT_EQ(AVI_set_audio_track(reader.get(), 1), 0);
    EXPECT_EQ(AVI_audio_mp3rate(reader.get()), 64);
    EXPECT_EQ(AVI_audio_size(reader.get(), 0), 11);
    char buffer[16] = {};
    ASSERT_EQ(AVI_set_audio_position(reader.get(), 5), 0);
    EXPECT_EQ(AVI_read_audio(reader.get(), buffer, 3), 3);
    EXPECT_EQ(std::string(buffer, 3), "fgh");
    EXPECT_EQ(AVI_read_audio_chunk(reader.get(), nullptr), 3);
    EXPECT_EQ(AVI_read_audio_chunk(reader.get(), buffer), 3);
    EXPECT_EQ(AVI_read_audio(reader.get(), buffer, 3), 0);

    // In file order: the frame, then the current track's chunk.
    long length = 0;
    char frame[4] = {};
    EXPECT_EQ(AVI_read_data(reader.get(), frame, 4, buffer, 16, &length), 1);
    EXPECT_EQ(AVI_read_data(reader.get(), frame, 4, buffer, 10, &length), -2);
    EXPECT_EQ(length, 11);
    EXPECT_EQ(AVI_read_data(reader.get(), frame, 4, buffer, 16, &length), 0);
}

TEST_F(AviWriteTest, NinthAudioTrackEndsTheProcess) {
    EXPECT_EXIT(
        {
            AviHandle avi = Create();
            for (int i = 0; i < 9; ++i)
                AVI_set_audio(avi.get(), 1, 8000, 8, 1, 64);
        },
        testing::ExitedWithCode(1), "^error - only 8 audio tracks supported\n$");
}

TEST_F(AviWriteTest, HandlesDoOnlyWhatTheyWereOpenedFor) {
    AviHandle writer = Create();
    AVI_write_frame(writer.get(), "1234", 4, 0);
    char buffer[8];
    int keyframe = 0;
    long length = 0;
    const auto refused = [](std::int64_t result) {
        const bool is_refused = result == -1 && AVI_errno == AVI_ERR_NOT_PERM;
        AVI_errno = 0;
        return is_refused;
    };
    EXPECT_TRUE(refused(AVI_read_frame(writer.get(), buffer, &keyframe)));
    EXPECT_TRUE(refused(AVI_set_video_position(writer.get(), 0)));
    EXPECT_TRUE(refused(AVI_seek_start(writer.get())));
    EXPECT_TRUE(refused(AVI_frame_size(writer.get(), 0)));
    EXPECT_TRUE(refused(AVI_read_audio(writer.get(), buffer, 1)));
    EXPECT_TRUE(refused(AVI_read_data(writer.get(), buffer, 8, nullptr, 0, &length)));
    EXPECT_TRUE(refused(AVI_write_audio(writer.get(), buffer, 1)));  // no track
    writer.reset();

    AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
    ASSERT_TRUE(reader);
    EXPECT_TRUE(refused(AVI_write_frame(reader.get(), buffer, 4, 0)));
    EXPECT_TRUE(refused(AVI_dup_frame(reader.get())));
    EXPECT_TRUE(refused(AVI_write_audio(reader.get(), buffer, 4)));
    EXPECT_TRUE(refused(AVI_bytes_remain(reader.get())));
    AVI_set_video(reader.get(), 1, 1, 1, "RGB");
    EXPECT_EQ(AVI_video_width(reader.get()), 320);
}

// Whichever write fails, the call that made it says so, nothing else breaks, and what was written stays readable.
TEST_F(AviWriteTest, EveryWriteMayFail) {
    constexpr int kFrames = 4;
    for (int nth = 1; nth <= kFrames + 4; ++nth) {
        for (const std::size_t partial : {std::size_t{0}, std::size_t{5}}) {
            SCOPED_TRACE("write " + std::to_string(nth) + ", partial " + std::to_string(partial));
            m_kernel.FailWrites(nth, ENOSPC, partial);
            AVI_errno = 0;
            AviHandle avi = Create();
            if (nth == 1) {
                EXPECT_FALSE(avi);
                EXPECT_EQ(AVI_errno, AVI_ERR_WRITE);
                EXPECT_STREQ(AVI_strerror(), "avilib - Error writing to AVI file - No space left on device");
                continue;
            }
            EXPECT_EQ(AVI_errno, nth == 2 ? AVI_ERR_CLOSE : 0);
            int written = 0;
            for (int i = 0; i < kFrames; ++i) {
                const std::string frame = "frame " + std::to_string(i) + "!";
                const bool ok = AVI_write_frame(avi.get(), frame.data(), 8, 1) == 0;
                EXPECT_EQ(ok, i + 3 < nth);
                written += ok ? 1 : 0;
            }
            if (written < kFrames) m_kernel.FailWrites(0, 0);  // the medium has room again, for the rest
            const bool healthy = written < kFrames;
            EXPECT_EQ(AVI_close(avi.release()), healthy ? 0 : -1);
            m_kernel.FailWrites(0, 0);

            AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
            ASSERT_EQ(reader != nullptr, written > 0);
            if (!reader) continue;
            const std::vector<std::string> frames = ReadFrames(reader.get());
            ASSERT_EQ(frames.size(), static_cast<std::size_t>(written));
            for (int i = 0; i < written; ++i)
                EXPECT_EQ(frames[static_cast<std::size_t>(i)], "frame " + std::to_string(i) + "!");
        }
    }
}

TEST_F(AviWriteTest, ShortWritesAreResumed) {
    m_kernel.ShortWrites(7);
    AviHandle avi = Create();
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(AVI_write_frame(avi.get(), "0123456789abcdefghij", 20, 1), 0);
    ASSERT_EQ(AVI_close(avi.release()), 0);
    AviHandle reader(AVI_open_input_file(m_path.c_str(), 1));
    ASSERT_TRUE(reader);
    EXPECT_EQ(ReadFrames(reader.get()), std::vector<std::string>(3, "0123456789abcdefghij"));
}

TEST_F(AviWriteTest, ErrorTexts) {
    EXPECT_EQ(AVI_open_output_file(File("no/such/folder.avi").c_str()), nullptr);
    EXPECT_STREQ(AVI_strerror(), "avilib - Error opening AVI file - No such file or directory");
    testing::internal::CaptureStderr();
    AVI_print_error("record");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "record: avilib - Error opening AVI file\nREASON: No such file or directory\n");
    for (const auto& [error, text] : {std::pair<int, const char*>{1, "avilib - AVI file size limit reached"},
                                      {7, "avilib - Operation (read/write) not permitted"},
                                      {13, "avilib - operation needs an index"},
                                      {14, "avilib - Unkown Error"},
                                      {-3, "avilib - Unkown Error"}}) {
        AVI_errno = error;
        EXPECT_STREQ(AVI_strerror(), text);
    }
}

}  // namespace
