#include "tests/kernel/session.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/kernel/guest/camera_picture.h"

namespace kernel_test {
namespace {

constexpr std::ptrdiff_t kFrameBytes = 320 * 240 * 2;

constexpr char kStills[] = "find /media/sd-mmcblk0p1/DCIM -name '*.jpg' 2>/dev/null | wc -l";
// Bytes of the video that is being written.
constexpr char kVideoSize[] = "stat -c %s $(ls /media/sd-mmcblk0p1/DCIM/*.avi | tail -n 1)";

// A shell command that succeeds if the last change of state led to this one.
std::string LastState(const std::string& state) {
    return std::string("grep 'new: CAM_STATUS' ") + kProgramLog + " | tail -n 1 | grep -q 'new: " + state + "$'";
}

}  // namespace

void WaitFor(VirtualMachine& machine, const std::string& command) {
    if (machine.Succeeds(command)) return;
    throw std::runtime_error("does not come true: " + command + "\n" +
                             machine.Run(std::string("tail -n 40 ") + kProgramLog).output);
}

void WaitForPictures(VirtualMachine& machine, unsigned count) {
    const int given = std::atoi(machine.Output(kPictures).c_str());
    WaitFor(machine, "[ $(" + kPictures + ") -ge " + std::to_string(given + count) + " ]");
}

Pipeline ReadLivePipeline(VirtualMachine& machine) {
    WaitForPictures(machine);
    const std::uint32_t before = ReadPipeline(machine).FrameNumber();
    Pipeline pipeline;
    const bool goes_on = ComesTrue([&] {
        pipeline = ReadPipeline(machine);
        return pipeline.FrameNumber() > before;
    });
    if (!goes_on) throw std::runtime_error("the live picture stands still at " + std::to_string(before));
    return pipeline;
}

void WaitForLog(VirtualMachine& machine, const std::string& text, int times) {
    WaitFor(machine,
            "[ $(grep -c '" + text + "' " + std::string(kProgramLog) + ") -ge " + std::to_string(times) + " ]");
}

bool IsInState(VirtualMachine& machine, const std::string& state) {
    return machine.Run(LastState(state)).status == 0;
}

void WaitForState(VirtualMachine& machine, const std::string& state) {
    WaitFor(machine, LastState(state));
}

// Pictures first: on the way back from a menu the state is "view" for a moment before the camera streams again.
void WaitForLiveView(VirtualMachine& machine) {
    WaitForPictures(machine);
    WaitForState(machine, "CAM_STATUS_VIEW");
}

void StartLiveView(VirtualMachine& machine) {
    machine.Output("plug_camera; start_program");
    WaitForLiveView(machine);
    WaitFor(machine, "grep -q /media/sd-mmcblk0p1 /proc/mounts");
}

void WaitForScreen(VirtualMachine& machine, const std::function<bool(const ScreenPicture&)>& is_right) {
    if (!ComesTrue([&] { return is_right(machine.Screen()); })) throw std::runtime_error("the screen stays otherwise");
}

ScreenPicture LookAtSetupMenu(VirtualMachine& machine) {
    constexpr int kLooks = 10;  // a second of the machine's in which nothing changes: all is drawn
    machine.Press("f1");
    WaitForState(machine, "CAM_STATUS_STOP");
    ScreenPicture last;
    int same = 0;
    WaitForScreen(machine, [&](const ScreenPicture& now) {
        machine.Output("usleep 100000");
        same = HidesVideo(now) && now == last ? same + 1 : 0;
        last = now;
        return same == kLooks;
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
    WaitFor(machine, "[ $(" + std::string(kVideoSize) + ") -gt " + std::to_string(kTwentyFrames) + " ]");
}

void StopVideo(VirtualMachine& machine) {
    machine.Press("ret");
    WaitForState(machine, "CAM_STATUS_VIEW");
}

void TakeStill(VirtualMachine& machine) {
    const int before = CountStills(machine);
    machine.Press("ret");
    WaitFor(machine, "[ $(" + std::string(kStills) + ") -gt " + std::to_string(before) + " ]");
    WaitForLiveView(machine);
}

int CountStills(VirtualMachine& machine) {
    return std::atoi(machine.Output(kStills).c_str());
}

void StopProgram(VirtualMachine& machine) {
    machine.Run("stop_program");  // it has a time limit of its own, shorter than ours
    WaitFor(machine, "! pidof varnosv");
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
    machine.Output("umount /media/sd-mmcblk0p1 && sync");
    const std::string partition = g_files.scratch + "/partition.img";
    const std::string found =
        OutputOf("export PATH=$PATH:/sbin:/usr/sbin; tail -c +1048577 '" + machine.CardImage() + "' >'" + partition +
                 "'; fsck.vfat -n '" + partition + "' 2>&1 | sed '/^fsck.fat /d; /files, .* clusters$/d'");
    std::filesystem::remove(partition);
    return found;
}

std::size_t Video::Count() const {
    return frames.size() / kFrameBytes;
}

std::vector<unsigned> Video::Numbers() const {
    std::vector<unsigned> numbers;
    std::vector<std::uint8_t> luma(kFrameBytes / 2);
    for (auto frame = frames.begin(); frame != frames.end(); frame += kFrameBytes) {
        for (std::size_t i = 0; i < luma.size(); ++i)
            luma[i] = frame[static_cast<std::ptrdiff_t>(2 * i)];
        const unsigned number = NumberIn(luma.data(), 320, 240, 240);
        const auto sent = CameraPicture(320, 240, number);
        numbers.push_back(std::equal(sent.begin(), sent.end(), frame) ? number : 0);
    }
    return numbers;
}

Video ReadVideo(const std::string& file) {
    const std::string name = "'" + file + "'";
    Video video;
    const std::string frames =
        OutputOf("ffmpeg -v error -i " + name + " -vsync passthrough -f rawvideo -pix_fmt yuyv422 - 2>/dev/null");
    video.frames.assign(frames.begin(), frames.end());
    video.wrong = OutputOf("ffprobe -v error " + name + " 2>&1");
    if (frames.size() % kFrameBytes != 0) video.wrong += "a frame of another size; ";
    const std::string counted = OutputOf("ffprobe -v error -show_entries stream=nb_frames -of csv=p=0 " + name);
    if (counted != std::to_string(video.Count()) + "\n") video.wrong += "frames by the header: " + counted;
    OutputOf("grep -qa idx1 " + name);  // its index
    return video;
}

}  // namespace kernel_test
