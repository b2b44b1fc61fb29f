// The program against other recorders, in one virtual machine with one camera and one card: CPU time per recorded
// frame, and frames lost. Started by bench/kernel/run. Usage: compare_recorders KERNEL INITRAMFS SCRATCH-FOLDER
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string>
#include <vector>

#include "tests/kernel/session.h"
#include "tests/kernel/virtual_machine.h"

namespace {

using kernel_test::VirtualMachine;

constexpr int kSeconds = 20;
constexpr int kFrameBytes = 320 * 240 * 2;
constexpr char kFolder[] = "/media/sd-mmcblk0p1/DCIM";

struct Recorder {
    const char* name;
    const char* process;
    const char* mount;    // the card's mount option: "sync" has all writes wait for the medium
    const char* command;  // records into $file from $camera; none for our own program, which is told by keys
};

constexpr Recorder kRecorders[] = {
    {"varnosv, showing and recording", "varnosv", "async", nullptr},
    {"ffmpeg -f v4l2 -c copy", "ffmpeg", "async",
     "ffmpeg -nostdin -loglevel error -f v4l2 -input_format yuyv422 -video_size 320x240 -framerate 30 -i $camera "
     "-c copy $file"},
    {"GStreamer v4l2src ! avimux", "gst-launch-1.0", "async",
     "gst-launch-1.0 -q -e v4l2src device=$camera ! video/x-raw,format=YUY2,width=320,height=240,framerate=30/1 "
     "! avimux ! filesink location=$file"},
    // What varnosv does: whatever was written is on the card before the next write.
    {"ffmpeg, to a card mounted sync", "ffmpeg", "sync",
     "ffmpeg -nostdin -loglevel error -f v4l2 -input_format yuyv422 "
     "-video_size 320x240 -framerate 30 -i $camera -c copy $file"},
    {"GStreamer, filesink o-sync=true", "gst-launch-1.0", "async",
     "gst-launch-1.0 -q -e v4l2src device=$camera "
     "! video/x-raw,format=YUY2,width=320,height=240,framerate=30/1 ! avimux ! filesink o-sync=true location=$file"},
};

struct Figures {
    double cpu_ms = 0;  // per frame
    std::size_t frames = 0;
    std::size_t lost = 0;
};

void Begin(VirtualMachine& machine, const Recorder& recorder) {
    machine.Output(std::string("mount -o remount,") + recorder.mount + " /media/sd-mmcblk0p1");
    if (recorder.command == nullptr) {
        kernel_test::StartLiveView(machine);
        kernel_test::StartVideo(machine);
        return;
    }
    machine.Output("plug_camera");
    // The first of the camera's nodes is the one with pictures.
    const std::string node = "/dev/$(grep -l Camera /sys/class/video4linux/*/name | sort | head -n 1 | cut -d/ -f5)";
    if (!machine.Succeeds("[ -c " + node + " ]"))
        throw std::runtime_error("no camera: " + machine.Output("cat /var/log/camera.log; dmesg | tail -n 20"));
    machine.Output("mkdir -p " + std::string(kFolder) + "; camera=" + node + "; file=" + kFolder + "/other.avi");
    machine.Output(std::string("export GST_REGISTRY_FORK=no GST_PLUGIN_PATH=$(find /usr/lib -name gstreamer-1.0); ") +
                   recorder.command + " >/var/log/recorder.log 2>&1 &");
    if (!machine.Succeeds(std::string("[ $(stat -c %s ") + kFolder + "/other.avi) -gt " +
                          std::to_string(20 * kFrameBytes) + " ]"))
        throw std::runtime_error(std::string(recorder.name) + ": " + machine.Output("cat /var/log/recorder.log"));
}

void End(VirtualMachine& machine, const Recorder& recorder) {
    if (recorder.command == nullptr) {
        kernel_test::StopVideo(machine);
        kernel_test::StopProgram(machine);
    } else {
        machine.Output(std::string("kill -INT $(pidof ") + recorder.process + ")");
        kernel_test::WaitFor(machine, std::string("! pidof ") + recorder.process);
    }
    machine.Output("pull_camera");
    kernel_test::WaitFor(machine, "! grep -q Camera /sys/class/video4linux/*/name");
}

Figures Measure(VirtualMachine& machine, const Recorder& recorder) {
    Begin(machine, recorder);
    // Ticks of user and system time of all threads, and the size of the video, before and after.
    const std::string look = std::string("echo $(cut -d' ' -f14,15 /proc/$(pidof ") + recorder.process +
                             ")/stat) $(stat -c %s " + kFolder + "/*.avi)";
    std::istringstream figures(machine.Output(look + "; sleep " + std::to_string(kSeconds) + "; " + look));
    constexpr double kTickMs = 10;
    double user[2];
    double system[2];
    double size[2];
    for (int i : {0, 1})
        figures >> user[i] >> system[i] >> size[i];
    End(machine, recorder);
    const auto videos = kernel_test::CopiedFiles(machine, ".avi");
    machine.Output(std::string("rm ") + kFolder + "/*.avi");
    const auto numbers = videos.empty() ? std::vector<unsigned>{} : kernel_test::ReadVideo(videos[0]).Numbers();
    if (!figures || numbers.empty()) throw std::runtime_error(std::string(recorder.name) + ": nothing recorded");
    Figures result;
    result.cpu_ms = (user[1] - user[0] + system[1] - system[0]) * kTickMs * kFrameBytes / (size[1] - size[0]);
    result.frames = numbers.size();
    result.lost = numbers.back() - numbers.front() + 1 - numbers.size();
    return result;
}

void Compare() {
    VirtualMachine::Options options;
    options.card_mib = 256;
    options.memory_mib = 1536;
    VirtualMachine machine(options);
    kernel_test::WaitFor(machine, "grep -q /media/sd-mmcblk0p1 /proc/mounts");
    std::printf("%-34s %12s %8s %6s %12s\n", "", "CPU ms/frame", "frames", "lost", "CPU, ratio");
    double ours = 0;
    for (const Recorder& recorder : kRecorders) {
        const Figures figures = Measure(machine, recorder);
        if (ours == 0) ours = figures.cpu_ms;
        std::printf("%-34s %12.2f %8zu %6zu %12.2f\n", recorder.name, figures.cpu_ms, figures.frames, figures.lost,
                    figures.cpu_ms / ours);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s KERNEL INITRAMFS SCRATCH-FOLDER\n", argv[0]);
        return 2;
    }
    kernel_test::g_files = {argv[1], argv[2], argv[3], ""};
    try {
        Compare();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "compare_recorders: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
