// The whole program on a virtual board, driven by keys, cables and time.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mwin/windows.h"
#include "tests/media/avi_file.h"
#include "tests/support/printed.h"
#include "tests/support/program_runner.h"
#include "tests/support/virtual_board.h"

namespace scenario {

using namespace std::chrono_literals;
using support::Count;

constexpr std::uint32_t kKeyPixel = 0xFF010101;  // of the user interface: the video shows here

struct Box {
    int left, top, right, bottom;
};
constexpr Box kScreen{0, 0, 320, 239}, kCardBox{259, 6, 287, 27}, kBrightBox{127, 180, 193, 210},
    kZoomBox{278, 93, 308, 147}, kRecordingBox{266, 31, 315, 53}, kFunnelBox{152, 109, 167, 130};

constexpr const char* kCardFolder = "/media/sd-mmcblk0p1/DCIM/";
// The program's last words on a still.
constexpr const char* kStillDone = "##########################################################\n";

// A finished clip of at least so many frames.
void ExpectWholeVideo(const std::string& content, unsigned frames);
// The key that a character stands for: 1 to 4 are F1 to F4, E is Enter, ^ v < > are the arrows.
int KeyOf(char c);

class ScenarioTest : public testing::Test {
  protected:
    ScenarioTest();
    void TearDown() override { Finish(); }
    // Ends the program. Before, back in live view, it holds no more than when it first was there; after, nothing.
    void Finish();

    // Starts the program; the board may be changed before.
    void Start() { program = std::make_unique<support::ProgramRunner>(board); }
    // Starts the program and brings it to live view.
    void StartLive();

    // Presses keys (see KeyOf); where a dot stands, 100 ms pass, and a second where a comma does.
    void Keys(const std::string& keys);
    struct Step {
        const char* keys;
        const char* reference;  // what the LCD shows then
    };
    void Walk(std::initializer_list<Step> steps);
    void Advance(std::chrono::milliseconds duration) { program->Advance(duration); }

    // The state last told in the program's output ("VIEW").
    std::string State();
    bool RunUntilState(const std::string& state);
    // Lets the camera run and answers whether the video on the LCD moves on, and at which size.
    bool VideoRuns();
    std::string VideoSize();
    // The camera's picture moves again, whatever happened before, after so many presses of F1.
    void ExpectLiveView(int leaves = 0);
    // The band below the text of a warning is on the LCD.
    bool WarningShows() { return (board.Lcd()[152 * 320 + 3] & 0xFFFFFFU) == 0x14181CU && State() == "STOP"; }
    // Waits for the no-space warning and leaves it as a user does.
    void LeaveNoSpace();
    // The PC's cable, and what it brings: the storage handed over, and back.
    void ConnectPc();
    void DisconnectPc();
    // The device behind a mass-storage unit that a PC sees.
    std::string Unit(int number);

    // Presses the capture key in video mode and lets the recording run for two seconds.
    void RecordForAWhile();
    void TakeStill();

    void Set(bool board::Block::*input, bool value);
    void InsertCard(bool inserted);
    void SetCardSpace(int kib);
    // Each write to the card takes so long from now on.
    void SlowCard(std::chrono::milliseconds write);
    auto Pxp() { return board.Get(&board::Block::pxp); }
    int Lamp() { return board.Get(&board::Block::lamp); }
    bool Starved() { return board::WatchdogStarved(board.Block(), board.Clock().Monotonic()); }
    unsigned Violations() { return board.Get(&board::Block::violations); }

    // Pixels of the user interface in a box that are not the video's.
    int Drawn(const Box& box);
    // The LCD looks as in tests/scenario/reference/<name>.png.
    void ExpectLcd(const std::string& name);
    // The same, when its clock shows 12:00:12.
    void ExpectLcdAtTwelve(const std::string& name);
    std::vector<std::string> CardFiles() { return board.Files(board::Medium::Card, "DCIM"); }
    // The content of the card's last file of that kind.
    std::string LastFile(const std::string& extension);
    const std::string& Output() { return program->Output(); }
    // What was printed from a place of the output on.
    std::string Since(std::size_t from) { return Output().substr(from); }
    int Printed(const std::string& text) { return Count(Output(), text); }

    const std::string source_directory;
    support::VirtualBoard board;
    std::unique_ptr<support::ProgramRunner> program;

  private:
    std::string held_in_live_view_;
    const std::size_t threads_before_, fonts_before_;
};

}  // namespace scenario
