// The virtual board's program. Without the internal first argument it is the board; the board starts it once more, with
// that argument, as the program on the board.
#include <fcntl.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "board/block.h"
#include "board/block_keys.h"
#include "board/block_screen.h"
#include "board/board_folder.h"
#include "board/board_state.h"
#include "board/font_substitute.h"
#include "board/panel_server.h"
#include "board/program_process.h"
#include "board/real_clock.h"
#include "board/virtual_kernel.h"
#include "mwin/file_descriptor.h"
#include "mwin/linux_clock.h"
#include "mwin/platform.h"
#include "mwin/windows.h"

namespace {

namespace fs = std::filesystem;

// Where img/ and settings/ are: the tree this program was built from.
constexpr const char* kCheckout = VARNO_CHECKOUT;
// varnosv-board --program DIR PARENT
constexpr std::string_view kProgramArgument = "--program";
constexpr int kUsageError = 2;

constexpr const char* kUsage =
    "usage: varnosv-board [--port N] [--media DIR] [--camera SOURCE]\n"
    "\n"
    "  --port N         the panel's port on 127.0.0.1; 0 takes any free one (default 8080)\n"
    "  --media DIR      folder of the memory card, the internal storage and the settings (default .board)\n"
    "  --camera SOURCE  scene (default), file:PATH (a picture or a folder of pictures) or /dev/videoN\n"
    "  --help           this text\n";

void BlockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// From here on Ctrl-C ends the board at once.
void LetSignalsEnd() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

int UsageError(const std::string& text) {
    fprintf(stderr, "varnosv-board: %s\n", text.c_str());
    return kUsageError;
}

struct Options {
    int port = 8080;
    std::string media = ".board";
    std::string camera = "scene";
    bool help = false;
};

// Empty, with a reason, when the arguments are wrong.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name == "--help") {
            options.help = true;
            continue;
        }
        if (name != "--port" && name != "--media" && name != "--camera") {
            error = "unknown option '" + name + "' (try --help)";
            return std::nullopt;
        }
        if (++i == arguments.size() || arguments[i].empty()) {
            error = "option " + name + " needs a value (try --help)";
            return std::nullopt;
        }
        const std::string& value = arguments[i];
        if (name == "--media") options.media = value;
        if (name == "--camera") options.camera = value;
        if (name != "--port") continue;
        const auto [end, code] = std::from_chars(value.data(), value.data() + value.size(), options.port);
        if (code != std::errc() || end != value.data() + value.size() || options.port < 0 || options.port > 65535) {
            error = "--port wants a number from 0 to 65535, not '" + value + "'";
            return std::nullopt;
        }
    }
    return options;
}

// What the program stands on.
struct Machine {
    explicit Machine(const char* directory) : folder(*block, directory, kCheckout) {}

    board::SharedBlock block{board::kBlockDescriptor};
    board::BoardFolder folder;
    board::RealClock clock;
    board::VirtualKernel kernel{*block, folder, clock};
    board::BlockScreen screen{*block};
    board::BlockKeys keys{*block, board::kKeysDescriptor};
    mwin::LinuxClock waiting{[] { return std::vector<int>{board::kKeysDescriptor}; }};
};

// The program on the board.
int RunProgram(char** arguments) {
    // Dies with the board, whatever the board dies of; also when that happened just before.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (std::to_string(getppid()) != arguments[3]) return EXIT_FAILURE;

    // Never destroyed: static destructors and worker threads still use it while the process exits.
    static Machine& machine = *new Machine(arguments[2]);
    Varno::InstallKernel(machine.kernel);
    mwin::Install(machine.screen, machine.keys, machine.waiting);
    board::InstallFontSubstitutes();
    fs::current_path(machine.folder.ProgramDirectory());
    return WinMain(arguments, nullptr, nullptr, SW_SHOWNORMAL);
}

// Makes the folder and takes it for this board alone, for as long as the descriptor is open.
mwin::FileDescriptor TakeFolder(const std::string& folder, std::string& error) {
    std::error_code failed;
    fs::create_directories(folder, failed);
    mwin::FileDescriptor lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock.IsValid() || access(folder.c_str(), R_OK | W_OK | X_OK) < 0) {
        error = folder + ": " + std::strerror(errno);
        return mwin::FileDescriptor();
    }
    if (flock(lock.Get(), LOCK_EX | LOCK_NB) < 0) {
        error = folder + ": another board uses it";
        return mwin::FileDescriptor();
    }
    return lock;
}

int RunBoard(const Options& options) {
    std::string error;
    const mwin::FileDescriptor lock = TakeFolder(options.media, error);
    if (!lock.IsValid()) return UsageError("--media: " + error);
    board::SharedBlock block;
    board::RealClock clock;
    const mwin::FileDescriptor keys(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    board::BoardFolder folder(*block, options.media, kCheckout);
    if (!folder.Create(error)) return UsageError("--media: " + error);

    const std::vector<std::string> command = {fs::read_symlink("/proc/self/exe").string(),
                                              std::string(kProgramArgument), folder.Directory().string(),
                                              std::to_string(getpid())};
    board::ProgramProcess program(block, keys.Get(), folder, clock, command);
    board::BoardState state(*block, folder, clock, program);
    if (const auto reason = state.Change({{"camera", {{"source", options.camera}}}}))
        return UsageError("--camera: " + *reason);

    board::PanelServer panel(*block, keys.Get(), folder, state, program);
    if (!panel.Bind(options.port, error)) return UsageError(error);
    panel.Start();
    printf("The panel is at http://127.0.0.1:%d/  (Ctrl-C ends the board)\n", panel.Port());
    program.Run();
    LetSignalsEnd();
    panel.Stop();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        setvbuf(stdout, nullptr, _IOLBF, 0);
        BlockSignals();
        if (argc == 4 && argv[1] == kProgramArgument) return RunProgram(argv);
        std::string error;
        const auto options = ParseOptions({argv + 1, argv + argc}, error);
        if (!options) return UsageError(error);
        if (options->help) {
            fputs(kUsage, stdout);
            return EXIT_SUCCESS;
        }
        return RunBoard(*options);
    } catch (const std::exception& failure) {
        fprintf(stderr, "varnosv-board: %s\n", failure.what());
        return EXIT_FAILURE;
    }
}
