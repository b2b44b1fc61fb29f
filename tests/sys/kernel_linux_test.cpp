// What goes to the real system: its calls, and the programs and threads that are started.
#include "sys/kernel_linux.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "sys/path_strings.h"
#include "sys/run_program.h"
#include "tests/support/printed.h"

namespace {

using support::Printed;
using testing::HasSubstr;
constexpr std::chrono::milliseconds kSoon{30};

class KernelLinux : public testing::Test {
  protected:
    KernelLinux() { Varno::InstallKernel(kernel); }

    // Runs with capture and returns the status; the output is in `output`, what was printed in `log`.
    int Run(const std::string& command, unsigned size = 4096) {
        std::string buffer(size + 1, '#');
        unsigned length = 12345;
        Varno::RunProgramPipe pipe;
        pipe.capture = true;
        int status = 0;
        log = Printed([&] { status = Varno::run_program(pipe, command.c_str(), buffer.data(), size, &length); });
        EXPECT_EQ(buffer[size], '#') << "wrote behind the buffer";
        for (const int end : {pipe.out[0], pipe.out[1], pipe.err[0], pipe.err[1]})
            EXPECT_EQ(end, -1);
        output.assign(buffer, 0, length);
        EXPECT_EQ(buffer[length], size > 0 ? '\0' : '#');
        return status;
    }
    static std::ptrdiff_t Descriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    Varno::LinuxKernel kernel;
    std::string output;
    std::string log;
};

TEST_F(KernelLinux, SystemAnswersAsTheShellDid) {
    // A signal that comes meanwhile interrupts nothing.
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    struct sigaction before {};
    sigaction(SIGUSR1, &interrupting, &before);
    for (const auto& [command, status] : {std::pair{"true", 0},
                                          {"exit 3", 3 << 8},
                                          {"/no/such/tool 2>/dev/null", 127 << 8},
                                          {"kill -KILL $$", SIGKILL},
                                          {"kill -USR1 $PPID; kill -USR1 $PPID; exit 7", 7 << 8}})
        EXPECT_EQ(kernel.System(command), status) << command;
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(KernelLinux, ShellWordsAreWhatTheyWere) {
    for (const std::string plain : {"/media/sd-mmcblk0p1/DCIM/5F3A1B2C.jpg", "20240131235959.avi", "a_b,c+d@e:f%g"})
        EXPECT_EQ(Varno::ShellWord(plain), plain);
    for (const char* text : {"", "a b", "it's", "''", "$(reboot)`id`\\", "a\nb\n", "\"*?[x]~#;&|<>!{}\"",
                             "\xC3\xA9\xB0\xA1", "-rf", "=x", "\t"}) {
        setenv("VARNO_TEXT", text, 1);
        EXPECT_EQ(kernel.System(("test \"$VARNO_TEXT\" = " + Varno::ShellWord(text)).c_str()), 0) << text;
    }
    unsetenv("VARNO_TEXT");
}

TEST_F(KernelLinux, WaitsForBothEndsOfAPipe) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    const auto start = kernel.Monotonic();
    EXPECT_EQ(kernel.WaitReadable(ends[0], kSoon), 0);
    EXPECT_GE(kernel.Monotonic() - start, kSoon);
    EXPECT_EQ(kernel.WaitWritable(ends[1], kSoon), 1);
    while (write(ends[1], ends, 1) == 1) {
    }
    EXPECT_EQ(kernel.WaitReadable(ends[0], kSoon), 1);
    EXPECT_EQ(kernel.WaitWritable(ends[1], kSoon), 0) << "full";
    close(ends[0]);
    EXPECT_EQ(kernel.WaitReadable(ends[0], kSoon), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(kernel.WaitWritable(ends[1], kSoon), -1);
    EXPECT_EQ(errno, EIO) << "nobody reads any more";
    close(ends[1]);
    EXPECT_EQ(kernel.WaitWritable(ends[1], kSoon), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(KernelLinux, FilesAndTime) {
    EXPECT_EQ(kernel.Open("/no/such/device", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
    const int fd = kernel.Open("/dev/null", O_RDWR);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
    char text[] = "abc";
    const struct iovec parts[] = {{text, 3}, {text, 2}};
    EXPECT_EQ(kernel.Write(fd, parts, 2), 5);
    EXPECT_EQ(kernel.Close(fd), 0);
    const auto before = kernel.Monotonic();
    kernel.Sleep(std::chrono::milliseconds(1030));
    EXPECT_GE(kernel.Monotonic() - before, std::chrono::milliseconds(1030));
    EXPECT_GT(kernel.RealTime().tv_sec, 1325376000);
    std::timespec no_time{};
    no_time.tv_nsec = 1000000000;
    EXPECT_EQ(kernel.SetRealTime(no_time), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(kernel.Path("/sys/power/poweroff_state"), "/sys/power/poweroff_state");
}

TEST_F(KernelLinux, ProgramsArgumentsOutputStatusAndLog) {
    const std::string both = "/bin/sh -c 'echo out; printf \"x y\\n\\nz\" >&2; exit 3'";
    const struct {
        std::string command;
        int status;
        std::string output;
        std::vector<std::string> logged;
    } cases[] = {{"/bin/echo a  'b  c' \t d", 0, "a b  c d\n", {" arg[2] 'b  c'\n", " arg[3] 'd'\n"}},
                 {"  printf %s|%s|%s 'x''y' '' z", 0, "x|y|z", {"result='x|y|z'\n"}},
                 {"printf %s|%s don't 'open end", 0, "don't|open end", {}},
                 {"/bin/sh -c 'exit 42'", 42, "", {"Warn: '/bin/sh -c 'exit 42'' returned with status 42\n"}},
                 {"/bin/sh -c 'kill -9 $$'", -1, "", {"abnormal exit\n"}},
                 {"printf out\\ntwo", 0, "out\ntwo", {"' (stdout) 'out'\n", "' (stdout) 'two'\n"}},
                 {both, 3, "out\n", {"Warn: '" + both + "'\n", "(stderr) 'x y'\n", "(stderr) ''\n", "(stderr) 'z'\n"}},
                 {"cat", 0, "", {}},
                 {"/no/such/program x", 1, "", {"(stderr) 'program '/no/such/program' not found'\n"}},
                 {"/etc/passwd/x", 1, "", {"not found"}},
                 {"/etc", 1, "", {" exec of program '/etc' failed"}},
                 {"", -1, "", {"program '' not found"}}};
    const auto descriptors = Descriptors();
    for (const auto& c : cases) {
        EXPECT_EQ(Run(c.command), c.status) << c.command << "\n" << log;
        EXPECT_EQ(output, c.output) << c.command;
        for (const std::string& part : c.logged)
            EXPECT_THAT(log, HasSubstr(part)) << c.command;
    }
    // Out of descriptors after the first of its pipes.
    struct rlimit most {};
    getrlimit(RLIMIT_NOFILE, &most);
    log = Printed([&] {
        const int next = dup(STDOUT_FILENO);
        close(next);
        const struct rlimit few { static_cast<rlim_t>(next) + 3, most.rlim_max };
        setrlimit(RLIMIT_NOFILE, &few);
        Varno::RunProgramPipe pipe;
        pipe.capture = true;
        EXPECT_EQ(Varno::run_program(pipe, "true", nullptr, 0, nullptr), -1);
        setrlimit(RLIMIT_NOFILE, &most);
    });
    EXPECT_THAT(log, HasSubstr("pipe failed: Too many open files\n"));
    EXPECT_EQ(Descriptors(), descriptors);
}

TEST_F(KernelLinux, ProgramsOutputThatDoesNotFitIsCutAndReported) {
    for (const unsigned size : {0U, 1U, 10U, 5000U, 6000U, 6001U}) {
        EXPECT_EQ(Run("printf %06000d 7", size), size > 6000 ? 0 : -1) << size;
        EXPECT_EQ(output, (std::string(5999, '0') + "7").substr(0, size > 0 ? size - 1 : 0)) << size;
        EXPECT_EQ(support::Count(log, " ressize " + std::to_string(size) + " too short\n"), size <= 6000);
        EXPECT_THAT(log, HasSubstr(" (stdout) '" + std::string(1023, '0') + "'\n")) << "long lines come in pieces";
    }
    Varno::RunProgramPipe pipe;  // without capture
    const char* command = "/bin/sh -c 'echo lost; exit 5'";
    log = Printed([&] { EXPECT_EQ(Varno::run_program(pipe, command, nullptr, 0, nullptr), 5); });
    EXPECT_EQ(support::Count(log, "'lost'") + support::Count(log, "result="), 0);
}

TEST_F(KernelLinux, ProgramsGetTheirSignalsBack) {
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, &before);
    for (const int signal : {SIGTERM, SIGINT}) {
        const auto handler = std::signal(signal, SIG_IGN);
        const std::string suicide = "kill -" + std::to_string(signal) + " $$; exit 0";
        EXPECT_EQ(Run("/bin/sh -c '" + suicide + "'"), -1);
        EXPECT_EQ(kernel.System(suicide.c_str()), signal);
        std::signal(signal, handler);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
