#include "tests/kernel/session.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "tests/kernel/guest/camera_picture.h"
#include "tests/kernel/viewer.h"

namespace kernel_test {
namespace {

// Many times what each step takes on an idle host.
constexpr double kPatience = 60;

constexpr char kStills[] = "find /media/sd-mmcblk0p1/DCIM -name '*.jpg' 2>/dev/null | wc -l";
// Bytes of the video that is being written.
constexpr char kVideoSize[] = "stat -c %s $(ls /media/sd-mmcblk0p1/DCIM/*.avi | tail -n 1)";

}  // namespace

void WaitFor(VirtualMachine& machine, double seconds, const std::string& command) {
    if (machine.Within(seconds, command)) return;
    throw std::runtime_error("not within " + std::to_string(seconds) + " s: " + command + "\n" +
                             machine.Run(std::string("tail -n 40 ") + kProgramLog).output);
}

void WaitForPictures(VirtualMachine& machine, unsigned count) {
    const int given = std::atoi(machine.Output(kPictures).c_str());
    WaitFor(machine, kPatience, "[ $(" + std::string(kPictures) + ") -ge " + std::to_string(given + count) + " ]");
}

void WaitForLog(VirtualMachine& machine, const std::string& text, int times) {
    WaitFor(machine, kPatience,
            "[ $(grep -c '" + text + "' " + std::string(kProgramLog) + ") -ge " + std::to_string(times) + " ]");
}

void WaitForState(VirtualMachine& machine, const std::string& state) {
    WaitFor(machine, kPatience,
            "grep 'new: CAM_STATUS' " + std::string(kProgramLog) + " | tail -n 1 | grep -q 'new: " + state + "$'");
}

// Pictures first: on the way back from a menu the state is "view" for a moment before the camera streams again.
void WaitForLiveView(VirtualMachine& machine) {
    WaitForPictures(machine);
    WaitForState(machine, "CAM_STATUS_VIEW");
}

void StartLiveView(VirtualMachine& machine) {
    machine.Output("plug_camera; start_program");
    WaitForLiveView(machine);
    WaitFor(machine, kPatience, "grep -q /media/sd-mmcblk0p1 /proc/mounts");
}

void WaitForScreen(VirtualMachine& machine, const std::function<bool(const ScreenPicture&)>& is_right) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!is_right(machine.Screen()))
        if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the screen stays otherwise");
}

ScreenPicture LookAtSetupMenu(VirtualMachine& machine) {
    machine.Press("f1");
    WaitForState(machine, "CAM_STATUS_STOP");
    ScreenPicture last;
    WaitForScreen(machine, [&](const ScreenPicture& now) {
        const bool drawn = HidesVideo(now) && now == last;
        last = now;
        return drawn;
    });
    machine.Press("f1");
    WaitForLiveView(machine);
    return last;
}

void StartVideo(VirtualMachine& machine) {
    constexpr int kTwentyFrames = 20 * 320 * 240 * 2;
    machine.Press("f3");
    machine.Press("ret");
    WaitForState(machine, "CAM_STATUS_REC_VIDEO");
    WaitFor(machine, kPatience, "[ $(" + std::string(kVideoSize) + ") -gt " + std::to_string(kTwentyFrames) + " ]");
}

void StopVideo(VirtualMachine& machine) {
    machine.Press("ret");
    WaitForState(machine, "CAM_STATUS_VIEW");
}

void TakeStill(VirtualMachine& machine) {
    const int before = std::atoi(machine.Output(kStills).c_str());
    machine.Press("ret");
    WaitFor(machine, kPatience, "[ $(" + std::string(kStills) + ") -gt " + std::to_string(before) + " ]");
    WaitForLiveView(machine);
}

void StopProgram(VirtualMachine& machine) {
    machine.Run("stop_program");  // it has a time limit of its own, shorter than ours
    WaitFor(machine, kPatience, "! pidof varnosv");
}

std::string OutputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) throw std::runtime_error("cannot run " + command);
    std::string output;
    std::array<char, 65536> bytes;
    while (const std::size_t got = fread(bytes.data(), 1, bytes.size(), pipe.get()))
        output.append(bytes.data(), got);
    return output;
}

std::vector<std::string> CopiedFiles(VirtualMachine& machine, const std::string& extension) {
    const std::filesystem::path folder = g_files.scratch + "/copied";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    machine.Output("sync");
    OutputOf("mcopy -s -n -o -i '" + machine.CardImage() + "@@1M' '::*' '" + folder.string() + "'");
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == extension) found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string CheckCard(VirtualMachine& machine) {
    machine.Output("umount /media/sd-mmcblk0p1; sync");
    const std::string partition = g_files.scratch + "/partition.img";
    const std::string found =
        OutputOf("export PATH=$PATH:/sbin:/usr/sbin; tail -c +1048577 '" + machine.CardImage() + "' >'" + partition +
                 "'; fsck.vfat -n '" + partition + "' 2>&1 | grep -v '^fsck.fat \\|files, .* clusters$'");
    std::filesystem::remove(partition);
    return found;
}

std::vector<unsigned> FrameNumbers(const std::string& video) {
    constexpr std::size_t kPixels = 320 * 240;
    const std::string frames =
        OutputOf("ffmpeg -v error -i '" + video + "' -vsync passthrough -f rawvideo -pix_fmt yuyv422 -");
    std::vector<unsigned> numbers;
    std::vector<std::uint8_t> luma(kPixels);
    for (std::size_t at = 0; at + 2 * kPixels <= frames.size(); at += 2 * kPixels) {
        for (std::size_t i = 0; i < kPixels; ++i)
            luma[i] = static_cast<std::uint8_t>(frames[at + 2 * i]);
        numbers.push_back(NumberIn(luma.data(), 320, 240, 240));
    }
    return numbers;
}

}  // namespace kernel_test
