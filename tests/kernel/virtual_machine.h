// A virtual machine with Debian's kernel, the board's devices and the program, as its tests see it: from outside.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tests/kernel/channel.h"

namespace kernel_test {

// Where the machine's parts lie; set by main from the command line.
struct MachineFiles {
    std::string kernel, initramfs;
    std::string scratch;     // a folder for the card's image, logs and pictures
    std::string references;  // the virtual board's reference pictures, where a test looks at them
};
extern MachineFiles g_files;

// A picture of the machine's framebuffer, 0x00RRGGBB.
using ScreenPicture = std::vector<std::uint32_t>;

// The program's log, and the pixel pipeline's settings, in the machine.
constexpr char kProgramLog[] = "/var/log/varnosv.log";
constexpr char kPipelineFile[] = "/sys/kernel/debug/varno_board/pxp";

// Whether the condition becomes true before all patience is over; asked up to ten times a second.
bool ComesTrue(const std::function<bool()>& condition);

// What the shell command prints on the host, where it has to succeed: throws std::runtime_error otherwise.
std::string OutputOf(const std::string& command);

// One thread. Whatever fails in the machinery itself throws std::runtime_error, which fails the test.
class VirtualMachine {
  public:
    struct Options {
        int card_mib = 64;
        int memory_mib = 256;
    };
    // Boots it with an empty card, and returns when its agent answers.
    VirtualMachine() : VirtualMachine(Options{}) {}
    explicit VirtualMachine(const Options& options);
    // Kills it, if it still runs.
    ~VirtualMachine();
    VirtualMachine(const VirtualMachine&) = delete;
    VirtualMachine& operator=(const VirtualMachine&) = delete;

    struct Answer {
        int status = 0;
        std::string output;  // may be binary
    };
    // Runs a shell command of one line in the machine.
    Answer Run(const std::string& command);
    // The same for a command that has to succeed: its output.
    std::string Output(const std::string& command);
    // Whether the command succeeds before all patience is over.
    bool Succeeds(const std::string& command);

    // A key by the monitor's name: "ret", "left", "f1" …
    void Press(const std::string& key);
    // What is in the framebuffer now.
    ScreenPicture Screen();
    // The card pulled, and put back.
    void EjectCard();
    void InsertCard();
    // The card's image: a partition table, and from the first mebibyte on a FAT file system.
    const std::string& CardImage() const { return card_; }

    // Ends by itself before all patience is over: switched off, or reset (it does not start again).
    bool Ends();
    // What the monitor said about the end: "watchdog", "guest-shutdown", "guest-reset" (also a kernel that gave up) …,
    // or empty.
    const std::string& EndReason() const { return end_reason_; }

  private:
    void Start(int memory_mib);
    void Stop();
    nlohmann::json Monitor(const std::string& command, const nlohmann::json& arguments);
    void TakeEvent(const nlohmann::json& event);

    std::string card_;
    pid_t process_ = -1;
    std::unique_ptr<Channel> agent_, monitor_;
    std::string end_reason_;
};

}  // namespace kernel_test
