// The program's process, as the board treats it: switched on, watched, reset, switched off.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "board/block.h"
#include "board/board_clock.h"
#include "board/board_folder.h"
#include "board/program_log.h"
#include "mwin/file_descriptor.h"

namespace board {

// Descriptors under which the program finds what the board handed it.
constexpr int kBlockDescriptor = 3;
constexpr int kKeysDescriptor = 4;

// Everything belongs to the thread that calls Run, except what says thread-safe. That thread has to live as long as the
// program: the program ends with the thread that started it.
class ProgramProcess {
  public:
    struct Status {
        bool running = false;
        // As a shell tells it (128 and more: ended by a signal); none while it runs, and after a power-off.
        std::optional<int> exit_status;
        unsigned starts = 0;  // since the board's process runs
    };

    // `command` starts the program and has to be an absolute path and its arguments; `keys` is an eventfd, not owned.
    // SIGCHLD, SIGINT and SIGTERM have to be blocked in every thread. Throws std::system_error when descriptors are
    // short.
    ProgramProcess(SharedBlock& block, int keys, BoardFolder& folder, BoardClock& clock,
                   std::vector<std::string> command);
    ProgramProcess(const ProgramProcess&) = delete;
    ProgramProcess& operator=(const ProgramProcess&) = delete;

    // Starts the program and does for it what the board does, until SIGINT or SIGTERM arrives; then ends it. No process
    // of the program is left afterwards.
    void Run();

    // Ends the program if it runs, and powers the board up again. Waits until that is done; false when the board is
    // being shut down meanwhile. Thread-safe.
    bool Restart();
    // Thread-safe.
    Status CurrentStatus() const;
    // Thread-safe.
    const ProgramLog& Log() const { return log_; }

  private:
    // Powers the board up and starts the program.
    void Start();
    void Spawn();
    // Waits for something to happen, at most for a tick, and takes in output and signals.
    void Wait();
    void ReadSignals();
    void ReadOutput();
    void Supervise();
    void ServeRestart();
    // SIGTERM, and SIGKILL if the program is still there after a grace, or a second SIGTERM came to the board.
    void Stop();
    // At once, as when the power is cut.
    void Kill();
    // Collects the program if it has ended; with it ends whatever it left behind in its process group.
    bool Reap(bool wait);
    void SetStatus(bool running, std::optional<int> exit_status);
    void Note(const std::string& text);

    SharedBlock& block_;
    const int keys_;
    BoardFolder& folder_;
    BoardClock& clock_;
    const std::vector<std::string> command_;
    mwin::FileDescriptor signals_;
    mwin::FileDescriptor wake_;
    mwin::FileDescriptor output_;
    pid_t pid_ = -1;
    int stop_signals_ = 0;
    ProgramLog log_;

    mutable std::mutex mutex_;
    std::condition_variable restarted_;
    Status status_;
    bool shut_down_ = false;
    std::uint64_t restarts_asked_ = 0;
    std::uint64_t restarts_done_ = 0;
};

}  // namespace board
