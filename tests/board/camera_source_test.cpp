// What the virtual camera looks at.
#include "board/camera_source.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "board/scene_source.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

std::vector<std::uint8_t> Render(board::CameraSource& source, int width, int height, std::uint32_t sequence, int lamp,
                                 milliseconds time = {}) {
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(width) * height * 2);
    EXPECT_TRUE(source.Render({width, height, sequence, time, lamp}, frame.data()));
    return frame;
}

int MeanLuma(const std::vector<std::uint8_t>& frame) {
    long sum = 0;
    for (std::size_t i = 0; i < frame.size(); i += 2)
        sum += frame[i];
    return static_cast<int>(sum / static_cast<long>(frame.size() / 2));
}

TEST(SceneSourceTest, CarriesItsFrameNumber) {
    board::SceneSource scene;
    for (const auto& [width, height] : {std::pair(320, 240), std::pair(640, 480)}) {
        for (const std::uint32_t number : {0U, 1U, 2U, 0x5A5AU, 0xFFFFU, 0x12345U}) {
            const auto frame = Render(scene, width, height, number, 60);
            const auto read =
                board::ReadFrameNumber(frame.data(), width, height, 2, static_cast<std::size_t>(width) * 2);
            EXPECT_EQ(read, static_cast<std::uint16_t>(number));
        }
    }
    const std::vector<std::uint8_t> grey(320 * 240 * 2, 100);
    EXPECT_EQ(board::ReadFrameNumber(grey.data(), 320, 240, 2, 640), std::nullopt);
}

TEST(SceneSourceTest, IsLitByTheLampAndMoves) {
    board::SceneSource scene;
    const int dark = MeanLuma(Render(scene, 320, 240, 0, 0));
    const int low = MeanLuma(Render(scene, 320, 240, 0, 18));
    const int middle = MeanLuma(Render(scene, 320, 240, 0, 66));
    const int high = MeanLuma(Render(scene, 320, 240, 0, 104));
    EXPECT_LT(dark, 20);
    EXPECT_LT(low, 24);
    EXPECT_GT(middle, low + 20);
    EXPECT_GT(high, middle + 15);
    EXPECT_NE(Render(scene, 320, 240, 0, 66), Render(scene, 320, 240, 0, 66, milliseconds(500)));
    EXPECT_EQ(Render(scene, 320, 240, 7, 66, milliseconds(500)), Render(scene, 320, 240, 7, 66, milliseconds(500)));
}

TEST(CameraSourceTest, BadSourcesHaveAReason) {
    const fs::path folder = fs::temp_directory_path() / "varno-camera-source-test";
    fs::create_directories(folder);
    std::ofstream(folder / "text.txt") << "no picture";
    const std::pair<std::string, std::string> cases[] = {
        {"nonsense", "unknown camera source"},
        {"", "unknown camera source"},
        {"file:", "No such file"},
        {"file:/none/such.png", "No such file"},
        {"file:" + (folder / "text.txt").string(), "no picture that can be read"},
        {"file:" + folder.string(), "no pictures in this folder"},
        {"/dev/video987", "No such file"}};
    for (const auto& [source, reason] : cases) {
        std::string error;
        EXPECT_EQ(board::OpenCameraSource(source, error), nullptr) << source;
        EXPECT_NE(error.find(reason), std::string::npos) << source << ": " << error;
    }
    fs::remove_all(folder);
}

TEST(CameraSourceTest, PicturesAreScaledToTheAskedSize) {
    const fs::path folder = fs::temp_directory_path() / "varno-camera-pictures-test";
    fs::remove_all(folder);
    fs::create_directories(folder);
    // 2x2 pixels, both rows red, then blue: a GIF is the shortest of the formats.
    const unsigned char gif[] = {'G', 'I', 'F', '8', '9', 'a', 2, 0, 2, 0, 0x80, 0, 0, 255,  0,    0, 0,  0,
                                 255, ',', 0,   0,   0,   0,   2, 0, 2, 0, 0,    2, 2, 0x44, 0x5C, 0, ';'};
    std::ofstream(folder / "a.gif", std::ios::binary).write(reinterpret_cast<const char*>(gif), sizeof gif);
    std::string error;
    const auto source = board::OpenCameraSource("file:" + folder.string(), error);
    ASSERT_NE(source, nullptr) << error;
    for (const auto& [width, height] : {std::pair(320, 240), std::pair(640, 480)}) {
        const auto frame = Render(*source, width, height, 0, 0);
        EXPECT_NEAR(frame[0], 76, 1) << "red at the left";
        EXPECT_GT(frame[3], 250);
        EXPECT_NEAR(frame[static_cast<std::size_t>(width) * 2 - 4], 29, 1) << "blue at the right";
        EXPECT_GT(frame[static_cast<std::size_t>(width) * 2 - 3], 250);
    }
    fs::remove_all(folder);
}

}  // namespace
