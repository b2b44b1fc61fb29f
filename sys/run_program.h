// Runs a program and captures what it prints.
#pragma once

namespace Varno {

// Capture descriptor of run_program. Pipe ends ([0] read, [1] write) are -1 except while the program runs.
struct RunProgramPipe {
    bool capture = false;  // standard output is wanted; else it goes to /dev/null
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
};

// Runs `cmdline`, split at blanks (a part in single quotes stays whole), without a shell and waits for its end. With
// pipe.capture, its standard output goes to `result`, a buffer of `ressize` bytes that is always terminated, and its
// length to `*reslen` when that is not null; `result` and `reslen` may be null otherwise. What it prints is logged line
// by line. Returns its exit status, 1 when it could not be executed, or -1 when it did not start, did not exit normally
// or its output did not fit. UI thread.
int run_program(RunProgramPipe& pipe, const char* cmdline, char* result, unsigned ressize, unsigned* reslen);

}  // namespace Varno
