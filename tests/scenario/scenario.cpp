#include "tests/scenario/scenario.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "board/picture_codec.h"
#include "mwin/gdi_object.h"
#include "mwin/picture_file.h"
#include "mwin/timer.h"
#include "mwin/window.h"
#include "settings/varno_sv_setting.h"
#include "sys/power.h"
#include "video/v4l2_mxs_pxp_ctrl.h"

namespace scenario {

namespace {

// The tests were asked to write reference pictures instead of comparing with them.
bool g_updateReferences = false;
constexpr int kWidth = board::kScreenWidth;
constexpr int kHeight = board::kScreenHeight;

std::size_t Entries(const char* folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

// What the program holds of the window system and of the system.
std::string Held() {
    return "pens and fonts " + std::to_string(mwin::LivePensAndFonts()) + ", windows " +
           std::to_string(mwin::LiveWindows()) + ", timers " + std::to_string(mwin::LiveTimers()) + ", descriptors " +
           std::to_string(Entries("/proc/self/fd")) + ", threads " + std::to_string(Entries("/proc/self/task"));
}

}  // namespace

void ExpectWholeVideo(const std::string& content, unsigned frames) {
    ASSERT_GT(content.size(), 100U);
    EXPECT_EQ(content.substr(0, 4) + content.substr(8, 4), "RIFFAVI ");
    EXPECT_EQ(Read32(content, 4) + 8, content.size());
    EXPECT_GE(Read32(content, 48), frames);  // of the main header
}

int KeyOf(char c) {
    const std::map<char, int> keys = {{'1', VK_F1}, {'2', VK_F2},   {'3', VK_F3},   {'4', VK_F4},   {'E', VK_RETURN},
                                      {'^', VK_UP}, {'v', VK_DOWN}, {'<', VK_LEFT}, {'>', VK_RIGHT}};
    return keys.at(c);
}

ScenarioTest::ScenarioTest()
    : source_directory(std::filesystem::current_path()),
      threads_before_(Entries("/proc/self/task")),
      fonts_before_(mwin::LivePensAndFonts()) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::string source = "file:" + source_directory + "/tests/scenario/reference/camera.png";
    board::SetCameraSource(board.Block(), source);
    // What outlives the tests before: the battery's readings, and the store, which is to ask this one's board.
    Varno::accul_index = 0;
    Varno::g_firstAdc = true;
    CVarnoSVSetting::GetInstance().InitFSLOTG();
}

void ScenarioTest::Finish() {
    if (!program) return;
    EXPECT_FALSE(board.Clock().BusyWaits());
    if (program->Running() && State() == "VIEW" && !held_in_live_view_.empty()) {
        // The bars go by themselves.
        const auto as_before = [this] { return Held() == held_in_live_view_; };
        EXPECT_TRUE(program->RunUntil(as_before, 6s)) << Held() << ", before " << held_in_live_view_;
    }
    program->End();
    program.reset();
    EXPECT_LE(board.Kernel().OpenCount(), 2) << "the watchdog and the OTG device, until the process ends";
    EXPECT_EQ(mwin::LivePensAndFonts(), fonts_before_);
    // A thread that was joined is listed for a moment still.
    for (int i = 0; i < 1000 && Entries("/proc/self/task") > threads_before_; ++i)
        std::this_thread::sleep_for(1ms);
    EXPECT_LE(Entries("/proc/self/task"), threads_before_);
}

void ScenarioTest::StartLive() {
    Start();
    ASSERT_TRUE(program->RunUntilLive()) << Output();
    ASSERT_TRUE(RunUntilState("VIEW"));
    // The overlay outlives the programs of the tests before, and stays turned.
    auto& overlay = CV4L2_MXSPXPCTRL::GetInstance();
    while (overlay.GetRotate() != PXP_ROTATE_Orig)
        ASSERT_TRUE(overlay.RotateCW());
    held_in_live_view_ = Held();
}

void ScenarioTest::Keys(const std::string& keys) {
    for (const char c : keys) {
        if (c == '.' || c == ',') {
            Advance(c == '.' ? 100ms : 1s);
        } else {
            program->Press(KeyOf(c));
        }
    }
}

void ScenarioTest::Walk(std::initializer_list<Step> steps) {
    for (const Step& step : steps) {
        SCOPED_TRACE(step.keys);
        Keys(step.keys);
        if (*step.reference != '\0') ExpectLcd(step.reference);
    }
}

std::string ScenarioTest::State() {
    const std::string mark = ", new: CAM_STATUS_";
    const std::size_t last = Output().rfind(mark);
    if (last == std::string::npos) return "DETECT";
    const std::size_t begin = last + mark.size();
    return Output().substr(begin, Output().find('\n', begin) - begin);
}

bool ScenarioTest::RunUntilState(const std::string& state) {
    return program->RunUntil([&] { return State() == state; });
}

bool ScenarioTest::VideoRuns() {
    const auto sequence = board.Get(&board::Block::video_sequence);
    return program->RunUntil([&] { return board.Get(&board::Block::video_sequence) > sequence + 3; }, 5s);
}

std::string ScenarioTest::VideoSize() {
    const auto camera = board.Get(&board::Block::camera);
    return std::to_string(camera.width) + "x" + std::to_string(camera.height);
}

void ScenarioTest::ExpectLiveView(int leaves) {
    Keys(std::string(static_cast<std::size_t>(leaves), '1'));
    EXPECT_TRUE(RunUntilState("VIEW"));
    EXPECT_TRUE(program->RunUntilLive());
    EXPECT_TRUE(VideoRuns());
    EXPECT_EQ(VideoSize(), "320x240");
    EXPECT_EQ(Drawn(kFunnelBox), 0);
    EXPECT_EQ(Drawn(kRecordingBox), 0);
}

void ScenarioTest::LeaveNoSpace() {
    ASSERT_TRUE(program->RunUntil([this] { return WarningShows(); }, 5s));
    Keys("E<4,.");
    ExpectLcd("warning_no_space");
    const std::size_t from = Output().size();
    Keys("1,<<^^E1,.......");  // the others are of no use to anybody: the warning still shows
    EXPECT_TRUE(WarningShows());
    EXPECT_TRUE(program->RunUntilPrinted("WM_DESTROY\nCVarnoUIDlgWarning::DestoryDialog\n", from));
}

std::string ScenarioTest::Unit(int number) {
    const std::string unit = "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun" + std::to_string(number) + "/file";
    const std::string line = board.Read(unit);
    return line.substr(0, line.find('\n'));
}

void ScenarioTest::ConnectPc() {
    Set(&board::Block::usb_host, true);
    ASSERT_TRUE(program->RunUntil([this] { return Unit(0) == "/dev/loop0" && WarningShows(); }, 5s));
}

void ScenarioTest::DisconnectPc() {
    Set(&board::Block::usb_host, false);
    ExpectLiveView();
    EXPECT_EQ(Unit(0) + Unit(1), "");
    EXPECT_EQ(Violations(), 0U);
}

void ScenarioTest::RecordForAWhile() {
    Keys("E");
    ASSERT_TRUE(RunUntilState("REC_VIDEO"));
    Advance(2s);
}

void ScenarioTest::TakeStill() {
    const std::size_t from = Output().size();
    Keys("E");
    ASSERT_TRUE(program->RunUntilPrinted(kStillDone, from));
    ExpectLiveView();
}

void ScenarioTest::Set(bool board::Block::*input, bool value) {
    board.Set(input, value);
    board.Folder().Sync();
}

void ScenarioTest::InsertCard(bool inserted) {
    board.InsertCard(inserted);
    board.Folder().Sync();
}

void ScenarioTest::SetCardSpace(int kib) {
    board.Folder().SetFreeKib(board::Medium::Card, kib);
    board.Folder().Sync();
}

void ScenarioTest::SlowCard(std::chrono::milliseconds write) {
    board.Set(&board::Block::card, &board::MediumState::write_ms, static_cast<std::uint32_t>(write.count()));
}

std::string ScenarioTest::LastFile(const std::string& extension) {
    std::string last;
    for (const std::string& name : CardFiles()) {
        if (name.find(extension) != std::string::npos) last = name;
    }
    return board.Read(kCardFolder + last);
}

int ScenarioTest::Drawn(const Box& box) {
    const board::BlockLock lock(board.Block());
    int count = 0;
    for (int y = box.top; y < box.bottom; ++y) {
        for (int x = box.left; x < box.right; ++x) {
            if ((board.Block().ui[y * kWidth + x] | 0xFF000000U) != kKeyPixel) ++count;
        }
    }
    return count;
}

void ScenarioTest::ExpectLcd(const std::string& name) {
    const std::string path = source_directory + "/tests/scenario/reference/" + name + ".png";
    const board::LcdPicture picture = board.Lcd();
    if (g_updateReferences) {
        std::ofstream(path, std::ios::binary) << board::EncodePng(picture.data(), kWidth, kHeight);
        std::cerr << "wrote " << path << "\n";
        return;
    }
    const mwin::Picture reference = mwin::LoadPicture(path.c_str());
    ASSERT_EQ(reference.width * reference.height, kWidth * kHeight)
        << path << ": look at the LCD, then --update-references";
    int different = 0;
    for (std::size_t i = 0; i < picture.size(); ++i)
        different += ((picture[i] ^ reference.pixels[i]) & 0xFFFFFF) != 0 ? 1 : 0;
    if (different == 0) return;
    const std::string actual = testing::TempDir() + "lcd_" + name + ".png";
    std::ofstream(actual, std::ios::binary) << board::EncodePng(picture.data(), kWidth, kHeight);
    ADD_FAILURE() << different << " pixels differ from " << path << "; the LCD is in " << actual;
}

void ScenarioTest::ExpectLcdAtTwelve(const std::string& name) {
    EXPECT_TRUE(program->RunUntil([this] { return board.Clock().WallClock().tv_sec % 60 == 12; }));
    Advance(300ms);
    ExpectLcd(name);
}

}  // namespace scenario

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    scenario::g_updateReferences = argc > 1 && std::strcmp(argv[1], "--update-references") == 0;
    return RUN_ALL_TESTS();
}
