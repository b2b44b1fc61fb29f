// Browsing, viewing, playing and deleting what was recorded.
#include "tests/scenario/media_files.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace scenario {
namespace {

using Media = MediaTest;

TEST_F(Media, PhotosFromTheNavigationToTheView) {
    PutPhotos(10);
    StartLive();
    Walk({{"4..", "media_navigation"}, {">", "media_navigation_video"}});
    EXPECT_EQ(Pxp().output, 1U);
    EXPECT_EQ(Lamp(), 18) << "the lamp rests";
    OpenBrowser("<E");
    Walk({{"", "media_part_page"}, {"^>", "media_full_page"}, {"E...", "media_photo"}, {"E<>", "media_photo"}});
    EXPECT_THAT(Output(), HasSubstr(std::string("Open JPG ") + kCardFolder + "5F3A1105.jpg\n"));
    Walk({{"^^^^^", "media_last_photo"}, {"vvvvv", "media_photo"}});
    ExpectLiveView(3);
    EXPECT_EQ(Lamp(), 70);
    EXPECT_EQ(Printed("~CVarnoUIDlgMediaExplore\n") + Printed("CVarnoUIDlgMediaPlayer::~CVarnoUIDlgMediaPlayer\n") +
                  Printed("CVarnoUIDlgMediaNav::~CVarnoUIDlgMediaNav\n"),
              3);
}

// The picture that stands still is the one that moved, at its place; live view's zoom and mirroring stay with it.
TEST_F(Media, AClipPlaysPausesAndStops) {
    PutClip("20240101000000.avi");
    StartLive();
    for (const char* key : {"^", "2"}) {
        Keys(key);
        EXPECT_TRUE(VideoRuns());
    }
    ASSERT_EQ(Pxp().source_width, 288U);
    ASSERT_TRUE(Pxp().hflip);

    OpenVideos();
    Walk({{"E...", "media_stopped"}});
    EXPECT_EQ(Pxp().output, 1U);
    EXPECT_EQ(Frame(), 0);
    EXPECT_FALSE(Pxp().hflip);

    Keys("E");
    EXPECT_EQ(Pxp().output, 0U) << "from the key on";
    EXPECT_EQ(Frame(), 0);
    EXPECT_THAT(Output(), HasSubstr("Total frames: 90, timer intval:40.000000\n"));
    EXPECT_THAT(Output(), HasSubstr("Start playing fps(25.000000) width=320, height=240\n"));
    int before = 0;
    for (int ms = 40; ms <= 1200; ms += 40) {
        Advance(40ms);
        const int frame = Frame();
        EXPECT_LE(frame - before, 1) << ms;
        EXPECT_GE(frame, (ms - 40) / 40) << "never behind";
        before = frame;
    }
    ExpectLcd("media_playing");
    EXPECT_EQ(Pxp().source_width, 320U);

    Walk({{"E", "media_paused"}});
    EXPECT_EQ(Pxp().output, 1U);
    Advance(10s);
    EXPECT_EQ(Frame(), before);
    Keys("E");
    EXPECT_EQ(Pxp().output, 0U);
    EXPECT_EQ(Frame(), before);
    EXPECT_THAT(Output(), HasSubstr("@#$10 ,0\n"));

    Walk({{"v", "media_stopped"}});
    EXPECT_EQ(Pxp().output, 1U);
    Keys("E");
    EXPECT_TRUE(program->RunUntil([&] { return Pxp().output == 1; }, 4s)) << "the end of the clip";
    ExpectLcd("media_played");
    EXPECT_EQ(Frame(), 0);
    Keys("E,1");
    {
        const board::BlockLock lock(board.Block());
        const std::uint8_t* video = board.Block().video;
        constexpr int kBytes = 288 * 216 * 2;  // of luma, and of chroma with its sign
        EXPECT_EQ(std::count(video, video + kBytes, 0), kBytes) << "nothing of the clip is left";
    }
    ExpectLiveView(2);
    EXPECT_EQ(Pxp().source_width, 288U);
    EXPECT_TRUE(Pxp().hflip);
}

// Rates and pauses, in board time.
TEST_F(Media, PlayingFollowsTheTime) {
    const struct {
        double rate;
        const char* interval;
        int frames_in_two_seconds;
    } cases[] = {{12, "83.333333", 24}, {0, "40.000000", 50}, {-3, "40.000000", 50}, {10, "100.000000", 20}};
    StartLive();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rate);
        EmptyCard();
        WriteClip(kCardFolder + std::string("a.avi"), 320, 240, c.rate, 90);
        OpenVideos();
        Keys("EEE,,,");  // a pause before the first tick is none
        EXPECT_THAT(Output(), HasSubstr(std::string("timer intval:") + c.interval + "\n"));
        const std::size_t from = Output().size();
        Keys("E");
        EXPECT_THAT(Since(from), HasSubstr("@#$0 ,0\n"));
        int played = 0;
        for (int round = 0; round < 4; ++round) {
            Advance(500ms);
            played = Frame();
            Keys("E");
            EXPECT_EQ(Frame(), played);
            Advance(3700ms);
            Keys("E");
        }
        // The time counts from the first tick.
        EXPECT_GE(played, c.frames_in_two_seconds - 3);
        EXPECT_LE(played, c.frames_in_two_seconds + 1);
        ExpectLiveView(3);
    }
}

TEST_F(Media, NeighboursOfAClip) {
    for (const char* name : {"0.avi", "1.avi", "2.avi"})
        WriteClip(kCardFolder + std::string(name), 160, 120, 25, 50);
    board.Write(kCardFolder + std::string("1.jpg"), "no neighbour of a clip");
    StartLive();
    OpenVideos();
    Keys("EE.....");
    EXPECT_GT(Frame(), 5);
    // What keys open.
    const auto opened = [this](const char* keys) {
        const std::size_t from = Output().size();
        Keys(keys);
        return Count(Since(from), "Codec:");
    };
    EXPECT_EQ(opened(">.."), 1);
    EXPECT_EQ(Pxp().output, 1U);
    EXPECT_EQ(Frame(), 0) << "stopped";
    EXPECT_EQ(opened(">>><<.."), 1) << "only where the keys came to rest";
    ExpectLcd("media_neighbour");
    EXPECT_EQ(opened("<E"), 1) << "a key that needs the clip does not wait for it";
    Advance(500ms);
    EXPECT_GT(Frame(), 5);
    EXPECT_EQ(Pxp().output, 0U);
    ExpectLiveView(3);
}

TEST_F(Media, DeletingOneByOne) {
    const std::string hostile = "a -rf `x`;rm *$(reboot)&|<>#~!\n'\"\\caf\xC3\xA9\xB0\xA1.jpg";
    for (const std::string& name : {hostile, std::string("b.jpg"), std::string("c.jpg")})
        board.Write(kCardFolder + name, Photo(64, 48, 1));
    PutClip("d.avi", 2);
    StartLive();
    OpenNavigation();
    OpenBrowser();
    Walk({{"2", "question_delete"}, {">", "question_delete_no"}});
    Keys("E");
    EXPECT_THAT(CardFiles(), Contains("b.jpg")) << "no is no";
    Keys(">2E");
    EXPECT_THAT(CardFiles(), ElementsAre(hostile, "c.jpg", "d.avi"));
    const std::string path = kCardFolder + std::string("b.jpg");
    EXPECT_THAT(board.Commands(), Contains("rm -f " + path));
    EXPECT_THAT(board.Commands(), Contains("sync " + path));
    EXPECT_THAT(Output(), HasSubstr("Deleting " + path + "\nsync " + path + "\n"));
    Keys("2E");
    EXPECT_THAT(CardFiles(), ElementsAre("c.jpg", "d.avi")) << "the one before was selected";
    Keys("2E");
    EXPECT_THAT(CardFiles(), ElementsAre("d.avi"));
    Walk({{".....", "warning_no_files"}, {"1,,,,", "media_navigation"}});
    OpenBrowser();
    ExpectLcd("media_empty");
    ExpectLiveView(2);
}

TEST_F(Media, WithoutACardTheInternalStorageIsUsed) {
    PutPhotos(1);
    InsertCard(false);
    StartLive();
    Advance(3s);
    ExpectLcd("internal_storage");
    TakeStill();
    EXPECT_THAT(board.Files(board::Medium::Nand), SizeIs(1));
    OpenNavigation();
    OpenBrowser();
    Keys("2E");
    EXPECT_THAT(board.Files(board::Medium::Nand), IsEmpty());
    Keys("1,,,,");
    board::InsertMedium(board.Block(), &board::Block::nand, false);
    board.Folder().Sync();
    Keys(",1,,,,E,E2^v<>");  // there is no space, either
    ExpectLcd("media_no_medium");
    ExpectLiveView(2);
    for (const char* keys : {"E", "3E"}) {
        Keys(keys);
        LeaveNoSpace();
    }
    ExpectLiveView();
}

TEST_F(Media, KeysPressedAheadFindTheirWay) {
    PutClip("a.avi");
    StartLive();
    OpenNavigation();
    Keys(">E,EE");
    EXPECT_TRUE(program->RunUntil([&] { return Pxp().output == 0 && Frame() > 5; })) << "it plays";
    // Out to the navigation and in again, and while the page loads: what opens or deletes is dropped, what leaves is
    // not.
    Keys("11EE21");
    ExpectLiveView(1);
    EXPECT_EQ(Printed("Open AVI"), 1);
    EXPECT_EQ(Printed("Deleting"), 0);
}

TEST_F(Media, ACardPulledAtAnyTime) {
    const struct {
        const char* moment;
        const char* keys;
    } cases[] = {{"loading", "E"},        {"browsing", "E....."},   {"deleting", "E.....2"},
                 {"stopped", ">E.....E"}, {"playing", ">E.....EE"}, {"viewing", "E.....E"}};
    StartLive();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.moment);
        InsertCard(true);
        PutPhotos(8);
        PutClip("a.avi");
        OpenNavigation();
        Keys(c.keys);
        InsertCard(false);
        Keys("E...^...E...<...E...v...");
        ASSERT_TRUE(program->Running());
        for (int i = 0; i < 5 && State() != "VIEW"; ++i)
            Keys("1,,,,");
        ExpectLiveView();
    }
}

}  // namespace
}  // namespace scenario
