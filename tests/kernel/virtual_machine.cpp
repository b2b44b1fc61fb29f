#include "tests/kernel/virtual_machine.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kernel_test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Under emulation on a loaded host everything may take many times longer than it should.
constexpr seconds kBootTime{120};
constexpr seconds kAnswerTime{120};
constexpr milliseconds kPollPeriod{100};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

Clock::duration Seconds(double count) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

void Shell(const std::string& command) {
    if (std::system(command.c_str()) != 0) Fail("failed: " + command);
}

std::vector<std::string> MachineArguments(const std::string& card) {
    const std::string agent = g_files.scratch + "/agent";
    const std::string monitor = g_files.scratch + "/monitor";
    return {"qemu-system-x86_64",
            "-accel",
            "tcg",
            "-cpu",
            "qemu64",
            "-m",
            "256",
            "-nodefaults",
            "-no-user-config",
            "-vga",
            "none",
            "-display",
            "none",
            "-no-reboot",
            "-kernel",
            g_files.kernel,
            "-initrd",
            g_files.initramfs,
            "-append",
            "console=ttyS0 loglevel=4 panic=-1 video=320x240-32 vt.global_cursor_default=0 mitigations=off",
            "-chardev",
            "file,id=console,path=" + g_files.scratch + "/console.log",
            "-serial",
            "chardev:console",
            "-device",
            "virtio-serial-pci",
            "-chardev",
            "socket,id=agent,path=" + agent + ",server=on,wait=off",
            "-device",
            "virtserialport,chardev=agent,name=agent",
            "-chardev",
            "socket,id=monitor,path=" + monitor + ",server=on,wait=off",
            "-mon",
            "chardev=monitor,mode=control",
            "-device",
            "bochs-display,xres=320,yres=240",
            "-device",
            "virtio-keyboard-pci",
            "-drive",
            "if=none,id=card,format=raw,file=" + card,
            "-device",
            "sdhci-pci",
            "-device",
            "sd-card,id=sd,drive=card",
            "-device",
            "i6300esb",
            "-action",
            "watchdog=reset"};
}

}  // namespace

MachineFiles g_files;

// A byte stream to the machine.
struct VirtualMachine::Channel {
    explicit Channel(int fd) : fd(fd) {}
    ~Channel() { close(fd); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void Write(const std::string& text) const {
        if (send(fd, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size()))
            Fail(std::string("the machine takes nothing: ") + std::strerror(errno));
    }
    void Fill() {
        char bytes[65536];
        const ssize_t got = recv(fd, bytes, sizeof bytes, 0);
        if (got <= 0) Fail(got == 0 ? "the machine has ended" : "the machine does not answer");
        waiting.append(bytes, static_cast<std::size_t>(got));
    }
    std::string Line() {
        std::size_t end = 0;
        while ((end = waiting.find('\n')) == std::string::npos)
            Fill();
        const std::string line = waiting.substr(0, end);
        waiting.erase(0, end + 1);
        return line;
    }
    std::string Bytes(std::size_t count) {
        while (waiting.size() < count)
            Fill();
        const std::string bytes = waiting.substr(0, count);
        waiting.erase(0, count);
        return bytes;
    }

    const int fd;
    std::string waiting;
};

namespace {

int Connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) Fail("too long a path: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const auto deadline = Clock::now() + kBootTime;
    for (;;) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            timeval timeout{};
            timeout.tv_sec = kAnswerTime.count();
            setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
            return fd;
        }
        close(fd);
        if (Clock::now() >= deadline) Fail("no machine at " + path);
        std::this_thread::sleep_for(kPollPeriod);
    }
}

}  // namespace

VirtualMachine::VirtualMachine(int card_mib) : card_(g_files.scratch + "/card.img") {
    constexpr int kFirstSector = 2048;
    const std::string size = std::to_string(card_mib);
    const std::string partition_kib = std::to_string(card_mib * 1024 - kFirstSector / 2);
    Shell("rm -f '" + card_ + "' && truncate -s " + size + "M '" + card_ + "' && echo 'start=2048, type=c' | " +
          "PATH=$PATH:/sbin sfdisk -q '" + card_ + "' && PATH=$PATH:/sbin mkfs.vfat -n CARD --offset 2048 '" + card_ +
          "' " + partition_kib + " >/dev/null 2>&1");
    Start();
}

VirtualMachine::~VirtualMachine() {
    agent_.reset();
    monitor_.reset();
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

void VirtualMachine::Start() {
    for (const char* name : {"/agent", "/monitor"})
        unlink((g_files.scratch + name).c_str());
    std::vector<std::string> arguments = MachineArguments(card_);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const std::string log = g_files.scratch + "/machine.log";
    process_ = fork();
    if (process_ < 0) Fail("fork");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // whatever ends the test, no machine stays behind
        const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execvp(pointers[0], pointers.data());
        _exit(127);
    }
    monitor_ = std::make_unique<Channel>(Connect(g_files.scratch + "/monitor"));
    monitor_->Line();
    Monitor("qmp_capabilities");
    agent_ = std::make_unique<Channel>(Connect(g_files.scratch + "/agent"));
    if (agent_->Line() != "ready") Fail("the agent does not say that it is ready");
}

VirtualMachine::Answer VirtualMachine::Run(const std::string& command) {
    agent_->Write(command + "\n");
    std::istringstream head(agent_->Line());
    Answer answer;
    std::size_t size = 0;
    if (!(head >> answer.status >> size)) Fail("the agent answers without sense");
    answer.output = agent_->Bytes(size);
    return answer;
}

std::string VirtualMachine::Output(const std::string& command) {
    Answer answer = Run(command);
    if (answer.status != 0) Fail("in the machine: " + command + ": " + answer.output);
    return answer.output;
}

bool VirtualMachine::Within(double seconds, const std::string& command) {
    const auto deadline = Clock::now() + Seconds(seconds);
    while (Run(command).status != 0) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kPollPeriod);
    }
    return true;
}

nlohmann::json VirtualMachine::Monitor(const std::string& command, const std::string& arguments) {
    monitor_->Write("{\"execute\":\"" + command + "\",\"arguments\":" + arguments + "}\n");
    for (;;) {
        nlohmann::json answer = nlohmann::json::parse(monitor_->Line());
        if (answer.contains("return")) return answer["return"];
        if (answer.contains("error")) Fail(command + ": " + answer["error"].dump());
        if (answer.value("event", "") == "SHUTDOWN") end_reason_ = answer["data"].value("reason", "");
    }
}

void VirtualMachine::Press(const std::string& key) {
    Monitor("send-key", R"({"keys":[{"type":"qcode","data":")" + key + R"("}]})");
}

ScreenPicture VirtualMachine::Screen() {
    const std::string file = g_files.scratch + "/screen.ppm";
    Monitor("screendump", R"({"filename":")" + file + R"("})");
    std::ifstream in(file, std::ios::binary);
    std::string type;
    int width = 0;
    int height = 0;
    int most = 0;
    in >> type >> width >> height >> most;
    in.get();
    const std::string bytes((std::istreambuf_iterator<char>(in)), {});
    if (type != "P6" || bytes.size() != static_cast<std::size_t>(width * height * 3)) Fail("no picture of the screen");
    ScreenPicture picture(static_cast<std::size_t>(width * height));
    const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
    for (std::uint32_t& pixel : picture) {
        pixel = static_cast<std::uint32_t>(at[0] << 16 | at[1] << 8 | at[2]);
        at += 3;
    }
    return picture;
}

void VirtualMachine::EjectCard() {
    Monitor("eject", R"({"id":"sd","force":true})");
}

void VirtualMachine::InsertCard() {
    Monitor("blockdev-change-medium", R"({"id":"sd","filename":")" + card_ + R"(","format":"raw"})");
}

void VirtualMachine::CopyCard(const std::string& folder) const {
    Shell("mkdir -p '" + folder + "' && mcopy -s -n -o -i '" + card_ + "@@1M' '::*' '" + folder + "'");
}

bool VirtualMachine::EndsWithin(double seconds) {
    const auto deadline = Clock::now() + Seconds(seconds);
    for (;;) {
        int status = 0;
        if (waitpid(process_, &status, WNOHANG) == process_) {
            process_ = -1;
            try {
                for (;;) {
                    const nlohmann::json event = nlohmann::json::parse(monitor_->Line());
                    if (event.value("event", "") == "SHUTDOWN") end_reason_ = event["data"].value("reason", "");
                }
            } catch (const std::runtime_error&) {
                // Everything it said is read.
            }
            return true;
        }
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kPollPeriod);
    }
}

std::string VirtualMachine::KernelLog() const {
    std::ifstream in(g_files.scratch + "/console.log", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void StartLiveView(VirtualMachine& machine) {
    machine.Output("plug_camera; start_program");
    if (!machine.Within(60,
                        "pictures=$(sed -n 's/^pictures //p' /sys/kernel/debug/varno_board/pxp); [ $pictures -gt 3 ]"))
        Fail("no live view: " + machine.Run("tail -n 30 /var/log/varnosv.log").output);
}

}  // namespace kernel_test
