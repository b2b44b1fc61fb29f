#include "board/program_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

namespace board {
namespace {

constexpr int kTickMs = 50;
constexpr std::chrono::seconds kGrace{5};

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sigset_t WatchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    return signals;
}

// The two halves of posix_spawn's instructions, released on every path.
struct SpawnPlan {
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;

    SpawnPlan() {
        posix_spawn_file_actions_init(&files);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
};

// A duplicate above the numbers that the program's descriptors get, so that placing one never overwrites another.
mwin::FileDescriptor Lifted(int descriptor) {
    mwin::FileDescriptor lifted(fcntl(descriptor, F_DUPFD_CLOEXEC, kKeysDescriptor + 1));
    if (!lifted.IsValid()) Fail("descriptor for the program");
    return lifted;
}

}  // namespace

ProgramProcess::ProgramProcess(SharedBlock& block, int keys, BoardFolder& folder, BoardClock& clock,
                               std::vector<std::string> command)
    : block_(block), keys_(keys), folder_(folder), clock_(clock), command_(std::move(command)) {
    const sigset_t signals = WatchedSignals();
    signals_ = mwin::FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    wake_ = mwin::FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!signals_.IsValid() || !wake_.IsValid()) Fail("board");
}

void ProgramProcess::Run() {
    Start();
    while (stop_signals_ == 0) {
        Wait();
        Supervise();
        ServeRestart();
    }
    Stop();
    const std::lock_guard lock(mutex_);
    shut_down_ = true;
    restarted_.notify_all();
}

bool ProgramProcess::Restart() {
    std::unique_lock lock(mutex_);
    const std::uint64_t number = ++restarts_asked_;
    eventfd_write(wake_.Get(), 1);
    restarted_.wait(lock, [&] { return restarts_done_ >= number || shut_down_; });
    return restarts_done_ >= number;
}

ProgramProcess::Status ProgramProcess::CurrentStatus() const {
    const std::lock_guard lock(mutex_);
    return status_;
}

void ProgramProcess::Start() {
    eventfd_t stale = 0;
    eventfd_read(keys_, &stale);
    folder_.Sync();  // the last word of the program before
    Boot(*block_);
    std::string error;
    if (!folder_.Create(error)) {
        Note("cannot start the program: " + error);
        SetStatus(false, 127);
        return;
    }
    try {
        Spawn();
        SetStatus(true, std::nullopt);
    } catch (const std::system_error& error) {
        Note(std::string("cannot start the program: ") + error.what());
        SetStatus(false, 127);
    }
}

void ProgramProcess::Spawn() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) < 0) Fail("pipe");
    mwin::FileDescriptor read_end(ends[0]);
    const mwin::FileDescriptor first_write_end(ends[1]);
    const mwin::FileDescriptor write_end = Lifted(ends[1]);
    const mwin::FileDescriptor block = Lifted(block_.Descriptor());
    const mwin::FileDescriptor keys = Lifted(keys_);
    fcntl(read_end.Get(), F_SETFL, O_NONBLOCK);

    SpawnPlan plan;
    posix_spawn_file_actions_addopen(&plan.files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&plan.files, write_end.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&plan.files, write_end.Get(), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&plan.files, block.Get(), kBlockDescriptor);
    posix_spawn_file_actions_adddup2(&plan.files, keys.Get(), kKeysDescriptor);
    posix_spawn_file_actions_addclosefrom_np(&plan.files, kKeysDescriptor + 1);
    // A process group of its own: Ctrl-C at the terminal reaches the board only, which then ends the program properly.
    sigset_t all;
    sigfillset(&all);
    // The end comes when the program waits for it, not in the middle of its start.
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM})
        sigaddset(&blocked, signal);
    posix_spawnattr_setflags(&plan.attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&plan.attributes, 0);
    posix_spawnattr_setsigmask(&plan.attributes, &blocked);
    posix_spawnattr_setsigdefault(&plan.attributes, &all);

    std::vector<char*> arguments;
    for (const std::string& argument : command_)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    errno = posix_spawn(&pid_, arguments[0], &plan.files, &plan.attributes, arguments.data(), environ);
    if (errno != 0) {
        pid_ = -1;
        Fail(arguments[0]);
    }
    output_ = std::move(read_end);
}

void ProgramProcess::Wait() {
    std::array<pollfd, 3> watched = {
        {{signals_.Get(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}, {output_.Get(), POLLIN, 0}}};
    poll(watched.data(), watched.size(), kTickMs);
    eventfd_t count = 0;
    eventfd_read(wake_.Get(), &count);
    ReadSignals();
    ReadOutput();
}

void ProgramProcess::ReadSignals() {
    signalfd_siginfo signal{};
    while (read(signals_.Get(), &signal, sizeof(signal)) == sizeof(signal)) {
        if (signal.ssi_signo != SIGCHLD) ++stop_signals_;
    }
}

// At most what a pipe holds, so that a program that prints without end does not keep the board from its other duties.
void ProgramProcess::ReadOutput() {
    std::array<char, 16384> text;
    for (int i = 0; i < 4 && output_.IsValid(); ++i) {
        const ssize_t length = read(output_.Get(), text.data(), text.size());
        if (length > 0) {
            log_.Append({text.data(), static_cast<std::size_t>(length)});
        } else {
            if (length == 0) output_.Reset();
            return;
        }
    }
}

void ProgramProcess::Supervise() {
    folder_.Sync();
    bool powered_off = false;
    {
        const BlockLock lock(*block_);
        powered_off = block_->powered_off;
    }
    if (powered_off) {
        if (pid_ < 0 && !CurrentStatus().exit_status) return;
        Kill();
        Rest(*block_);
        std::string error;
        if (!folder_.Create(error)) Note(error);
        SetStatus(false, std::nullopt);
        return;
    }
    Reap(false);
    // The watchdog goes on counting after a crash: only the program itself disarms it.
    if (!WatchdogStarved(*block_, clock_.Monotonic())) return;
    Kill();
    {
        const BlockLock lock(*block_);
        ++block_->watchdog.resets;
    }
    Note("the watchdog was starved and reset the program");
    Start();
}

void ProgramProcess::ServeRestart() {
    std::uint64_t asked = 0;
    {
        const std::lock_guard lock(mutex_);
        if (restarts_asked_ == restarts_done_) return;
        asked = restarts_asked_;
    }
    Stop();
    if (stop_signals_ > 0) return;
    Start();
    const std::lock_guard lock(mutex_);
    restarts_done_ = asked;
    restarted_.notify_all();
}

void ProgramProcess::Stop() {
    if (pid_ < 0) return;
    kill(pid_, SIGTERM);
    const auto deadline = clock_.Monotonic() + kGrace;
    while (!Reap(false)) {
        if (clock_.Monotonic() > deadline || stop_signals_ > 1) {
            Note("the program did not end by itself and was killed");
            Kill();
            return;
        }
        Wait();
    }
}

void ProgramProcess::Kill() {
    if (pid_ < 0) return;
    kill(-pid_, SIGKILL);
    Reap(true);
}

bool ProgramProcess::Reap(bool wait) {
    if (pid_ < 0) return true;
    siginfo_t info{};
    // The process stays a zombie until its group is swept, so that its number cannot belong to anybody else meanwhile.
    while (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT | (wait ? 0 : WNOHANG)) < 0) {
        if (errno != EINTR) break;
    }
    if (info.si_pid == 0) return false;
    kill(-pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
    CloseDevices(*block_);
    ReadOutput();
    output_.Reset();
    SetStatus(false, info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status);
    return true;
}

void ProgramProcess::SetStatus(bool running, std::optional<int> exit_status) {
    const std::lock_guard lock(mutex_);
    status_.running = running;
    status_.exit_status = exit_status;
    if (running) ++status_.starts;
}

void ProgramProcess::Note(const std::string& text) {
    fprintf(stderr, "varnosv-board: %s\n", text.c_str());
}

}  // namespace board
