// The whole program on a virtual board, driven by keys, cables and time.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mwin/windows.h"
#include "tests/support/program_runner.h"
#include "tests/support/virtual_board.h"

namespace scenario {

using namespace std::chrono_literals;

constexpr std::uint32_t kKeyPixel = 0xFF010101;  // of the user interface: the video shows here

struct Box {
    int left, top, right, bottom;
};
constexpr Box kModeBox{3, 6, 59, 50}, kCardBox{259, 6, 287, 27}, kBatteryBox{294, 6, 315, 23},
    kDateBox{74, 217, 246, 236}, kBrightBox{127, 180, 193, 210}, kZoomBox{278, 93, 308, 147},
    kRecordingBox{266, 31, 315, 53}, kFunnelBox{152, 109, 167, 130};

// A little-endian 32-bit number of a file.
std::uint32_t Word(const std::string& bytes, std::size_t at);

// True while the tests were asked to write reference pictures instead of comparing with them.
extern bool g_updateReferences;

class ScenarioTest : public testing::Test {
  protected:
    ScenarioTest();
    ~ScenarioTest() override;

    // Starts the program; the board may be changed before.
    void Start() { program = std::make_unique<support::ProgramRunner>(board); }
    // Starts the program and brings it to live view.
    void StartLive();
    // Ends the program as its own quit message does.
    int End();

    // The state last told in the program's output ("VIEW").
    std::string State();
    bool RunUntilState(const std::string& state);
    // Lets the camera run and answers whether the video on the LCD moves on, and at which size.
    bool VideoRuns();
    std::string VideoSize();

    // The camera's picture moves again, whatever happened before.
    void ExpectLiveView();
    // Presses the capture key in video mode and lets the recording run for two seconds.
    void RecordForAWhile();
    // A file in the card's folder is a finished clip of at least so many frames.
    void ExpectWholeVideo(const std::string& name, unsigned frames);
    // The program's video mode, from its still mode.
    void ChooseVideo() { program->Press(VK_F3); }
    void SetCardSpace(int kib);

    // Pixels of the user interface in a box that are not the video's.
    int Drawn(const Box& box);
    // The LCD looks as in tests/scenario/reference/<name>.png.
    void ExpectLcd(const std::string& name);
    std::vector<std::string> CardFiles() { return board.Files(board::Medium::Card, "DCIM"); }
    std::string CardFile(const std::string& name) { return board.Read("/media/sd-mmcblk0p1/DCIM/" + name); }
    int Printed(const std::string& text);

    const std::string source_directory;
    support::VirtualBoard board;
    std::unique_ptr<support::ProgramRunner> program;
};

}  // namespace scenario
