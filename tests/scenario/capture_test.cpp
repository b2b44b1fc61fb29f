// Stills and videos, and what may go wrong with them.
#include "app/globals.h"
#include "app/sv_main.h"
#include "tests/scenario/scenario.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;

namespace scenario {
namespace {

using Capture = ScenarioTest;

TEST_F(Capture, EnterTakesAStill) {
    StartLive();
    program->Advance(3s);
    const std::string before = program->Output();
    program->Press(VK_RETURN);
    ASSERT_TRUE(RunUntilState("REC_IMAGE"));
    EXPECT_EQ(VideoSize(), "640x480");
    EXPECT_GT(Drawn(kFunnelBox), 20);
    ExpectLcd("taking_still");
    ASSERT_TRUE(program->RunUntilPrinted("##########################################################\n"));
    ExpectLiveView();
    ASSERT_THAT(CardFiles(), SizeIs(1));
    EXPECT_THAT(CardFiles()[0], MatchesRegex("[0-9A-F]{8}\\.jpg"));
    const std::string still = CardFile(CardFiles()[0]);
    EXPECT_THAT(still.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_THAT(still.substr(still.size() - 2), "\xFF\xD9");
    const std::size_t frame = still.find("\xFF\xC0");  // baseline frame header: length, precision, height, width
    ASSERT_NE(frame, std::string::npos);
    EXPECT_EQ(still.substr(frame + 5, 4), std::string("\x01\xE0\x02\x80", 4));
    EXPECT_THAT(
        program->Output().substr(before.size()),
        MatchesRegex("(.|\n)*new: CAM_STATUS_REC_WAIT\n(.|\n)*new: CAM_STATUS_REC_IMAGE_WAIT\n(.|\n)*"
                     "new: CAM_STATUS_REC_IMAGE\n(.|\n)*old: CAM_STATUS_REC_IMAGE, new: CAM_STATUS_VIEW\n(.|\n)*"));

    program->Advance(2s);
    program->Press(VK_RETURN);
    ASSERT_TRUE(program->RunUntil([&] { return CardFiles().size() == 2; }));
    ExpectLiveView();
}

TEST_F(Capture, EnterStartsAndStopsAVideo) {
    StartLive();
    ChooseVideo();
    program->Advance(3s);
    ExpectLcd("video_mode");
    program->Press(VK_RETURN);
    ASSERT_TRUE(RunUntilState("REC_VIDEO"));
    EXPECT_THAT(program->Output(), HasSubstr("nand have enough space\n"));
    program->Advance(4500ms);
    EXPECT_EQ(State(), "REC_VIDEO");
    ExpectLcd("recording");
    for (const int key : {VK_F1, VK_F3, VK_F4})
        program->Press(key);
    program->Advance(1s);
    EXPECT_EQ(State(), "REC_VIDEO");
    program->Press(VK_RETURN);
    EXPECT_EQ(State(), "REC_VIDEO_STOP_WAIT");
    EXPECT_GT(Drawn(kFunnelBox), 20);
    ExpectLiveView();
    ASSERT_THAT(CardFiles(), SizeIs(1));
    EXPECT_THAT(CardFiles()[0], MatchesRegex("202405171200[0-9]{2}\\.avi"));
    const std::string video = CardFile(CardFiles()[0]);
    EXPECT_EQ(video.substr(0, 4) + video.substr(8, 4), "RIFFAVI ");
    EXPECT_EQ(Word(video, 4) + 8, video.size());
    const std::uint32_t frames = Word(video, 48);  // of the main header
    EXPECT_GT(frames, 60U);
    EXPECT_GE(video.size(), frames * std::size_t{153600});
}

TEST_F(Capture, WithoutACardTheInternalStorageIsUsed) {
    board.InsertCard(false);
    board.Folder().Sync();
    StartLive();
    program->Advance(3s);
    ExpectLcd("internal_storage");
    program->Press(VK_RETURN);
    EXPECT_TRUE(program->RunUntil([&] { return board.Files(board::Medium::Nand).size() == 1; }));
    ExpectLiveView();
}

TEST_F(Capture, CameraPulledInAnyStateComesBack) {
    struct Case {
        bool video;
        const char* state;
    };
    StartLive();
    bool video = false;
    for (const Case& c :
         {Case{false, "REC_WAIT"}, Case{false, "REC_IMAGE_WAIT"}, Case{false, "REC_IMAGE"}, Case{true, "REC_WAIT"},
          Case{true, "REC_VIDEO_WAIT"}, Case{true, "REC_VIDEO"}, Case{true, "REC_VIDEO_STOP_WAIT"}}) {
        SCOPED_TRACE(std::string(c.video ? "video " : "still ") + c.state);
        if (c.video != video) program->Press(VK_F3);
        video = c.video;
        const std::size_t from = program->Output().size();
        program->Press(VK_RETURN);
        if (std::string(c.state) == "REC_VIDEO_STOP_WAIT") {
            ASSERT_TRUE(RunUntilState("REC_VIDEO"));
            program->Advance(1s);
            program->Press(VK_RETURN);
        }
        ASSERT_TRUE(program->RunUntilPrinted(std::string("new: CAM_STATUS_") + c.state + "\n", from));
        board.PlugCamera(false);
        program->Advance(3s);
        board.PlugCamera(true);
        ExpectLiveView();
    }
}

TEST_F(Capture, CameraPulledWhileRecordingEndsTheVideo) {
    StartLive();
    ChooseVideo();
    RecordForAWhile();
    board.PlugCamera(false);
    EXPECT_TRUE(RunUntilState("DETECT"));
    EXPECT_EQ(Drawn(kRecordingBox), 0);
    ASSERT_THAT(CardFiles(), SizeIs(1));
    ExpectWholeVideo(CardFiles()[0], 20);
}

TEST_F(Capture, StillOfALostCameraIsEndedByTheWatchdog) {
    StartLive();
    program->Press(VK_RETURN);
    ASSERT_TRUE(RunUntilState("REC_IMAGE"));
    board.PlugCamera(false);
    program->Advance(15s);
    EXPECT_FALSE(board::WatchdogStarved(board.Block(), board.Clock().Monotonic()));
    program->Advance(30s);
    EXPECT_TRUE(board::WatchdogStarved(board.Block(), board.Clock().Monotonic()));
    board.PlugCamera(true);
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), SizeIs(1));
}

TEST_F(Capture, OvertakenStillDoesNotFreezeLiveView) {
    board.PlugCamera(false);
    Start();
    program->Advance(1s);
    program->Press(VK_RETURN);  // nothing to take a still of yet
    board.PlugCamera(true);
    ExpectLiveView();

    program->Press(VK_RETURN);
    program->OnUiThread([] { m_pMain->EnterMenu(); });
    program->Advance(1s);
    program->OnUiThread([] { m_pMain->ExitMenu(); });
    ExpectLiveView();

    program->Press(VK_RETURN);
    program->Press(VK_F3);  // video after all, before the state machine looked
    program->Advance(3s);
    if (State() == "REC_VIDEO") program->Press(VK_RETURN);
    ExpectLiveView();
    program->Press(VK_F3);
    ExpectLiveView();
}

}  // namespace
}  // namespace scenario
