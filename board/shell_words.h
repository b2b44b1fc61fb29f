// Splits a command line as a shell does.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace board {

struct ShellCommand {
    std::vector<std::string> words;
    std::string output_file;  // of `>` or `>>`; empty: none
    bool append = false;
};

enum class ShellAnswer {
    Understood,
    SyntaxError,  // an open quote, a missing file name
    Refused,      // something that only a real shell can do: lists, pipes, expansions, patterns
};

// Quotes and backslashes count as in sh(1). `command` is whole only when the answer is Understood.
ShellAnswer SplitShellWords(const std::string& line, ShellCommand& command);

}  // namespace board
