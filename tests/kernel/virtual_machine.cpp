#include "tests/kernel/virtual_machine.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kernel_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPollPeriod{100};
// Longer than the silence that a channel bears, so that a machine that was only slow is asked again.
constexpr std::chrono::minutes kPatience{3};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

void Shell(const std::string& command) {
    if (std::system(command.c_str()) != 0) Fail("failed: " + command);
}

// An empty card as one buys it.
void MakeCard(const std::string& image, int mib) {
    constexpr int kFirstPartKib = 1024;
    const std::string card = "'" + image + "'";
    Shell("export PATH=$PATH:/sbin:/usr/sbin; rm -f " + card + " && truncate -s " + std::to_string(mib) + "M " + card +
          " && echo 'start=2048, type=c' | sfdisk -q " + card + " && mkfs.vfat -n CARD --offset 2048 " + card + " " +
          std::to_string(mib * 1024 - kFirstPartKib) + " >/dev/null 2>&1");
}

std::vector<std::string> MachineArguments(const std::string& card, int memory_mib, int agent, int monitor) {
    // The machine's time is counted in its instructions, four nanoseconds each: a busy host makes it slow instead of
    // having it lose frames, and CPU times tell instructions. Words without blanks, so that a line reads as the
    // command does.
    std::istringstream fixed(
        "qemu-system-x86_64 -accel tcg -icount shift=2 -cpu qemu64 -nodefaults -no-user-config -vga none -display none "
        "-no-reboot -device virtio-serial-pci -device virtserialport,chardev=agent,name=agent "
        "-mon chardev=monitor,mode=control -serial chardev:console -device bochs-display,xres=320,yres=240 "
        "-device virtio-keyboard-pci -device sdhci-pci -device sd-card,id=sd,drive=card -device i6300esb "
        "-action watchdog=reset");
    std::vector<std::string> all{std::istream_iterator<std::string>(fixed), {}};
    const std::pair<const char*, std::string> more[] = {
        {"-m", std::to_string(memory_mib)},
        {"-kernel", g_files.kernel},
        {"-initrd", g_files.initramfs},
        {"-append",
         "console=ttyS0 loglevel=4 panic=-1 panic_on_warn=1 oops=panic video=320x240-32 vt.global_cursor_default=0 "
         "mitigations=off"},
        {"-chardev", "file,id=console,path=" + g_files.scratch + "/console.log"},
        {"-chardev", "socket,id=agent,fd=" + std::to_string(agent)},
        {"-chardev", "socket,id=monitor,fd=" + std::to_string(monitor)},
        {"-drive", "if=none,id=card,format=raw,file=" + card},
    };
    for (const auto& [option, value] : more) {
        all.emplace_back(option);
        all.push_back(value);
    }
    return all;
}

// In the child: becomes the machine.
[[noreturn]] void Become(std::vector<std::string> arguments, const std::string& log, const Channel& agent,
                         const Channel& monitor) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // whatever ends the test, no machine stays behind
    fcntl(agent.OtherEnd(), F_SETFD, 0);
    fcntl(monitor.OtherEnd(), F_SETFD, 0);
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execvp(pointers[0], pointers.data());
    _exit(127);
}

}  // namespace

MachineFiles g_files;

bool ComesTrue(const std::function<bool()>& condition) {
    const auto deadline = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kPollPeriod);
    }
    return true;
}

std::string OutputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
    std::string output;
    std::array<char, 65536> bytes;
    while (const std::size_t got = fread(bytes.data(), 1, bytes.size(), pipe))
        output.append(bytes.data(), got);
    if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command + ": " + output.substr(0, 1000));
    return output;
}

VirtualMachine::VirtualMachine(const Options& options) : card_(g_files.scratch + "/card.img") {
    MakeCard(card_, options.card_mib);
    try {
        Start(options.memory_mib);
    } catch (const std::runtime_error& error) {
        Stop();
        std::ifstream log(g_files.scratch + "/machine.log");
        const std::string said((std::istreambuf_iterator<char>(log)), {});
        Fail(std::string(error.what()) + "; the machine said: " + said);
    }
}

VirtualMachine::~VirtualMachine() {
    Stop();
}

void VirtualMachine::Stop() {
    agent_.reset();
    monitor_.reset();
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

void VirtualMachine::Start(int memory_mib) {
    agent_ = std::make_unique<Channel>();
    monitor_ = std::make_unique<Channel>();
    const auto arguments = MachineArguments(card_, memory_mib, agent_->OtherEnd(), monitor_->OtherEnd());
    process_ = fork();
    if (process_ < 0) Fail("no process for the machine");
    if (process_ == 0) Become(arguments, g_files.scratch + "/machine.log", *agent_, *monitor_);
    agent_->ReleaseOtherEnd();
    monitor_->ReleaseOtherEnd();
    monitor_->Line();  // its greeting
    Monitor("qmp_capabilities", nlohmann::json::object());
    if (agent_->Line() != "ready") Fail("the agent does not say that it is ready");
}

VirtualMachine::Answer VirtualMachine::Run(const std::string& command) try {
    agent_->Write(command + "\n");
    std::istringstream head(agent_->Line());
    Answer answer;
    std::size_t size = 0;
    if (!(head >> answer.status >> size)) Fail("the agent answers without sense");
    answer.output = agent_->Bytes(size);
    return answer;
} catch (const std::runtime_error& error) {
    Fail(std::string(error.what()) + "; asked for: " + command);
}

std::string VirtualMachine::Output(const std::string& command) {
    Answer answer = Run(command);
    if (answer.status != 0) Fail("in the machine: " + command + ": " + answer.output);
    return answer.output;
}

bool VirtualMachine::Succeeds(const std::string& command) {
    return ComesTrue([&] { return Run(command).status == 0; });
}

nlohmann::json VirtualMachine::Monitor(const std::string& command, const nlohmann::json& arguments) {
    monitor_->Write(nlohmann::json{{"execute", command}, {"arguments", arguments}}.dump() + "\n");
    for (;;) {
        nlohmann::json answer = nlohmann::json::parse(monitor_->Line());
        if (answer.contains("return")) return answer["return"];
        if (answer.contains("error")) Fail(command + ": " + answer["error"].dump());
        TakeEvent(answer);
    }
}

void VirtualMachine::TakeEvent(const nlohmann::json& event) {
    const std::string name = event.value("event", "");
    if (name == "WATCHDOG") end_reason_ = "watchdog";
    if (name == "SHUTDOWN" && end_reason_.empty()) end_reason_ = event["data"].value("reason", "");
}

void VirtualMachine::Press(const std::string& key) {
    // Both at once: a key that is held while the host is busy would repeat.
    nlohmann::json events;
    for (const bool down : {true, false})
        events.push_back({{"type", "key"}, {"data", {{"down", down}, {"key", {{"type", "qcode"}, {"data", key}}}}}});
    Monitor("input-send-event", {{"events", events}});
}

ScreenPicture VirtualMachine::Screen() {
    const std::string file = g_files.scratch + "/screen.ppm";
    Monitor("screendump", {{"filename", file}});
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
    Monitor("eject", {{"id", "sd"}, {"force", true}});
}

void VirtualMachine::InsertCard() {
    Monitor("blockdev-change-medium", {{"id", "sd"}, {"filename", card_}, {"format", "raw"}});
}

bool VirtualMachine::Ends() {
    if (!ComesTrue([&] { return waitpid(process_, nullptr, WNOHANG) == process_; })) return false;
    process_ = -1;
    try {
        for (;;)
            TakeEvent(nlohmann::json::parse(monitor_->Line()));
    } catch (const std::runtime_error&) {
        // Everything it said is read.
    }
    return true;
}

}  // namespace kernel_test
