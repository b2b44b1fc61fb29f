// What a user does with the program in the virtual machine, and what is to be seen of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/kernel/viewer.h"
#include "tests/kernel/virtual_machine.h"

namespace kernel_test {

// All of these throw std::runtime_error with the end of the program's log when what they wait for does not come.

// A shell command that prints how many pictures the pixel pipeline was given.
const std::string kPictures = std::string("sed -n 's/^pictures //p' ") + kPipelineFile;

// The camera plugged in, the program started, live pictures seen.
void StartLiveView(VirtualMachine& machine);
// Ended as when the system goes down.
void StopProgram(VirtualMachine& machine);
// The pipeline with a picture that came after others: throws, too, if the camera's numbers do not rise.
Pipeline ReadLivePipeline(VirtualMachine& machine);
// `count` more pictures have reached the screen.
void WaitForPictures(VirtualMachine& machine, unsigned count = 3);
// The command succeeds in the machine.
void WaitFor(VirtualMachine& machine, const std::string& command);
// The program's log has this text, as often as `times` or more.
void WaitForLog(VirtualMachine& machine, const std::string& text, int times = 1);
// The state machine's last word: "CAM_STATUS_VIEW" …
void WaitForState(VirtualMachine& machine, const std::string& state);
bool IsInState(VirtualMachine& machine, const std::string& state);
// Live pictures are seen, and keys act on them: not while the camera is only being connected again.
void WaitForLiveView(VirtualMachine& machine);

// The screen looks as it should; looked at again and again.
void WaitForScreen(VirtualMachine& machine, const std::function<bool(const ScreenPicture&)>& is_right);
// From live view: the setup menu as it looks once it is drawn, and back.
ScreenPicture LookAtSetupMenu(VirtualMachine& machine);

// From still mode: switched to video mode, recording, and frames are on the card.
void StartVideo(VirtualMachine& machine);
// Stays in video mode.
void StopVideo(VirtualMachine& machine);
// In still mode: returns when one more still is on the card and live pictures are seen again.
void TakeStill(VirtualMachine& machine);

// On the card.
int CountStills(VirtualMachine& machine);

// The card's files with this extension, sorted, read outside after the machine wrote them back.
std::vector<std::string> CopiedFiles(VirtualMachine& machine, const std::string& extension);
// Unmounts the card: what a check of its file system outside finds wrong; empty for nothing.
std::string CheckCard(VirtualMachine& machine);
// A video as another program reads it outside.
struct Video {
    std::string wrong;                 // what that program finds wrong with the file; empty for nothing
    std::vector<std::uint8_t> frames;  // one behind the other, each 320x240 YUYV

    std::size_t Count() const;
    // Of the camera's videos: the number of each frame, in order; 0 for one that is not as the camera sent it.
    std::vector<unsigned> Numbers() const;
};
Video ReadVideo(const std::string& file);

}  // namespace kernel_test
