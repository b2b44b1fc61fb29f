#include <algorithm>

#include "media/avilib_internal.h"
#include "tests/media/media_test.h"
#include "tests/support/printed.h"

namespace {

const std::string kFormat = BitmapFormat(4, 2);
const std::string kHeaderList = List("hdrl", Chunk("avih", std::string(56, '\0')) + Stream("vids", kFormat, 2, 25, 2));
const std::string kChunks = Chunk("00db", "first frame") + Chunk("00dc", "second");

using AviReadTest = MediaTest;

// Of the first chunk in a file with these lists.
const auto kBase = static_cast<std::uint32_t>(12 + kHeaderList.size() + 12);

std::string File(const std::string& behind = {}) {
    return Riff(kHeaderList + List("movi", kChunks) + behind);
}
std::string Indexed(std::uint32_t first, std::uint32_t second, const std::string& tag = "00db") {
    return File(Chunk("idx1", IndexRecord(tag, 16, first, 11) + IndexRecord("00DC", 0, second, 6)));
}
// A file whose first index record is sound.
std::string Behind(const std::string& records) {
    return File(Chunk("idx1", IndexRecord("00db", 16, kBase, 11) + records));
}
// A file with these chunks for frames, whose list claims `size` bytes.
std::string Movi(const std::string& chunks, std::uint32_t size = 0) {
    const std::uint32_t length = static_cast<std::uint32_t>(chunks.size()) + 4;
    return Riff(kHeaderList + "LIST" + Le32(size ? size : length) + "movi" + chunks);
}
// A file with these stream lists.
std::string Streams(const std::string& lists) {
    return Riff(List("hdrl", lists) + List("movi", kChunks));
}
// Empty chunks without end, the frames only after them: looking at each would keep the user waiting for minutes.
std::string Idle() {
    std::string chunks;
    for (int i = 0; i < AVI_MAX_CHUNKS; ++i)
        chunks += Chunk("JUNK", "");
    return chunks;
}

TEST_F(AviReadTest, FilesAreReadAsFarAsTheyAreSound) {
    const std::string movi = List("movi", kChunks);
    const std::string sound = Stream("auds", std::string(16, '\1'));
    const std::string video = Stream("vids", kFormat);
    const std::string idle = Idle();
    const Frames one{"first frame"};
    const Frames both{"first frame", "second"};
    const struct {
        const char* name;
        std::string bytes;
        Frames frames = {};  // none: the file is refused with the error
        int error = AVI_ERR_NO_VIDS;
        double rate = 12.5;
        int index = 0;  // its type
    } cases[] = {
        {"index from the start of the file", Indexed(kBase, kBase + 20), both, 0, 12.5, 1},
        {"index from the movi code", Indexed(4, 24), both, 0, 12.5, 2},
        {"index of nowhere", Indexed(1, 21), both},
        {"index beyond the end", Indexed(0xFFFFFFF0, 0xFFFFFFFF), both},
        {"index of another tag", Indexed(kBase, kBase + 20, "01db"), both},
        {"index of another length", File(Chunk("idx1", IndexRecord("00db", 16, kBase, 10))), both},
        {"empty index", File(Chunk("idx1", "")), both},
        {"second index", Indexed(kBase, kBase + 20) + Chunk("idx1", Words({0, 0, 0, 0})), both, 0, 12.5, 1},
        {"record beyond the end", Behind(IndexRecord("00db", 0, 0xFFFFFFF0, 4)), one, 0, 12.5, 1},
        {"record that ends beyond the end", Behind(IndexRecord("00db", 0, kBase + 20, ~0U)), one, 0, 12.5, 1},
        {"record of another stream", Behind(IndexRecord("07wb", 0, kBase + 20, 6)), one, 0, 12.5, 1},
        {"half a record", Behind("00db" + Le32(0)), one, 0, 12.5, 1},
        {"millions of records", File(Chunk("idx1", idle + Words({0, 0, 0, 0}))), {}, AVI_ERR_SIZELIM},

        {"eleven bytes", "RIFF1234AVI", {}, AVI_ERR_READ},
        {"another RIFF", "RIFF1234WAVE", {}, AVI_ERR_NO_AVI},
        {"another file", "RIFX1234AVI ", {}, AVI_ERR_NO_AVI},
        {"no header list", Riff(movi), {}, AVI_ERR_NO_HDRL},
        {"no movi list", Riff(kHeaderList), {}, AVI_ERR_NO_MOVI},
        {"a movi list that is too short", Riff(kHeaderList + "LIST" + Le32(2) + "mo"), {}, AVI_ERR_NO_MOVI},
        {"millions of chunks before the movi list", Riff(kHeaderList + idle + movi), {}, AVI_ERR_NO_MOVI},
        {"lower-case codes", "riff" + Le32(0) + "avi " + kHeaderList + "list" + movi.substr(4), both},
        {"junk before", Riff(Chunk("JUNK", "odd") + kHeaderList + Chunk("INFO", "") + movi), both},
        {"second lists", Riff(kHeaderList + movi + List("hdrl", "") + List("movi", "")), both},
        {"header list that claims too much", Riff(kHeaderList + movi + "LIST" + Le32(~0U) + "hdrl"), both},

        {"in nested lists", Movi(List("rec ", kChunks)), both},
        {"empty frame last", Movi(Chunk("00db", "first frame") + Chunk("00db", "")), {"first frame", ""}},
        {"list of nothing", Movi("LIST" + Le32(0) + "rec " + kChunks), both},
        {"upper-case frames", Movi(Chunk("00DB", "first frame") + Chunk("00dC", "second")), both},
        {"chunks behind the list", Movi(kChunks + Chunk("00db", "more"), 38), both},
        {"zeros behind the frames", Movi(kChunks + std::string(5000, '\0'), 9000), both},
        {"zeros between the lists", Riff(kHeaderList + std::string(512, '\0') + movi), both},
        {"zeros between the frames",
         Movi(Chunk("00db", "first frame") + std::string(70, '\0') + Chunk("00dc", "second")), both},
        {"unknown chunks", Riff(kHeaderList + Chunk("\x80\1\2\3", "odd") + List("movi", Chunk("\1 db", "") + kChunks)),
         both},
        {"an unknown chunk that claims too much", Movi(std::string("\1\2\3\4") + Le32(~0U) + kChunks)},
        {"more zeros than are worth reading", Movi(std::string(3 << 20, '\0') + kChunks)},
        {"no picture and no frames", Riff(List("hdrl", Stream("vids", BitmapFormat(0, 0))) + List("movi", ""))},
        {"no frames", Movi("")},
        {"frames of another stream", Movi(Chunk("01db", "x"))},
        {"all frames beyond the end", Movi("00db" + Le32(0x7FFFFFFF) + "x")},
        {"millions of chunks before the frames", Movi(idle + kChunks)},

        {"strf that claims too much", Streams(Chunk("strh", "vidsYUY2") + "strf" + Le32(~7U) + kFormat), both, 0, 0},
        {"short strh", Streams(Chunk("strh", "vidsYUY2") + Chunk("strf", kFormat)), both, 0, 0},
        {"top line first", Streams(Stream("vids", BitmapFormat(4, 0U - 2))), both, 0, 25},
        {"a format without its stream", Streams(Chunk("strf", BitmapFormat(9, 9)) + video), both, 0, 25},
        {"two formats", Streams(video + Chunk("strf", BitmapFormat(9, 9))), both, 0, 25},
        {"two pictures", Streams(video + Stream("vids", BitmapFormat(9, 9), 1, 9)), both, 0, 25},
        {"scale 0", Streams(Stream("vids", kFormat, 0, 25)), both, 0, 0},
        {"rate 0", Streams(Stream("vids", kFormat, 1, 0)), both, 0, 0},
        {"empty header list", Streams("")},
        {"only sound", Streams(sound)},
        {"short strf", Streams(Stream("vids", kFormat.substr(0, 11)))},
        {"strh of a few bytes", Streams(Stream("vids", "", kFormat))},
        {"no width", Streams(Stream("vids", BitmapFormat(0, 2)))},
        {"huge height", Streams(Stream("vids", BitmapFormat(4, 65536)))},
        {"endless height", Streams(Stream("vids", BitmapFormat(4, 0x80000000)))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        AviHandle handle;
        const std::string printed = support::Printed([&] { handle = Open(c.bytes); });
        avi_t* avi = handle.get();
        ASSERT_EQ(avi != nullptr, !c.frames.empty()) << AVI_strerror();
        EXPECT_EQ(m_kernel.OpenFiles(), avi ? 1 : 0);
        EXPECT_EQ(ReadFrames(avi), c.frames);
        if (!avi) {
            EXPECT_EQ(AVI_errno, c.error);
            continue;
        }
        EXPECT_EQ(printed.substr(0, printed.find('\n')), "idx_type = " + std::to_string(c.index) + " ");
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), c.index == 0 ? 3 : 1) << "the scan's two lines";
        EXPECT_EQ((Facts{AVI_video_width(avi), AVI_video_height(avi), AVI_video_frames(avi), AVI_max_video_chunk(avi)}),
                  (Facts{4, 2, static_cast<long>(c.frames.size()), static_cast<long>(c.frames[0].size())}));
        EXPECT_EQ(AVI_frame_rate(avi), c.rate);
    }
    EXPECT_FALSE(AviHandle(AVI_open_input_file("/media/missing.avi", 1)));
    EXPECT_EQ(AVI_errno, AVI_ERR_OPEN);
    EXPECT_FALSE(AviHandle(AVI_open_fd(-1, 1)));
    std::string nine_tracks;
    for (int i = 0; i < 9; ++i)
        nine_tracks += sound;
    EXPECT_EXIT(Open(Streams(video + nine_tracks)), testing::ExitedWithCode(1),
                "error - only 8 audio tracks supported\n");
}

TEST_F(AviReadTest, WhatAFileTells) {
    const AviHandle handle = Open(Indexed(kBase, kBase + 20));
    avi_t* avi = handle.get();
    ASSERT_TRUE(avi);
    EXPECT_EQ(AVI_video_compressor(avi) + std::string(avi->compressor2), "YUY2YUY2");
    EXPECT_EQ(std::string(avi->bitmap_info_header.begin(), avi->bitmap_info_header.end()), kFormat);
    // The offsets of the codes point at them.
    for (const std::int64_t at : {AVI_video_codech_offset(avi), AVI_video_codecf_offset(avi)})
        EXPECT_EQ(Bytes().substr(static_cast<std::size_t>(at), 4), "YUY2");
    char buffer[11];
    int first = -1, second = -1, none = 0;
    EXPECT_EQ(
        (Facts{AVI_frame_size(avi, -1), AVI_frame_size(avi, 1), AVI_frame_size(avi, 2), AVI_set_video_position(avi, -7),
               AVI_read_frame(avi, buffer, &first), AVI_read_frame(avi, buffer, &second),
               AVI_read_frame(avi, buffer, &none), AVI_get_video_position(avi), first, second}),
        (Facts{-1, 6, -1, 0, 11, 6, -1, 2, 1, 0}));
}

TEST_F(AviReadTest, WithoutIndexNoFrameIsKnown) {
    // How many a header claims is believed as far as the file has room for them.
    const std::string file = Streams(Stream("vids", kFormat, 1, 25, ~0U));
    const AviHandle handle = Open(file, 0);
    avi_t* avi = handle.get();
    ASSERT_TRUE(avi);
    char buffer[11];
    int keyframe = 0;
    EXPECT_EQ((Facts{AVI_set_video_position(avi, 0), AVI_frame_size(avi, 0), AVI_read_audio(avi, buffer, 1),
                     AVI_read_frame(avi, buffer, &keyframe), AVI_errno, AVI_video_frames(avi),
                     AVI_video_frames(Open(File(), 0).get())}),
              (Facts{-1, -1, -1, -1, AVI_ERR_NO_IDX, static_cast<long>(file.size() / 8), 2}));
}

TEST_F(AviReadTest, RecordingCutAnywhereKeepsItsFrames) {
    const Frames frames{"one", "second", "", "the fourth", "5"};
    for (const bool finished : {false, true}) {
        Record(frames, 4, 2, finished);
        const std::string whole = Bytes();
        for (std::size_t size = 2048; size <= whole.size(); ++size) {
            SCOPED_TRACE((finished ? "finished, " : "unfinished, ") + std::to_string(size) + " bytes");
            Frames expected;
            std::size_t end = 2048;
            for (const std::string& frame : frames) {
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

}  // namespace
