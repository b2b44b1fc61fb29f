// GPIO lines through sysfs. UI thread; for the files of this room only.
#pragma once

#include <string>

namespace Varno {

// One line of the board, by its number. Every operation runs a shell command that writes the line's file.
class Gpio {
  public:
    // A command that was run, and the shell's answer.
    struct Result {
        std::string command;
        int status;
    };

    explicit Gpio(int number);
    // Makes the line's files appear.
    Result Export() const;
    Result SetDirection(const char* direction) const;
    Result SetValue(int level) const;
    // The line's level as text, without the newline; false when it cannot be read.
    bool ReadValue(std::string& text) const;

  private:
    Result Echo(const std::string& text, const std::string& file) const;

    std::string m_number;
    std::string m_directory;
};

}  // namespace Varno
