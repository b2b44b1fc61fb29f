#include "sys/run_program.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "sys/kernel_linux.h"

namespace {

using testing::HasSubstr;

class RunProgram : public testing::Test {
  protected:
    RunProgram() { Varno::InstallKernel(kernel); }

    // Runs with capture and returns the status; the output is in `output`, what was printed in `log`.
    int Run(const char* command, unsigned size = 4096) {
        std::string buffer(size + 1, '#');
        unsigned length = 12345;
        Varno::RunProgramPipe pipe;
        pipe.capture = true;
        testing::internal::CaptureStdout();
        const int status = Varno::run_program(pipe, command, buffer.data(), size, &length);
        log = testing::internal::GetCapturedStdout();
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

TEST_F(RunProgram, ArgumentsOutputStatusAndLog) {
    const struct {
        const char* command;
        int status;
        const char* output;
        const char* logged;
    } cases[] = {{"/bin/echo a  'b  c' d", 0, "a b  c d\n", " arg[2] 'b  c'\n"},
                 {"  printf %s|%s|%s 'x''y' '' z", 0, "x|y|z", "result='x|y|z'\n"},
                 {"printf %s|%s don't 'open end", 0, "don't|open end", ""},
                 {"/bin/sh -c 'exit 42'", 42, "", "Warn: '/bin/sh -c 'exit 42'' returned with status 42\n"},
                 {"/bin/sh -c 'kill -9 $$'", -1, "", "abnormal exit\n"},
                 {"/bin/sh -c 'echo out; printf two'", 0, "out\ntwo", "' (stdout) 'out'\n"},
                 {"/bin/sh -c 'echo out; printf two'", 0, "out\ntwo", "' (stdout) 'two'\n"},
                 {"/bin/sh -c 'echo out; printf \"x y\\n\\nz\" >&2; exit 3'", 3, "out\n", "' (stderr) 'x y'\n"},
                 {"/bin/sh -c 'echo out; printf \"x y\\n\\nz\" >&2; exit 3'", 3, "out\n", "' (stderr) 'z'\n"},
                 {"cat", 0, "", ""},
                 {"/no/such/program x", 1, "", "(stderr) 'program '/no/such/program' not found'\n"},
                 {"/etc/passwd/x", 1, "", "not found"},
                 {"/etc", 1, "", " exec of program '/etc' failed"},
                 {"", -1, "", ""},
                 {"   ''", -1, "", ""}};
    const auto descriptors = Descriptors();
    for (const auto& c : cases) {
        EXPECT_EQ(Run(c.command), c.status) << c.command << "\n" << log;
        EXPECT_EQ(output, c.output) << c.command;
        EXPECT_THAT(log, HasSubstr(c.logged)) << c.command;
    }
    EXPECT_EQ(Descriptors(), descriptors);
}

TEST_F(RunProgram, OutputThatDoesNotFitIsCutAndReported) {
    for (const unsigned size : {0U, 1U, 10U, 5000U}) {
        EXPECT_EQ(Run("/bin/sh -c 'printf %06000d 7'", size), -1) << size;
        EXPECT_EQ(output, std::string(size > 0 ? size - 1 : 0, '0')) << size;
        EXPECT_THAT(log, HasSubstr(" ressize " + std::to_string(size) + " too short\n"));
    }
    EXPECT_EQ(Run("/bin/sh -c 'printf %06000d 7'", 6001), 0);
    EXPECT_EQ(output, std::string(5999, '0') + "7");
    Varno::RunProgramPipe pipe;  // without capture
    testing::internal::CaptureStdout();
    EXPECT_EQ(Varno::run_program(pipe, "/bin/sh -c 'echo lost; exit 5'", nullptr, 0, nullptr), 5);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::Not(HasSubstr("'lost'")));
}

TEST_F(RunProgram, ProgramsGetTheirSignalsBack) {
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, &before);
    const auto handler = std::signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(Run("/bin/sh -c 'kill -TERM $$; exit 0'"), -1);
    EXPECT_EQ(kernel.System("kill -TERM $$; exit 0"), SIGTERM);
    std::signal(SIGTERM, handler);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
