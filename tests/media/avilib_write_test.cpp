#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <tuple>
#include <utility>

#include "tests/media/media_test.h"

namespace {

using Call = support::FakeKernel::Call;
using AviWriteTest = MediaTest;

// What stands before the frames, each of which holds 320 x 240 x 2 bytes; with none of them, while the clip grows.
std::string Header(std::uint32_t frames) {
    const bool closed = frames > 0;
    const std::uint32_t end = 2048 + frames * 153608;
    const std::uint32_t buffer = closed ? 320 * 240 * 4 : 0;
    const std::uint32_t speed = closed ? 10000000 : 0;
    const std::string main = Words({40000, speed, 0, 0x110, frames, 0, 1, buffer, 320, 240, 0, 0, 0, 0});
    const std::string stream = Words({0, 0, 0, 333333, 8333325, 0, frames, buffer, closed ? 0 : ~0U, 0, 0, 0});
    const std::string format =
        Words({40, 320, 240, (closed ? 16U : 24U) << 16 | 1}) + "YUY2" + Words({320 * 240 * 3, 0, 0, 0, 0});
    const std::string lists = List("hdrl", Chunk("avih", main) + Stream("vids", "YUY2" + stream, format));
    return "RIFF" + Le32(closed ? end + frames * 16 : 0xFEFFF003) + "AVI " + lists +
           Chunk("JUNK", std::string(2016 - lists.size(), '\0')) + "LIST" + Le32(closed ? end - 2044 : 0xFEFFF003) +
           "movi";
}

TEST_F(AviWriteTest, HeaderAndIndexWhileRecordingAndAfterwards) {
    std::filesystem::remove(m_kernel.Path(m_path));
    const mode_t before = umask(026);
    AviHandle avi = Create();
    EXPECT_EQ(umask(before), 026U);
    EXPECT_EQ(std::filesystem::status(m_kernel.Path(m_path)).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(m_kernel.LastOpenFlags(), O_RDWR | O_CREAT | O_TRUNC | O_DSYNC);
    EXPECT_EQ(Bytes(), Header(0));
    const std::string frame(153600, 'f');
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(AVI_write_frame(avi.get(), frame.data(), 153600, i), 0);
    ASSERT_EQ(AVI_close(avi.release()), 0);
    EXPECT_EQ(Bytes().substr(0, 2048), Header(3));
    EXPECT_EQ(Recorded(), Frames(3, frame));
}

TEST_F(AviWriteTest, OddRatesAndCodes) {
    const std::tuple<const char*, double, std::string, Facts> cases[] = {
        {"YUY2", 12, "YUY2", {83333, 3999996}},
        {"YUY2", 0.001, "YUY2", {1000000000, 333}},
        {"YUY2", 0.0009, "YUY2", {0, 0}},
        {"YUY2", -5, "YUY2", {0, 0}},
        {"YUY2 and more", 1e9, "YUY2", {0, 0x7FFFFFFF}},
        {"RGB3", 25, Le32(0), {40000, 8333325}},
        {"RG", 25, std::string("RG\0\0", 4), {40000, 8333325}},
    };
    for (const auto& [compressor, fps, code, rates] : cases) {
        SCOPED_TRACE(compressor + std::string(" ") + std::to_string(fps));
        AviHandle avi = Create();  // of another rate and code at first
        AVI_set_video(avi.get(), 320, 240, fps, compressor);
        ASSERT_EQ(AVI_close(avi.release()), 0);
        const std::string bytes = Bytes();
        EXPECT_EQ(bytes.substr(112, 4) + bytes.substr(188, 4), code + code);
        EXPECT_EQ((Facts{Read32(bytes, 32), Read32(bytes, 132)}), rates) << "microseconds for a frame, and its rate";
        EXPECT_EQ(Recorded(), Frames());
        EXPECT_EQ(bytes.substr(2040), Le32(4) + "movi" + Chunk("idx1", ""));
    }
}

TEST_F(AviWriteTest, ChunksArePaddedAndDuplicatesShareTheirData) {
    AviHandle avi = Create();
    EXPECT_EQ((Facts{AVI_dup_frame(avi.get()), AVI_write_frame(avi.get(), "abcP", 3, 1),
                     AVI_write_frame(avi.get(), nullptr, 0, 1), AVI_write_frame(avi.get(), nullptr, -1, 0),
                     AVI_write_frame(avi.get(), "wxyz", 4, 0), AVI_dup_frame(avi.get())}),
              Facts(6, 0));
    EXPECT_EQ(AVI_bytes_written(avi.get()), 2048 + 4 * 8 + 8 + 8 + 5 * 16);
    EXPECT_EQ(AVI_bytes_remain(avi.get()), 0xFEFFF7FFLL - AVI_bytes_written(avi.get()));
    AVI_set_video(avi.get(), 320, 240, 25, "YUY2");
    EXPECT_EQ(Read32(Bytes(), 44), 0x130U) << "only the index knows of the repeated frame";
    ASSERT_EQ(AVI_close(avi.release()), 0);
    EXPECT_EQ(Recorded(), (Frames{"abc", "", "", "wxyz", "wxyz"}));
    EXPECT_EQ(AviFile(Bytes()).flags, (Facts{0x10, 0x10, 0, 0, 0x10}));
    EXPECT_EQ(Bytes().substr(2048, 12), "00db" + Le32(3) + "abcP");
    EXPECT_EQ(ReadFrames(Open().get()), Recorded());
}

TEST_F(AviWriteTest, ARecordingOfFourGibibytesIsReadBack) {
    constexpr std::size_t kFrame = std::size_t{16} << 20;
    constexpr int kFrames = 254;  // the most that fit below the limit of 0xFEFFF7FF bytes
    constexpr long long kEnd = 2048 + kFrames * (kFrame + 8);
    m_kernel.skip_zeros = true;
    AviHandle avi = Create(4096, 2048, 30);
    std::string frame(kFrame, '\0');
    // Every frame says at both of its ends which one it is.
    const auto mark = [&frame](int number) {
        const std::string text = "frame " + std::to_string(1000 + number);
        frame.replace(0, text.size(), text);
        frame.replace(kFrame - text.size(), text.size(), text);
    };
    for (int i = 0; i < kFrames; ++i) {
        mark(i);
        ASSERT_EQ(AVI_write_frame(avi.get(), frame.data(), static_cast<long>(kFrame), 1), 0);
    }
    // Behind them there is room to the byte for a chunk, its record, and the heads of both; its pad byte does not
    // count. The last of the lengths that are too large would wrap around in 32 bits.
    const auto room = static_cast<long>(0xFEFFF7FF - kEnd - kFrames * 16 - 32);
    const int writes = m_kernel.Writes();
    for (const long length : {room + 1, static_cast<long>(kFrame), 0x7FFFFFFFL})
        EXPECT_EQ((Facts{AVI_write_frame(avi.get(), frame.data(), length, 1), std::exchange(AVI_errno, 0)}),
                  (Facts{-1, AVI_ERR_SIZELIM}));
    EXPECT_EQ(m_kernel.Writes(), writes);
    EXPECT_EQ((Facts{AVI_write_frame(avi.get(), frame.data(), room, 1), AVI_dup_frame(avi.get()),
                     AVI_close(avi.release()), AVI_max_size()}),
              (Facts{0, -1, 0, 0xFEFFF7FF}));

    for (const bool with_index : {true, false}) {
        SCOPED_TRACE(with_index);
        // As after a power cut: the index is gone, and is rebuilt from the chunks.
        if (!with_index) std::filesystem::resize_file(m_kernel.Path(m_path), kEnd);
        const AviHandle reader = Open();
        ASSERT_TRUE(reader && AVI_video_frames(reader.get()) == kFrames + (with_index ? 1 : 0));
        std::string read(kFrame, 'x');
        int keyframe = 0;
        // On both sides of 2 GiB, and the last one, which ends beyond 3.9 GiB.
        for (const int number : {0, 126, 127, 128, kFrames - 1}) {
            mark(number);
            AVI_set_video_position(reader.get(), number);
            ASSERT_EQ(AVI_read_frame(reader.get(), read.data(), &keyframe), static_cast<long>(kFrame));
            EXPECT_TRUE(read == frame) << number;
        }
    }
}

// No part of the program records or plays sound; files that have it are read.
TEST_F(AviWriteTest, SoundIsWrittenAndReadBack) {
    AviHandle handle = Create();
    avi_t* avi = handle.get();
    AVI_set_audio(avi, 2, 44100, 16, 1, 1411);
    AVI_set_audio(avi, 1, 8000, 8, 7, 1);
    AVI_set_audio_bitrate(avi, 64);
    // Nothing to append to; a frame; where the padding was; the longest chunk; a wrong track; another track's chunk.
    EXPECT_EQ((Facts{AVI_append_audio(avi, "ab", 2), AVI_write_frame(avi, "FRAM", 4, 0),
                     AVI_write_audio(avi, "abcdefg\0", 7), AVI_append_audio(avi, "hijk\0", 4), AVI_max_video_chunk(avi),
                     AVI_set_audio_track(avi, 2), AVI_set_audio_track(avi, 0), AVI_append_audio(avi, "ab", 2),
                     AVI_write_audio(avi, "stereo..", 8), AVI_get_audio_track(avi)}),
              (Facts{-1, 0, 0, 0, 11, -1, 0, -1, 0, 0}));
    EXPECT_EQ(AVI_close(handle.release()), 0);
    EXPECT_EQ(Recorded(), Frames{"FRAM"});
    handle = Open();
    avi = handle.get();
    ASSERT_TRUE(avi);
    char buffer[16] = {};
    long length = 0;
    EXPECT_EQ((Facts{AVI_audio_tracks(avi), AVI_audio_channels(avi), AVI_audio_rate(avi), AVI_audio_bytes(avi),
                     AVI_set_audio_track(avi, 1), AVI_audio_channels(avi), AVI_audio_rate(avi), AVI_audio_bytes(avi),
                     AVI_audio_bits(avi), AVI_audio_format(avi), AVI_audio_chunks(avi), AVI_audio_mp3rate(avi),
                     AVI_audio_codech_offset(avi), AVI_audio_codecf_offset(avi), AVI_audio_size(avi, 0)}),
              (Facts{2, 2, 44100, 8, 0, 1, 8000, 11, 8, 7, 1, 64, 336, 396, 11}));
    // From the fifth byte to the end; in file order, with the frame before.
    EXPECT_EQ((Facts{AVI_set_audio_position(avi, 5), AVI_read_audio(avi, buffer, 3), AVI_read_audio_chunk(avi, nullptr),
                     AVI_read_audio_chunk(avi, buffer + 3), AVI_read_audio(avi, buffer, 3),
                     AVI_read_data(avi, buffer + 6, 4, nullptr, 0, &length),
                     AVI_read_data(avi, nullptr, 0, buffer, 10, &length), length}),
              (Facts{0, 3, 3, 3, 0, 1, -2, 11}));
    EXPECT_EQ(std::string(buffer, 10), "fghijkFRAM");
}

TEST_F(AviWriteTest, HandlesDoOnlyWhatTheyWereOpenedFor) {
    Record({"1234"});
    const AviHandle reading = Open();
    const AviHandle writing = Create();
    avi_t* r = reading.get();
    avi_t* w = writing.get();
    ASSERT_TRUE(r && w);
    const int writes = m_kernel.Writes();
    char buffer[8] = {};
    int keyframe = 0;
    long length = 0;
    AVI_set_video(r, 1, 1, 1, "RGB");
    AVI_set_audio(r, 1, 8000, 8, 1, 64);
    AVI_set_audio_bitrate(r, 64);
    EXPECT_EQ(
        (Facts{AVI_read_frame(w, buffer, &keyframe), AVI_set_video_position(w, 0), AVI_seek_start(w),
               AVI_frame_size(w, 0), AVI_read_audio(w, buffer, 1), AVI_write_audio(w, buffer, 1),
               AVI_read_data(w, buffer, 8, nullptr, 0, &length), AVI_write_frame(r, buffer, 4, 0),
               AVI_write_audio(r, buffer, 4), AVI_append_audio(r, buffer, 4), AVI_dup_frame(r), AVI_bytes_remain(r)}),
        Facts(12, -1));
    EXPECT_EQ(AVI_errno, AVI_ERR_NOT_PERM);
    EXPECT_EQ(m_kernel.Writes(), writes);
    EXPECT_EQ(AVI_video_width(r) + AVI_audio_tracks(r), 4);
}

// Whichever write fails, the call that made it says so, nothing else breaks, and what was written stays readable.
TEST_F(AviWriteTest, EveryWriteMayFail) {
    constexpr int kFrames = 4;
    for (int nth = 2; nth <= kFrames + 4; ++nth) {
        for (const std::size_t partial : {0U, 5U}) {
            SCOPED_TRACE("write " + std::to_string(nth) + ", partial " + std::to_string(partial));
            m_kernel.FailWritesFrom(nth, ENOSPC, partial);
            AVI_errno = 0;
            AviHandle avi = Create();
            EXPECT_EQ(AVI_errno, nth == 2 ? AVI_ERR_CLOSE : 0);
            Frames written;
            for (int i = 0; i < kFrames; ++i) {
                const std::string frame = "frame " + std::to_string(i) + "!";
                if (AVI_write_frame(avi.get(), frame.data(), 8, 1) == 0) written.push_back(frame);
            }
            EXPECT_EQ(written.size(), std::clamp(nth - 3, 0, kFrames));
            const bool healthy = written.size() < kFrames;  // the medium has room again, for the rest
            if (healthy) m_kernel.Heal();
            AVI_errno = 0;
            EXPECT_EQ(AVI_close(avi.release()), healthy ? 0 : -1);
            EXPECT_EQ(AVI_errno, healthy ? 0 : AVI_ERR_CLOSE);
            EXPECT_EQ(m_kernel.OpenFiles(), 0);
            m_kernel.Heal();

            EXPECT_EQ(AviFile(Bytes()).defect.empty(), healthy);
            EXPECT_EQ(ReadFrames(Open().get()), written);
        }
    }
}

// The index, the flush and the close fail once each: the file still stands as it can, and the first error is told.
TEST_F(AviWriteTest, EveryStepOfTheEndMayFail) {
    const std::tuple<Call, int, int, std::uint32_t> cases[] = {{Call::Write, 4, AVI_ERR_WRITE_INDEX, 0x100},
                                                               {Call::Write, 5, AVI_ERR_CLOSE, 0x110},
                                                               {Call::Flush, 1, AVI_ERR_CLOSE, 0x110},
                                                               {Call::Close, 1, AVI_ERR_CLOSE, 0x110}};
    for (const auto& [call, nth, error, flags] : cases) {
        m_kernel.FailNth(call, nth, EIO);
        AviHandle avi = Create();
        ASSERT_EQ(AVI_write_frame(avi.get(), "frame", 5, 1), 0);
        EXPECT_EQ((Facts{AVI_close(avi.release()), AVI_errno, errno}), (Facts{-1, error, EIO}));
        EXPECT_EQ(m_kernel.OpenFiles(), 0);
        EXPECT_EQ(Read32(Bytes(), 44), flags);
        EXPECT_EQ(ReadFrames(Open().get()), Frames{"frame"});
    }
}

TEST_F(AviWriteTest, ShortAndInterruptedWritesAreResumedWhileTheIndexGrows) {
    m_kernel.write_limit = 7;
    m_kernel.FailNth(Call::Write, 2, EINTR);
    const Frames frames(2 * AVI_INDEX_GROWTH + 1, "0123456789");
    Record(frames);
    EXPECT_EQ(Recorded(), frames);
}

TEST_F(AviWriteTest, ErrorTexts) {
    m_kernel.FailWritesFrom(1, ENOSPC);
    EXPECT_FALSE(Create());
    EXPECT_STREQ(AVI_strerror(), "avilib - Error writing to AVI file - No space left on device");
    EXPECT_EQ(AVI_open_output_file("/media/no/folder.avi"), nullptr);
    EXPECT_STREQ(AVI_strerror(), "avilib - Error opening AVI file - No such file or directory");
    testing::internal::CaptureStderr();
    AVI_print_error("record");
    for (AVI_errno = AVI_ERR_NO_IDX; AVI_errno <= AVI_ERR_NO_IDX + 1; ++AVI_errno)
        AVI_print_error(AVI_strerror());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "record: avilib - Error opening AVI file\nREASON: No such file or directory\n"
              "avilib - operation needs an index: avilib - operation needs an index\n"
              "avilib - Unkown Error: avilib - Unkown Error\n");
}

}  // namespace
