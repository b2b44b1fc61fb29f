// Whatever lies on a card: files of other programs, broken ones, and very many.
#include <sys/resource.h>

#include <filesystem>

#include "tests/media/avi_file.h"
#include "tests/scenario/media_files.h"
#include "tests/scenario/scenario.h"

using testing::HasSubstr;
using testing::Not;

namespace scenario {
namespace {

namespace fs = std::filesystem;
const std::string kCardFolder = "/media/sd-mmcblk0p1/DCIM/";

long PeakKib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

class HostileMedia : public ScenarioTest {
  protected:
    void EmptyCard() {
        board.Folder().Erase(board::Medium::Card);
        fs::create_directories(board.Kernel().Path(kCardFolder));
    }
    void OpenNavigation() {
        StartLive();
        program->Press(VK_F4);
        program->Advance(200ms);
    }
    // From the navigation, and back to it.
    void OpenBrowser(bool video) {
        const std::size_t from = program->Output().size();
        if (video != video_) program->Press(VK_RIGHT);
        video_ = video;
        program->Press(VK_RETURN);
        ASSERT_TRUE(program->RunUntilPrinted("to FILE_EXP_IDLE\n", from));
        program->Advance(100ms);  // the busy picture goes, and the page is drawn
    }
    void ClosePlayerAndBrowser() {
        program->Press(VK_F1);
        program->Press(VK_F1);
    }
    void ExpectLiveView() {
        program->Press(VK_F1);
        EXPECT_TRUE(RunUntilState("VIEW"));
        EXPECT_TRUE(program->RunUntilLive());
        EXPECT_TRUE(VideoRuns());
    }
    // Pixels in the first cell that are not the grey of an empty one, and in the view that are not black.
    int Thumbnail() {
        const board::LcdPicture lcd = board.Lcd();
        int count = 0;
        for (int y = 44; y < 116; ++y) {
            for (int x = 6; x < 104; ++x)
                count += (lcd[static_cast<std::size_t>(y * 320 + x)] & 0xFFFFFF) != 0xDEE2E6 ? 1 : 0;
        }
        return count;
    }
    int Lit() {
        const board::LcdPicture lcd = board.Lcd();
        int count = 0;
        for (std::size_t i = 320 * 24; i < 320 * 100; ++i)
            count += (lcd[i] & 0xFFFFFF) != 0 ? 1 : 0;
        return count;
    }

  private:
    bool video_ = false;  // is selected in the navigation
};

struct HostileFile {
    const char* name;
    std::function<std::string()> content;
    bool thumbnail, view;
    const char* printed = "";
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
        {"cut.jpg", [] { return Cut(Photo(640, 480, 1), 9000); }, false, false},
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
    };
    OpenNavigation();
    for (const HostileFile& file : files) {
        SCOPED_TRACE(file.name);
        EmptyCard();
        board.Write(kCardFolder + file.name, file.content());
        const bool video = fs::path(file.name).extension() == ".avi";
        const std::size_t from = program->Output().size();
        const long memory = PeakKib();
        OpenBrowser(video);
        EXPECT_EQ(Thumbnail() > 0, file.thumbnail);
        program->Press(VK_RETURN);
        program->Advance(300ms);
        EXPECT_EQ(Lit() > 0, file.view);
        for (const int key : {VK_RETURN, VK_RETURN, VK_UP, VK_DOWN, VK_RIGHT, VK_RETURN}) {
            program->Press(key);
            program->Advance(100ms);
        }
        EXPECT_LT(PeakKib() - memory, 128 * 1024) << "KiB for one file";
        EXPECT_THAT(program->Output().substr(from), HasSubstr(file.printed));
        ClosePlayerAndBrowser();
    }
    ExpectLiveView();
}

// Most of it is a hole in the file.
TEST_F(HostileMedia, AClipOfFourGibibytesOpens) {
    constexpr std::uintmax_t size = 0xFFFFFFFF;
    EmptyCard();
    const std::string path = board.Kernel().Path(kCardFolder + "long.avi");
    WriteClip(kCardFolder + "long.avi", 320, 240, 25, 3);
    fs::resize_file(path, size);
    board.Folder().SetFreeKib(board::Medium::Card, 1000000);
    OpenNavigation();
    OpenBrowser(true);
    EXPECT_GT(Thumbnail(), 0);
    program->Press(VK_RETURN);
    program->Advance(300ms);
    EXPECT_GT(Lit(), 0);
    program->Press(VK_RETURN);
    EXPECT_EQ(board.Get(&board::Block::pxp).output, 0);
    ClosePlayerAndBrowser();
    ExpectLiveView();
}

TEST_F(HostileMedia, TenThousandFiles) {
    EmptyCard();
    fs::create_directories(board.Kernel().Path(kCardFolder + "5F3A1B2C.jpg/inside.jpg"));
    for (int i = 0; i < 10000; ++i)
        board.Write(kCardFolder + std::to_string(100000 + i) + ".jpg", "");
    OpenNavigation();
    OpenBrowser(false);
    ExpectLcd("media_ten_thousand");
    program->Press(VK_F2);
    program->Press(VK_RETURN);
    EXPECT_EQ(CardFiles().size(), 10000U) << "one picture less, and the folder";
    program->Press(VK_F1);
    ExpectLiveView();
}

TEST_F(HostileMedia, FilesOfOtherProgramsPlay) {
    const struct {
        const char* program;
        const char* command;
    } cases[] = {
        {"ffmpeg",
         "ffmpeg -v error -f lavfi -i testsrc=size=320x240:rate=15 -t 1 -c:v rawvideo -pix_fmt yuyv422 "
         "-vtag YUY2 'FILE'"},
        {"ffmpeg",
         "ffmpeg -v error -f lavfi -i testsrc=size=640x360:rate=15 -t 1 -c:v rawvideo -pix_fmt yuyv422 "
         "-vtag YUY2 'FILE'"},
        {"gst-launch-1.0",
         "gst-launch-1.0 -q videotestsrc num-buffers=15 ! "
         "video/x-raw,format=YUY2,width=160,height=120,framerate=15/1 ! avimux ! "
         "filesink 'location=FILE'"},
    };
    OpenNavigation();
    for (const auto& c : cases) {
        if (std::system((std::string("command -v ") + c.program + " >/dev/null").c_str()) != 0) {
            GTEST_SKIP() << c.program << " is not installed: its files were NOT PLAYED";
        }
        SCOPED_TRACE(c.command);
        EmptyCard();
        std::string command = c.command;
        command.replace(command.find("FILE"), 4, board.Kernel().Path(kCardFolder + "other.avi"));
        ASSERT_EQ(std::system(command.c_str()), 0);
        const std::size_t from = program->Output().size();
        OpenBrowser(true);
        EXPECT_GT(Thumbnail(), 5000);
        program->Press(VK_RETURN);
        program->Press(VK_RETURN);
        EXPECT_THAT(program->Output().substr(from), HasSubstr("Start playing fps(15.000000)"));
        program->Advance(500ms);
        EXPECT_EQ(board.Get(&board::Block::pxp).output, 0);
        EXPECT_GT(Lit(), 10000);
        EXPECT_TRUE(program->RunUntil([&] { return board.Get(&board::Block::pxp).output == 1; }, 2s)) << "the end";
        ClosePlayerAndBrowser();
    }
}

}  // namespace
}  // namespace scenario
