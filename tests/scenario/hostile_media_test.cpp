// Whatever lies on a card: files of other programs, broken ones, and very many.
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "tests/media/avi_file.h"
#include "tests/scenario/media_files.h"
#include "tests/scenario/scenario.h"

using testing::HasSubstr;

namespace scenario {
namespace {

namespace fs = std::filesystem;

long PeakKib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

class HostileMedia : public MediaTest {
  protected:
    // From the navigation, and back to it.
    void OpenBrowserOf(bool video) {
        OpenBrowser(video != video_ ? ">E" : "E");
        video_ = video;
    }

  private:
    bool video_ = false;  // is selected in the navigation
};

struct HostileFile {
    const char* name;
    std::function<std::string()> content;
    bool thumbnail, view;
    const char* printed = "";
    std::uintmax_t size = 0;  // what it is grown to, by a hole
};

std::string Avi(const std::string& video_stream, const std::string& movi, const std::string& behind = {}) {
    return Riff(List("hdrl", Chunk("avih", std::string(56, '\0')) + video_stream) + List("movi", movi) + behind);
}
std::string Frames(std::size_t bytes) {
    return Chunk("00db", std::string(bytes, '\x70')) + Chunk("00db", std::string(bytes, '\x60'));
}
std::string Yuy2(std::uint32_t width, std::uint32_t height, std::uint32_t scale = 1, std::uint32_t rate = 25) {
    return Stream("vids", BitmapFormat(width, height), scale, rate);
}
std::string OtherCodec() {
    std::string file = Avi(Yuy2(320, 240), Frames(1000));
    file.replace(file.find("YUY2"), 4, "MJPG");
    return file;
}
// A clip of 15 frames a second that another program writes; nothing when that is not installed.
std::string MadeByEncoder(const std::string& size) {
    const std::string command = "ffmpeg -y -f lavfi -i testsrc=size=" + size +
                                ":rate=15 -t 1 -c:v rawvideo -pix_fmt yuyv422 -vtag YUY2 clip.avi > /dev/null 2>&1";
    return std::system(command.c_str()) == 0 ? ReadFile("clip.avi") : "";
}
std::string Cut(const std::string& file, std::size_t bytes) {
    return file.substr(0, bytes);
}

TEST_F(HostileMedia, EveryFileIsMetCalmly) {
    const HostileFile files[] = {
        {"zero.jpg", [] { return ""; }, false, false},
        {"text.jpg", [] { return "no picture"; }, false, false},
        {"one.jpg", [] { return Photo(1, 1, 1); }, true, true},
        {"wide.jpg", [] { return Photo(5000, 2, 1); }, true, false},
        {"huge.jpg", [] { return Photo(12000, 9000, 1, 1); }, true, true},
        {"huge progressive.jpg", [] { return Photo(8000, 6000, 1, 1, true); }, false, false},
        {"inks.jpg", [] { return Photo(640, 480, 1, 4); }, true, true},
        {"progressive.jpg", [] { return Photo(640, 480, 1, 3, true); }, true, true},
        {"cut.jpg", [] { return Cut(Photo(640, 480, 1), 9000); }, true, true},
        {"other.jpg", [] { return ReadFile("img/sd.png"); }, true, true},

        {"zero.avi", [] { return ""; }, false, false},
        {"header.avi", [] { return Cut(Avi(Yuy2(320, 240), ""), 100); }, false, false},
        {"no frames.avi", [] { return Avi(Yuy2(320, 240), ""); }, false, false},
        {"codec.avi", OtherCodec, false, false, "Codec:MJPG\nUnsupported codec MJPG\n"},
        {"half.avi", [] { return Cut(Avi(Yuy2(320, 240), Frames(153600)), 200000); }, true, true},
        {"larger frames.avi", [] { return Avi(Yuy2(320, 240), Frames(200000)); }, true, true},
        {"smaller frames.avi", [] { return Avi(Yuy2(320, 240), Frames(50000)); }, true, true},
        {"empty frames.avi", [] { return Avi(Yuy2(320, 240), Frames(0)); }, true, false},
        {"other size.avi", [] { return Avi(Yuy2(640, 360), Frames(640 * 360 * 2)); }, true, true},
        {"odd size.avi", [] { return Avi(Yuy2(33, 31), Frames(34 * 31 * 2)); }, true, true},
        {"one pixel.avi", [] { return Avi(Yuy2(1, 1), Frames(4)); }, true, true},
        {"absurd size.avi", [] { return Avi(Yuy2(65535, 65535), Frames(1000)); }, false, false, "Error: no memory"},
        {"negative size.avi", [] { return Avi(Yuy2(0x80000000, 1), Frames(1000)); }, false, false},
        {"huge frame.avi", [] { return Avi(Yuy2(320, 240), Frames(9000000)); }, false, false, "Error: no memory"},
        {"no rate.avi", [] { return Avi(Yuy2(320, 240, 0, 0), Frames(153600)); }, true, true},
        {"slow.avi", [] { return Avi(Yuy2(320, 240, 0xFFFFFFFF, 1), Frames(153600)); }, true, true},
        {"fast.avi", [] { return Avi(Yuy2(320, 240, 1, 0xFFFFFFFF), Frames(153600)); }, true, true},
        {"wrong index.avi",
         [] { return Avi(Yuy2(320, 240), Frames(153600), Chunk("idx1", IndexRecord("00db", 16, 7, 0xFFFFFFF0))); },
         true, true},
        {"four gibibytes.avi", [] { return Avi(Yuy2(320, 240), Frames(153600)); }, true, true, "", 0xFFFFFFFF},
        {"encoded.avi", [] { return MadeByEncoder("320x240"); }, true, true, "Start playing fps(15.000000)"},
        {"encoded larger.avi", [] { return MadeByEncoder("640x360"); }, true, true, "Start playing fps(15.000000)"},
    };
    StartLive();
    OpenNavigation();
    for (const HostileFile& file : files) {
        SCOPED_TRACE(file.name);
        EmptyCard();
        const std::string content = file.content();
        if (content.empty() && file.view) {
            std::cout << file.name << ": its program is not installed: NOT PLAYED\n";
            continue;
        }
        const std::string path = kCardFolder + std::string(file.name);
        board.Write(path, content);
        if (file.size > 0) fs::resize_file(board.Kernel().Path(path), file.size);
        SetCardSpace(100000);
        const std::size_t from = Output().size();
        const long memory = PeakKib();
        OpenBrowserOf(fs::path(file.name).extension() == ".avi");
        EXPECT_EQ(Unlike({6, 44, 104, 116}, 0xDEE2E6) > 0, file.thumbnail) << "in the first cell";
        Keys("E...");
        EXPECT_EQ(Unlike({0, 24, 320, 100}, 0) > 0, file.view) << "on black";
        Keys("E.E.^.v.>.E.");
        EXPECT_LT(PeakKib() - memory, 128 * 1024) << "KiB for one file";
        EXPECT_THAT(Since(from), HasSubstr(file.printed));
        Keys("11");
    }
    ExpectLiveView(1);
}

TEST_F(HostileMedia, TenThousandFiles) {
    const fs::path folder = board.Kernel().Path(kCardFolder);
    fs::create_directories(folder / "5F3A1B2C.jpg/inside.jpg");
    for (int i = 100000; i < 110000; ++i)
        std::ofstream(folder / (std::to_string(i) + ".jpg"));
    StartLive();
    OpenNavigation();
    OpenBrowser();
    ExpectLcd("media_ten_thousand");
    Keys("2E");
    EXPECT_EQ(CardFiles().size(), 10000U) << "one picture less, and the folder";
    ExpectLiveView(2);
}

// What is not read by then stays out of the page.
TEST_F(HostileMedia, APageThatLoadsForTenSecondsIsShownAsItIs) {
    for (const char* name : {"1.avi", "2.avi", "3.avi", "4.avi", "5.avi", "6.avi"})
        PutClip(name, 1);
    StartLive();
    board.Kernel().SetOpenTime(4s);
    const auto start = board.Clock().Monotonic();
    OpenVideos();
    EXPECT_LT(board.Clock().Monotonic() - start, 14s);
    board.Kernel().SetOpenTime(0s);
    ExpectLcd("media_slow_page");
    ExpectLiveView(2);
}

}  // namespace
}  // namespace scenario
