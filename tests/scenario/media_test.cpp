// Browsing, viewing, playing and deleting what was recorded.
#include <filesystem>

#include "tests/scenario/media_files.h"
#include "tests/scenario/scenario.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace scenario {
namespace {

const std::string kCardFolder = "/media/sd-mmcblk0p1/DCIM/";
const std::string kIdle = "FILE_EXP_REFRESH_LISTBOX to FILE_EXP_IDLE\n";

class Media : public ScenarioTest {
  protected:
    Media() { std::filesystem::create_directories(board.Kernel().Path(kCardFolder)); }

    void PutPhotos(int count) {
        for (int i = 1; i <= count; ++i) {
            const std::string number = std::to_string(100 + i);
            board.Write(kCardFolder + "5F3A1" + number + ".jpg", Photo(640, 480, i));
        }
    }
    void OpenNavigation() {
        program->Press(VK_F4);
        program->Advance(200ms);
    }
    // From the navigation to the browser with its page.
    void OpenBrowser() {
        const std::size_t from = program->Output().size();
        program->Press(VK_RETURN);
        ASSERT_TRUE(program->RunUntilPrinted(kIdle, from));
        program->Advance(100ms);  // the busy picture goes, and the page is drawn
    }
    void OpenVideos() {
        OpenNavigation();
        program->Press(VK_RIGHT);
        OpenBrowser();
    }
    int Frame() { return FrameOf(board.Lcd()[120 * board::kScreenWidth + 160]); }
    auto Pxp() { return board.Get(&board::Block::pxp); }
    void ExpectLiveViewAfter(int leaves) {
        for (int i = 0; i < leaves; ++i)
            program->Press(VK_F1);
        EXPECT_TRUE(RunUntilState("VIEW"));
        EXPECT_TRUE(program->RunUntilLive());
        EXPECT_TRUE(VideoRuns());
    }
};

TEST_F(Media, PhotosFromTheNavigationToTheView) {
    PutPhotos(10);
    StartLive();
    OpenNavigation();
    ExpectLcd("media_navigation");
    EXPECT_EQ(Pxp().output, 1);
    EXPECT_EQ(board.Get(&board::Block::lamp), 18) << "the lamp rests";
    program->Press(VK_RIGHT);
    ExpectLcd("media_navigation_video");
    program->Press(VK_LEFT);
    OpenBrowser();
    ExpectLcd("media_part_page");
    program->Press(VK_UP);
    program->Press(VK_RIGHT);
    ExpectLcd("media_full_page");
    program->Press(VK_RETURN);
    program->Advance(300ms);
    ExpectLcd("media_photo");
    EXPECT_THAT(program->Output(), HasSubstr("Open JPG " + kCardFolder + "5F3A1105.jpg\n"));
    for (const int key : {VK_RETURN, VK_LEFT, VK_RIGHT})
        program->Press(key);
    ExpectLcd("media_photo");
    const board::LcdPicture photo = board.Lcd();
    for (int i = 0; i < 5; ++i)
        program->Press(VK_UP);
    ExpectLcd("media_last_photo");
    for (int i = 0; i < 5; ++i)
        program->Press(VK_DOWN);
    EXPECT_EQ(board.Lcd(), photo);
    ExpectLiveViewAfter(3);
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    EXPECT_EQ(Printed("~CVarnoUIDlgMediaExplore\n") + Printed("CVarnoUIDlgMediaPlayer::~CVarnoUIDlgMediaPlayer\n") +
                  Printed("CVarnoUIDlgMediaNav::~CVarnoUIDlgMediaNav\n"),
              3);
}

// The picture that stands still is the one that moved, at its place; live view's zoom and mirroring stay with it.
TEST_F(Media, AClipPlaysPausesAndStops) {
    WriteClip(kCardFolder + "20240101000000.avi", 320, 240, 25, 90);
    StartLive();
    program->Press(VK_UP);
    ASSERT_TRUE(VideoRuns());
    program->Press(VK_F2);
    ASSERT_TRUE(VideoRuns());
    ASSERT_EQ(Pxp().source_width, 288U);
    ASSERT_TRUE(Pxp().hflip);

    OpenVideos();
    program->Press(VK_RETURN);
    program->Advance(300ms);
    ExpectLcd("media_stopped");
    EXPECT_EQ(Pxp().output, 1);
    EXPECT_EQ(Frame(), 0);
    EXPECT_FALSE(Pxp().hflip);

    program->Press(VK_RETURN);
    EXPECT_EQ(Pxp().output, 0) << "from the key on";
    EXPECT_EQ(Frame(), 0);
    const auto start = program->Output();
    EXPECT_THAT(start, HasSubstr("Total frames: 90, timer intval:40.000000\n"));
    EXPECT_THAT(start, HasSubstr("Start playing fps(25.000000) width=320, height=240\n"));
    int before = 0;
    for (int ms = 40; ms <= 1200; ms += 40) {
        program->Advance(40ms);
        const int frame = Frame();
        EXPECT_LE(frame - before, 1) << ms;
        EXPECT_GE(frame, (ms - 40) / 40) << "never behind";
        before = frame;
    }
    ExpectLcd("media_playing");
    EXPECT_EQ(Pxp().source_width, 320U);

    program->Press(VK_RETURN);
    EXPECT_EQ(Pxp().output, 1);
    ExpectLcd("media_paused");
    const int paused = Frame();
    EXPECT_EQ(paused, before);
    program->Advance(10s);
    EXPECT_EQ(Frame(), paused);
    program->Press(VK_RETURN);
    EXPECT_EQ(Pxp().output, 0);
    EXPECT_EQ(Frame(), paused);
    program->Advance(200ms);
    EXPECT_GE(Frame(), paused + 4);
    EXPECT_LE(Frame(), paused + 5);
    EXPECT_THAT(program->Output(), HasSubstr("@#$10 ,0\n"));

    program->Press(VK_DOWN);
    EXPECT_EQ(Pxp().output, 1);
    ExpectLcd("media_stopped");

    program->Press(VK_RETURN);
    EXPECT_TRUE(program->RunUntil([&] { return Pxp().output == 1; }, 4s)) << "the end of the clip";
    ExpectLcd("media_played");
    EXPECT_EQ(Frame(), 0);
    program->Press(VK_RETURN);
    program->Advance(1s);
    program->Press(VK_F1);
    {
        const board::BlockLock lock(board.Block());
        const std::uint8_t* luma = board.Block().video;
        EXPECT_EQ(std::count(luma, luma + 288 * 216, 0), 288 * 216) << "nothing of the clip is left";
    }
    ExpectLiveViewAfter(2);
    EXPECT_EQ(Pxp().source_width, 288U);
    EXPECT_TRUE(Pxp().hflip);
}

// Rates and pauses, in board time; a slow medium leaves frames out.
TEST_F(Media, PlayingFollowsTheTime) {
    const struct {
        double rate;
        const char* interval;
        int frames_in_two_seconds;
    } cases[] = {{12, "83.333333", 24}, {0, "40.000000", 50}, {-3, "40.000000", 50}, {10, "100.000000", 20}};
    StartLive();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rate);
        board.Folder().Erase(board::Medium::Card);
        std::filesystem::create_directories(board.Kernel().Path(kCardFolder));
        WriteClip(kCardFolder + "a.avi", 320, 240, c.rate, 90);
        OpenVideos();
        program->Press(VK_RETURN);
        program->Press(VK_RETURN);
        EXPECT_THAT(program->Output(), HasSubstr(std::string("timer intval:") + c.interval + "\n"));
        // A pause before the first tick is none.
        program->Press(VK_RETURN);
        program->Advance(3s);
        const std::size_t from = program->Output().size();
        program->Press(VK_RETURN);
        EXPECT_THAT(program->Output().substr(from), HasSubstr("@#$0 ,0\n"));
        int played = 0;
        for (int round = 0; round < 4; ++round) {
            program->Advance(500ms);
            played = Frame();
            program->Press(VK_RETURN);
            EXPECT_EQ(Frame(), played);
            program->Advance(3700ms);
            program->Press(VK_RETURN);
        }
        // The time counts from the first tick.
        EXPECT_GE(played, c.frames_in_two_seconds - 3);
        EXPECT_LE(played, c.frames_in_two_seconds + 1);
        for (int i = 0; i < 3; ++i)
            program->Press(VK_F1);
        ASSERT_TRUE(RunUntilState("VIEW"));
    }
}

TEST_F(Media, NeighboursOfAClip) {
    for (int i = 0; i < 3; ++i)
        WriteClip(kCardFolder + std::to_string(i) + ".avi", 160, 120, 25, 50);
    board.Write(kCardFolder + "1.jpg", "no neighbour of a clip");
    StartLive();
    OpenVideos();
    program->Press(VK_RETURN);
    program->Press(VK_RETURN);
    program->Advance(500ms);
    EXPECT_GT(Frame(), 5);
    std::size_t from = program->Output().size();
    const auto opened = [&] {
        const std::string output = program->Output().substr(from);
        from += output.size();
        std::size_t count = 0;
        for (std::size_t at = 0; (at = output.find("Codec:", at)) != std::string::npos; ++at)
            ++count;
        return count;
    };
    program->Press(VK_RIGHT);
    EXPECT_EQ(Pxp().output, 1);
    program->Advance(200ms);
    EXPECT_EQ(opened(), 1U);
    EXPECT_EQ(Frame(), 0) << "stopped";
    for (const int key : {VK_RIGHT, VK_RIGHT, VK_RIGHT, VK_LEFT, VK_LEFT})
        program->Press(key);
    program->Advance(200ms);
    EXPECT_EQ(opened(), 1U) << "only where the keys came to rest";
    ExpectLcd("media_neighbour");
    program->Press(VK_LEFT);
    program->Press(VK_RETURN);
    EXPECT_EQ(opened(), 1U) << "a key that needs the clip does not wait for it";
    program->Advance(500ms);
    EXPECT_GT(Frame(), 5);
    EXPECT_EQ(Pxp().output, 0);
}

TEST_F(Media, AWarningPausesTheClip) {
    WriteClip(kCardFolder + "a.avi", 320, 240, 25, 90);
    StartLive();
    OpenVideos();
    program->Press(VK_RETURN);
    program->Press(VK_RETURN);
    program->Advance(500ms);
    board.Folder().SetFreeKib(board::Medium::Card, 2000);
    board.Folder().Sync();
    program->Advance(400ms);
    ExpectLcd("warning_no_space");
    EXPECT_EQ(Pxp().output, 1);
    program->Advance(5s);
    program->Press(VK_F1);
    program->Advance(4s);
    EXPECT_EQ(Pxp().output, 1);
    const int paused = Frame();
    EXPECT_GT(paused, 5);
    program->Press(VK_RETURN);
    program->Advance(200ms);
    EXPECT_EQ(Pxp().output, 0);
    EXPECT_GE(Frame(), paused + 4);
    EXPECT_LE(Frame(), paused + 6);
    ExpectLiveViewAfter(3);
}

TEST_F(Media, DeletingOneByOne) {
    for (const char* name : {"a.jpg", "b.jpg", "c.jpg"})
        board.Write(kCardFolder + name, Photo(64, 48, 1));
    WriteClip(kCardFolder + "d.avi", 320, 240, 25, 2);
    StartLive();
    OpenNavigation();
    OpenBrowser();
    program->Press(VK_F2);
    ExpectLcd("question_en_delete");
    program->Press(VK_RIGHT);
    program->Press(VK_RETURN);
    EXPECT_THAT(CardFiles(), Contains("a.jpg")) << "no is no";
    const auto erase = [&] {
        program->Press(VK_F2);
        program->Press(VK_RETURN);
    };
    program->Press(VK_RIGHT);
    erase();
    EXPECT_THAT(CardFiles(), ElementsAre("a.jpg", "c.jpg", "d.avi"));
    EXPECT_THAT(board.Commands(), Contains("rm -f " + kCardFolder + "b.jpg"));
    EXPECT_THAT(board.Commands(), Contains("sync " + kCardFolder + "b.jpg"));
    EXPECT_THAT(program->Output(), HasSubstr("Deleting " + kCardFolder + "b.jpg\nsync " + kCardFolder + "b.jpg\n"));
    erase();
    EXPECT_THAT(CardFiles(), ElementsAre("c.jpg", "d.avi")) << "the one before was selected";
    erase();
    EXPECT_THAT(CardFiles(), ElementsAre("d.avi"));
    program->Advance(500ms);
    ExpectLcd("warning_no_files");
    program->Press(VK_F1);
    program->Advance(4s);
    ExpectLcd("media_navigation");
    OpenBrowser();
    ExpectLcd("media_empty");
    ExpectLiveViewAfter(2);
}

TEST_F(Media, DeletionTakesNamesAsTheyAre) {
    const std::vector<std::string> names = {"a b.jpg",         "it's.jpg",        "\"quoted\".jpg", "$(reboot).jpg",
                                            "`x`;rm *.jpg",    "new\nline.jpg",   "-rf.jpg",        "\\back\\.jpg",
                                            "caf\xC3\xA9.jpg", "gbk\xB0\xA1.JPG", "#~!&|<>.jpg",    "plain.jpg",
                                            "  .jpg"};
    for (const std::string& name : names)
        board.Write(kCardFolder + name, "x");
    board.Write(kCardFolder + "keep.txt", "x");
    StartLive();
    OpenNavigation();
    OpenBrowser();
    for (std::size_t left = names.size(); left-- > 0;) {
        program->Press(VK_F2);
        program->Press(VK_RETURN);
        EXPECT_EQ(CardFiles().size(), left + 1);
    }
    EXPECT_THAT(CardFiles(), ElementsAre("keep.txt"));
    EXPECT_THAT(board.Commands(), Contains("rm -f " + kCardFolder + "plain.jpg"));
    EXPECT_EQ(board.Get(&board::Block::violations), 0U);
}

TEST_F(Media, WithoutACardTheInternalStorageIsBrowsed) {
    PutPhotos(1);
    board.Write("/media/nand/5F3A1B2C.jpg", Photo(640, 480, 5));
    board.InsertCard(false);
    board.Folder().Sync();
    StartLive();
    OpenNavigation();
    OpenBrowser();
    program->Press(VK_F2);
    program->Press(VK_RETURN);
    EXPECT_THAT(board.Files(board::Medium::Nand), IsEmpty());
    program->Press(VK_F1);
    program->Advance(4s);
    board::InsertMedium(board.Block(), &board::Block::nand, false);
    board.Folder().Sync();
    program->Advance(1s);
    program->Press(VK_F1);  // there is no space, either
    program->Advance(4s);
    program->Press(VK_RETURN);
    program->Advance(1s);
    for (const int key : {VK_RETURN, VK_F2, VK_UP, VK_DOWN, VK_LEFT, VK_RIGHT})
        program->Press(key);
    ExpectLcd("media_no_medium");
    ExpectLiveViewAfter(2);
}

TEST_F(Media, KeysPressedAheadFindTheirWay) {
    WriteClip(kCardFolder + "a.avi", 320, 240, 25, 90);
    StartLive();
    OpenNavigation();
    for (const int key : {VK_RIGHT, VK_RETURN, VK_RETURN, VK_RETURN})
        program->Press(key);
    EXPECT_TRUE(program->RunUntil([&] { return Pxp().output == 0 && Frame() > 5; })) << "it plays";
    // Out to the navigation and in again, and while the page loads: play the clip, and out of everything.
    for (const int key : {VK_F1, VK_F1, VK_RETURN, VK_RETURN, VK_RETURN, VK_DOWN, VK_F1, VK_F1})
        program->Press(key);
    ExpectLiveViewAfter(1);
    EXPECT_EQ(Printed("Open AVI"), 2);
    EXPECT_EQ(Printed("Start playing"), 2);
}

TEST_F(Media, ACardPulledAtAnyTime) {
    for (const char* moment : {"loading", "browsing", "deleting", "stopped", "playing", "viewing"}) {
        SCOPED_TRACE(moment);
        const std::string when = moment;
        board.InsertCard(true);
        board.Folder().Sync();
        PutPhotos(8);
        WriteClip(kCardFolder + "a.avi", 320, 240, 25, 90);
        if (program == nullptr) StartLive();
        OpenNavigation();
        if (when == "stopped" || when == "playing") program->Press(VK_RIGHT);
        program->Press(VK_RETURN);
        if (when != "loading") program->Advance(500ms);
        if (when == "viewing" || when == "stopped" || when == "playing") program->Press(VK_RETURN);
        if (when == "playing") program->Press(VK_RETURN);
        if (when == "deleting") program->Press(VK_F2);
        board.InsertCard(false);
        board.Folder().Sync();
        for (const int key : {VK_RETURN, VK_UP, VK_RETURN, VK_LEFT, VK_RETURN, VK_DOWN}) {
            program->Press(key);
            program->Advance(300ms);
        }
        ASSERT_TRUE(program->Running());
        for (int i = 0; i < 5; ++i) {
            program->Press(VK_F1);
            program->Advance(4s);
            if (State() == "VIEW") break;
            if (program->Output().find("Unknown") != std::string::npos) break;
        }
        EXPECT_TRUE(RunUntilState("VIEW"));
    }
}

}  // namespace
}  // namespace scenario
