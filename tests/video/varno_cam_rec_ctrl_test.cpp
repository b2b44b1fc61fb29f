#include "video/varno_cam_rec_ctrl.h"

#include <cstring>

#include "app/globals.h"
#include "board/scene_source.h"
#include "mwin/picture_file.h"
#include "tests/video/on_board.h"
#include "video/still_frame.h"
#include "video/v4l2_mxs_pxp_ctrl.h"

namespace {

using board::Block;

class CamRecCtrl : public OnBoard {
  protected:
    CamRecCtrl() { controller.reset(CVarnoCamRecCtrl::CreateNew()); }
    ~CamRecCtrl() override {
        Run([this] { controller.reset(); });
        EXPECT_FALSE(Overlay().streaming);
        videoflag = 1;
    }

    void Start() {
        Run([this] { EXPECT_TRUE(controller->Start()); });
        EXPECT_TRUE(Until([this] { return controller->GetUVCStatus() == UVC_STATUS_STREAMING; }));
    }
    void TakeStill() {
        EXPECT_TRUE(controller->SaveToImage());
        EXPECT_TRUE(Until([this] { return !controller->GetSavingImageStatus(); }));
    }
    std::vector<std::string> OnCard() { return board.Files(board::Medium::Card, "DCIM"); }
    std::string LastOnCard() { return "/media/sd-mmcblk0p1/DCIM/" + (OnCard().empty() ? "" : OnCard().back()); }

    std::unique_ptr<CVarnoCamRecCtrl> controller;
};

TEST_F(CamRecCtrl, ShowsWhatMayBeShown) {
    Start();
    EXPECT_TRUE(Until([this] { return Shown() > 0 && Overlay().output == 0; }));
    controller->SetPictureStatus(false);  // as while a still is taken
    Pass(100);
    const unsigned shown = Shown();
    TakeStill();
    EXPECT_EQ(Shown(), shown);
    board.PlugCamera(false);
    Pass(1000);
    EXPECT_EQ(Overlay().output, 0U);
    videoflag = 0;  // a menu is open
    controller->SetPictureStatus(true);
    EXPECT_TRUE(Until([this] { return Overlay().output == 1; }));
    board.PlugCamera(true);
    EXPECT_TRUE(Until([&] { return Shown() > shown + 20; }));
    EXPECT_EQ(Overlay().output, 1U);
    EXPECT_EQ(Count(Said(), "####m_isFinishedPicture =1 m_isPXPClosed=0\n"), 1);
}

TEST_F(CamRecCtrl, OverlayThatIsMissingIsTriedOnceASecondAndStopsNothing) {
    for (int i = 1; i <= 100; ++i)
        board.Kernel().FailOpen("/dev/video16", i, EIO);
    Start();
    EXPECT_TRUE(controller->StartRecordAVI());
    Said();
    const int before = board.Kernel().IoctlCount(VIDIOC_DQBUF);
    Pass(5000);
    EXPECT_GT(board.Kernel().IoctlCount(VIDIOC_DQBUF) - before, 100);
    EXPECT_NEAR(Count(Said(), "ERROR:(Input/output error) opening V4L interface /dev/video16\n"), 5, 1);
    EXPECT_TRUE(controller->IsAVIRecording());
}

TEST_F(CamRecCtrl, StillIsWholeOrNotThere) {
    for (const auto& [faults, width] :
         {std::pair{0U, 320}, {unsigned{board::kSizeRefused}, 640}, {unsigned{board::kShortFrame}, 640}, {0U, 640}}) {
        SCOPED_TRACE(faults);
        board.SetCameraFaults(faults);
        Start();
        Run([this, w = width] { controller->ChangeUVCResolution(false, w, w * 3 / 4); });
        const std::size_t before = OnCard().size();
        TakeStill();
        EXPECT_EQ(board.Get(&Block::camera).width, faults == board::kSizeRefused ? 320U : static_cast<unsigned>(width));
        ASSERT_EQ(OnCard().size(), before + 1);
        const std::string still = board.Read(LastOnCard());
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(still.data());
        const mwin::Picture picture = mwin::DecodeJpeg(bytes, still.size());
        ASSERT_EQ(std::pair(picture.width, picture.height), std::pair(640, 480));
        const auto* blue = reinterpret_cast<const std::uint8_t*>(picture.pixels.get());
        EXPECT_EQ(board::ReadFrameNumber(blue, 640, 480, 4, 2560).has_value(), faults != board::kShortFrame);
        Pass(2000);
    }
    const std::vector<std::string> before = OnCard();
    Said();
    board.Kernel().FailWrite(1, ENOSPC);
    TakeStill();
    EXPECT_EQ(Count(Said(), "No space left on device"), 1);
    board.Set(&Block::card, &board::MediumState::read_only, true);
    TakeStill();
    EXPECT_EQ(Count(Said(), "Error: create file(Read-only file system):/media/sd-mmcblk0p1/DCIM/"), 1);
    EXPECT_EQ(OnCard(), before) << "a still that failed leaves nothing";
}

TEST_F(CamRecCtrl, RecordsWhileThereAreACameraAndRoom) {
    EXPECT_FALSE(controller->StartRecordAVI());  // the camera does not stream
    EXPECT_EQ(board.Commands().back(), "/bin/mkdir -p /media/sd-mmcblk0p1/DCIM");
    EXPECT_TRUE(OnCard().empty());
    Start();
    EXPECT_TRUE(controller->StartRecordAVI());
    Pass(4000);
    Run([this] { controller->StopRecordAVI(); });
    EXPECT_FALSE(controller->IsAVIRecording());
    const std::string clip = board.Read(LastOnCard());
    EXPECT_EQ(clip.substr(8, 4), "AVI ");
    EXPECT_GT(clip.size(), 60U * kFrameBytes);
    Pass(2000);
    EXPECT_TRUE(controller->StartRecordAVI());
    Pass(1000);
    board.InsertCard(false);  // ends the recording; the controller lives on
    EXPECT_TRUE(Until([this] { return !controller->IsAVIRecording(); }));
    EXPECT_EQ(controller->GetUVCStatus(), UVC_STATUS_STREAMING);
    board.Set(&Block::nand, &board::MediumState::mounted, false);
    EXPECT_FALSE(controller->StartRecordAVI());
    TakeStill();  // there is no place for it
}

// Each pair of pixels carries its line and its column; what is missing at the end is black.
TEST(StillFrame, ScalesAndCompletes) {
    const std::tuple<unsigned, unsigned, unsigned> cases[] = {
        {640, 480, 0}, {640, 480, 1}, {320, 240, 0}, {320, 240, 3000}, {800, 600, 0}, {160, 120, 1}, {2, 1, 0}};
    for (const auto& [width, height, missing] : cases) {
        const unsigned pairs = width / 2;
        std::vector<std::uint32_t> frame;
        for (unsigned i = 0; i < pairs * height; ++i)
            frame.push_back(i / pairs << 16 | i % pairs);
        const auto* bytes = reinterpret_cast<const unsigned char*>(frame.data());
        const std::vector<unsigned char> cut(bytes, bytes + frame.size() * 4 - missing);
        const auto still = MakeStillFrame(cut.data(), cut.size(), width, height);
        ASSERT_TRUE(still);
        int wrong = 0;
        for (unsigned i = 0; i < kStillBytes / 4; ++i) {
            const unsigned from = i / 320 * height / 480 * pairs + i % 320 * pairs / 320;
            const std::uint32_t expected = (from + 1) * 4 <= cut.size() ? frame[from] : 0x80108010;
            wrong += std::memcmp(&still[i * 4], &expected, 4) == 0 ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0) << width << "x" << height << " less " << missing;
    }
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 0, 480));
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 640, 0));
}

}  // namespace
