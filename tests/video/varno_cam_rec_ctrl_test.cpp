#include "video/varno_cam_rec_ctrl.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "app/globals.h"
#include "board/scene_source.h"
#include "media/avilib.h"
#include "tests/video/on_board.h"
#include "video/frames/pixel_conversion.h"
#include "video/still_frame.h"
#include "video/v4l2_mxs_pxp_ctrl.h"

namespace {

using board::Block;
using std::chrono::milliseconds;
using std::chrono::seconds;

const std::string kFolder = "/media/sd-mmcblk0p1/DCIM/";
const std::string kMakeFolder = "/bin/mkdir -p /media/sd-mmcblk0p1/DCIM";

class CamRecCtrlTest : public OnBoard {
  protected:
    CamRecCtrlTest() {
        initLut();
        testing::internal::CaptureStdout();
        m_controller.reset(CVarnoCamRecCtrl::CreateNew());
    }
    ~CamRecCtrlTest() override {
        Run([this] { m_controller.reset(); });
        videoflag = 1;
        freeLut();
        const std::string printed = testing::internal::GetCapturedStdout();
        if (HasFailure()) std::printf("%s", printed.c_str());
    }

    void Start() {
        Run([this] { EXPECT_TRUE(m_controller->Start()); });
    }
    void StartLiveView() {
        Start();
        EXPECT_TRUE(Until([this] { return Pxp().streaming && Pxp().output == 0 && Shown() > 0; }));
    }
    bool Reaches(UVC_STATUS status) {
        return Until([=] { return m_controller->GetUVCStatus() == status; });
    }
    bool StillIsDone() {
        return Until([this] { return !m_controller->GetSavingImageStatus(); });
    }
    void TakeStill() {
        EXPECT_TRUE(m_controller->SaveToImage());
        EXPECT_TRUE(StillIsDone());
    }
    void SetSize(int width, int height) {
        Run([=] { m_controller->ChangeUVCResolution(false, width, height); });
    }
    void StopRecording() {
        Run([this] { m_controller->StopRecordAVI(); });
    }
    void Pass(milliseconds time) { board.Clock().Advance(time); }
    board::PixelPipelineState Pxp() { return board.Get(&Block::pxp); }
    std::uint32_t Shown() { return board.Get(&Block::video_sequence); }
    std::vector<std::string> OnCard() { return board.Files(board::Medium::Card, "DCIM"); }
    // What was printed since the last look.
    std::string Printed() {
        std::string printed = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        return printed;
    }

    std::unique_ptr<CVarnoCamRecCtrl> m_controller;
};

// A JPEG file from its first to its last mark, with 640×480 in its frame header.
bool IsWholeStill(const std::string& bytes) {
    const std::size_t frame = bytes.find("\xFF\xC0");  // length, precision, height, width
    return frame != std::string::npos && bytes.substr(frame + 5, 4) == std::string("\x01\xE0\x02\x80", 4) &&
           bytes.substr(0, 2) == "\xFF\xD8" && bytes.substr(bytes.size() - 2) == "\xFF\xD9";
}

TEST_F(CamRecCtrlTest, ShowsZoomsAndTurns) {
    CV4L2_MXSPXPCTRL& overlay = CV4L2_MXSPXPCTRL::GetInstance();
    EXPECT_EQ(m_controller->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    videoflag = 0;
    Start();
    EXPECT_TRUE(Until([this] { return Pxp().streaming && Shown() > 0; }));
    Pass(milliseconds(500));
    EXPECT_EQ(Pxp().output, 1U);  // a menu is open
    videoflag = 1;
    EXPECT_TRUE(Until([this] { return Pxp().output == 0; }));

    for (const auto& [level, width, height] :
         {std::tuple<int, unsigned, unsigned>{1, 288, 216}, {6, 128, 96}, {9, 128, 96}, {0, 320, 240}}) {
        m_controller->ZoomPXP(static_cast<unsigned char>(level));
        EXPECT_TRUE(m_controller->GetZoomStatus());
        EXPECT_TRUE(Until([this] { return !m_controller->GetZoomStatus(); }));
        EXPECT_EQ(overlay.GetDispWidth(), width);
        EXPECT_EQ(Pxp().source_height, height);
    }
    // The one overlay of the process keeps the orientation it was left with.
    const int turned = (overlay.GetRotate() + 1) % 4;
    EXPECT_TRUE(m_controller->RotateCW());
    EXPECT_TRUE(Until([&] { return overlay.GetRotate() == turned; }));
    EXPECT_EQ(Pxp().hflip, turned == PXP_ROTATE_HFlip);
    EXPECT_EQ(Pxp().rotation, turned == PXP_ROTATE_180 ? 180U : 0U);

    // Not shown, as while a still is taken.
    m_controller->SetPictureStatus(false);
    Pass(milliseconds(100));
    const std::uint32_t shown = Shown();
    Pass(milliseconds(500));
    EXPECT_EQ(Shown(), shown);
    EXPECT_EQ(overlay.GetRotate(), turned) << "one request turned it once";
    board.PlugCamera(false);
    EXPECT_TRUE(Reaches(UVC_STATUS_DISCONNECTED));
    Pass(milliseconds(200));
    EXPECT_EQ(Pxp().output, 0U);
    m_controller->SetPictureStatus(true);
    EXPECT_TRUE(Until([this] { return Pxp().output == 1; }));
    EXPECT_EQ(Count(Printed(), "####m_isFinishedPicture =1 m_isPXPClosed=0\n"), 1);
    board.PlugCamera(true);
    EXPECT_TRUE(Until([this] { return Pxp().output == 0; }));

    Run([this] { m_controller->Stop(); });
    EXPECT_EQ(Pxp().output, 1U);
    EXPECT_EQ(m_controller->GetUVCStatus(), UVC_STATUS_DISCONNECTED);
    StartLiveView();
    EXPECT_EQ(board.Get(&Block::violations), 0U);
}

TEST_F(CamRecCtrlTest, LampFollowsItsTable) {
    for (const auto& [percent, value] :
         {std::pair<int, int>{-5, 18}, {0, 18}, {9, 18}, {10, 53}, {45, 66}, {99, 89}, {100, 104}, {1000, 104}}) {
        EXPECT_TRUE(m_controller->ChangeBright(percent));
        EXPECT_EQ(board.Get(&Block::lamp), value) << percent;
    }
}

TEST_F(CamRecCtrlTest, OverlayThatIsMissingIsTriedOnceASecondAndStopsNothing) {
    for (int i = 1; i <= 100; ++i)
        board.Kernel().FailOpen("/dev/video16", i, EIO);
    Start();
    EXPECT_TRUE(Reaches(UVC_STATUS_STREAMING));
    EXPECT_TRUE(m_controller->StartRecordAVI());
    Printed();
    const int before = board.Kernel().IoctlCount(VIDIOC_DQBUF);
    Pass(seconds(5));
    EXPECT_GT(board.Kernel().IoctlCount(VIDIOC_DQBUF) - before, 100);
    EXPECT_NEAR(Count(Printed(), "ERROR:(Input/output error) opening V4L interface /dev/video16\n"), 5, 1);
    EXPECT_TRUE(m_controller->IsAVIRecording());
    StopRecording();
    EXPECT_FALSE(m_controller->IsAVIRecording());
    EXPECT_FALSE(Pxp().streaming);
}

TEST_F(CamRecCtrlTest, StillsGoWhereTheMediumIs) {
    StartLiveView();
    SetSize(640, 480);
    TakeStill();
    const std::vector<std::string> files = OnCard();
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files[0].substr(0, 3), "664");  // May 2024
    EXPECT_TRUE(IsWholeStill(board.Read(kFolder + files[0])));
    EXPECT_NE(Printed().find("Saving to jpeg file " + kFolder + files[0] + "\n"), std::string::npos);
    EXPECT_EQ(board.Commands().back(), kMakeFolder);

    // A request made while no camera is there waits for it.
    board.PlugCamera(false);
    board.InsertCard(false);
    EXPECT_TRUE(Reaches(UVC_STATUS_DISCONNECTED));
    m_controller->SaveToImage();
    Pass(seconds(3));
    EXPECT_TRUE(m_controller->GetSavingImageStatus());
    board.PlugCamera(true);
    EXPECT_TRUE(StillIsDone());
    ASSERT_EQ(board.Files(board::Medium::Nand).size(), 1U);  // no folder of its own there

    board.Set(&Block::nand, &board::MediumState::mounted, false);
    TakeStill();
    EXPECT_FALSE(m_controller->StartRecordAVI());
}

TEST_F(CamRecCtrlTest, StillIsWholeOrNotThere) {
    for (const auto& [faults, width] :
         {std::pair<std::uint32_t, int>{0, 320}, {board::kSizeRefused, 640}, {board::kShortFrame, 640}}) {
        SCOPED_TRACE(faults);
        board.SetCameraFaults(faults);
        Start();
        SetSize(width, width * 3 / 4);
        const std::size_t before = OnCard().size();
        TakeStill();
        ASSERT_EQ(OnCard().size(), before + 1);
        EXPECT_TRUE(IsWholeStill(board.Read(kFolder + OnCard().back())));
        Pass(seconds(2));
    }
    const std::vector<std::string> before = OnCard();
    Printed();
    board.Kernel().FailWrite(1, ENOSPC);
    TakeStill();
    EXPECT_EQ(Count(Printed(), "No space left on device"), 1);
    auto card = board.Get(&Block::card);
    card.read_only = true;
    board.Set(&Block::card, card);
    TakeStill();
    EXPECT_EQ(Count(Printed(), "Error: create file(Read-only file system):" + kFolder), 1);
    EXPECT_EQ(OnCard(), before) << "a still that failed leaves nothing";
}

TEST_F(CamRecCtrlTest, RecordsEveryFrameOnce) {
    EXPECT_FALSE(m_controller->StartRecordAVI());
    EXPECT_EQ(board.Commands().back(), kMakeFolder);
    EXPECT_TRUE(OnCard().empty());
    StartLiveView();
    EXPECT_TRUE(m_controller->StartRecordAVI());
    EXPECT_TRUE(m_controller->IsAVIRecording());
    Pass(seconds(4));
    StopRecording();
    ASSERT_EQ(OnCard().size(), 1U);
    avi_t* avi = AVI_open_input_file((kFolder + OnCard()[0]).c_str(), 1);
    ASSERT_TRUE(avi);
    EXPECT_GT(AVI_video_frames(avi), 60);
    EXPECT_GE(AVI_frame_rate(avi), 15);
    std::vector<char> frame(static_cast<std::size_t>(AVI_max_video_chunk(avi)));
    ASSERT_EQ(frame.size(), 153600U);
    int last = -1;
    int keyframe = 0;
    for (int i = 0; i < AVI_video_frames(avi); ++i) {
        ASSERT_EQ(AVI_read_frame(avi, frame.data(), &keyframe), 153600);
        const auto number = board::ReadFrameNumber(reinterpret_cast<std::uint8_t*>(frame.data()), 320, 240, 2, 640);
        ASSERT_TRUE(number);
        EXPECT_GT(static_cast<int>(*number), last);
        last = *number;
    }
    AVI_close(avi);

    // A pulled card ends the recording; the controller lives on.
    Pass(seconds(2));
    EXPECT_TRUE(m_controller->StartRecordAVI());
    Pass(seconds(1));
    board.InsertCard(false);
    EXPECT_TRUE(Until([this] { return !m_controller->IsAVIRecording(); }));
    StopRecording();
    EXPECT_EQ(m_controller->GetUVCStatus(), UVC_STATUS_STREAMING);
}

TEST(StillFrameTest, ScalesAndCompletes) {
    // Each pair carries its line in Y0 and its column in U.
    const auto make = [](unsigned width, unsigned height) {
        std::vector<unsigned char> frame;
        for (unsigned y = 0; y < height; ++y) {
            for (unsigned x = 0; x < width / 2; ++x) {
                frame.insert(frame.end(), {static_cast<unsigned char>(y), static_cast<unsigned char>(x), 7, 9});
            }
        }
        return frame;
    };
    const struct {
        unsigned width, height;
        std::size_t missing;  // bytes at the end
        int middle_line, middle_column;
    } cases[] = {{640, 480, 0, 240, 160},       {640, 480, 1, 240, 160}, {320, 240, 0, 120, 80}, {320, 240, 4, 120, 80},
                 {800, 600, 0, 300 % 256, 200}, {160, 120, 0, 60, 40},   {2, 1, 0, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " less " << c.missing);
        std::vector<unsigned char> frame = make(c.width, c.height);
        frame.resize(frame.size() - c.missing);
        frame.shrink_to_fit();
        const auto still = MakeStillFrame(frame.data(), frame.size(), c.width, c.height);
        ASSERT_TRUE(still);
        const unsigned char* middle = still.get() + 240 * 1280 + 160 * 4;
        EXPECT_EQ(middle[0], c.middle_line);
        EXPECT_EQ(middle[1], c.middle_column);
        const unsigned char* last = still.get() + kStillBytes - 4;
        const std::vector<unsigned char> black{16, 128, 16, 128};
        EXPECT_EQ(std::vector<unsigned char>(last, last + 4) == black, c.missing > 0);
    }
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 0, 480));
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 640, 0));
}

}  // namespace
