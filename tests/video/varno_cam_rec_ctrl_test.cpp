#include "video/varno_cam_rec_ctrl.h"

#include <array>

#include "app/globals.h"
#include "board/scene_source.h"
#include "media/avilib.h"
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
    }
    bool Reaches(UVC_STATUS status) {
        return Until([=] { return controller->GetUVCStatus() == status; });
    }
    void TakeStill() {
        EXPECT_TRUE(controller->SaveToImage());
        EXPECT_TRUE(Until([this] { return !controller->GetSavingImageStatus(); }));
    }
    void StopRecording() {
        Run([this] { controller->StopRecordAVI(); });
        EXPECT_FALSE(controller->IsAVIRecording());
    }
    std::vector<std::string> OnCard() { return board.Files(board::Medium::Card, "DCIM"); }
    std::string LastOnCard() { return "/media/sd-mmcblk0p1/DCIM/" + (OnCard().empty() ? "" : OnCard().back()); }

    std::unique_ptr<CVarnoCamRecCtrl> controller;
};

TEST_F(CamRecCtrl, ShowsWhatMayBeShown) {
    const auto output_becomes = [this](unsigned output) { return Until([=] { return Overlay().output == output; }); };
    Start();
    EXPECT_TRUE(output_becomes(0));
    controller->ZoomPXP(9);
    EXPECT_TRUE(controller->GetZoomStatus());
    EXPECT_TRUE(Until([this] { return Overlay().source_width == 128 && Overlay().source_height == 96; }));
    for (const auto& [percent, lamp] : {std::pair{-5, 18}, {45, 66}, {1000, 104}}) {
        EXPECT_TRUE(controller->ChangeBright(percent));
        EXPECT_EQ(board.Get(&Block::lamp), lamp);
    }
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
    EXPECT_TRUE(output_becomes(1));
    board.PlugCamera(true);
    EXPECT_TRUE(Until([&] { return Shown() > shown + 20; }));
    EXPECT_EQ(Overlay().output, 1U);
    EXPECT_EQ(Count(Said(), "####m_isFinishedPicture =1 m_isPXPClosed=0\n"), 1);
}

TEST_F(CamRecCtrl, OverlayThatIsMissingIsTriedOnceASecondAndStopsNothing) {
    for (int i = 1; i <= 100; ++i)
        board.Kernel().FailOpen("/dev/video16", i, EIO);
    Start();
    EXPECT_TRUE(Reaches(UVC_STATUS_STREAMING));
    EXPECT_TRUE(controller->StartRecordAVI());
    Said();
    const int before = board.Kernel().IoctlCount(VIDIOC_DQBUF);
    Pass(5000);
    EXPECT_GT(board.Kernel().IoctlCount(VIDIOC_DQBUF) - before, 100);
    EXPECT_NEAR(Count(Said(), "ERROR:(Input/output error) opening V4L interface /dev/video16\n"), 5, 1);
    EXPECT_TRUE(controller->IsAVIRecording());
    StopRecording();
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

TEST_F(CamRecCtrl, RecordsEveryFrameOnce) {
    EXPECT_FALSE(controller->StartRecordAVI());  // the camera does not stream
    EXPECT_EQ(board.Commands().back(), "/bin/mkdir -p /media/sd-mmcblk0p1/DCIM");
    EXPECT_TRUE(OnCard().empty());
    Start();
    EXPECT_TRUE(Reaches(UVC_STATUS_STREAMING));
    EXPECT_TRUE(controller->StartRecordAVI());
    Pass(4000);
    StopRecording();
    avi_t* avi = AVI_open_input_file(LastOnCard().c_str(), 1);
    ASSERT_TRUE(avi);
    EXPECT_GT(AVI_video_frames(avi), 60);
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(AVI_max_video_chunk(avi)));
    int last = -1;
    int keyframe = 0;
    for (int i = 0; i < AVI_video_frames(avi); ++i) {
        ASSERT_EQ(AVI_read_frame(avi, reinterpret_cast<char*>(frame.data()), &keyframe), kFrameBytes);
        const auto number = board::ReadFrameNumber(frame.data(), 320, 240, 2, 640);
        ASSERT_TRUE(number);
        EXPECT_GT(static_cast<int>(*number), last);
        last = *number;
    }
    AVI_close(avi);

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

// Each pair carries its line and its column; what is missing at the end is black.
TEST(StillFrame, ScalesAndCompletes) {
    using Pair = std::array<unsigned char, 4>;
    const auto pair_at = [](unsigned y, unsigned x) -> Pair {
        return {static_cast<unsigned char>(y), static_cast<unsigned char>(x), static_cast<unsigned char>(y + x), 9};
    };
    for (const auto& [width, height, missing] : {std::tuple{640U, 480U, 0U},
                                                 {640, 480, 1},
                                                 {320, 240, 0},
                                                 {320, 240, 3000},
                                                 {800, 600, 0},
                                                 {160, 120, 1},
                                                 {2, 1, 0}}) {
        const unsigned pairs = width / 2;
        std::vector<unsigned char> frame;
        for (unsigned i = 0; i < pairs * height; ++i) {
            const Pair pair = pair_at(i / pairs, i % pairs);
            frame.insert(frame.end(), pair.begin(), pair.end());
        }
        frame.resize(frame.size() - missing);
        frame.shrink_to_fit();
        const auto still = MakeStillFrame(frame.data(), frame.size(), width, height);
        ASSERT_TRUE(still);
        int wrong = 0;
        for (unsigned i = 0; i < kStillBytes / 4; ++i) {
            const unsigned y = i / 320 * height / 480;
            const unsigned x = i % 320 * pairs / 320;
            const Pair expected = (y * pairs + x + 1) * 4 <= frame.size() ? pair_at(y, x) : Pair{16, 128, 16, 128};
            wrong += std::equal(expected.begin(), expected.end(), &still[i * 4]) ? 0 : 1;
        }
        EXPECT_EQ(wrong, 0) << width << "x" << height << " less " << missing;
    }
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 0, 480));
    EXPECT_FALSE(MakeStillFrame(nullptr, 0, 640, 0));
}

}  // namespace
