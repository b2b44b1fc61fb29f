#include "tests/support/program_runner.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "board/font_substitute.h"
#include "mwin/windows.h"

namespace support {

class ProgramRunner::UiClock final : public MovedUiClock {
  public:
    using MovedUiClock::MovedUiClock;
    void Wait(int timeout_ms) override {
        MovedUiClock::Wait(timeout_ms);
        if (quits_.exchange(false)) PostQuitMessage(0);
    }
    void Quit() {
        quits_ = true;
        Wake();
    }

  private:
    std::atomic<bool> quits_{false};
};

// Everything written to standard output goes to a memory file until the end.
class ProgramRunner::Capture {
  public:
    Capture() : output_before_(dup(STDOUT_FILENO)), file_(memfd_create("program-output", MFD_CLOEXEC)) {
        std::fflush(stdout);
        dup2(file_, STDOUT_FILENO);
    }
    ~Capture() {
        Text();
        dup2(output_before_, STDOUT_FILENO);
        close(output_before_);
        close(file_);
        if (testing::Test::HasFailure()) std::fwrite(text_.data(), 1, text_.size(), stdout);
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    const std::string& Text() {
        std::fflush(stdout);
        char part[4096];
        for (ssize_t length = 0; (length = pread(file_, part, sizeof part, static_cast<off_t>(text_.size()))) > 0;) {
            text_.append(part, static_cast<std::size_t>(length));
        }
        return text_;
    }

  private:
    const int output_before_;
    const int file_;
    std::string text_;
};

ProgramRunner::ProgramRunner(VirtualBoard& board)
    : board_(board),
      screen_(board.Block()),
      keys_(board.Block()),
      clock_(std::make_unique<UiClock>(board.Clock(), [this] { return keys_.KeyWaits(); })),
      capture_(std::make_unique<Capture>()),
      thread_(&ProgramRunner::Run, this) {}

ProgramRunner::~ProgramRunner() {
    End();
    thread_.join();
}

void ProgramRunner::Run() {
    mwin::Install(screen_, keys_, *clock_);
    board::InstallFontSubstitutes();
    result_ = WinMain(this, nullptr, nullptr, SW_SHOWNORMAL);
    mwin::Shutdown();
    ended_ = true;
}

void ProgramRunner::Press(int virtual_key) {
    board_.PushKey(virtual_key);
    clock_->Wake();
    board_.Clock().Settle();
}

bool ProgramRunner::RunUntilLive() {
    return RunUntil([this] {
        const auto pxp = board_.Get(&board::Block::pxp);
        return pxp.streaming && pxp.output == 0 && board_.Get(&board::Block::video_sequence) > 1;
    });
}

bool ProgramRunner::RunUntilPrinted(const std::string& text, std::size_t from) {
    return RunUntil([&] { return Output().find(text, from) != std::string::npos; });
}

const std::string& ProgramRunner::Output() {
    return capture_->Text();
}

int ProgramRunner::End() {
    clock_->Quit();
    if (!RunUntil([this] { return ended_.load(); }, std::chrono::minutes(2))) {
        std::fprintf(stderr, "the program does not end\n%s", Output().c_str());
        std::abort();
    }
    return result_;
}

}  // namespace support
