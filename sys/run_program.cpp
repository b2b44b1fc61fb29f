#include "sys/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "sys/debug.h"
#include "sys/kernel.h"
#include "sys/signal_safe_message.h"

namespace Varno {
namespace {

constexpr char kName[] = "run_program";
constexpr std::size_t kChunk = 1023;
enum PipeEnd { kRead, kWrite };

std::vector<std::string> SplitArguments(const char* cmdline) {
    std::vector<std::string> arguments;
    const char* p = cmdline;
    while (*p) {
        if (*p == ' ' || *p == '\t') {
            ++p;
            continue;
        }
        const bool quoted = *p == '\'';
        if (quoted) ++p;
        const std::size_t length = std::strcspn(p, quoted ? "'" : " \t");
        if (length > 0) arguments.emplace_back(p, length);
        p += length;
        if (quoted && *p) ++p;
    }
    return arguments;
}

void ClosePipeEnd(int& end) {
    if (end >= 0) close(end);
    end = -1;
}

void ClosePipes(RunProgramPipe& pipe) {
    for (int end : {kRead, kWrite}) {
        ClosePipeEnd(pipe.out[end]);
        ClosePipeEnd(pipe.err[end]);
    }
}

bool OpenPipes(RunProgramPipe& pipe) {
    if ((!pipe.capture || pipe2(pipe.out, O_CLOEXEC) == 0) && pipe2(pipe.err, O_CLOEXEC) == 0) return true;
    varno_printf(DBG_LV_ERROR, "%s:%d pipe failed: %s\n", kName, __LINE__, std::strerror(errno));
    ClosePipes(pipe);
    return false;
}

// Makes `source` the descriptor `target` of the program. Goes by a third number because `source` may be `target`
// already, and would then be closed on execution.
void Attach(int source, int target) {
    const int copy = fcntl(source, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(copy, target);
    close(copy);
}

// The child from fork to exec. Another thread may have held any lock at the fork, so that only async-signal-safe calls
// are allowed here.
[[noreturn]] void RunChild(const RunProgramPipe& pipe, char* const* arguments) {
    // The parent handles these signals in its own way, and blocked them around the fork.
    struct sigaction default_action {};
    default_action.sa_handler = SIG_DFL;
    sigaction(SIGINT, &default_action, nullptr);
    sigaction(SIGTERM, &default_action, nullptr);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);

    // The pipes' ends move out of the way of 0, 1 and 2 first.
    const int out = pipe.capture ? fcntl(pipe.out[kWrite], F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1;
    const int err = fcntl(pipe.err[kWrite], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null < 0) {
        const int error = errno;
        SignalSafeMessage(err).Text(kName).Text(":").Number(__LINE__).Text(" open /dev/null failed: ").Error(error);
        _exit(1);
    }
    Attach(null, STDIN_FILENO);
    Attach(out >= 0 ? out : null, STDOUT_FILENO);
    Attach(err, STDERR_FILENO);

    kernel().Exec(arguments[0], arguments);
    if (errno == ENOENT || errno == ENOTDIR) {
        SignalSafeMessage(STDERR_FILENO).Text("program '").Text(arguments[0]).Text("' not found\n");
    } else {
        SignalSafeMessage(STDERR_FILENO)
            .Text(kName)
            .Text(":")
            .Number(__LINE__)
            .Text(" exec of program '")
            .Text(arguments[0])
            .Text("' failed\n");
    }
    _exit(1);
}

// Forks with SIGINT and SIGTERM blocked, so that their handler never runs in the child.
pid_t StartChild(const RunProgramPipe& pipe, char* const* arguments) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &ending, &before);
    std::fflush(stdout);  // or the child would have a copy of what waits to be printed
    const pid_t child = fork();
    if (child == 0) RunChild(pipe, arguments);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return child;
}

// Puts what comes in pieces together to lines, and logs each.
class LineLog {
  public:
    LineLog(DEBUGLEVEL level, const char* format, const char* program)
        : m_level(level), m_format(format), m_program(program) {}

    void Add(const char* text, std::size_t length) {
        for (const char* end = text + length; text < end; ++text) {
            if (*text == '\n' || m_line.size() == kChunk) LogLine();
            if (*text != '\n') m_line += *text;
        }
    }
    // The end of a text whose last line has no newline.
    void Flush() {
        if (!m_line.empty()) LogLine();
    }

  private:
    void LogLine() {
        varno_printf(m_level, m_format, m_program, m_line.c_str());
        m_line.clear();
    }

    const DEBUGLEVEL m_level;
    const char* const m_format;
    const char* const m_program;
    std::string m_line;
};

// The caller's buffer for standard output.
class Capture {
  public:
    Capture(char* result, unsigned size) : m_result(result), m_size(result ? size : 0) {
        if (m_size > 0) m_result[0] = '\0';
    }

    void Append(const char* text, std::size_t length) {
        const std::size_t room = m_size > m_length ? m_size - m_length - 1 : 0;
        const std::size_t copied = std::min(room, length);
        if (copied > 0) {
            std::memcpy(m_result + m_length, text, copied);
            m_length += copied;
            m_result[m_length] = '\0';
        }
        if (copied < length && !m_overflow) {
            m_overflow = true;
            varno_printf(DBG_LV_ERROR, "%s:%d ressize %ld too short\n", kName, __LINE__, static_cast<long>(m_size));
        }
    }
    bool Overflow() const { return m_overflow; }
    unsigned Length() const { return static_cast<unsigned>(m_length); }
    const char* Text() const { return m_size > 0 ? m_result : ""; }

  private:
    char* const m_result;
    const std::size_t m_size;
    std::size_t m_length = 0;
    bool m_overflow = false;
};

// Reads what waits in one pipe and closes it at its end.
template <typename Sink>
void Drain(int& fd, const char* error_format, Sink sink) {
    char chunk[kChunk];
    const ssize_t length = read(fd, chunk, sizeof(chunk));
    if (length > 0) {
        sink(chunk, static_cast<std::size_t>(length));
    } else if (length == 0) {
        ClosePipeEnd(fd);
    } else if (errno != EINTR) {
        varno_printf(DBG_LV_ERROR, error_format, kName, __LINE__, std::strerror(errno));
        ClosePipeEnd(fd);
    }
}

// Reads both pipes until the program has closed them.
void ReadOutput(RunProgramPipe& pipe, const char* program, Capture& capture) {
    LineLog out_log(DBG_LV_DEBUG, "'%s' (stdout) '%s'\n", program);
    LineLog err_log(DBG_LV_WARNING, "'%s' (stderr) '%s'\n", program);
    while (pipe.out[kRead] >= 0 || pipe.err[kRead] >= 0) {
        // A negative descriptor is skipped by poll.
        struct pollfd waiting[] = {{pipe.out[kRead], POLLIN, 0}, {pipe.err[kRead], POLLIN, 0}};
        if (poll(waiting, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (waiting[0].revents) {
            Drain(pipe.out[kRead], "%s:%d stdin read failed: %s\n", [&](const char* text, std::size_t length) {
                capture.Append(text, length);
                out_log.Add(text, length);
            });
        }
        if (waiting[1].revents) {
            Drain(pipe.err[kRead], "%s:%d stderr read failed: %s\n",
                  [&](const char* text, std::size_t length) { err_log.Add(text, length); });
        }
    }
    out_log.Flush();
    err_log.Flush();
}

// The program's exit status, -1 when it has none.
int WaitForChild(pid_t child, const char* program) {
    int status = 0;
    pid_t ended = -1;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    if (ended < 0 || !WIFEXITED(status)) {
        varno_printf(DBG_LV_ERROR, "%s:%d '%s' abnormal exit\n", kName, __LINE__, program);
        return -1;
    }
    // The low bits of the wait status tell the level; those of a normal exit are 0.
    varno_printf(DBG_LV_NORMAL, "'%s' returned with status %i\n", program, WEXITSTATUS(status));
    return WEXITSTATUS(status);
}

}  // namespace

int run_program(RunProgramPipe& pipe, const char* cmdline, char* result, unsigned ressize, unsigned* reslen) {
    Capture capture(result, ressize);
    if (reslen) *reslen = 0;

    std::vector<std::string> arguments = SplitArguments(cmdline);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        varno_printf(DBG_LV_DEBUG, "%s:%d arg[%i] '%s'\n", kName, __LINE__, static_cast<int>(argv.size()),
                     argument.c_str());
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    varno_printf(DBG_LV_NORMAL, "'%s'\n", cmdline);
    if (arguments.empty()) {
        varno_printf(DBG_LV_ERROR, "program '%s' not found\n", cmdline);
        return -1;
    }

    if (!OpenPipes(pipe)) return -1;
    const pid_t child = StartChild(pipe, argv.data());
    if (child < 0) {
        varno_printf(DBG_LV_ERROR, "%s:%d fork of '%s' failed: %s\n", kName, __LINE__, cmdline, std::strerror(errno));
        ClosePipes(pipe);
        return -1;
    }
    ClosePipeEnd(pipe.out[kWrite]);
    ClosePipeEnd(pipe.err[kWrite]);
    ReadOutput(pipe, cmdline, capture);
    ClosePipes(pipe);

    if (reslen) *reslen = capture.Length();
    if (pipe.capture) varno_printf(DBG_LV_DEBUG, "%s:%d result='%s'\n", kName, __LINE__, capture.Text());
    const int status = WaitForChild(child, cmdline);
    return capture.Overflow() ? -1 : status;
}

}  // namespace Varno
