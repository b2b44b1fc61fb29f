// Stills and videos, and what may go wrong with them.
#include "tests/scenario/scenario.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;

namespace scenario {
namespace {

class Capture : public ScenarioTest {
  protected:
    // The last file is a JPEG picture of 640x480.
    void ExpectWholeStill() {
        const std::string still = LastFile(".jpg");
        EXPECT_EQ(still.substr(0, 3), "\xFF\xD8\xFF");
        EXPECT_EQ(still.substr(still.size() - 2), "\xFF\xD9");
        const std::size_t frame = still.find("\xFF\xC0");  // baseline frame header: length, precision, height, width
        ASSERT_NE(frame, std::string::npos);
        EXPECT_EQ(still.substr(frame + 5, 4), std::string("\x01\xE0\x02\x80", 4));
    }
};

TEST_F(Capture, EnterTakesAStill) {
    StartLive();
    Advance(3s);
    Keys("E");
    ASSERT_TRUE(RunUntilState("REC_IMAGE"));
    EXPECT_EQ(VideoSize(), "640x480");
    ExpectLcd("taking_still");
    ASSERT_TRUE(program->RunUntilPrinted(kStillDone));
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), testing::ElementsAre(MatchesRegex("[0-9A-F]{8}\\.jpg")));
    ExpectWholeStill();
    TakeStill();
    EXPECT_THAT(CardFiles(), SizeIs(2));
}

TEST_F(Capture, EnterStartsAndStopsAVideo) {
    StartLive();
    Keys("3,,,");
    ExpectLcd("video_mode");
    Keys("E");
    ASSERT_TRUE(RunUntilState("REC_VIDEO"));
    EXPECT_THAT(Output(), HasSubstr("nand have enough space\n"));
    Advance(4500ms);
    ExpectLcd("recording");
    Keys("134,");
    EXPECT_EQ(State(), "REC_VIDEO");
    Keys("E");
    EXPECT_EQ(State(), "REC_VIDEO_STOP_WAIT");
    EXPECT_GT(Drawn(kFunnelBox), 20);
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), testing::ElementsAre(MatchesRegex("202405171200[0-9]{2}\\.avi")));
    const std::string video = LastFile(".avi");
    ExpectWholeVideo(video, 61);
    EXPECT_GE(video.size(), Read32(video, 48) * std::size_t{153600});
}

// A card that takes three frames in a second: live view does not wait for it, a still does.
TEST_F(Capture, ASlowCardCostsFramesOfTheVideoOnly) {
    const auto shown_in_four_seconds = [this] {
        const auto before = board.Get(&board::Block::video_sequence);
        Advance(4s);
        return board.Get(&board::Block::video_sequence) - before;
    };
    StartLive();
    Keys("3");
    const auto usual = shown_in_four_seconds();
    RecordForAWhile();
    SlowCard(300ms);
    Advance(2s);  // the queue is full
    EXPECT_GE(shown_in_four_seconds() + 1, usual);
    EXPECT_EQ(State(), "REC_VIDEO");
    Keys("E");
    ExpectLiveView();
    ExpectWholeVideo(LastFile(".avi"), 20);
    EXPECT_LT(Read32(LastFile(".avi"), 48), 2U * usual) << "of more than twice as many";
    Keys("3");
    TakeStill();
    ExpectWholeStill();
    EXPECT_FALSE(Starved());
}

TEST_F(Capture, CameraPulledInAnyStateComesBack) {
    const struct {
        const char* keys;
        const char* state;
    } cases[] = {{"E", "REC_WAIT"},
                 {"E", "REC_IMAGE_WAIT"},
                 {"E", "REC_IMAGE"},
                 {"3E", "REC_WAIT"},
                 {"E", "REC_VIDEO_WAIT"},
                 {"E", "REC_VIDEO"},
                 {"E,,E", "REC_VIDEO_STOP_WAIT"}};
    StartLive();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.state);
        const std::size_t from = Output().size();
        Keys(c.keys);
        ASSERT_TRUE(program->RunUntilPrinted(std::string("new: CAM_STATUS_") + c.state + "\n", from));
        if (c.state == std::string("REC_VIDEO")) Advance(2s);
        board.PlugCamera(false);
        Advance(3s);
        if (c.state == std::string("REC_VIDEO")) {
            EXPECT_EQ(State(), "DETECT");
            EXPECT_EQ(Drawn(kRecordingBox), 0);
            ExpectWholeVideo(LastFile(".avi"), 20);
        }
        board.PlugCamera(true);
        ExpectLiveView();
    }
}

TEST_F(Capture, StillOfALostCameraIsEndedByTheWatchdog) {
    StartLive();
    Keys("E");
    ASSERT_TRUE(RunUntilState("REC_IMAGE"));
    board.PlugCamera(false);
    Advance(15s);
    EXPECT_FALSE(Starved());
    Advance(30s);
    EXPECT_TRUE(Starved());
    board.PlugCamera(true);
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), SizeIs(1));
}

TEST_F(Capture, OvertakenStillDoesNotFreezeLiveView) {
    board.PlugCamera(false);
    Start();
    Keys(",E");  // nothing to take a still of yet
    board.PlugCamera(true);
    ExpectLiveView();
    Keys("E4,");  // a menu comes before the state machine looked
    ExpectLiveView(1);
    Keys("E3,,,");  // video after all
    EXPECT_EQ(State(), "REC_VIDEO");
    Keys("E");
    ExpectLiveView();
    ExpectWholeVideo(LastFile(".avi"), 20);
    Keys("3");
    ExpectLiveView();
}

// Whoever wrote the files whose names come next, they stay; stills of one second are one file.
TEST_F(Capture, ARepeatedClockCostsNoRecording) {
    StartLive();
    TakeStill();
    const std::time_t now = board.Kernel().RealTime().tv_sec;
    for (std::time_t second = now + 1; second <= now + 60; ++second) {
        char still[32];
        std::snprintf(still, sizeof still, "%08lX.jpg", static_cast<unsigned long>(second));
        char clip[32];
        std::strftime(clip, sizeof clip, "%Y%m%d%H%M%S.avi", std::localtime(&second));
        for (const char* name : {still, clip})
            board.Write(std::string(kCardFolder) + name, "before");
    }
    Advance(1s);
    TakeStill();
    Keys("3");
    RecordForAWhile();
    Keys("E");
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), SizeIs(123));
    ExpectWholeStill();
    ExpectWholeVideo(LastFile(".avi"), 20);
    for (const std::string& name : CardFiles()) {
        const std::string content = board.Read(kCardFolder + name);
        EXPECT_TRUE(content == "before" || content.size() > 1000) << name;
    }
}

}  // namespace
}  // namespace scenario
