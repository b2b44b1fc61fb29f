// A virtual machine with Debian's kernel, the board's devices and the program, as its tests see it: from outside.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kernel_test {

// Where the machine's parts lie; set by main from the command line.
struct MachineFiles {
    std::string kernel, initramfs;
    std::string scratch;  // a folder for the card's image and the sockets
};
extern MachineFiles g_files;

// A picture of the machine's framebuffer, 0x00RRGGBB.
using ScreenPicture = std::vector<std::uint32_t>;

// One thread. Whatever fails in the machinery itself throws std::runtime_error, which fails the test.
class VirtualMachine {
  public:
    // Boots it with an empty card of `card_mib`, and returns when its agent answers.
    explicit VirtualMachine(int card_mib = 64);
    // Kills it, if it still runs.
    ~VirtualMachine();
    VirtualMachine(const VirtualMachine&) = delete;
    VirtualMachine& operator=(const VirtualMachine&) = delete;

    struct Answer {
        int status = 0;
        std::string output;  // may be binary
    };
    // Runs a shell command in the machine.
    Answer Run(const std::string& command);
    // The same for a command that has to succeed: its output.
    std::string Output(const std::string& command);
    // Whether the command succeeds before the time is over; asked ten times a second.
    bool Within(double seconds, const std::string& command);

    // A key by the monitor's name: "ret", "left", "f1" …
    void Press(const std::string& key);
    ScreenPicture Screen();
    // The card pulled, and put back.
    void EjectCard();
    void InsertCard();
    // Takes the card's file system out into `folder` (created). The machine should have written it back.
    void CopyCard(const std::string& folder) const;

    // Ended by itself within the time: switched off, or reset (it does not start again).
    bool EndsWithin(double seconds);
    // What the monitor said about the end: "guest-shutdown", "guest-reset" …, or empty.
    const std::string& EndReason() const { return end_reason_; }
    // Lets it go on after a restart of the machine: the agent is waited for again.
    std::string KernelLog() const;

  private:
    struct Channel;

    void Start();
    nlohmann::json Monitor(const std::string& command, const std::string& arguments = "{}");

    std::string card_;
    pid_t process_ = -1;
    std::unique_ptr<Channel> agent_, monitor_;
    std::string end_reason_;
};

// The program started in a fresh machine with its camera plugged in, showing live pictures.
void StartLiveView(VirtualMachine& machine);

}  // namespace kernel_test
