#include "tests/scenario/scenario.h"

#include <png.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "settings/varno_sv_setting.h"

namespace scenario {

bool g_updateReferences = false;

namespace {

constexpr int kWidth = board::kScreenWidth;
constexpr int kHeight = board::kScreenHeight;
// Antialiased edges may differ a little between versions of the font renderer, on a few pixels.
constexpr int kTolerance = 24;
constexpr int kMostDifferent = 60;

png_image Describe() {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = kWidth;
    image.height = kHeight;
    image.format = PNG_FORMAT_BGRA;  // 0xAARRGGBB words of a little-endian PC
    return image;
}

bool ReadPng(const std::string& path, board::LcdPicture& picture) {
    png_image image = Describe();
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return false;
    image.format = PNG_FORMAT_BGRA;
    if (image.width != kWidth || image.height != kHeight) {
        png_image_free(&image);
        return false;
    }
    picture.resize(kWidth * kHeight);
    return png_image_finish_read(&image, nullptr, picture.data(), 0, nullptr) != 0;
}

bool WritePng(const std::string& path, const board::LcdPicture& picture) {
    png_image image = Describe();
    return png_image_write_to_file(&image, path.c_str(), 0, picture.data(), 0, nullptr) != 0;
}

bool Differs(std::uint32_t a, std::uint32_t b) {
    for (unsigned shift = 0; shift < 24; shift += 8) {
        if (std::abs(static_cast<int>(a >> shift & 255U) - static_cast<int>(b >> shift & 255U)) > kTolerance)
            return true;
    }
    return false;
}

}  // namespace

std::uint32_t Word(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (unsigned i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << 8 * i;
    return value;
}

ScenarioTest::ScenarioTest() : source_directory(std::filesystem::current_path()) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::string source = "file:" + source_directory + "/tests/scenario/reference/camera.png";
    board::SetCameraSource(board.Block(), source);
    // The store outlives the tests before: it is to ask this one's board.
    CVarnoSVSetting::GetInstance().InitFSLOTG();
}

ScenarioTest::~ScenarioTest() = default;

void ScenarioTest::StartLive() {
    Start();
    ASSERT_TRUE(program->RunUntilLive()) << program->Output();
    ASSERT_TRUE(RunUntilState("VIEW"));
}

int ScenarioTest::End() {
    return program->End();
}

std::string ScenarioTest::State() {
    const std::string output = program->Output();
    const std::string mark = ", new: CAM_STATUS_";
    const std::size_t last = output.rfind(mark);
    if (last == std::string::npos) return "DETECT";
    const std::size_t begin = last + mark.size();
    return output.substr(begin, output.find('\n', begin) - begin);
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

void ScenarioTest::ExpectLiveView() {
    EXPECT_TRUE(RunUntilState("VIEW"));
    EXPECT_TRUE(program->RunUntilLive());
    EXPECT_TRUE(VideoRuns());
    EXPECT_EQ(VideoSize(), "320x240");
    EXPECT_EQ(Drawn(kFunnelBox), 0);
    EXPECT_EQ(Drawn(kRecordingBox), 0);
}

void ScenarioTest::RecordForAWhile() {
    program->Press(VK_RETURN);
    ASSERT_TRUE(RunUntilState("REC_VIDEO"));
    program->Advance(2s);
}

void ScenarioTest::ExpectWholeVideo(const std::string& name, unsigned frames) {
    const std::string video = CardFile(name);
    ASSERT_GT(video.size(), 100U) << name;
    EXPECT_EQ(Word(video, 4) + 8, video.size()) << name;
    EXPECT_GE(Word(video, 48), frames) << name;  // of the main header
}

void ScenarioTest::SetCardSpace(int kib) {
    board.Folder().SetFreeKib(board::Medium::Card, kib);
    board.Folder().Sync();
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
        ASSERT_TRUE(WritePng(path, picture));
        std::cerr << "wrote " << path << "\n";
        return;
    }
    board::LcdPicture reference;
    ASSERT_TRUE(ReadPng(path, reference)) << path << " cannot be read; look at the LCD, then --update-references";
    int different = 0;
    for (std::size_t i = 0; i < picture.size(); ++i)
        different += Differs(picture[i], reference[i]) ? 1 : 0;
    if (different <= kMostDifferent) return;
    const std::string actual = testing::TempDir() + "lcd_" + name + ".png";
    WritePng(actual, picture);
    ADD_FAILURE() << different << " pixels differ from " << path << "; the LCD is in " << actual;
}

int ScenarioTest::Printed(const std::string& text) {
    const std::string output = program->Output();
    int count = 0;
    for (std::size_t at = 0; (at = output.find(text, at)) != std::string::npos; at += text.size())
        ++count;
    return count;
}

}  // namespace scenario

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--update-references") == 0) {
            scenario::g_updateReferences = true;
        } else {
            std::cerr << "unknown option " << argv[i] << "\n";
            return 2;
        }
    }
    return RUN_ALL_TESTS();
}
