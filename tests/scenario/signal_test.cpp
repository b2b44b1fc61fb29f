// The program as a process of its own, in real time, which ends by a signal or from inside a dialog.
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "board/font_substitute.h"
#include "board/real_clock.h"
#include "mwin/linux_clock.h"
#include "settings/varno_sv_setting.h"
#include "tests/scenario/media_files.h"

using testing::HasSubstr;

namespace scenario {
namespace {

class Process {
  public:
    explicit Process(support::VirtualBoard& board) : board_(board), keys_(eventfd(0, EFD_NONBLOCK)) {
        int ends[2];
        if (pipe(ends) < 0) abort();
        fflush(stdout);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            Run();
        }
        close(ends[1]);
        output_ = ends[0];
    }
    ~Process() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(output_);
        close(keys_);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Reads the program's output until the text came; false when the output ended before.
    bool ReadUntil(const std::string& wanted) {
        char part[4096];
        while (text.find(wanted) == std::string::npos) {
            const ssize_t length = read(output_, part, sizeof part);
            if (length <= 0) return false;
            text.append(part, static_cast<std::size_t>(length));
        }
        return true;
    }
    void Press(int key) {
        board_.PushKey(key);
        eventfd_write(keys_, 1);
    }
    void Signal(int signal) { kill(pid_, signal); }
    // Exit status, -1 when it was not an exit.
    int Wait() {
        ReadUntil("a text that is never printed");
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string text;

  private:
    [[noreturn]] void Run() {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(60);  // a program that hangs
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        setvbuf(stdout, nullptr, _IOLBF, 0);
        auto& clock = *new board::RealClock;
        Varno::InstallKernel(*new board::VirtualKernel(board_.Block(), board_.Folder(), clock));
        CVarnoSVSetting::GetInstance().InitFSLOTG();
        const int wake = keys_;
        mwin::Install(*new board::BlockScreen(board_.Block()), *new board::BlockKeys(board_.Block(), wake),
                      *new mwin::LinuxClock([wake] { return std::vector<int>{wake}; }));
        board::InstallFontSubstitutes();
        exit(WinMain(this, nullptr, nullptr, SW_SHOWNORMAL));
    }

    support::VirtualBoard& board_;
    int keys_;
    pid_t pid_ = -1;
    int output_ = -1;
};

using Signals = MediaTest;

TEST_F(Signals, EndTheProgramWhateverItDoes) {
    const std::string stopped = "new: CAM_STATUS_STOP\n";
    const std::string recording = "new: CAM_STATUS_REC_VIDEO\n";
    const std::string still_wait = "old: CAM_STATUS_REC_IMAGE, new: CAM_STATUS_VIEW\n";
    const struct {
        const char* state;
        // Keys, or '-' for a camera that is pulled, '$' for a full card, 'P' for a PC; and what is printed after them.
        std::vector<std::pair<const char*, std::string>> steps;
        const char* panel = "lcd_panel=ili9341\n";
    } cases[] = {
        {"live view", {}},
        {"setup", {{"1", stopped}}},
        {"format warning", {{"1", stopped}, {"vvEE", "Start Formating media\n"}}},
        {"help", {{"1", stopped}, {"^E", "Help Menu\n"}}},
        {"busy browser", {{"4", stopped}, {"E", "FILE_EXP_WAIT_ALL_FILE\n"}}},
        {"browser", {{"4", stopped}, {"E", "to FILE_EXP_IDLE\n"}}},
        {"photo", {{"4", stopped}, {"E", "to FILE_EXP_IDLE\n"}, {"E", "Open JPG"}}},
        {"playing clip", {{"4", stopped}, {">E", "to FILE_EXP_IDLE\n"}, {"EE", "Start playing"}}},
        {"still asked for", {{"E", "new: CAM_STATUS_REC_WAIT\n"}}},
        {"still", {{"E", still_wait}}},
        {"still of a lost camera", {{"E", "new: CAM_STATUS_REC_IMAGE\n"}, {"-", still_wait}}},
        {"recording", {{"3E", recording}}},
        {"recording that ends", {{"3E", recording}, {"E", "REC_VIDEO_STOP_WAIT\n"}}},
        {"full card", {{"3E", recording}, {"$", stopped}}},
        // These end it themselves.
        {"NTSC", {{"1", stopped}, {"E^EEE", "Exit varnosv"}}, "lcd_panel=tvenc_ntsc\n"},
        {"PAL", {{"1", stopped}, {"E^EvEE", "Exit varnosv"}}, "lcd_panel=tvenc_pal\n"},
        {"storage lent to a PC", {{"P", stopped}}},
    };
    PutPhotos(2);
    PutClip("0.avi");
    Set(&board::Block::tv_cable, true);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.state);
        board.Write("/etc/lcdparams", "lcd_panel=ili9341\n");
        board.PlugCamera(true);
        SetCardSpace(100000);
        const std::size_t files = CardFiles().size();
        Process process(board);
        ASSERT_TRUE(process.ReadUntil("new: CAM_STATUS_VIEW\n")) << process.text;
        for (const auto& [actions, printed] : c.steps) {
            for (const char* action = actions; *action != '\0'; ++action) {
                if (*action == '-') {
                    board.PlugCamera(false);
                } else if (*action == '$') {
                    SetCardSpace(0);
                } else if (*action == 'P') {
                    Set(&board::Block::usb_host, true);
                } else {
                    process.Press(KeyOf(*action));
                }
            }
            ASSERT_TRUE(process.ReadUntil(printed)) << process.text;
        }
        process.Signal(files % 2 == 0 ? SIGTERM : SIGINT);
        process.Signal(SIGTERM);  // while the first is being served
        ASSERT_EQ(process.Wait(), 0) << process.text;
        EXPECT_EQ(Count(process.text, "Exit varnosv program!!!!!\n"), 1);
        const std::string last = process.text.substr(process.text.find("Exit varnosv"));
        EXPECT_THAT(last, HasSubstr("CVarnoSVMain::~CVarnoSVMain\n"));
        EXPECT_THAT(last, HasSubstr("Deinitializing Watchdog\n"));
        EXPECT_EQ(board.Read("/etc/lcdparams"), c.panel);
        EXPECT_FALSE(board.Get(&board::Block::watchdog).armed);
        EXPECT_FALSE(board.Get(&board::Block::camera).streaming);
        EXPECT_EQ(board.Get(&board::Block::unsynced_bytes), 0);
        if (c.state == std::string("recording")) {
            EXPECT_THAT(CardFiles(), testing::SizeIs(files + 1));
            ExpectWholeVideo(board.Read(kCardFolder + CardFiles()[1]), 0);
        }
    }
}

}  // namespace
}  // namespace scenario
