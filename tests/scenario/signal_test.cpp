// The program as a process of its own, in real time, which ends by a signal or from inside a dialog.
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "board/block_keys.h"
#include "board/block_screen.h"
#include "board/font_substitute.h"
#include "board/real_clock.h"
#include "mwin/linux_clock.h"
#include "sys/kernel.h"
#include "tests/scenario/scenario.h"

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
        board::PushKey(board_.Block(), key, static_cast<int>(mwin::KeyEvent::Kind::Press));
        board::PushKey(board_.Block(), key, static_cast<int>(mwin::KeyEvent::Kind::Release));
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
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        setvbuf(stdout, nullptr, _IOLBF, 0);
        auto& clock = *new board::RealClock;
        Varno::InstallKernel(*new board::VirtualKernel(board_.Block(), board_.Folder(), clock));
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

using Signals = ScenarioTest;

TEST_F(Signals, EndLiveViewCleanly) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Process process(board);
        ASSERT_TRUE(process.ReadUntil("new: CAM_STATUS_VIEW\n")) << process.text;
        // The second one comes while the first is being served.
        process.Signal(signal);
        process.Signal(SIGTERM);
        EXPECT_EQ(process.Wait(), 0) << process.text;
        const std::string farewell = "Exit varnosv program!!!!!\n";
        const std::size_t at = process.text.find(farewell);
        ASSERT_NE(at, std::string::npos) << process.text;
        EXPECT_EQ(process.text.find(farewell, at + 1), std::string::npos);
        EXPECT_THAT(process.text.substr(at), HasSubstr("CVarnoSVMain::~CVarnoSVMain\n"));
        EXPECT_THAT(process.text.substr(at), HasSubstr("Deinitializing Watchdog\n"));
        EXPECT_FALSE(board.Get(&board::Block::watchdog).armed);
        EXPECT_FALSE(board.Get(&board::Block::camera).streaming);
    }
}

TEST_F(Signals, FinishTheVideo) {
    Process process(board);
    ASSERT_TRUE(process.ReadUntil("new: CAM_STATUS_VIEW\n")) << process.text;
    process.Press(VK_F3);
    process.Press(VK_RETURN);
    ASSERT_TRUE(process.ReadUntil("new: CAM_STATUS_REC_VIDEO\n")) << process.text;
    process.Signal(SIGTERM);
    EXPECT_EQ(process.Wait(), 0) << process.text;
    ASSERT_EQ(CardFiles().size(), 1U);
    const std::string video = board.Read("/media/sd-mmcblk0p1/DCIM/" + CardFiles()[0]);
    EXPECT_EQ(video.substr(0, 4), "RIFF");
    std::uint32_t size = 0;
    for (unsigned i = 0; i < 4; ++i)
        size |= static_cast<std::uint32_t>(static_cast<unsigned char>(video.at(4 + i))) << 8 * i;
    EXPECT_EQ(size + 8, video.size());
}

using TvOutput = ScenarioTest;

TEST_F(TvOutput, EndsTheProgramAndIsTakenUpAtTheNextStart) {
    const struct {
        int row;
        const char* panel;
    } cases[] = {{0, "lcd_panel=tvenc_ntsc\n"}, {1, "lcd_panel=tvenc_pal\n"}};
    board.Set(&board::Block::tv_cable, true);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.panel);
        board.Write("/etc/lcdparams", "lcd_panel=ili9341\n");
        board.Folder().Sync();
        {
            Process process(board);
            ASSERT_TRUE(process.ReadUntil("new: CAM_STATUS_VIEW\n")) << process.text;
            for (const int key : {VK_F1, VK_RETURN, VK_UP, VK_RETURN})
                process.Press(key);
            if (c.row > 0) process.Press(VK_DOWN);
            process.Press(VK_RETURN);
            process.Press(VK_RETURN);
            EXPECT_EQ(process.Wait(), 0) << process.text;
            const std::size_t at = process.text.find("TV out\n");
            ASSERT_NE(at, std::string::npos) << process.text;
            EXPECT_THAT(process.text.substr(at),
                        testing::MatchesRegex("(.|\n)*TV out Line: (.|\n)*Exit varnosv program!!!!!\n"
                                              "(.|\n)*CVarnoSVMain::~CVarnoSVMain\n(.|\n)*"));
        }
        EXPECT_EQ(board.Read("/etc/lcdparams"), c.panel);
        EXPECT_FALSE(board.Get(&board::Block::watchdog).armed);

        Process again(board);
        ASSERT_TRUE(again.ReadUntil("new: CAM_STATUS_VIEW\n")) << again.text;
        EXPECT_EQ(Drawn({0, 0, 320, 239}), 0) << "the picture alone";
        again.Press(VK_F1);
        again.Signal(SIGTERM);
        EXPECT_EQ(again.Wait(), 0);
        EXPECT_EQ(again.text.find("new: CAM_STATUS_STOP"), std::string::npos);
    }
}

}  // namespace
}  // namespace scenario
