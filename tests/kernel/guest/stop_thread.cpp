// Stops one thread of a program, not the others, for as long as this process runs.
//
// Usage: stop_thread THREAD
#include <sys/ptrace.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const pid_t thread = argc == 2 ? std::atoi(argv[1]) : 0;
    if (thread <= 0 || ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0 ||
        ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0) {
        std::perror("stop_thread");
        return EXIT_FAILURE;
    }
    pause();
}
